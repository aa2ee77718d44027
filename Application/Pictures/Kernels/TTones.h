#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "Application/Pictures/Kernels/SampleRows.h"

// Included by each kernel's source once. The unnamed namespace keeps what is compiled for one
// instruction set out of the others' code.
namespace Application
{
namespace
{

/// Unpacks samples and finds how bright they are with the vectors of one instruction set; see
/// TDots.
///
/// \tparam Vector also has `Larger(a, b)`, which is a > b ? a : b, and `Smaller(a, b)`: compilers
/// compare and then choose where one instruction does both.
template <typename Vector>
class TTones
{
public:
    explicit TTones(const SShadingTask& task)
        : m_task(task),
          m_near(task, static_cast<std::int32_t>(task.samplesPerSide)),
          m_far(task, SSampleRows::c_farDistance * static_cast<std::int32_t>(task.samplesPerSide))
    {}

    static void Unpack(const std::uint64_t* words, std::uint32_t count, float* depths,
                       float* const (&normals)[3])
    {
        std::uint32_t first = 0;
        for (; first + c_width <= count; first += c_width)
        {
            unpack(words + first, depths + first,
                   {normals[0] + first, normals[1] + first, normals[2] + first});
        }
        if (first != count)
        {
            std::uint64_t lastWords[c_width] = {};
            float last[4][c_width];
            std::memcpy(lastWords, words + first, (count - first) * sizeof lastWords[0]);
            unpack(lastWords, last[3], {last[0], last[1], last[2]});
            for (std::size_t axis = 0; axis < 3; ++axis)
            {
                std::memcpy(normals[axis] + first, last[axis], (count - first) * sizeof(float));
            }
            std::memcpy(depths + first, last[3], (count - first) * sizeof(float));
        }
    }

    void Find(std::uint32_t row, std::uint8_t* tones) const
    {
        const Floats thresholds = findThresholds(row);
        const Integers background = findBackground();
        const Floats last = Floats() + static_cast<float>(SSampleRows::c_numTones - 1);
        for (std::uint32_t column = 0; column < m_task.depths.width; column += c_width)
        {
            const Floats depths = loadDepths(column, 0);
            const Integers isThere = depths == depths;
            if (Vector::Bits(isThere) == 0)
            {
                Vector::StoreBytes(background, tones + column);
                continue;
            }
            const Floats found = findBrightness(column, depths) * SSampleRows::c_tonesPerUnit;
            const Integers chosen =
                __builtin_convertvector(Vector::Smaller(found, last) + thresholds, Integers);
            Vector::StoreBytes(isThere ? chosen + m_task.firstTone : background, tones + column);
        }
    }

private:
    using Floats = typename Vector::Floats;
    using Integers = typename Vector::Integers;
    static constexpr std::uint32_t c_width = Vector::c_width;
    static_assert(c_width <= SSampleRows::c_margin);

    /// How steep, as the tangent of its angle to the picture, a surface may be to count as one.
    static constexpr float c_maxSlope = 5.0F;

    /// Where the surroundings of a sample at a distance are, in eight directions.
    struct SRing
    {
        SRing(const SShadingTask& task, std::int32_t distance)
            : radius(static_cast<float>(distance))
        {
            constexpr std::int32_t c_directions[8][2] = {{4, 0},  {3, 3},   {0, 4},  {-3, 3},
                                                         {-4, 0}, {-3, -3}, {0, -4}, {3, -3}};
            for (const std::int32_t(&direction)[2] : c_directions)
            {
                const std::ptrdiff_t step =
                    direction[0] * distance / 4 + direction[1] * distance / 4 * task.depths.stride;
                // The sample itself, where the distance is small, is not nearer.
                if (step != 0)
                {
                    steps[count++] = step;
                }
            }
        }

        float radius;
        std::ptrdiff_t steps[8] = {};
        std::uint32_t count = 0;
    };

    struct SNormals
    {
        Floats x;
        Floats y;
        Floats z;
    };

    [[nodiscard]] static Floats load(const float* first)
    {
        Floats values;
        std::memcpy(&values, first, sizeof values);
        return values;
    }
    /// A group.
    static void unpack(const std::uint64_t* words, float* depths, float* const (&normals)[3])
    {
        std::uint32_t highs[c_width] = {};
        std::int32_t lows[c_width] = {};
        for (std::uint32_t lane = 0; lane < c_width; ++lane)
        {
            highs[lane] = static_cast<std::uint32_t>(words[lane] >> 32U);
            lows[lane] = static_cast<std::int32_t>(words[lane]);
        }
        std::memcpy(depths, highs, sizeof highs);
        const Floats found = load(depths);
        // Around most shapes there is much that is empty, and nobody asks for its normals.
        if (Vector::Bits(found == found) == 0)
        {
            return;
        }
        Integers codes;
        std::memcpy(&codes, lows, sizeof codes);
        const Integers codesX = (codes >> SSampleWord::c_normalBits) & SSampleWord::c_noNormal;
        const Integers isThere = codesX != SSampleWord::c_noNormal;
        const Floats zero{};
        const Floats x = decode(codesX);
        const Floats y = decode(codes & SSampleWord::c_noNormal);
        const Floats squaredZ = 1.0F - x * x - y * y;
        const Floats z = Vector::SquareRoot(Vector::Larger(squaredZ, zero));
        const Floats components[3] = {isThere ? x : zero, isThere ? y : zero, isThere ? z : zero};
        for (std::size_t axis = 0; axis < 3; ++axis)
        {
            std::memcpy(normals[axis], &components[axis], sizeof components[axis]);
        }
    }
    [[nodiscard]] static Floats decode(Integers codes)
    {
        // Divided by the scale, to the bit, without the time that it takes: both products are
        // exact, and the factors are the scale's inverse but for 2^-50.
        static_assert(SSampleWord::c_normalScale == 1023.0F);
        const Floats values = __builtin_convertvector(codes, Floats);
        return (values * 0x1.004p-10F + values * 0x1.004p-30F) - 1.0F;
    }
    [[nodiscard]] static Floats magnitude(Floats values)
    {
        return reinterpret_cast<Floats>(reinterpret_cast<Integers>(values) & 0x7FFFFFFF);
    }
    [[nodiscard]] Floats sampleSizes(Floats depths) const
    {
        return m_task.depths.isPerspective ? m_task.depths.sampleSize * depths
                                           : Floats() + m_task.depths.sampleSize;
    }

