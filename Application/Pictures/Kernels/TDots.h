#pragma once

#include "Application/Pictures/Kernels/TPlanes.h"
#include "Application/Pictures/Kernels/TSampleRow.h"

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
/// of lanes are integers, bit k for lane k. `LoadBytes` and `StoreBytes` widen and narrow integers
/// that are less than 256. `GatherWords` takes words apart, into their upper halves and their lower
/// ones. `KeepSmaller` does what KeepSmallerOneByOne() does from sample 0 on, and
/// may write the other lanes' samples anew.
template <typename Vector>
class TDots
{
public:
    TDots(const SDotsTask& task, std::uint32_t row, const SDotsTarget& target)
        : m_task(task),
          m_target(target),
          m_rowIndex(row),
          m_row(task.depths, row),
          m_planes(task, row)
    {}

    void Draw()
    {
        for (std::uint32_t begin = 0; begin < m_task.depths.width; begin += c_segment)
        {
            m_begin = begin;
            load();
            fitPlanes();
            prepareDots();
            drawParts();
        }
    }

private:
    using Floats = typename Vector::Floats;
    using Integers = typename Vector::Integers;
    using Row = TSampleRow<Vector>;
    using Planes = TPlanes<Vector>;
    static constexpr std::uint32_t c_width = Vector::c_width;
    static constexpr std::size_t c_step = SSampleRows::c_offsetsPerDistance;

    /// The steepest dot; steeper ones would be all rim.
    static constexpr float c_maxDotSlope = 2.0F;
    /// By how much a dot recedes towards its rim, as a tangent: neighbouring dots then meet half
    /// way instead of covering each other.
    static constexpr float c_rimSlope = 0.25F;
    /// As many columns at a time as stay near; the more, the fewer samples are fitted in a register
    /// that is not full.
    static constexpr std::uint32_t c_segment = 2048;
    static_assert(c_segment % SSampleRows::c_margin == 0);

    /// Finds the groups of the segment that have samples, and unpacks the lower halves of their
    /// words and their radii.
    void load()
    {
        const std::uint32_t numLeft = m_task.depths.width - m_begin;
        const std::uint32_t count = numLeft < c_segment ? numLeft : c_segment;
        m_numGroups = 0;
        for (std::uint32_t index = 0; index < count; index += c_width)
        {
            const Floats depths = loadDepths(index);
            const Integers isThere = depths == depths;
            if (Vector::Bits(isThere) == 0)
            {
                continue;
            }
            m_groups[m_numGroups++] = index;
            const Integers radii = Vector::LoadBytes(m_target.radii + m_begin + index);
            const Integers largest = Integers() + m_target.largest;
            const Floats used = __builtin_convertvector(radii < largest ? radii : largest, Floats) /
                                SSampleRows::c_radiusUnits;
            Row::Store(isThere ? used : Floats() - 1.0F, &m_radii[index]);
            loadLows(index);
        }
    }

    void loadLows(std::uint32_t index)
    {
        if (m_target.words == nullptr)
        {
            Row::Store(Integers() + static_cast<std::int32_t>(m_target.bareWord), &m_lows[index]);
            return;
        }
        const std::uint64_t* const words = m_target.words + m_begin + index;
        for (std::uint32_t lane = 0; lane < c_width; ++lane)
        {
            m_lows[index + lane] = static_cast<std::int32_t>(words[lane]);
        }
    }

    /// Finds the planes of those samples that have no normals.
    void fitPlanes()
    {
        std::uint32_t numAtRims = 0;
        std::uint32_t numScattered = 0;
        for (std::uint32_t group = 0; group < m_numGroups; ++group)
        {
            const std::uint32_t index = m_groups[group];
            const Floats depths = loadDepths(index);
            const Integers isMissing = (depths == depths) & isWithoutNormal(index);
            const Integers isDense = isMissing & hasDenseNeighbors(index);
            Integers isFitted{};
            if (Vector::Bits(isDense) != 0)
            {
                typename Planes::SGradients gradients;
                isFitted = m_planes.FitDense(m_begin + index, depths, gradients);
                Row::Store(gradients.x, &m_perColumn[index]);
                Row::Store(gradients.y, &m_perRow[index]);
            }
            append(index, isDense & ~isFitted, m_atRims, numAtRims);
            append(index, isMissing & ~isDense, m_scattered, numScattered);
        }
        fitTogether(m_atRims, numAtRims, [&](const std::int32_t* columns, Floats radii) {
            return m_planes.FitScattered(m_task.rim, columns, radii);
        });
        fitScattered(numScattered);
    }

