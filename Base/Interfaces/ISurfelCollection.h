#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <typeindex>
#include <typeinfo>
#include <utility>
#include <vector>

#include "Base/Export.h"
#include "Base/Interfaces/CSurfelBitMask.h"
#include "Base/Interfaces/ISurfelCollectionElementAccess.h"
#include "Base/Interfaces/IVekoSerializable.h"
#include "Base/Math/LqMatrix4R.h"
#include "Base/Math/LqVector3f.h"
#include "Base/Support/VekoException.h"

namespace Base
{

class IPointCloudSupport;

/// The allocator of long-lived index lists, with an interface of its own so that an application can
/// give them a heap of their own. This one uses the process heap.
template <typename T>
struct multiple_heap_allocator : std::allocator<T>
{
    multiple_heap_allocator() = default;
    template <typename U>
    multiple_heap_allocator(const multiple_heap_allocator<U>&) noexcept
    {}
    template <typename U>
    struct rebind
    {
        using other = multiple_heap_allocator<U>;
    };
};

/// An ellipsoid that describes how a collection's positions are spread: its centre and the
/// covariance matrix of the positions (xx, xy, xz, yy, yz, zz), in the collection's coordinates and
/// unit.
struct CCovarianceEllipsoid
{
    LqVector3f center;
    float covariance[6] = {};
};

/// The root of the typed element accessors, which GetReadAccessor() converts back by a checked
/// cast.
class VEKO2_BASE_EXPORT AElementAccessBase
{
public:
    virtual ~AElementAccessBase();

protected:
    AElementAccessBase() = default;
    AElementAccessBase(const AElementAccessBase&) = default;
    AElementAccessBase& operator=(const AElementAccessBase&) = default;
};

/// Names the positions of a collection: three floats each.
struct VEKO2_BASE_EXPORT CSCElementDefinitionPosition
{};

/// Names the normals of a collection.
struct VEKO2_BASE_EXPORT CSCElementDefinitionNormal
{};

/// Reads one element array of a collection: element j starts at first element + j x stride bytes.
///
/// A stride is any number of bytes; 0 (one element for all) and unaligned ones included. Elements
/// are three floats, unless the array is encoded and the accessor was given a decoder; positions
/// never are, so that a caller may read them from the bytes. The collection owns the array and must
/// live.
template <typename Definition>
class VEKO2_BASE_EXPORT TElementAccessRead : public AElementAccessBase
{
public:
    /// Makes the three coordinates of the encoded element at the given address.
    using Decoder = LqVector3f (*)(const void* element);

    TElementAccessRead() = default;
    TElementAccessRead(const void* firstElement, std::size_t strideInBytes,
                       Decoder decoder = nullptr)
        : m_firstElement(static_cast<const std::byte*>(firstElement)),
          m_strideInBytes(strideInBytes),
          m_decoder(decoder)
    {}

    [[nodiscard]] const std::byte* GetFirstElement() const { return m_firstElement; }
    [[nodiscard]] std::size_t GetStrideInBytes() const { return m_strideInBytes; }

