#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMask.h"
#include "DataLayer/PointCloud/CSurfelCollectionPosition.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMaskTestPeer.h"
#include "Tests/Support/Selections.h"
#include "Tests/Support/TestRounds.h"

namespace DataLayer
{

namespace
{

using TestSupport::SPixel;
using Cutter = CCutPointCloudWithPixelMask;

constexpr std::uint32_t c_width = 1U << 16;
/// With some more rows than the 2^16 that 32 bits can tell apart.
constexpr std::uint32_t c_height = c_width + 64;

/// A mask whose memory is only taken where it is written.
class CBigMask
{
public:
    CBigMask()
        : m_memory(mmap(nullptr, c_size, PROT_READ | PROT_WRITE,
                        MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0))
    {}
    ~CBigMask()
    {
        if (IsMapped())
        {
            munmap(m_memory, c_size);
        }
    }
    CBigMask(const CBigMask&) = delete;
    CBigMask& operator=(const CBigMask&) = delete;

    [[nodiscard]] bool IsMapped() const { return m_memory != MAP_FAILED; }
    void Paint(const SPixel& pixel)
    {
        static_cast<std::uint8_t*>(m_memory)[std::size_t{pixel.row} * c_width + pixel.column] = 1;
    }
    [[nodiscard]] std::shared_ptr<const Base::SRegionSelectionInfo> MakeSelection() const
    {
        const auto selection = std::make_shared<Base::SRegionSelectionInfo>();
        selection->transform1 = TestSupport::MakeIdentity();
        selection->transform2 = TestSupport::MakeIdentity();
        selection->transform3 = TestSupport::MakeIdentity();
        selection->maskData = static_cast<const std::uint8_t*>(m_memory);
        selection->maskWidth = c_width;
        selection->maskHeight = c_height;
        return selection;
    }

private:
    static constexpr std::size_t c_size = std::size_t{c_width} * c_height;

    void* m_memory;
};

LqVector3f CenterOf(const SPixel& pixel)
{
    return {(2 * static_cast<float>(pixel.column) + 1) / static_cast<float>(c_width) - 1,
            1 - (2 * static_cast<float>(pixel.row) + 1) / static_cast<float>(c_height), 0.5F};
}

TEST(BigMaskTest, MaskBeyond32Bits_IsBoundedWholeAndReadModulo32Bits)
{
    if (!TestSupport::IsLongForm())
    {
        GTEST_SKIP() << "the long form maps a mask of 4 GiB";
    }
    CBigMask mask;
    ASSERT_TRUE(mask.IsMapped());
    // The last row is far beyond the pixels that 32 bits can tell apart: where it lies modulo 2^32
    // is row 63.
    constexpr SPixel c_early{40, 20};
    constexpr SPixel c_wrapsToEarly{40, (1U << 16) + 20};
    constexpr SPixel c_last{50, (1U << 16) + 63};
    constexpr SPixel c_lastWrapped{50, 63};
    mask.Paint(c_early);
    mask.Paint(c_last);
    const Cutter cutter(mask.MakeSelection());

    const Geometry::CBox3D& bounds = CCutPointCloudWithPixelMaskTestPeer::GetPixelBounds(cutter);
    EXPECT_EQ(bounds.min, (LqVector3f{40, 20, 0}));
    EXPECT_EQ(bounds.max, (LqVector3f{50, 65599, 1}));

    // Many of each, so that later cuts answer for whole runs of them.
    constexpr std::size_t c_numSurfelsPerPixel = 8192;
    const auto collection = std::make_shared<CSurfelCollectionPosition>();
    std::vector<Base::CSurfelBitMask> expected;
    for (const auto& [pixel, word] : {std::pair<SPixel, std::uint16_t>{c_early, 8},
                                      {c_wrapsToEarly, 8},
                                      {c_last, 0},
                                      {c_lastWrapped, 0}})
    {
        for (std::size_t index = 0; index < c_numSurfelsPerPixel; ++index)
        {
            collection->AddSurfelNoReset({CenterOf(pixel)});
            expected.push_back({word});
        }
    }
    for (int cut = 0; cut < 3; ++cut)
    {
        Cutter::Results results;
        cutter.Compute({{collection, {}, c_matIdentityD}}, results);
        EXPECT_TRUE(results.at(0).second == expected) << cut;
    }
}

}  // namespace

}  // namespace DataLayer