    /// Whether the samples of a group are dense by their own radii, however small the largest one
    /// is that is used.
    [[nodiscard]] Integers hasDenseNeighbors(std::uint32_t index) const
    {
        constexpr auto c_largest =
            static_cast<std::int32_t>(SSampleRows::c_maxDenseRadius * SSampleRows::c_radiusUnits);
        return Vector::LoadBytes(m_target.radii + m_begin + index) <= c_largest;
    }

    /// Appends the indices of those samples of the group from \p index on that are chosen.
    static void append(std::uint32_t index, Integers isChosen, std::int32_t* indices,
                       std::uint32_t& count)
    {
        for (std::uint32_t chosen = Vector::Bits(isChosen); chosen != 0; chosen &= chosen - 1)
        {
            indices[count++] = static_cast<std::int32_t>(index) + __builtin_ctz(chosen);
        }
    }

    /// Finds the planes of so many of m_scattered, each in the first grid in which they are dense:
    /// where they are far apart most samples around them are empty, and it takes long to find
    /// others.
    void fitScattered(std::uint32_t numScattered)
    {
        float maxRadius = SSampleRows::c_maxCellRadius;
        for (std::uint32_t grid = 0; numScattered != 0; ++grid, maxRadius *= 2.0F)
        {
            const bool isLast = grid == m_task.numCoarser;
            std::uint32_t numChosen = 0;
            std::uint32_t numLeft = 0;
            for (std::uint32_t each = 0; each < numScattered; ++each)
            {
                const std::int32_t index = m_scattered[each];
                if (isLast || m_radii[index] <= maxRadius)
                {
                    m_chosen[numChosen++] = index;
                }
                else
                {
                    m_scattered[numLeft++] = index;
                }
            }
            numScattered = numLeft;
            fitTogether(m_chosen, numChosen, [&](const std::int32_t* columns, Floats radii) {
                return grid == 0
                           ? m_planes.FitScattered(m_task.offsets, columns, radii)
                           : m_planes.FitScatteredIn(m_task.coarser[grid - 1], columns, radii);
            });
        }
    }

    /// Finds the planes of so many samples, wherever they are, a register of them at a time: most
    /// lanes would be empty otherwise.
    /// \param indices have room for a register more.
    /// \param fit of the columns and the radii of a register of samples the gradients.
    template <typename Fit>
    void fitTogether(std::int32_t* indices, std::uint32_t count, const Fit& fit)
    {
        for (std::uint32_t first = 0; first < count; first += c_width)
        {
            for (std::uint32_t lane = count; lane < first + c_width; ++lane)
            {
                indices[lane] = indices[first];
            }
            const std::int32_t* const together = &indices[first];
            std::int32_t columns[c_width];
            for (std::uint32_t lane = 0; lane < c_width; ++lane)
            {
                columns[lane] = static_cast<std::int32_t>(m_begin) + together[lane];
            }
            const auto gradients = fit(columns, Vector::Gather(m_radii, together));
            for (std::uint32_t lane = 0; lane < c_width; ++lane)
            {
                m_perColumn[together[lane]] = gradients.x[lane];
                m_perRow[together[lane]] = gradients.y[lane];
            }
        }
    }

    [[nodiscard]] Floats loadDepths(std::uint32_t index) const
    {
        return Row::Load(m_row.At(m_begin + index));
    }

    [[nodiscard]] Integers isWithoutNormal(std::uint32_t index) const
    {
        const Integers lows = Row::Load(&m_lows[index]);
        return ((lows >> SSampleWord::c_normalBits) & SSampleWord::c_noNormal) ==
               SSampleWord::c_noNormal;
    }

    struct SNormals
    {
        Floats x;
        Floats y;
        Floats z;
    };

