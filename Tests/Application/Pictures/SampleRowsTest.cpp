#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>
#include <numeric>
#include <optional>
#include <random>
#include <string_view>
#include <vector>

#include "Application/Pictures/CDepthBuffer.h"
#include "Application/Pictures/CDepthPlane.h"
#include "Application/Pictures/CDepthPyramid.h"
#include "Application/Pictures/CSampleOffsets.h"
#include "Application/Pictures/CSurfaceBand.h"
#include "Application/Pictures/Kernels/SampleRowsKernels.h"

namespace
{

using Application::CDepthBuffer;
using Application::CDepthPlane;
using Application::CDepthPyramid;
using Application::CSampleOffsets;
using Application::CSurfaceBand;
using Application::GetSampleRowsKernels;
using Application::SDotsTask;
using Application::SSampleRows;
using Application::SSampleRowsKernels;
using Application::SSampleWord;
using Application::SShadingTask;

constexpr std::uint32_t c_height = 9;
constexpr std::uint32_t c_reach = 8;
constexpr float c_sampleSize = 0.01F;

/// A rough surface with gaps, so many percent of it there, and so many of those with a normal.
CDepthBuffer MakeBuffer(std::uint32_t width, unsigned percent, unsigned percentOfNormals)
{
    std::mt19937 random(width + percent);
    const auto next = [&] { return static_cast<float>(random()) * 0x1p-32F; };
    CDepthBuffer buffer(width, c_height);
    for (std::size_t index = 0; index < std::size_t{width} * c_height; ++index)
    {
        const float x = next() - 0.5F;
        const float y = next() - 0.5F;
        const bool hasNormal = random() % 100 < percentOfNormals;
        const float depth = 1.0F + (random() % 9 == 0 ? 0.5F : 0.02F) * next();
        if (random() % 100 < percent)
        {
            buffer.Draw(index,
                        CDepthBuffer::Pack(depth, random() % CDepthBuffer::c_numLooks,
                                           {x, y, std::sqrt(1.0F - x * x - y * y), hasNormal}));
        }
    }
    return buffer;
}

/// What a kernel makes of a buffer, and the task that it is given.
class CDots
{
public:
    /// \p largest: the largest radius, c_reach at most.
    CDots(const CDepthBuffer& buffer, bool isPerspective, float sampleSize = c_sampleSize,
          float largest = 4.25F, std::uint32_t numGrids = 0)
        : m_buffer(buffer),
          m_plane(buffer, c_reach),
          m_offsets(0.0F, c_reach, CSampleOffsets::EKept::All, m_plane.GetStride()),
          m_ring(2.1F, 3.9F, CSampleOffsets::EKept::OneOfOpposites, m_plane.GetStride()),
          m_rim(0.0F, 5.0F, CSampleOffsets::EKept::HalfOfFarOnes, m_plane.GetStride())
    {
        const auto stride = static_cast<std::ptrdiff_t>(m_plane.GetStride());
        m_task.depths = {m_plane.GetFirst(), stride,        buffer.GetWidth(),
                         c_height,           isPerspective, sampleSize};
        m_task.offsets = m_offsets.Get();
        m_task.ring = m_ring.Get();
        m_task.rim = m_rim.Get();
        m_task.singleRadius = 1.5F;
        m_pyramid.emplace(m_task.depths, numGrids);
        m_task.coarser = m_pyramid->GetGrids().data();
        m_task.numCoarser = numGrids;
        m_largest = static_cast<std::uint8_t>(largest * SSampleRows::c_radiusUnits);
    }

    [[nodiscard]] std::vector<std::uint8_t> FindRadii(const SSampleRowsKernels& kernels) const
    {
        std::vector<std::uint8_t> radii(m_buffer.GetWidth() * c_height + SSampleRows::c_margin);
        for (std::uint32_t row = 0; row < c_height; ++row)
        {
            kernels.findRadii(m_task, row, &radii[m_buffer.IndexOf(0, row)]);
        }
        return radii;
    }

