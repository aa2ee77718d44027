#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "Application/Pictures/Kernels/SampleRows.h"
#include "Application/Pictures/Kernels/TPlaneFits.h"

// Included by each kernel's source once. The unnamed namespace keeps what is compiled for one
// instruction set out of the others' code.
namespace Application
{
namespace
{

/// Keeps the smaller one of each sample from \p first on and of a word with these halves, for the
/// lanes that \p lanes has.
template <typename Floats, typename Integers>
void KeepSmallerOneByOne(std::uint64_t* samples, std::int64_t first, Floats highs, Integers lows,
                         std::uint32_t lanes)
{
    std::uint32_t upper[sizeof highs / sizeof(float)];
    std::memcpy(upper, &highs, sizeof upper);
    std::uint32_t lower[sizeof lows / sizeof(std::int32_t)];
    std::memcpy(lower, &lows, sizeof lower);
    for (; lanes != 0; lanes &= lanes - 1)
    {
        const auto lane = static_cast<std::uint32_t>(__builtin_ctz(lanes));
        const std::uint64_t word = std::uint64_t{upper[lane]} << 32U | lower[lane];
        std::uint64_t& sample = samples[first + lane];
        sample = word < sample ? word : sample;
    }
}

/// Widens a row's samples to dots with the vectors of one instruction set, one sample to a lane.
/// Every sample is computed with as if it were alone, so that it does not matter which one.
///
/// \tparam Vector a register of `c_width` floats (`Floats`), one of as many integers (`Integers`),
/// which is also what comparisons answer, and those operations on them that have no operator. Sets
/// of lanes are integers, bit k for lane k. `KeepSmaller` does what KeepSmallerOneByOne() does from
/// sample 0 on, and may write the other lanes' samples anew.
template <typename Vector>
class TDots
{
public:
    explicit TDots(const SDotsTask& task, std::uint32_t row)
        : m_task(task),
          m_row(row),
          m_depths(task.depths.first + task.depths.stride * static_cast<std::ptrdiff_t>(row))
    {}

    void FindRadii(std::uint8_t* radii) const
    {
        for (std::uint32_t begin = 0; begin < m_task.depths.width; begin += c_width)
        {
            const Floats depths = load(m_depths + begin);
            if (Vector::Bits(depths == depths) == 0)
            {
                continue;
            }
            std::int32_t found[c_width];
            store(findRadii(begin, depths), found);
            for (std::uint32_t lane = 0; lane < numLanesAt(begin); ++lane)
            {
                radii[begin + lane] = static_cast<std::uint8_t>(found[lane]);
            }
        }
    }

    void Draw(const SDotsTarget& target)
    {
        for (std::uint32_t begin = 0; begin < m_task.depths.width; begin += c_segment)
        {
            m_begin = begin;
            const std::uint32_t numLeft = m_task.depths.width - begin;
            m_end = begin + (numLeft < c_segment ? numLeft : c_segment);
            load(target);
            fitNormals();
            drawDots(target);
        }
    }

private:
    using Floats = typename Vector::Floats;
    using Integers = typename Vector::Integers;
    using Fits = TPlaneFits<Vector>;
    using SGradients = typename Fits::SGradients;
    static constexpr std::uint32_t c_width = Vector::c_width;
    static_assert(c_width <= SSampleRows::c_margin);

    /// Discs around randomly strewn surfels that reach the sixth neighbour leave next to no gap.
    static constexpr int c_numNeighbors = 6;
    /// The steepest surface, as the tangent of its angle to the picture, that is seen as one.
    static constexpr float c_maxSlope = 4.0F;
    /// A plane through the neighbours reaches this far, in radii of the dot, and so many of them.
    static constexpr float c_planeReach = 3.0F;
    static constexpr int c_maxPlaneNeighbors = 40;
    /// Up to this radius samples are dense: planes are fitted to the ring of them, of whose pairs
    /// so many must be there.
    static constexpr float c_maxDenseRadius = 2.0F;
    static constexpr int c_minPairs = 6;
    /// Of a plane's equations; below it the places lie on one line.
    static constexpr float c_minDeterminant = 1e-3F;
    /// The steepest dot; steeper ones would be all rim.
    static constexpr float c_maxDotSlope = 2.0F;
    /// By how much a dot recedes towards its rim, as a tangent: neighbouring dots then meet half
    /// way instead of covering each other.
    static constexpr float c_rimSlope = 0.25F;
    /// As many columns at a time as stay in the nearest cache.
    static constexpr std::uint32_t c_segment = 1024;
    static_assert(c_segment % SSampleRows::c_margin == 0);

