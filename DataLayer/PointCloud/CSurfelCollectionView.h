#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <typeindex>
#include <vector>

#include "Base/Interfaces/IPointCloud.h"
#include "DataLayer/Export.h"

namespace DataLayer
{

/// A surfel collection over the caller's own buffers, of which nothing is copied.
///
///     auto points = std::make_shared<const std::vector<SMyPoint>>(...);  // begins with x, y, z
///     auto cloud = std::make_shared<const DataLayer::CSurfelCollectionView>(
///         points, points->size(), points->data(), sizeof(SMyPoint));
///
/// Surfel j's position is the three floats at \p positions + j x \p positionStride bytes, and its
/// normal likewise. A stride is any number of bytes: 0 makes all surfels share one element, and
/// elements need no alignment. The buffers must not change while the view is used, since what was
/// found out about them once, such as the bounding box, is kept.
///
/// The view only reads, so Append() and ScatterCopy() throw. Copies (of subsets, clones) own their
/// surfels and can be changed: they are a CSurfelCollectionPositionNormal when the view (for
/// CloneFromCollection() also: any of the sources) has normals, else a CSurfelCollectionPosition,
/// and so lose nothing. See TSurfelCollectionInterleaved for how a transform moves surfels. A view
/// that is read from a stream then owns its memory.
///
/// Const operations are safe for concurrent readers.
class VEKO2_DATALAYER_EXPORT CSurfelCollectionView : public Base::IPointCloud
{
public:
    /// \p owner keeps the buffers alive and may be empty when the caller does so itself.
    /// \p normals is null when the surfels have none.
    /// @throw VekoException when \p count is not 0 and \p positions is null, or an array would not
    /// fit into the address space.
    CSurfelCollectionView(std::shared_ptr<const void> owner, std::uint64_t count,
                          const void* positions, std::size_t positionStride,
                          const void* normals = nullptr, std::size_t normalStride = 0);
    CSurfelCollectionView(const CSurfelCollectionView&) = delete;
    CSurfelCollectionView& operator=(const CSurfelCollectionView&) = delete;
    ~CSurfelCollectionView() override;

    [[nodiscard]] const LqRTTI& GetRTTI() const override;
    [[nodiscard]] const wchar_t* GetClassNameW() const override;
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
    /// @throw VekoException always; borrowed memory is only read.
    void Append(const Base::ISurfelCollection& collection, const LqMatrix4Rd& trafo) override;
    /// @throw VekoException always; borrowed memory is only read.
    void ScatterCopy(const Base::ISurfelCollection& collection, const IndexPairs& pairs,
                     const LqMatrix4Rd& trafo) override;

    [[nodiscard]] std::uint64_t GetCount() const override { return m_count; }
    [[nodiscard]] bool HasPositions() const override { return true; }
    [[nodiscard]] std::vector<ScanAPI::SimpleVec3f> GetAllPositions() const override;
    [[nodiscard]] bool HasNormals() const override { return m_hasNormals; }
    [[nodiscard]] std::vector<ScanAPI::SimpleVec3f> GetAllNormals() const override;

protected:
    [[nodiscard]] Base::AElementAccessBase* getElementAccess(
        const std::type_index& definition) override;
    [[nodiscard]] const Base::AElementAccessBase* getElementAccess(
        const std::type_index& definition) const override;

private:
    using CPositionAccess = Base::TElementAccessRead<Base::CSCElementDefinitionPosition>;
    using CNormalAccess = Base::TElementAccessRead<Base::CSCElementDefinitionNormal>;

    void borrow(std::shared_ptr<const void> owner, std::uint64_t count,
                const CPositionAccess& positions, const CNormalAccess& normals, bool hasNormals);

    std::shared_ptr<const void> m_owner;
    std::uint64_t m_count = 0;
    CPositionAccess m_positions;
    CNormalAccess m_normals;
    bool m_hasNormals = false;
    std::shared_ptr<const Base::IPointCloudSupport> m_support;
};

}  // namespace DataLayer