    /// With the words of the buffer, or with this one for all.
    [[nodiscard]] std::vector<std::uint64_t> Draw(
        const SSampleRowsKernels& kernels, const std::vector<std::uint8_t>& radii,
        const std::optional<std::uint32_t>& bareWord = std::nullopt) const
    {
        std::vector<std::uint64_t> target(m_buffer.GetWidth() * c_height, CDepthBuffer::c_empty);
        for (std::uint32_t row = 0; row < c_height; ++row)
        {
            const std::size_t first = m_buffer.IndexOf(0, row);
            kernels.drawDots(m_task, row,
                             {bareWord ? nullptr : m_buffer.GetWords() + first,
                              bareWord.value_or(0), &radii[first], m_largest, target.data()});
        }
        return target;
    }

private:
    const CDepthBuffer& m_buffer;
    CDepthPlane m_plane;
    CSampleOffsets m_offsets;
    CSampleOffsets m_ring;
    CSampleOffsets m_rim;
    SDotsTask m_task;
    std::optional<CDepthPyramid> m_pyramid;
    std::uint8_t m_largest = 0;
};

/// Widths around whole groups of every kernel, and one that is more than a kernel keeps at a time.
const std::vector<std::uint32_t> c_widths = {1,  3,  4,  5,  7,  8,  9,  15,  16,
                                             17, 31, 32, 33, 47, 61, 64, 100, 2070};

/// Calls \p visit(buffer, isPerspective) for pictures of all kinds.
template <typename Visit>
void ForEachPicture(const Visit& visit)
{
    for (const std::uint32_t width : c_widths)
    {
        for (const unsigned percent : {4U, 30U, 100U})
        {
            for (const unsigned percentOfNormals : {0U, 50U, 100U})
            {
                visit(MakeBuffer(width, percent, percentOfNormals), width % 2 == 0);
            }
        }
    }
}

TEST(SampleRows, FindRadii_IsThatOfTheReferenceForEveryKernel)
{
    const SSampleRowsKernels reference = GetSampleRowsKernels().back();
    ForEachPicture([&](const CDepthBuffer& buffer, bool isPerspective) {
        const CDots dots(buffer, isPerspective);
        const std::vector<std::uint8_t> expected = dots.FindRadii(reference);
        for (const SSampleRowsKernels& kernels : GetSampleRowsKernels())
        {
            ASSERT_EQ(dots.FindRadii(kernels), expected) << kernels.name << buffer.GetWidth();
        }
    });
}

TEST(SampleRows, DrawDots_IsThatOfTheReferenceForEveryKernel)
{
    const SSampleRowsKernels reference = GetSampleRowsKernels().back();
    ForEachPicture([&](const CDepthBuffer& buffer, bool isPerspective) {
        const CDots dots(buffer, isPerspective);
        const std::vector<std::uint8_t> radii = dots.FindRadii(reference);
        const std::vector<std::uint64_t> expected = dots.Draw(reference, radii);
        for (const SSampleRowsKernels& kernels : GetSampleRowsKernels())
        {
            ASSERT_EQ(dots.Draw(kernels, radii), expected) << kernels.name << buffer.GetWidth();
        }
    });
}

TEST(SampleRows, DrawDots_WithCoarserGridsIsThatOfTheReferenceForEveryKernel)
{
    const SSampleRowsKernels reference = GetSampleRowsKernels().back();
    bool isOther = false;
    ForEachPicture([&](const CDepthBuffer& buffer, bool isPerspective) {
        const CDots dots(buffer, isPerspective, c_sampleSize, c_reach, 2);
        const std::vector<std::uint8_t> radii = dots.FindRadii(reference);
        const std::vector<std::uint64_t> expected = dots.Draw(reference, radii);
        isOther |= expected !=
                   CDots(buffer, isPerspective, c_sampleSize, c_reach, 0).Draw(reference, radii);
        for (const SSampleRowsKernels& kernels : GetSampleRowsKernels())
        {
            ASSERT_EQ(dots.Draw(kernels, radii), expected) << kernels.name << buffer.GetWidth();
        }
    });
    EXPECT_TRUE(isOther);
}

TEST(SampleRows, DrawDots_OneWordForAllIsAsGoodAsEqualOnes)
{
    const auto bareWord = static_cast<std::uint32_t>(CDepthBuffer::Pack(0.0F, 515, {}));
    for (const std::uint32_t width : c_widths)
    {
        const CDepthBuffer depths = MakeBuffer(width, 40, 0);
        CDepthBuffer buffer(width, c_height);
        for (std::size_t index = 0; index < std::size_t{width} * c_height; ++index)
        {
            if (depths.Get(index) != CDepthBuffer::c_empty)
            {
                buffer.Draw(index,
                            CDepthBuffer::Pack(CDepthBuffer::DepthOf(depths.Get(index)), 515, {}));
            }
        }
        const CDots dots(buffer, true);
        for (const SSampleRowsKernels& kernels : GetSampleRowsKernels())
        {
            const std::vector<std::uint8_t> radii = dots.FindRadii(kernels);
            ASSERT_EQ(dots.Draw(kernels, radii, bareWord), dots.Draw(kernels, radii))
                << kernels.name << width;
        }
    }
}

TEST(SampleRows, DrawDots_NormalsThatAreNoNumbersLeaveTheLooksForEveryKernel)
{
    CDepthBuffer buffer(64, c_height);
    for (std::size_t index = 0; index < std::size_t{64} * c_height; index += 3)
    {
        buffer.Draw(index, CDepthBuffer::Pack(1.0F, 0, {}));
    }
    // Planes that are fitted with samples of that size have no slope.
    const CDots dots(buffer, true, std::numeric_limits<float>::infinity());
    for (const SSampleRowsKernels& kernels : GetSampleRowsKernels())
    {
        std::uint32_t numDrawn = 0;
        for (const std::uint64_t word : dots.Draw(
                 kernels, std::vector<std::uint8_t>(65 * c_height + SSampleRows::c_margin, 17)))
        {
            if (word != CDepthBuffer::c_empty)
            {
                ++numDrawn;
                EXPECT_EQ(CDepthBuffer::LookOf(word), 0U) << kernels.name;
            }
        }
        EXPECT_GT(numDrawn, 0U) << kernels.name;
    }
}

TEST(SampleRows, Unpack_IsWhatTheBufferSaysForEveryKernelAndCount)
{
    constexpr float c_untouched = -7.0F;
    CDepthBuffer buffer = MakeBuffer(37, 70, 50);
    // Rounded, it is longer than 1.
    buffer.Draw(0, CDepthBuffer::Pack(0.5F, 0, {0.7075F, 0.7075F, 0.0F, true}));
    for (const SSampleRowsKernels& kernels : GetSampleRowsKernels())
    {
        for (std::uint32_t count = 0; count <= buffer.GetWidth(); ++count)
        {
            std::vector<float> depths(count + 1, c_untouched);
            std::vector<std::vector<float>> normals(3, depths);
            kernels.unpack(buffer.GetWords(), count, depths.data(),
                           {normals[0].data(), normals[1].data(), normals[2].data()});
            for (std::uint32_t index = 0; index < count; ++index)
            {
                const std::uint64_t word = buffer.Get(index);
                const auto normal = CDepthBuffer::NormalOf(word);
                if (word == CDepthBuffer::c_empty)
                {
                    ASSERT_TRUE(std::isnan(depths[index])) << kernels.name << index;
                    continue;
                }
                ASSERT_EQ(depths[index], CDepthBuffer::DepthOf(word)) << kernels.name << index;
                ASSERT_EQ(normals[0][index], normal.x) << kernels.name << index;
                ASSERT_EQ(normals[1][index], normal.y) << kernels.name << index;
                ASSERT_EQ(normals[2][index], normal.z) << kernels.name << index;
            }
            ASSERT_EQ(depths[count], c_untouched) << kernels.name << count;
            ASSERT_EQ(normals[2][count], c_untouched) << kernels.name << count;
        }
    }
}

TEST(SampleRows, Unpack_IsWhatTheBufferSaysForEveryKernelAndCode)
{
    constexpr std::uint32_t c_numCodes = SSampleWord::c_noNormal;
    std::vector<std::uint64_t> words;
    for (std::uint32_t code = 0; code < c_numCodes; ++code)
    {
        const std::uint32_t codes = code << SSampleWord::c_normalBits | (c_numCodes - code);
        words.push_back(CDepthBuffer::WithDepth(codes, 1.0F));
    }
    for (const SSampleRowsKernels& kernels : GetSampleRowsKernels())
    {
        std::vector<float> depths(c_numCodes);
        std::vector<std::vector<float>> normals(3, depths);
        kernels.unpack(words.data(), c_numCodes, depths.data(),
                       {normals[0].data(), normals[1].data(), normals[2].data()});
        for (std::uint32_t code = 0; code < c_numCodes; ++code)
        {
            const auto normal = CDepthBuffer::NormalOf(words[code]);
            ASSERT_EQ(normals[0][code], normal.x) << kernels.name << code;
            ASSERT_EQ(normals[1][code], normal.y) << kernels.name << code;
            ASSERT_EQ(normals[2][code], normal.z) << kernels.name << code;
        }
    }
}

TEST(SampleRows, FindTones_AreThoseOfTheReferenceForEveryKernel)
{
    const SSampleRowsKernels reference = GetSampleRowsKernels().back();
    ForEachPicture([&](const CDepthBuffer& buffer, bool isPerspective) {
        for (const std::uint32_t samplesPerSide : {1U, 2U})
        {
            CSurfaceBand band(buffer, c_height, SSampleRows::c_farDistance * samplesPerSide);
            band.Load(0, c_height);
            for (std::uint32_t row = 0; row < c_height; ++row)
            {
                SShadingTask task;
                task.depths = {band.GetDepths(row), band.GetStride(), buffer.GetWidth(), c_height,
                               isPerspective,       c_sampleSize};
                for (std::size_t axis = 0; axis < 3; ++axis)
                {
                    task.normals[axis] = band.GetNormals(axis, row);
                }
                task.samplesPerSide = samplesPerSide;
                const auto findTones = [&](const SSampleRowsKernels& kernels) {
                    std::vector<std::uint8_t> tones(buffer.GetWidth() + SSampleRows::c_margin);
                    kernels.findTones(task, row, tones.data());
                    tones.resize(buffer.GetWidth());
                    return tones;
                };
                const std::vector<std::uint8_t> expected = findTones(reference);
                for (std::uint32_t column = 0; column < buffer.GetWidth(); ++column)
                {
                    ASSERT_EQ(expected[column] == SSampleRows::c_noTone,
                              buffer.Get(buffer.IndexOf(column, row)) == CDepthBuffer::c_empty);
                }
                for (const SSampleRowsKernels& kernels : GetSampleRowsKernels())
                {
                    ASSERT_EQ(findTones(kernels), expected) << kernels.name << buffer.GetWidth();
                }
            }
        }
    });
}

TEST(SampleRows, FindTones_CountsFromTheFirstToneAndFillsTheBackgroundInForEveryKernel)
{
    ForEachPicture([&](const CDepthBuffer& buffer, bool isPerspective) {
        CSurfaceBand band(buffer, c_height, SSampleRows::c_farDistance);
        band.Load(0, c_height);
        SShadingTask task;
        task.depths = {band.GetDepths(4), band.GetStride(), buffer.GetWidth(),
                       c_height,          isPerspective,    c_sampleSize};
        for (std::size_t axis = 0; axis < 3; ++axis)
        {
            task.normals[axis] = band.GetNormals(axis, 4);
        }
        SShadingTask numbered = task;
        numbered.firstTone = 135;
        std::iota(std::begin(numbered.background), std::end(numbered.background), 20);
        for (const SSampleRowsKernels& kernels : GetSampleRowsKernels())
        {
            const std::size_t size = buffer.GetWidth() + SSampleRows::c_margin;
            std::vector<std::uint8_t> tones(size);
            std::vector<std::uint8_t> numbers(size);
            kernels.findTones(task, 4, tones.data());
            kernels.findTones(numbered, 4, numbers.data());
            for (std::uint32_t column = 0; column < buffer.GetWidth(); ++column)
            {
                const std::uint32_t expected =
                    tones[column] == SSampleRows::c_noTone ? 20 + column % 4 : 135U + tones[column];
                ASSERT_EQ(numbers[column], expected) << kernels.name << column;
            }
        }
    });
}

TEST(SampleRows, GetKernels_AreThoseThatTheProcessorRunsTheReferenceLast)
{
    std::vector<std::string_view> names;
    for (const SSampleRowsKernels& kernels : GetSampleRowsKernels())
    {
        names.emplace_back(kernels.name);
    }
    std::vector<std::string_view> expected;
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx512f") != 0)
    {
        expected.emplace_back("avx512");
    }
    if (__builtin_cpu_supports("avx2") != 0)
    {
        expected.emplace_back("avx2");
    }
#endif
    expected.emplace_back("vector128");
    EXPECT_EQ(names, expected);
}

TEST(SampleRows, GetFastestKernels_AreTheFirst)
{
    EXPECT_STREQ(Application::GetFastestSampleRowsKernels().name,
                 GetSampleRowsKernels().front().name);
}

}  // namespace