    template <typename Value>
    [[nodiscard]] static Floats load(const Value* first)
    {
        Floats values;
        static_assert(sizeof(Value) == sizeof(float));
        std::memcpy(&values, first, sizeof values);
        return values;
    }
    [[nodiscard]] static Integers loadIntegers(const std::int32_t* first)
    {
        Integers values;
        std::memcpy(&values, first, sizeof values);
        return values;
    }
    template <typename Values, typename Value>
    static void store(Values values, Value* first)
    {
        static_assert(sizeof values == c_width * sizeof(Value));
        std::memcpy(first, &values, sizeof values);
    }
    [[nodiscard]] static Floats magnitude(Floats values)
    {
        return reinterpret_cast<Floats>(reinterpret_cast<Integers>(values) & 0x7FFFFFFF);
    }

    [[nodiscard]] std::uint32_t numLanesAt(std::uint32_t column) const
    {
        const std::uint32_t numLeft = m_task.depths.width - column;
        return numLeft < c_width ? numLeft : c_width;
    }

    [[nodiscard]] Floats sampleSizes(Floats depths) const
    {
        return m_task.depths.isPerspective ? m_task.depths.sampleSize * depths
                                           : Floats() + m_task.depths.sampleSize;
    }

    /// Calls \p visit(offset, others, isNear) for the offsets from samples at \p depths, nearest
    /// first, until it returns false: with the depths that \p loadOthers(offset) finds there, and
    /// which of them are of the same surface as the sample.
    template <typename Load, typename Visit>
    void visitSurfaces(Floats depths, const Load& loadOthers, const Visit& visit) const
    {
        const Floats tolerances = c_maxSlope * sampleSizes(depths);
        for (std::size_t index = 0; index < m_task.numOffsets; ++index)
        {
            const SSampleOffset& offset = m_task.offsets[index];
            const Floats others = loadOthers(offset);
            const Integers isNear = magnitude(others - depths) <= tolerances * offset.distance;
            if (!visit(offset, others, isNear))
            {
                return;
            }
        }
    }

    /// In units.
    [[nodiscard]] Integers findRadii(std::uint32_t column, Floats depths) const
    {
        const Integers isThere = depths == depths;
        Integers numLeft = isThere & c_numNeighbors;
        Floats radii = isThere ? Floats() + m_task.singleRadius : Floats();
        visitSurfaces(
            depths,
            [&](const SSampleOffset& offset) { return load(m_depths + column + offset.step); },
            [&](const SSampleOffset& offset, Floats, Integers isNear) {
                // True is -1. Further neighbours count below 0.
                numLeft += isNear;
                radii = (isNear & (numLeft == 0)) ? Floats() + offset.distance : radii;
                return Vector::Bits(numLeft > 0) != 0;
            });
        return __builtin_convertvector(radii * SSampleRows::c_radiusUnits, Integers);
    }

    /// Unpacks the lower halves of the words, and the radii.
    void load(const SDotsTarget& target)
    {
        const std::uint32_t count = m_end - m_begin;
        for (std::uint32_t index = 0; index < count; ++index)
        {
            m_lows[index] = static_cast<std::int32_t>(
                target.words != nullptr ? target.words[m_begin + index] : target.bareWord);
        }
        const std::uint8_t* const radii = target.radii + m_begin;
        const std::uint8_t largest = target.largest;
        for (std::uint32_t index = 0; index < count; ++index)
        {
            const std::uint8_t radius = radii[index] < largest ? radii[index] : largest;
            m_radii[index] = static_cast<float>(radius) / SSampleRows::c_radiusUnits;
        }
        for (std::uint32_t index = count; index % c_width != 0; ++index)
        {
            m_lows[index] = 0;
            m_radii[index] = 0.0F;
        }
    }

