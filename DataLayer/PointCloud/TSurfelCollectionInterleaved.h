#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <typeindex>
#include <utility>
#include <vector>

#include "Base/Interfaces/ISurfelCollection.h"
#include "DataLayer/Export.h"
#include "DataLayer/PointCloud/TUninitializedAllocator.h"

namespace DataLayer
{

class CPointCloudSupport;

/// A surfel collection that owns one array of records of type \p Surfel and implements
/// \p Interface.
///
/// Its member functions are compiled into the library for the collections of this folder, which
/// derive from it. Const operations are safe for concurrent readers; all others need the object for
/// themselves.
///
/// How surfels are moved by a transform: positions as points, in double precision with the division
/// by w, rounded once to float; normals by the inverse transpose of the transform's Jacobian at the
/// surfel, to unit length. Where that matrix is singular or not finite, and where a surfel has no
/// normal, the moved one has none. The identity moves nothing, bit for bit; a transform that only
/// translates leaves normals as they are.
///
/// A source collection without normals gives surfels without one. A source that is the collection
/// itself, or that borrows its memory, is read as it was before the call.
template <typename Surfel, typename Interface>
class VEKO2_DATALAYER_EXPORT TSurfelCollectionInterleaved : public Interface
{
public:
    using MaskMode = Base::ISurfelCollection::MaskMode;
    using SubsetMode = Base::ISurfelCollection::SubsetMode;
    using IndexPairs = Base::ISurfelCollection::IndexPairs;
    using Surfels = std::vector<Surfel, TUninitializedAllocator<Surfel>>;

    TSurfelCollectionInterleaved(const TSurfelCollectionInterleaved&) = delete;
    TSurfelCollectionInterleaved& operator=(const TSurfelCollectionInterleaved&) = delete;
    ~TSurfelCollectionInterleaved() override;

    /// Makes room for \p count surfels in all; more may be added all the same.
    /// @throw std::length_error, std::bad_alloc when there cannot be so many.
    void Reserve(std::uint64_t count);

    /// Appends one surfel at the next index. Neither the box nor the search is built anew; call
    /// ForceUpdate() after the last surfel.
    /// @throw std::length_error, std::bad_alloc when there cannot be so many.
    void AddSurfelNoReset(Surfel&& surfel);

    /// Appends \p count surfels without values and returns the first of them, to be written by the
    /// caller, if need be from several threads. Otherwise like AddSurfelNoReset().
    /// @throw std::length_error, std::bad_alloc when there cannot be so many.
    [[nodiscard]] Surfel* AddSurfelsNoReset(std::uint64_t count);

    /// Replaces all surfels by \p surfels, which is taken over without copying.
    void SetSurfels(Surfels&& surfels);

    /// Builds the support over all surfels now: the bounding box and the nearest-neighbour search.
    /// Queries allocate nothing then. Without this call each of them is built when it is first
    /// asked for.
    /// @throw std::length_error when there are more than 2^31 - 1 surfels.
    void ForceUpdate();

    /// The same, but the index behind the search is left to the first query that needs it.
    /// @throw std::length_error when there are more than 2^31 - 1 surfels.
    void ForceUpdateButIndex();

    /// The surfel at \p index, which must be less than the count.
    [[nodiscard]] const Surfel& GetSurfel(std::uint64_t index) const { return m_surfels[index]; }

    void Serialize(Base::IVekoStreamWrite& stream) const override;
    void Serialize(Base::IVekoStreamRead& stream) override;

    [[nodiscard]] std::shared_ptr<const Base::IPointCloudSupport> GetPointCloudSupport()
        const override;
    [[nodiscard]] std::shared_ptr<Base::ISurfelCollection> GetSubsetCopyByIndex(
        const std::vector<std::size_t>& indices, SubsetMode mode) const override;
    [[nodiscard]] std::shared_ptr<Base::ISurfelCollection> GetSubsetCopyByMask(
        const std::vector<Base::CSurfelBitMask>& bitMasks, Base::CSurfelBitMask bits,
        MaskMode mode) const override;
    [[nodiscard]] std::shared_ptr<Base::ISurfelCollection> GetSubsetCopyByMask(
        const std::vector<bool>& mask, MaskMode mode) const override;
    [[nodiscard]] std::unique_ptr<Base::ISurfelCollection> CloneFromCollection(
        const std::vector<const Base::ISurfelCollection*>& collections,
        const std::vector<LqMatrix4Rd>& trafos) const override;
    [[nodiscard]] std::unique_ptr<Base::ISurfelCollection> Clone(
        const LqMatrix4Rd& trafo) const override;
    void Append(const Base::ISurfelCollection& collection, const LqMatrix4Rd& trafo) override;
    void ScatterCopy(const Base::ISurfelCollection& collection, const IndexPairs& pairs,
                     const LqMatrix4Rd& trafo) override;

    [[nodiscard]] std::uint64_t GetCount() const override { return m_surfels.size(); }
    [[nodiscard]] bool HasPositions() const override { return true; }
    [[nodiscard]] std::vector<ScanAPI::SimpleVec3f> GetAllPositions() const override;
    [[nodiscard]] bool HasNormals() const override;
    [[nodiscard]] std::vector<ScanAPI::SimpleVec3f> GetAllNormals() const override;

protected:
    TSurfelCollectionInterleaved();

    [[nodiscard]] Base::AElementAccessBase* getElementAccess(
        const std::type_index& definition) override;
    [[nodiscard]] const Base::AElementAccessBase* getElementAccess(
        const std::type_index& definition) const override;

    /// A new, empty collection of the derived class.
    [[nodiscard]] virtual std::unique_ptr<TSurfelCollectionInterleaved> createEmpty() const = 0;

private:
    [[nodiscard]] std::unique_ptr<TSurfelCollectionInterleaved> createFrom(Surfels&& surfels) const;
    void updateAccessors();
    [[nodiscard]] std::shared_ptr<const CPointCloudSupport> makeSupport() const;
    void setSupport(std::shared_ptr<const Base::IPointCloudSupport> support);
    void resetSupport();

    Surfels m_surfels;
    Base::TElementAccessRead<Base::CSCElementDefinitionPosition> m_positions;
    Base::TElementAccessRead<Base::CSCElementDefinitionNormal> m_normals;

    mutable std::mutex m_supportMutex;
    mutable std::shared_ptr<const Base::IPointCloudSupport> m_support;
    mutable std::uint64_t m_supportCount = 0;
};

}  // namespace DataLayer