    /// From the row's first sample to the one so many columns to the right and rows below.
    [[nodiscard]] std::ptrdiff_t stepTo(std::int64_t column, std::int64_t row) const
    {
        return static_cast<std::ptrdiff_t>(column + row * m_task.depths.stride);
    }
    [[nodiscard]] Floats loadDepths(std::int64_t column, std::int64_t row) const
    {
        return load(m_task.depths.first + stepTo(column, row));
    }

    [[nodiscard]] static Floats findThresholds(std::uint32_t row)
    {
        Floats thresholds;
        for (std::uint32_t lane = 0; lane < c_width; ++lane)
        {
            thresholds[lane] = SSampleRows::c_thresholds[row % 4][lane % 4];
        }
        return thresholds;
    }

    [[nodiscard]] Integers findBackground() const
    {
        Integers background;
        for (std::uint32_t lane = 0; lane < c_width; ++lane)
        {
            background[lane] = m_task.background[lane % 4];
        }
        return background;
    }

    [[nodiscard]] static Floats cosine(const SNormals& normals, float x, float y, float z)
    {
        const Floats cosines = (normals.x * x + normals.y * y) + normals.z * z;
        return Vector::Larger(cosines, Floats());
    }

    /// 1 shows a surface in its own colour; what is above adds a gloss.
    [[nodiscard]] Floats findBrightness(std::uint32_t column, Floats depths) const
    {
        const SNormals normals = averageNormals(column, depths);
        const Floats keyLight = cosine(normals, -0.45F, 0.60F, 0.66F);
        const Floats fillLight = cosine(normals, 0.80F, 0.10F, 0.59F);
        // Half way between the key light and the viewer.
        const Floats highlight = cosine(normals, -0.247F, 0.329F, 0.911F);
        const Floats highlight4 = (highlight * highlight) * (highlight * highlight);
        const Floats highlight16 = (highlight4 * highlight4) * (highlight4 * highlight4);
        const Floats occlusion = 0.07F * findOcclusion(column, depths, m_near) +
                                 0.05F * findOcclusion(column, depths, m_far);
        const Floats light =
            (((0.42F + 0.06F * normals.y) + 0.56F * keyLight) + 0.16F * fillLight) /
            (1.0F + occlusion);
        return light + 0.12F * highlight16 / (1.0F + 2.0F * occlusion);
    }

    /// The mean normals of the samples around that belong to the same surface.
    [[nodiscard]] SNormals averageNormals(std::uint32_t column, Floats depths) const
    {
        const Floats tolerances = c_maxSlope * sampleSizes(depths);
        const Floats zero{};
        SNormals sums{};
        for (std::int64_t y = -1; y <= 1; ++y)
        {
            for (std::int64_t x = -1; x <= 1; ++x)
            {
                const std::ptrdiff_t step = stepTo(column + x, y);
                const Integers isNear =
                    magnitude(load(m_task.depths.first + step) - depths) <= tolerances;
                sums.x += isNear ? load(m_task.normals[0] + step) : zero;
                sums.y += isNear ? load(m_task.normals[1] + step) : zero;
                sums.z += isNear ? load(m_task.normals[2] + step) : zero;
            }
        }
        return normalized(sums);
    }

    [[nodiscard]] static SNormals normalized(const SNormals& sums)
    {
        const Floats lengths =
            Vector::SquareRoot((sums.x * sums.x + sums.y * sums.y) + sums.z * sums.z);
        const Floats zero{};
        const Integers isDirection = lengths > zero;
        return {isDirection ? sums.x / lengths : zero, isDirection ? sums.y / lengths : zero,
                isDirection ? sums.z / lengths : zero + 1.0F};
    }

    /// How much nearer than a sample its surroundings are; 0 when they are not.
    [[nodiscard]] Floats findOcclusion(std::uint32_t column, Floats depths, const SRing& ring) const
    {
        const Floats maxStep = Floats() + 6.0F;
        const Floats scales = 1.0F / (sampleSizes(depths) * ring.radius);
        Floats sums{};
        Floats largest{};
        for (std::uint32_t index = 0; index < ring.count; ++index)
        {
            const Floats others = load(m_task.depths.first + column + ring.steps[index]);
            // What a slope makes is no hollow. No number where there is nothing.
            const Floats steps = (depths - others) * scales - 1.5F;
            const Floats bounded = Vector::Smaller(Vector::Larger(steps, Floats()), maxStep);
            sums += bounded;
            largest = Vector::Larger(bounded, largest);
        }
        // A single speck in front casts no shadow.
        return sums - largest;
    }

    const SShadingTask& m_task;
    SRing m_near;
    SRing m_far;
};

}  // namespace
}  // namespace Application
