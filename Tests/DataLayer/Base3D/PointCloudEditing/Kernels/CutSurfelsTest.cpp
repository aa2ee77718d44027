#include "DataLayer/Base3D/PointCloudEditing/Kernels/CutSurfels.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Base/Interfaces/SRegionSelectionInfo.h"
#include "DataLayer/Base3D/PointCloudEditing/Kernels/CCutMask.h"
#include "DataLayer/Base3D/PointCloudEditing/Kernels/CutSurfelsKernels.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/RandomCuts.h"
#include "Tests/Support/CLastBytes.h"
#include "Tests/Support/Selections.h"

namespace DataLayer
{

namespace
{

using Base::CSurfelBitMask;
using Words = std::vector<CSurfelBitMask>;

constexpr float c_infinity = std::numeric_limits<float>::infinity();
constexpr float c_nan = std::numeric_limits<float>::quiet_NaN();

/// A mask and the task that cuts by it, without surfels and words.
class CScene
{
public:
    explicit CScene(std::shared_ptr<const Base::SRegionSelectionInfo> selection,
                    const LqMatrix4Rd& trafo = c_matIdentityD)
        : m_selection(std::move(selection)), m_mask(*m_selection, BoundPaintedPixels(*m_selection))
    {
        const LqMatrix4Rf matrix =
            LqMatrix4Rf(trafo) *
            ((m_selection->transform1 * m_selection->transform2) * m_selection->transform3);
        for (std::size_t row = 0; row < 4; ++row)
        {
            m_task.clipX[row] = matrix(row, 0);
            m_task.clipY[row] = matrix(row, 1);
            m_task.clipW[row] = matrix(row, 3);
        }
        m_task.mask = &m_mask.Get();
    }

    [[nodiscard]] const SCutSurfelsTask& GetTask() const { return m_task; }

private:
    std::shared_ptr<const Base::SRegionSelectionInfo> m_selection;
    CCutMask m_mask;
    SCutSurfelsTask m_task;
};

/// Where the old words of a cut come from.
enum class OldWords
{
    None,
    OfTheirOwn,
    InPlace
};

struct SCut
{
    bool hasChanged;
    Words words;

    friend bool operator==(const SCut&, const SCut&) = default;
};

/// What \p cut does to the words, of which those outside the range are to stay.
SCut Cut(CutSurfelsKernel cut, SCutSurfelsTask task, OldWords kind, const Words& oldWords,
         std::uint32_t begin, std::uint32_t end)
{
    constexpr std::uint16_t c_stays = 0x5AA5;
    SCut result{false, kind == OldWords::InPlace ? oldWords : Words(oldWords.size(), {c_stays})};
    task.words = result.words.data();
    task.oldWords = kind == OldWords::None         ? nullptr
                    : kind == OldWords::OfTheirOwn ? oldWords.data()
                                                   : result.words.data();
    result.hasChanged = cut(task, begin, end);
    return result;
}

/// Writes the position of surfel \p index, one of 21 in the view that repeat.
void WritePosition(std::byte* to, std::uint32_t index)
{
    const float place = static_cast<float>(index % 7) / 3.5F - 1.0F;
    const LqVector3f position{place, static_cast<float>(index % 3) / 3.0F - 0.5F, 0.5F};
    std::memcpy(to, &position, sizeof position);
}

class CutSurfels : public testing::TestWithParam<std::string>
{
protected:
    [[nodiscard]] static CutSurfelsKernel kernel()
    {
        for (const SCutSurfelsKernel& candidate : GetCutSurfelsKernels())
        {
            if (candidate.name == GetParam())
            {
                return candidate.cut;
            }
        }
        throw std::logic_error("no kernel " + GetParam());
    }