    /// Gives those samples normals that have none, and unpacks the others'.
    void fitNormals()
    {
        std::uint32_t numScattered = 0;
        for (std::uint32_t column = m_begin; column < m_end; column += c_width)
        {
            const Floats depths = load(m_depths + column);
            const std::uint32_t index = column - m_begin;
            const Integers isMissing = (depths == depths) & isWithoutNormal(index);
            const Integers isDense = isMissing & (load(&m_radii[index]) <= c_maxDenseRadius);
            std::uint32_t scattered = Vector::Bits(isMissing);
            if (Vector::Bits(isDense) != 0)
            {
                SGradients gradients;
                scattered &= ~Vector::Bits(isDense & fitDense(column, depths, gradients));
                store(gradients.x, &m_gradientX[index]);
                store(gradients.y, &m_gradientY[index]);
            }
            for (; scattered != 0; scattered &= scattered - 1)
            {
                m_scattered[numScattered++] =
                    static_cast<std::int32_t>(index) + __builtin_ctz(scattered);
            }
        }
        // Together, wherever they are: among sparse samples most lanes would be empty otherwise.
        for (std::uint32_t first = 0; first < numScattered; first += c_width)
        {
            for (std::uint32_t lane = numScattered; lane < first + c_width; ++lane)
            {
                m_scattered[lane] = m_scattered[first];
            }
            fitScattered(&m_scattered[first]);
        }
    }

    [[nodiscard]] Integers isWithoutNormal(std::uint32_t index) const
    {
        const Integers lows = loadIntegers(&m_lows[index]);
        return ((lows >> SSampleWord::c_normalBits) & SSampleWord::c_noNormal) ==
               SSampleWord::c_noNormal;
    }

    /// The gradients where enough samples surround these, and where that is.
    [[nodiscard]] Integers fitDense(std::uint32_t column, Floats depths,
                                    SGradients& gradients) const
    {
        // Of two opposite samples only the difference counts, and their places add up to nothing.
        const float* const centre = m_depths + column;
        const Floats tolerances = c_maxSlope * sampleSizes(depths);
        const Floats zero{};
        Integers numPairs{};
        Floats xx{};
        Floats xy{};
        Floats yy{};
        Floats xValues{};
        Floats yValues{};
        for (std::size_t index = 0; index < m_task.numRing; ++index)
        {
            const SSampleOffset& offset = m_task.ring[index];
            const Floats differences = load(centre + offset.step) - depths;
            const Floats opposites = load(centre - offset.step) - depths;
            const Floats bounds = tolerances * offset.distance;
            const Integers isTaken =
                (magnitude(differences) <= bounds) & (magnitude(opposites) <= bounds);
            const Floats values = isTaken ? differences - opposites : zero;
            const auto x = static_cast<float>(offset.x);
            const auto y = static_cast<float>(offset.y);
            // True is -1.
            numPairs -= isTaken;
            xx += isTaken ? zero + 2.0F * x * x : zero;
            xy += isTaken ? zero + 2.0F * x * y : zero;
            yy += isTaken ? zero + 2.0F * y * y : zero;
            xValues += x * values;
            yValues += y * values;
        }
        const Floats determinants = xx * yy - xy * xy;
        const Floats scales =
            (m_task.depths.isPerspective ? -1.0F / depths : zero + 1.0F) / determinants;
        gradients = {(xValues * yy - yValues * xy) * scales,
                     (yValues * xx - xValues * xy) * scales};
        return (numPairs >= c_minPairs) & (determinants > c_minDeterminant * xx * yy);
    }

    /// Finds the gradients of the samples with these indices.
    void fitScattered(const std::int32_t* indices)
    {
        // Over the picture, a plane's inverse depth in perspective, its depth otherwise, is linear.
        // Given relative to the sample itself, which keeps the digits of the small differences.
        const bool isPerspective = m_task.depths.isPerspective;
        const float* const first = m_depths + m_begin;
        const Floats depths = Vector::Gather(first, indices);
        const Floats reaches = c_planeReach * Vector::Gather(m_radii, indices);
        Integers numLeft = Integers() + c_maxPlaneNeighbors;
        Fits fits;
        fits.Add(depths == depths, 0.0F, 0.0F, Floats());
        visitSurfaces(
            depths,
            [&](const SSampleOffset& offset) {
                return Vector::Gather(first + offset.step, indices);
            },
            [&](const SSampleOffset& offset, Floats others, Integers isNear) {
                const Integers isSearched = (offset.distance <= reaches) & (numLeft > 0);
                const Integers isTaken = isNear & isSearched;
                numLeft += isTaken;
                fits.Add(isTaken, static_cast<float>(offset.x), static_cast<float>(offset.y),
                         isPerspective ? (depths - others) / others : others - depths);
                return Vector::Bits(isSearched) != 0;
            });
        const SGradients gradients = fits.Solve();
        float x[c_width];
        float y[c_width];
        store(gradients.x, x);
        store(gradients.y, y);
        for (std::uint32_t lane = 0; lane < c_width; ++lane)
        {
            m_gradientX[indices[lane]] = x[lane];
            m_gradientY[indices[lane]] = y[lane];
        }
    }