    /// Element \p index, which must be less than the collection's count.
    [[nodiscard]] LqVector3f At(std::uint64_t index) const
    {
        const std::byte* const element = m_firstElement + index * m_strideInBytes;
        if (m_decoder != nullptr)
        {
            return m_decoder(element);
        }
        LqVector3f value;
        std::memcpy(&value, element, sizeof value);
        return value;
    }

private:
    const std::byte* m_firstElement = nullptr;
    std::size_t m_strideInBytes = 0;
    Decoder m_decoder = nullptr;
    std::uintptr_t m_reserved = 0;
};

/// An abstract, serialisable set of surfels: surface elements with a position and a normal each.
///
/// All const operations are safe for concurrent readers. The order of the virtual operations, this
/// class's after the serialisable base's, is part of the contract.
class VEKO2_BASE_EXPORT ISurfelCollection : public IVekoSerializable,
                                            public ScanAPI::ISurfelCollectionElementAccess
{
public:
    /// What a mask's marked surfels (`true`, or any of the asked bits set) are.
    enum class MaskMode
    {
        Drop = 0,  ///< left out of the copy
        Keep = 1,  ///< the ones that are copied
    };

    /// What the listed surfels are.
    enum class SubsetMode
    {
        Drop = 0,  ///< left out of the copy
        Keep = 1,  ///< the ones that are copied
    };

    /// Pairs of a source index and the target index that receives its surfel.
    using IndexPairs = std::vector<std::pair<unsigned, unsigned>,
                                   multiple_heap_allocator<std::pair<unsigned, unsigned>>>;

    ~ISurfelCollection() override;

    /// What the collection knows about its surfels as a whole; never null.
    [[nodiscard]] virtual std::shared_ptr<const IPointCloudSupport> GetPointCloudSupport()
        const = 0;

    /// Copies surfels by index. With SubsetMode::Keep, the listed ones in the order of the list
    /// (one listed twice is copied twice); with SubsetMode::Drop, all others in their own order.
    /// @throw VekoException when an index is not less than the count.
    [[nodiscard]] virtual std::shared_ptr<ISurfelCollection> GetSubsetCopyByIndex(
        const std::vector<std::size_t>& indices, SubsetMode mode) const = 0;

    /// Copies, in their order, the surfels whose word has any bit of \p bits (MaskMode::Keep), or
    /// the others (MaskMode::Drop). No words at all stand for words of 0.
    /// @throw VekoException when the number of words is neither 0 nor the count.
    [[nodiscard]] virtual std::shared_ptr<ISurfelCollection> GetSubsetCopyByMask(
        const std::vector<CSurfelBitMask>& bitMasks, CSurfelBitMask bits, MaskMode mode) const = 0;

    /// Copies, in their order, the surfels whose entry is `true` (MaskMode::Keep), or the others.
    /// @throw VekoException when the number of entries is not the count.
    [[nodiscard]] virtual std::shared_ptr<ISurfelCollection> GetSubsetCopyByMask(
        const std::vector<bool>& mask, MaskMode mode) const = 0;

    /// A new collection of this one's kind that holds the surfels of all \p collections one after
    /// the other, each moved by the transform at its index. This collection's own surfels are not
    /// part of it.
    /// @throw VekoException when the lists differ in length or a collection is null or has no
    /// positions.
    /// @throw std::length_error when there cannot be so many surfels in one collection.
    [[nodiscard]] virtual std::unique_ptr<ISurfelCollection> CloneFromCollection(
        const std::vector<const ISurfelCollection*>& collections,
        const std::vector<LqMatrix4Rd>& trafos) const = 0;

    /// A copy moved by \p trafo: positions as points, normals by the inverse transpose.
    [[nodiscard]] virtual std::unique_ptr<ISurfelCollection> Clone(
        const LqMatrix4Rd& trafo) const = 0;

    /// Adds the surfels of \p collection, moved by \p trafo, behind this one's own.
    /// @throw VekoException when \p collection has no positions, or this one cannot be changed.
    /// @throw std::length_error when there cannot be so many surfels in one collection.
    virtual void Append(const ISurfelCollection& collection, const LqMatrix4Rd& trafo) = 0;

    /// Overwrites, for each pair in order, the surfel at the pair's second index by the surfel of
    /// \p collection at its first index, moved by \p trafo.
    /// @throw VekoException when an index is out of range, \p collection has no positions, or this
    /// one cannot be changed; nothing is changed then.
    virtual void ScatterCopy(const ISurfelCollection& collection, const IndexPairs& pairs,
                             const LqMatrix4Rd& trafo) = 0;

protected:
    /// The accessor registered for an element definition, or null.
    [[nodiscard]] virtual AElementAccessBase* getElementAccess(
        const std::type_index& definition) = 0;
    [[nodiscard]] virtual const AElementAccessBase* getElementAccess(
        const std::type_index& definition) const = 0;

public:
    /// Fills \p ellipsoid when the collection keeps an explicit one, and says whether it does.
    [[nodiscard]] virtual bool GetExplicitCovarianceEllipsoid(
        CCovarianceEllipsoid& ellipsoid) const;

    /// The accessors of positions and normals; see GetReadAccessor().
    [[nodiscard]] virtual const TElementAccessRead<CSCElementDefinitionPosition>& GetPositions()
        const;
    [[nodiscard]] virtual const TElementAccessRead<CSCElementDefinitionNormal>& GetNormals() const;

    /// Typed access to one element array. The accessor belongs to the collection.
    /// @throw VekoException when there is none for \p Definition.
    template <typename Definition>
    [[nodiscard]] const TElementAccessRead<Definition>& GetReadAccessor() const
    {
        const AElementAccessBase* const access =
            getElementAccess(std::type_index(typeid(Definition)));
        const auto* const typed = dynamic_cast<const TElementAccessRead<Definition>*>(access);
        if (typed == nullptr)
        {
            ThrowVekoException("Base/Interfaces/ISurfelCollection", 96,
                               "Base::ISurfelCollection::GetReadAccessor",
                               L"Nicht verfuegbare ElementAccessor-Definition angefordert.");
        }
        return *typed;
    }
};

extern template class TElementAccessRead<CSCElementDefinitionPosition>;
extern template class TElementAccessRead<CSCElementDefinitionNormal>;

}  // namespace Base
