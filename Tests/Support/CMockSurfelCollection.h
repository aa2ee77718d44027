#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <typeindex>
#include <vector>

#include "Base/Interfaces/ISurfelCollectionPositionQNormal.h"
#include "Base/Math/LqVector3f.h"
#include "Tests/Support/CMockPointCloudSupport.h"

namespace TestSupport
{

/// Fills the bytes of a mock collection that belong to no position: a float of them is a NaN, so
/// that whoever reads them notices.
inline constexpr std::uint8_t c_fillByte = 0xFF;

/// A collection with positions and without normals, of any layout, of which every answer can be
/// replaced, made to throw, and counted.
///
/// Changed only while nobody else uses it; const operations are safe for concurrent readers. The
/// operations that the cutting classes do not call throw std::logic_error.
class CMockSurfelCollection : public Base::ISurfelCollectionPositionQNormal
{
public:
    using PositionAccess = Base::TElementAccessRead<Base::CSCElementDefinitionPosition>;

    /// Stores \p positions \p stride bytes apart, the first one \p offset bytes behind an address
    /// that is a multiple of 16; all other bytes are c_fillByte. Positions are written in order, so
    /// that with a stride below 12 a later one overwrites the tail of the one before. The bounding
    /// box is that of the finite ones of \p positions.
    explicit CMockSurfelCollection(const std::vector<LqVector3f>& positions = {},
                                   std::size_t stride = sizeof(LqVector3f), std::size_t offset = 0);

    /// The position that the layout really holds for surfel \p index.
    [[nodiscard]] LqVector3f GetPosition(std::size_t index) const;

    /// What GetCount() answers; at first the number of positions.
    void SetCount(std::uint64_t count) { m_count = count; }
    void SetBoundingBox(const LqVector3f& min, const LqVector3f& max);
    /// Null takes the position accessor away.
    void SetPositionAccess(std::unique_ptr<Base::AElementAccessBase> access);
    [[nodiscard]] const std::shared_ptr<CMockPointCloudSupport>& GetSupport() { return m_support; }

    /// Called first by the operations they name; they may throw. onGetCount replaces the answer.
    std::function<std::uint64_t()> onGetCount;
    std::function<void()> onGetPointCloudSupport;
    std::function<void()> onGetElementAccess;

    mutable std::atomic<unsigned> numGetCountCalls = 0;
    mutable std::atomic<unsigned> numGetPointCloudSupportCalls = 0;
    mutable std::atomic<unsigned> numGetElementAccessCalls = 0;
    /// The mode of the last copy by a vector of bool.
    mutable std::optional<MaskMode> lastMaskMode;

    [[nodiscard]] const LqRTTI& GetRTTI() const override;
    [[nodiscard]] const wchar_t* GetClassNameW() const override;
    void Serialize(Base::IVekoStreamWrite& stream) const override;
    void Serialize(Base::IVekoStreamRead& stream) override;
    [[nodiscard]] std::shared_ptr<const Base::IPointCloudSupport> GetPointCloudSupport()
        const override;
    [[nodiscard]] std::shared_ptr<ISurfelCollection> GetSubsetCopyByIndex(
        const std::vector<std::size_t>& indices, SubsetMode mode) const override;
    [[nodiscard]] std::shared_ptr<ISurfelCollection> GetSubsetCopyByMask(
        const std::vector<Base::CSurfelBitMask>& bitMasks, Base::CSurfelBitMask bits,
        MaskMode mode) const override;
    /// Copies positions for real; entries beyond the positions are ignored.
    [[nodiscard]] std::shared_ptr<ISurfelCollection> GetSubsetCopyByMask(
        const std::vector<bool>& mask, MaskMode mode) const override;
    [[nodiscard]] std::unique_ptr<ISurfelCollection> CloneFromCollection(
        const std::vector<const ISurfelCollection*>& collections,
        const std::vector<LqMatrix4Rd>& trafos) const override;
    [[nodiscard]] std::unique_ptr<ISurfelCollection> Clone(const LqMatrix4Rd& trafo) const override;
    void Append(const ISurfelCollection& collection, const LqMatrix4Rd& trafo) override;
    void ScatterCopy(const ISurfelCollection& collection, const IndexPairs& pairs,
                     const LqMatrix4Rd& trafo) override;

    [[nodiscard]] std::uint64_t GetCount() const override;
    [[nodiscard]] bool HasPositions() const override { return m_positionAccess != nullptr; }
    [[nodiscard]] std::vector<ScanAPI::SimpleVec3f> GetAllPositions() const override;
    [[nodiscard]] bool HasNormals() const override { return false; }
    [[nodiscard]] std::vector<ScanAPI::SimpleVec3f> GetAllNormals() const override { return {}; }

protected:
    [[nodiscard]] Base::AElementAccessBase* getElementAccess(
        const std::type_index& definition) override;
    [[nodiscard]] const Base::AElementAccessBase* getElementAccess(
        const std::type_index& definition) const override;

private:
    struct alignas(16) SChunk
    {
        std::byte bytes[16];
    };

    std::vector<SChunk> m_storage;
    const std::byte* m_first = nullptr;
    std::size_t m_stride = 0;
    std::size_t m_numPositions = 0;
    std::uint64_t m_count = 0;
    std::unique_ptr<Base::AElementAccessBase> m_positionAccess;
    std::shared_ptr<CMockPointCloudSupport> m_support;
};

}  // namespace TestSupport