    /// Along the picture axes.
    [[nodiscard]] SNormals normalsOfGradients(std::uint32_t index, Floats depths) const
    {
        const SSampleDepths& picture = m_task.depths;
        const Floats zero{};
        const Floats sizes =
            picture.isPerspective ? zero + picture.sampleSize : m_row.Sizes(depths);
        const Floats perRight = Row::Load(&m_perColumn[index]) / sizes;
        const Floats perDown = Row::Load(&m_perRow[index]) / sizes;
        // Where the line of sight through a sample's centre runs, per unit of depth; 0 and 0 is the
        // viewing direction.
        const Floats columns = static_cast<float>(m_begin + index) + Vector::Lanes();
        const Floats sightX =
            picture.sampleSize * (columns + 0.5F - 0.5F * static_cast<float>(picture.width));
        const float sightY = picture.sampleSize * (0.5F * static_cast<float>(picture.height) -
                                                   static_cast<float>(m_rowIndex) - 0.5F);
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
    [[nodiscard]] SNormals findNormals(std::uint32_t index, Floats depths)
    {
        const Integers lows = Row::Load(&m_lows[index]);
        const Integers isMissing = isWithoutNormal(index);
        SNormals normals{};
        if (Vector::Bits((depths == depths) & ~isMissing) != 0)
        {
            const Floats zero{};
            normals.x = decode(lows >> SSampleWord::c_normalBits);
            normals.y = decode(lows);
            const Floats squaredZ = 1.0F - normals.x * normals.x - normals.y * normals.y;
            normals.z = Vector::SquareRoot(zero < squaredZ ? squaredZ : zero);
        }
        if (Vector::Bits((depths == depths) & isMissing) != 0)
        {
            const SNormals fitted = normalsOfGradients(index, depths);
            constexpr std::int32_t c_bits = (1 << 2 * SSampleWord::c_normalBits) - 1;
            const Integers codes =
                (encode(fitted.x) << SSampleWord::c_normalBits) | encode(fitted.y);
            Row::Store(isMissing ? (lows & ~c_bits) | codes : lows, &m_lows[index]);
            normals = {isMissing ? fitted.x : normals.x, isMissing ? fitted.y : normals.y,
                       isMissing ? fitted.z : normals.z};
        }
        return normals;
    }

    /// Finds how the dots recede, and draws their centres.
    void prepareDots()
    {
        std::uint64_t* const samples = findRow(0);
        for (std::uint32_t group = 0; group < m_numGroups; ++group)
        {
            const std::uint32_t index = m_groups[group];
            const Floats depths = loadDepths(index);
            const SNormals normals = findNormals(index, depths);
            const Floats sizes = m_row.Sizes(depths);
            // A surface that faces right recedes to the right, one that faces up recedes upwards.
            const Floats facing = Floats() + 1.0F / c_maxDotSlope;
            const Floats steps = sizes / (normals.z < facing ? facing : normals.z);
            Row::Store(steps * normals.x, &m_perColumn[index]);
            Row::Store(-steps * normals.y, &m_perRow[index]);
            Row::Store(sizes * c_rimSlope, &m_perDistance[index]);
            keepSmaller(samples, std::int64_t{m_begin} + index, Vector::Bits(depths == depths),
                        depths, Row::Load(&m_lows[index]));
        }
    }

    /// Draws those parts of the dots beside their centres that the samples themselves do not hide.
    void drawParts()
    {
        // Offset by offset, not dot by dot, so that what was drawn has left for the cache before
        // what overlaps it is drawn.
        const SSampleOffsets& offsets = m_task.offsets;
        for (std::size_t first = 0; first < offsets.count && m_numGroups != 0; first += c_step)
        {
            keepReaching(offsets.distances[first]);
            for (std::size_t offset = first; offset < first + c_step; ++offset)
            {
                drawParts(offset);
            }
        }
    }

    /// Keeps those groups of which many dots reach so far, and draws what few dots there are of
    /// others. Where a distance is not reached none of the larger ones is.
    void keepReaching(float distance)
    {
        std::uint32_t numKept = 0;
        for (std::uint32_t group = 0; group < m_numGroups; ++group)
        {
            const std::uint32_t index = m_groups[group];
            std::uint32_t lanes = Vector::Bits(distance <= Row::Load(&m_radii[index]));
            m_groups[numKept] = index;
            if (!Row::AreFew(lanes, distance))
            {
                ++numKept;
                continue;
            }
            for (; lanes != 0; lanes &= lanes - 1)
            {
                drawDot(index + static_cast<std::uint32_t>(__builtin_ctz(lanes)));
            }
        }
        m_numGroups = numKept;
    }

    /// Some samples' dots, or one in every lane.
    struct SDots
    {
        Floats depths;
        Floats radii;
        Floats perColumn;
        Floats perRow;
        Floats perDistance;
        Integers lows;
    };

    [[gnu::noinline]] void drawParts(std::size_t offset) const
    {
        const SSampleOffsets& offsets = m_task.offsets;
        std::uint64_t* const samples = findRow(static_cast<std::int32_t>(offsets.y[offset]));
        if (samples == nullptr)
        {
            return;
        }
        const float* const others = m_row.At(m_begin) + offsets.steps[offset];
        const std::int64_t column =
            std::int64_t{m_begin} + static_cast<std::int32_t>(offsets.x[offset]);
        const Floats zero{};
        const Floats x = zero + offsets.x[offset];
        const float y = offsets.y[offset];
        const Floats distances = zero + offsets.distances[offset];
        for (std::uint32_t group = 0, numGroups = m_numGroups; group < numGroups; ++group)
        {
            const std::uint32_t index = m_groups[group];
            const SDots dots = {loadDepths(index),
                                Row::Load(&m_radii[index]),
                                Row::Load(&m_perColumn[index]),
                                Row::Load(&m_perRow[index]),
                                Row::Load(&m_perDistance[index]),
                                Row::Load(&m_lows[index])};
            drawParts(dots, x, y, distances, others + index, samples, column + index);
        }
    }

    /// Row by row, a lane for each column.
    [[gnu::noinline]] void drawDot(std::uint32_t index) const
    {
        const Floats zero{};
        const float* const centre = m_row.At(m_begin + index);
        const SDots dot = {
            zero + *centre,         zero + m_radii[index],       zero + m_perColumn[index],
            zero + m_perRow[index], zero + m_perDistance[index], Integers() + m_lows[index]};
        const auto reach = static_cast<std::int32_t>(m_radii[index]);
        for (std::int32_t y = -reach; y <= reach; ++y)
        {
            std::uint64_t* const samples = findRow(y);
            if (samples == nullptr)
            {
                continue;
            }
            for (std::int32_t x = -reach; x <= reach; x += static_cast<std::int32_t>(c_width))
            {
                const Floats columns = static_cast<float>(x) + Vector::Lanes();
                const Floats squares = columns * columns + static_cast<float>(y * y);
                drawParts(dot, columns, static_cast<float>(y), Vector::SquareRoot(squares),
                          centre + y * m_task.depths.stride + x, samples,
                          std::int64_t{m_begin} + index + x);
            }
        }
    }

    /// Draws those parts of dots that are so far from their centres.
    /// \param others what else is seen there.
    /// \param samples the row where that is, from its first column on.
    void drawParts(const SDots& dots, Floats x, float y, Floats distances, const float* others,
                   std::uint64_t* samples, std::int64_t column) const
    {
        const Floats zero{};
        const Floats drawn =
            dots.depths + ((dots.perColumn * x + dots.perRow * y) + dots.perDistance * distances);
        const Floats ends = drawn < zero ? zero : drawn;
        // Most of a dot lies behind the samples around it. What is empty is no number and hides
        // nothing.
        const Integers isHidden = Row::Load(others) < ends;
        const Integers isReached = distances <= dots.radii;
        keepSmaller(samples, column, Vector::Bits(isReached) & ~Vector::Bits(isHidden), ends,
                    dots.lows);
    }

    /// The samples of the row that lies so much below; null where the picture has none.
    [[nodiscard]] std::uint64_t* findRow(std::int32_t y) const
    {
        const std::uint32_t row = m_rowIndex + static_cast<std::uint32_t>(y);
        return row < m_task.depths.height
                   ? m_target.samples + std::size_t{row} * m_task.depths.width
                   : nullptr;
    }

    /// Draws the samples of those lanes that \p lanes has, at \p depths.
    void keepSmaller(std::uint64_t* samples, std::int64_t column, std::uint32_t lanes,
                     Floats depths, Integers lows) const
    {
        const std::int64_t width = m_task.depths.width;
        if (column >= 0 && column + c_width <= width)
        {
            Vector::KeepSmaller(samples + column, depths, lows, lanes);
            return;
        }
        for (std::uint32_t rest = lanes; rest != 0; rest &= rest - 1)
        {
            const int lane = __builtin_ctz(rest);
            if (column + lane < 0 || column + lane >= width)
            {
                lanes &= ~(1U << static_cast<std::uint32_t>(lane));
            }
        }
        KeepSmallerOneByOne(samples, column, depths, lows, lanes);
    }

    const SDotsTask& m_task;
    const SDotsTarget& m_target;
    std::uint32_t m_rowIndex;
    Row m_row;
    Planes m_planes;
    // Of the segment at hand.
    std::uint32_t m_begin = 0;
    /// The first samples of the groups to draw, counted as all indices from m_begin on.
    std::uint32_t m_groups[c_segment / c_width];
    std::uint32_t m_numGroups = 0;
    /// The lower halves of the words.
    std::int32_t m_lows[c_segment];
    /// Less than 0 where there is no sample.
    float m_radii[c_segment];
    /// By how much the dots recede; before that, their planes' gradients.
    float m_perColumn[c_segment];
    float m_perRow[c_segment];
    float m_perDistance[c_segment];
    // The samples without normals that the ring did not do for, some with room to fill a register.
    /// Those that are dense.
    std::int32_t m_atRims[c_segment + c_width];
    /// The others that have no plane yet; of these, those for which the same grid is chosen.
    std::int32_t m_scattered[c_segment];
    std::int32_t m_chosen[c_segment + c_width];
};

}  // namespace
}  // namespace Application