    struct SNormals
    {
        Floats x;
        Floats y;
        Floats z;
    };

    /// Along the picture axes.
    [[nodiscard]] SNormals normalsOfGradients(std::uint32_t column, Floats depths) const
    {
        const SSampleDepths& picture = m_task.depths;
        const std::uint32_t index = column - m_begin;
        const Floats zero{};
        const Floats sizes =
            picture.isPerspective ? zero + picture.sampleSize : sampleSizes(depths);
        const Floats perRight = load(&m_gradientX[index]) / sizes;
        const Floats perDown = load(&m_gradientY[index]) / sizes;
        // Where the line of sight through a sample's centre runs, per unit of depth; 0 and 0 is the
        // viewing direction.
        const Floats columns = static_cast<float>(column) + Vector::Lanes();
        const Floats sightX =
            picture.sampleSize * (columns + 0.5F - 0.5F * static_cast<float>(picture.width));
        const float sightY = picture.sampleSize * (0.5F * static_cast<float>(picture.height) -
                                                   static_cast<float>(m_row) - 0.5F);
        const Floats one = zero + 1.0F;
        const Floats x = picture.isPerspective ? -perRight : perRight;
        const Floats y = picture.isPerspective ? perDown : -perDown;
        const Floats z = picture.isPerspective ? (one - sightX * perRight) + sightY * perDown : one;
        const Floats lengths = Vector::SquareRoot((x * x + y * y) + z * z);
        const Floats scales = (z < zero ? -one : one) / lengths;
        return {x * scales, y * scales, z * scales};
    }

    [[nodiscard]] static Integers encode(Floats components)
    {
        // What is no number gives other bits than a code's, too.
        return __builtin_convertvector((components + 1.0F) * SSampleWord::c_normalScale + 0.5F,
                                       Integers) &
               SSampleWord::c_noNormal;
    }
    [[nodiscard]] static Floats decode(Integers codes)
    {
        return __builtin_convertvector(codes & SSampleWord::c_noNormal, Floats) /
                   SSampleWord::c_normalScale -
               1.0F;
    }

    /// The normals of a group; those that were missing are also put into the words.
    [[nodiscard]] SNormals findNormals(std::uint32_t column, Floats depths)
    {
        const std::uint32_t index = column - m_begin;
        const Integers lows = loadIntegers(&m_lows[index]);
        const Floats zero{};
        const Floats x = decode(lows >> SSampleWord::c_normalBits);
        const Floats y = decode(lows);
        const Floats squaredZ = 1.0F - x * x - y * y;
        const SNormals given = {x, y, Vector::SquareRoot(zero < squaredZ ? squaredZ : zero)};
        const Integers isMissing = isWithoutNormal(index) & (depths == depths);
        if (Vector::Bits(isMissing) == 0)
        {
            return given;
        }
        const SNormals fitted = normalsOfGradients(column, depths);
        constexpr std::int32_t c_bits = (1 << 2 * SSampleWord::c_normalBits) - 1;
        const Integers codes = (encode(fitted.x) << SSampleWord::c_normalBits) | encode(fitted.y);
        store(isMissing ? (lows & ~c_bits) | codes : lows, &m_lows[index]);
        return {isMissing ? fitted.x : given.x, isMissing ? fitted.y : given.y,
                isMissing ? fitted.z : given.z};
    }

    /// Draws those parts of the dots that the samples themselves do not hide.
    void drawDots(const SDotsTarget& target)
    {
        // Offset by offset, not dot by dot, so that what was drawn has left for the cache before
        // what overlaps it is drawn.
        std::uint32_t numReaching = prepareDots(target);
        for (std::size_t index = 0; index < m_task.numOffsets && numReaching != 0; ++index)
        {
            const SSampleOffset& offset = m_task.offsets[index];
            std::uint32_t numKept = 0;
            for (std::uint32_t group = 0; group < numReaching; ++group)
            {
                const std::uint32_t column = m_reaching[group];
                // Where an offset is not reached none of the further ones is.
                m_reaching[numKept] = column;
                numKept += drawParts(offset, column, target) ? 1 : 0;
            }
            numReaching = numKept;
        }
    }