    /// Expects the kernel to do what the reference does over \p begin to \p end, wherever the old
    /// words come from and however the new ones are written.
    static void expectSameAsScalar(SCutSurfelsTask task, const Words& oldWords, std::uint32_t begin,
                                   std::uint32_t end)
    {
        for (const OldWords kind : {OldWords::None, OldWords::OfTheirOwn, OldWords::InPlace})
        {
            const SCut expected = Cut(CutSurfelsScalar, task, kind, oldWords, begin, end);
            for (const bool isStreamed : {false, true})
            {
                task.isStreamed = isStreamed;
                ASSERT_EQ(Cut(kernel(), task, kind, oldWords, begin, end), expected)
                    << static_cast<int>(kind) << isStreamed << ", " << begin << " to " << end;
            }
        }
    }

    /// Cuts surfels that may lie anywhere, tightly packed, \p stride bytes apart.
    static void expectSameAsScalar(const CScene& scene, const std::vector<LqVector3f>& positions,
                                   std::size_t stride)
    {
        const std::size_t numBytes = (positions.size() - 1) * stride + sizeof(LqVector3f);
        const TestSupport::CLastBytes memory(numBytes);
        std::byte* const bytes = memory.Get().data();
        for (std::size_t index = 0; index < positions.size(); ++index)
        {
            std::memcpy(bytes + index * stride, &positions[index], sizeof(LqVector3f));
        }
        SCutSurfelsTask task = scene.GetTask();
        task.firstPosition = bytes;
        task.positionStride = stride;
        expectSameAsScalar(task, Words(positions.size(), {0x1001}), 0,
                           static_cast<std::uint32_t>(positions.size()));
    }
};

INSTANTIATE_TEST_SUITE_P(Kernel, CutSurfels, testing::ValuesIn([] {
                             std::vector<std::string> names;
                             for (const SCutSurfelsKernel& kernel : GetCutSurfelsKernels())
                             {
                                 names.emplace_back(kernel.name);
                             }
                             return names;
                         }()),
                         [](const auto& kernel) { return kernel.param; });

TEST(CutSurfelsTask, BeginsWithOnePositionForAllAndWordsInTheCache)
{
    const SCutSurfelsTask task;
    EXPECT_EQ(task.positionStride, 0U);
    EXPECT_FALSE(task.isStreamed);
    EXPECT_EQ(task.numPositions, 0U);
    EXPECT_EQ(task.fetchDistance, 8192U);
}

TEST_P(CutSurfels, RandomViewsAndLayoutsGiveTheBitsOfTheReference)
{
    std::size_t numChanged = 0;
    for (std::uint64_t seed = 0; seed < 3000; ++seed)
    {
        CRandomCuts random(seed);
        const auto selection = random.MakeSelection();
        const SRandomInput input = random.MakeInput(*selection);
        const CScene scene(selection, input.trafo);
        const auto& positions = input.collection->GetPositions();
        SCutSurfelsTask task = scene.GetTask();
        task.firstPosition = positions.GetFirstElement();
        task.positionStride = positions.GetStrideInBytes();
        Words oldWords = input.bitMasks;
        oldWords.resize(input.positions.size());
        const auto count = static_cast<std::uint32_t>(input.positions.size());
        const auto begin = static_cast<std::uint32_t>(seed % 3 == 0 ? count / 5 : 0);
        const auto end = static_cast<std::uint32_t>(seed % 5 == 0 ? count - count / 7 : count);
        expectSameAsScalar(task, oldWords, begin, end);
        if (HasFatalFailure())
        {
            FAIL() << "seed " << seed;
        }
        numChanged += Cut(kernel(), task, OldWords::None, oldWords, begin, end).hasChanged ? 1 : 0;
    }
    EXPECT_GT(numChanged, 500U);
    EXPECT_LT(numChanged, 2900U);
}

TEST_P(CutSurfels, EveryCountAndBeginGivesTheBitsOfTheReference)
{
    const CScene scene(TestSupport::MakeDeviceSelection(5, 5, {{2, 2}, {3, 2}, {2, 3}}));
    for (const std::size_t stride : {11U, 12U, 15U, 16U, 20U})
    {
        for (std::uint32_t count = 0; count <= 70; ++count)
        {
            std::vector<std::byte> bytes(count * stride + sizeof(LqVector3f));
            Words oldWords(count);
            for (std::uint32_t index = 0; index < count; ++index)
            {
                WritePosition(bytes.data() + index * stride, index);
                oldWords[index].bits = static_cast<std::uint16_t>(index * 40503U);
            }
            SCutSurfelsTask task = scene.GetTask();
            task.firstPosition = bytes.data();
            task.positionStride = stride;
            for (std::uint32_t begin = 0; begin <= count; begin += 1 + begin / 8)
            {
                expectSameAsScalar(task, oldWords, begin, count);
                ASSERT_FALSE(HasFatalFailure()) << stride << ", " << count;
            }
        }
    }
}

TEST_P(CutSurfels, PositionsAnywhereInALineOfTheCacheGiveTheBitsOfTheReference)
{
    const CScene scene(TestSupport::MakeDeviceSelection(5, 5, {{2, 2}, {3, 2}, {2, 3}}));
    constexpr std::uint32_t c_count = 1100;
    constexpr std::size_t c_line = 64;
    for (const std::size_t stride : {11U, 12U, 16U, 24U})
    {
        for (std::size_t offset = 0; offset < c_line; ++offset)
        {
            std::vector<std::byte> bytes(2 * c_line + c_count * stride);
            const auto address = reinterpret_cast<std::uintptr_t>(bytes.data());
            std::byte* const first = bytes.data() + (c_line - address % c_line) + offset;
            for (std::uint32_t index = 0; index < c_count; ++index)
            {
                WritePosition(first + index * stride, index);
            }
            SCutSurfelsTask task = scene.GetTask();
            task.firstPosition = first;
            task.positionStride = stride;
            expectSameAsScalar(task, Words(c_count, {0x1001}), offset % 2, c_count);
            ASSERT_FALSE(HasFatalFailure()) << stride << ", " << offset;
        }
    }
}

TEST_P(CutSurfels, NothingIsReadBeyondTheLastPosition)
{
    const CScene scene(TestSupport::MakeFullyPaintedDeviceSelection(4, 4));
    for (const std::size_t stride : {0U, 1U, 4U, 12U, 13U, 16U, 17U, 20U, 24U, 63U, 64U, 100U})
    {
        for (const std::size_t count : {16U, 32U, 33U, 64U})
        {
            expectSameAsScalar(scene, std::vector<LqVector3f>(count, {0.1F, 0.1F, 0.5F}), stride);
        }
    }
}

TEST_P(CutSurfels, RangesBeforeTheLastPositionGiveTheBitsOfTheReference)
{
    const CScene scene(TestSupport::MakeDeviceSelection(5, 5, {{2, 2}, {3, 2}, {2, 3}}));
    constexpr std::uint32_t c_count = 67;
    for (const std::size_t stride : {12U, 13U, 14U, 16U, 20U})
    {
        const TestSupport::CLastBytes memory((c_count - 1) * stride + sizeof(LqVector3f));
        std::byte* const bytes = memory.Get().data();
        for (std::uint32_t index = 0; index < c_count; ++index)
        {
            WritePosition(bytes + index * stride, index);
        }
        SCutSurfelsTask task = scene.GetTask();
        task.firstPosition = bytes;
        task.positionStride = stride;
        task.numPositions = c_count;
        for (std::uint32_t begin = 0; begin < c_count; ++begin)
        {
            for (std::uint32_t end = begin; end <= c_count; ++end)
            {
                expectSameAsScalar(task, Words(c_count, {0x1001}), begin, end);
                ASSERT_FALSE(HasFatalFailure()) << stride;
            }
        }
    }
}

TEST_P(CutSurfels, EveryLaneIsItsOwnSurfel)
{
    const CScene scene(TestSupport::MakeDeviceSelection(4, 4, {{2, 2}}));
    for (const std::size_t stride : {12U, 16U, 28U})
    {
        for (std::size_t cut = 0; cut < 64; ++cut)
        {
            std::vector<LqVector3f> positions(64, {-0.9F, 0.9F, 0.5F});
            positions[cut] = {0.1F, -0.1F, 0.5F};
            std::vector<std::byte> bytes(positions.size() * stride);
            for (std::size_t index = 0; index < positions.size(); ++index)
            {
                std::memcpy(bytes.data() + index * stride, &positions[index], sizeof(LqVector3f));
            }
            SCutSurfelsTask task = scene.GetTask();
            task.firstPosition = bytes.data();
            task.positionStride = stride;
            Words expected(64);
            expected[cut].bits = 8;
            EXPECT_EQ(Cut(kernel(), task, OldWords::None, Words(64), 0, 64), (SCut{true, expected}))
                << stride << ", " << cut;
        }
    }
}

/// The values about which a coordinate changes its pixel, and some far from any.
std::vector<float> CoordinatesAboutPixels(std::uint32_t size)
{
    std::vector<float> values{c_nan,
                              c_infinity,
                              -c_infinity,
                              0.0F,
                              -0.0F,
                              std::numeric_limits<float>::denorm_min(),
                              -std::numeric_limits<float>::denorm_min(),
                              std::numeric_limits<float>::min(),
                              std::numeric_limits<float>::max(),
                              std::numeric_limits<float>::lowest(),
                              1e9F,
                              -1e9F,
                              0x1p31F,
                              -0x1p31F,
                              0x1p32F};
    for (std::uint32_t pixel = 0; pixel <= size; ++pixel)
    {
        const float border = 2.0F * static_cast<float>(pixel) / static_cast<float>(size) - 1.0F;
        for (const float toward : {-c_infinity, c_infinity})
        {
            float value = border;
            for (unsigned step = 0; step < 4; ++step)
            {
                values.push_back(value);
                value = std::nextafter(value, toward);
            }
        }
    }
    return values;
}

TEST_P(CutSurfels, EveryPixelBorderGivesTheBitsOfTheReference)
{
    std::vector<LqVector3f> positions;
    for (const float x : CoordinatesAboutPixels(7))
    {
        for (const float y : CoordinatesAboutPixels(5))
        {
            positions.push_back({x, -y, 0.5F});
        }
    }
    const std::vector<TestSupport::SPixel> painted{{1, 1}, {3, 2}, {4, 2}, {6, 4}};
    for (const std::size_t stride : {12U, 16U, 20U})
    {
        expectSameAsScalar(CScene(TestSupport::MakeFullyPaintedDeviceSelection(7, 5)), positions,
                           stride);
        expectSameAsScalar(CScene(TestSupport::MakeDeviceSelection(7, 5, painted)), positions,
                           stride);
        for (const TestSupport::SPixel& pixel : painted)
        {
            expectSameAsScalar(CScene(TestSupport::MakeDeviceSelection(7, 5, {pixel})), positions,
                               stride);
        }
    }
}

TEST_P(CutSurfels, EveryPixelBorderOfALassoGivesTheBitsOfTheReference)
{
    constexpr std::uint32_t c_width = 40;
    constexpr std::uint32_t c_height = 30;
    std::vector<TestSupport::SPixel> painted;
    for (std::uint32_t row = 0; row < c_height; ++row)
    {
        for (std::uint32_t column = 0; column < c_width; ++column)
        {
            if (std::abs(static_cast<int>(column) - 21) + std::abs(static_cast<int>(row) - 14) < 13)
            {
                painted.push_back({column, row});
            }
        }
    }
    std::vector<LqVector3f> positions;
    for (const float x : CoordinatesAboutPixels(c_width))
    {
        for (const float y : CoordinatesAboutPixels(c_height))
        {
            positions.push_back({x, -y, 0.5F});
        }
    }
    const CScene scene(TestSupport::MakeDeviceSelection(c_width, c_height, painted));
    expectSameAsScalar(scene, positions, 16);
}

TEST_P(CutSurfels, EveryKindOfWGivesTheBitsOfTheReference)
{
    // w is the position's z.
    LqMatrix4Rd lens = c_matIdentityD;
    lens(2, 3) = 1.0;
    lens(3, 3) = 0.0;
    const CScene painted(TestSupport::MakeFullyPaintedDeviceSelection(6, 6), lens);
    // With a pixel that is not painted, pixels are looked up.
    std::vector<std::uint8_t> mask(36, 1);
    mask[3 * 6 + 3] = 0;
    const CScene pierced(TestSupport::MakeDeviceSelection(mask, 6, 6), lens);
    const std::vector<float> values = CoordinatesAboutPixels(2);
    std::vector<LqVector3f> positions;
    for (const float w : values)
    {
        for (const float x : values)
        {
            positions.push_back({x, 0.25F * w, w});
            positions.push_back({-0.5F * w, x, w});
        }
    }
    for (const std::size_t stride : {12U, 16U, 20U})
    {
        expectSameAsScalar(painted, positions, stride);
        expectSameAsScalar(pierced, positions, stride);
    }
}

TEST_P(CutSurfels, ProductsAreSummedInTheGivenOrder)
{
    constexpr float c_large = 0x1p24F;
    struct SCase
    {
        LqVector3f position;
        float one;
    };
    const CScene scene(TestSupport::MakeDeviceSelection(64, 64, {{32, 32}}));
    // From left to right the 1 is lost and the sum is 0, the middle of the view; in another order
    // it is 1, the border.
    for (const SCase& sum :
         {SCase{{1.0F, c_large, -c_large}, 0.0F}, SCase{{1.0F, 0.0F, c_large}, -c_large},
          SCase{{0.0F, 1.0F, c_large}, -c_large}})
    {
        const std::vector<LqVector3f> positions(40, sum.position);
        for (const bool isColumn : {true, false})
        {
            SCutSurfelsTask task = scene.GetTask();
            float(&clip)[4] = isColumn ? task.clipX : task.clipY;
            float(&otherClip)[4] = isColumn ? task.clipY : task.clipX;
            for (std::size_t row = 0; row < 4; ++row)
            {
                clip[row] = row < 3 ? 1.0F : sum.one;
                otherClip[row] = 0.0F;
                task.clipW[row] = row < 3 ? 0.0F : 1.0F;
            }
            task.firstPosition = reinterpret_cast<const std::byte*>(positions.data());
            task.positionStride = sizeof(LqVector3f);
            EXPECT_EQ(Cut(kernel(), task, OldWords::None, Words(40), 0, 40),
                      (SCut{true, Words(40, {CSurfelBitMask::SurfelFlagCut})}));
        }
    }
}

TEST_P(CutSurfels, WideMasksGiveTheBitsOfTheReference)
{
    constexpr std::uint32_t c_width = 1000;
    constexpr std::uint32_t c_height = 3;
    std::vector<std::uint8_t> mask(std::size_t{c_width} * c_height);
    std::vector<LqVector3f> positions;
    for (std::uint32_t column = 0; column < c_width; ++column)
    {
        mask[c_width + column] = column % 3 == 1 || column / 40 % 2 == 0 ? 1 : 0;
        mask[2 * c_width + column] = column % 5 == 0 ? 1 : 7;
        const float x = (2.0F * static_cast<float>(column) + 1.0F) / 1000.0F - 1.0F;
        positions.push_back({x, 0.0F, 0.5F});
        positions.push_back({x, -0.5F, 0.5F});
    }
    expectSameAsScalar(CScene(TestSupport::MakeDeviceSelection(mask, c_width, c_height)), positions,
                       12);
}

TEST_P(CutSurfels, WordsAnyDistanceApartGiveTheBitsOfTheReference)
{
    constexpr std::uint32_t c_numWords = 40;
    constexpr std::uint32_t c_width = 1 + 32 * c_numWords;
    std::vector<std::uint8_t> mask(std::size_t{2} * c_width, 1);
    for (std::uint32_t column = 1; column < c_width; ++column)
    {
        // The words differ, and so do the pixels of a word.
        mask[c_width + column] = column * 2654435761U >> 31 == 0 ? 1 : 0;
    }
    const CScene scene(TestSupport::MakeDeviceSelection(mask, c_width, 2));
    const auto onWord = [](std::uint32_t word, std::uint32_t pixel) {
        const auto column = static_cast<float>(1 + 32 * word + pixel) + 0.5F;
        return LqVector3f{2.0F * column / static_cast<float>(c_width) - 1.0F, -0.5F, 0.5F};
    };
    for (std::uint32_t first = 0; first < c_numWords; ++first)
    {
        for (std::uint32_t other = 0; other < c_numWords; ++other)
        {
            std::vector<LqVector3f> positions;
            for (std::uint32_t index = 0; index < 32; ++index)
            {
                positions.push_back(onWord(index == first % 16 ? other : first, index));
            }
            expectSameAsScalar(scene, positions, other % 2 == 0 ? 12 : 16);
            ASSERT_FALSE(HasFailure()) << first << ", " << other;
        }
    }
}

TEST_P(CutSurfels, ScatteredSurfelsGiveTheBitsOfTheReference)
{
    // A quarter of the view has paint, every other pixel of it at random.
    constexpr std::uint32_t c_size = 128;
    std::mt19937 random(1);
    std::vector<std::uint8_t> mask(std::size_t{c_size} * c_size);
    for (std::uint32_t pixel = 0; pixel < mask.size(); ++pixel)
    {
        const bool isInside = pixel / c_size >= c_size / 2 && pixel % c_size >= c_size / 2;
        mask[pixel] = isInside ? random() % 2 : 0;
    }
    const CScene scene(TestSupport::MakeDeviceSelection(mask, c_size, c_size));
    const auto within = [&](float first, float end) {
        return first + (end - first) * static_cast<float>(random() % 4096) / 4096.0F;
    };
    for (unsigned numInside = 0; numInside <= 16; ++numInside)
    {
        std::vector<LqVector3f> positions(1500);
        for (std::size_t index = 0; index < positions.size(); ++index)
        {
            // Of sixteen in a row always as many: also the fullest groups are not quite full.
            const bool isInside = index * 5 % 16 < numInside;
            positions[index] = isInside ? LqVector3f{within(0.1F, 0.9F), -within(0.1F, 0.9F), 0.5F}
                                        : LqVector3f{within(-1.0F, 1.0F), 0.5F, 0.5F};
        }
        for (const std::size_t stride : {12U, 16U, 20U})
        {
            expectSameAsScalar(scene, positions, stride);
            ASSERT_FALSE(HasFailure()) << numInside << ", " << stride;
        }
    }
}

TEST_P(CutSurfels, NothingPaintedKeepsTheWords)
{
    const CScene scene(TestSupport::MakeDeviceSelection(4, 4, {{0, 2}, {3, 0}}));
    expectSameAsScalar(scene, std::vector<LqVector3f>(40, {0.1F, 0.1F, 0.5F}), 12);
}

TEST_P(CutSurfels, WordsThatAreCutAlreadyAreNoChange)
{
    const CScene scene(TestSupport::MakeFullyPaintedDeviceSelection(4, 4));
    const std::vector<LqVector3f> positions(50, {0.1F, 0.1F, 0.5F});
    SCutSurfelsTask task = scene.GetTask();
    task.firstPosition = reinterpret_cast<const std::byte*>(positions.data());
    task.positionStride = sizeof(LqVector3f);
    Words words(50, {0xFFF8});
    EXPECT_EQ(Cut(kernel(), task, OldWords::OfTheirOwn, words, 0, 50), (SCut{false, words}));
    for (Words::iterator word = words.begin(); word != words.end(); ++word)
    {
        word->bits = 0xFFF0;
        EXPECT_TRUE(Cut(kernel(), task, OldWords::OfTheirOwn, words, 0, 50).hasChanged);
        EXPECT_TRUE(Cut(kernel(), task, OldWords::InPlace, words, 0, 50).hasChanged);
        word->bits = 0xFFF8;
    }
}

// The choice

}  // namespace

}  // namespace DataLayer