    /// Finds how the dots recede, and draws their centres. How many groups have any.
    std::uint32_t prepareDots(const SDotsTarget& target)
    {
        std::uint32_t numGroups = 0;
        for (std::uint32_t column = m_begin; column < m_end; column += c_width)
        {
            const Floats depths = load(m_depths + column);
            const Integers isThere = depths == depths;
            if (Vector::Bits(isThere) == 0)
            {
                continue;
            }
            const std::uint32_t index = column - m_begin;
            const SNormals normals = findNormals(column, depths);
            const Floats zero{};
            const Floats sizes = sampleSizes(depths);
            // A surface that faces right recedes to the right, one that faces up recedes upwards.
            const Floats facing = zero + 1.0F / c_maxDotSlope;
            const Floats steps = sizes / (normals.z < facing ? facing : normals.z);
            store(steps * normals.x, &m_gradientX[index]);
            store(-steps * normals.y, &m_gradientY[index]);
            store(isThere ? load(&m_radii[index]) : zero - 1.0F, &m_radii[index]);
            draw({}, column, Vector::Bits(isThere), depths, target);
            m_reaching[numGroups++] = column;
        }
        return numGroups;
    }

    /// Draws those parts of a group's dots that are so far from their centres; false where none is.
    bool drawParts(const SSampleOffset& offset, std::uint32_t column,
                   const SDotsTarget& target) const
    {
        const std::uint32_t index = column - m_begin;
        const Integers isReached = offset.distance <= load(&m_radii[index]);
        if (Vector::Bits(isReached) == 0)
        {
            return false;
        }
        const Floats zero{};
        const Floats depths = load(m_depths + column);
        const Floats rims = sampleSizes(depths) * c_rimSlope;
        const Floats drawn = depths + ((load(&m_gradientX[index]) * static_cast<float>(offset.x) +
                                        load(&m_gradientY[index]) * static_cast<float>(offset.y)) +
                                       rims * offset.distance);
        const Floats ends = drawn < zero ? zero : drawn;
        // Most of a dot lies behind the samples around it. What is empty is no number and hides
        // nothing.
        const Integers isHidden = load(m_depths + column + offset.step) < ends;
        draw(offset, column, Vector::Bits(isReached & ~isHidden), ends, target);
        return true;
    }

    /// Draws the samples of those lanes that \p lanes has, moved by \p offset, at \p depths.
    void draw(const SSampleOffset& offset, std::uint32_t column, std::uint32_t lanes, Floats depths,
              const SDotsTarget& target) const
    {
        const std::uint32_t row = m_row + static_cast<std::uint32_t>(offset.y);
        if (row >= m_task.depths.height)
        {
            return;
        }
        const Integers lows = loadIntegers(&m_lows[column - m_begin]);
        std::uint64_t* const samples = target.samples + std::size_t{row} * m_task.depths.width;
        const std::int64_t first = std::int64_t{column} + offset.x;
        if (first >= 0 && first + c_width <= m_task.depths.width)
        {
            Vector::KeepSmaller(samples + first, depths, lows, lanes);
            return;
        }
        for (std::uint32_t lane = 0; lane < c_width; ++lane)
        {
            if (first + lane < 0 || first + lane >= m_task.depths.width)
            {
                lanes &= ~(1U << lane);
            }
        }
        KeepSmallerOneByOne(samples, first, depths, lows, lanes);
    }

    const SDotsTask& m_task;
    std::uint32_t m_row;
    /// Of the row.
    const float* m_depths;
    // Of the columns at hand.
    std::uint32_t m_begin = 0;
    std::uint32_t m_end = 0;
    /// The lower halves of the words.
    std::int32_t m_lows[c_segment];
    float m_radii[c_segment];
    /// Of the planes, then by how much the dots recede.
    float m_gradientX[c_segment];
    float m_gradientY[c_segment];
    /// The first columns of the groups whose dots reach an offset.
    std::uint32_t m_reaching[c_segment / c_width];
    /// The samples whose planes are fitted one by one, and room to fill a register up.
    std::int32_t m_scattered[c_segment + c_width];
};

}  // namespace
}  // namespace Application
