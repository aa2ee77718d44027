#pragma once

#include "Application/Pictures/Kernels/TPlaneFits.h"
#include "Application/Pictures/Kernels/TSampleRow.h"

// Included by each kernel's source once. The unnamed namespace keeps what is compiled for one
// instruction set out of the others' code.
namespace Application
{
namespace
{

/// The planes through the samples around those of a row.
///
/// Over the picture, a plane's inverse depth in perspective, its depth otherwise, is linear. Planes
/// are given by its gradients, in perspective divided by the inverse depth of the sample itself:
/// computing with such values keeps the digits of the small differences.
///
/// \tparam Vector see TDots.
template <typename Vector>
class TPlanes
{
public:
    using Floats = typename Vector::Floats;
    using Integers = typename Vector::Integers;
    using SGradients = typename TPlaneFits<Vector>::SGradients;

    TPlanes(const SDotsTask& task, std::uint32_t row)
        : m_task(task), m_rowIndex(row), m_row(task.depths, row)
    {}

    /// Fits planes to the ring of samples around those of a group, which are dense. Where enough of
    /// them are there.
    [[nodiscard, gnu::noinline]] Integers FitDense(std::uint32_t column, Floats depths,
                                                   SGradients& gradients) const
    {
        // Of two opposite samples only the difference counts, and their places add up to nothing.
        const SSampleOffsets& ring = m_task.ring;
        const float* const centre = m_row.At(column);
        const Floats tolerances = m_row.Tolerances(depths);
        const Floats zero{};
        Integers numPairs{};
        Floats xx{};
        Floats xy{};
        Floats yy{};
        Floats xValues{};
        Floats yValues{};
        for (std::size_t index = 0; index < ring.count; ++index)
        {
            const Floats differences = Row::Load(centre + ring.steps[index]) - depths;
            const Floats opposites = Row::Load(centre - ring.steps[index]) - depths;
            const Floats bounds = tolerances * ring.distances[index];
            const Integers isTaken =
                (Row::Magnitude(differences) <= bounds) & (Row::Magnitude(opposites) <= bounds);
            const Floats values = isTaken ? differences - opposites : zero;
            numPairs = isTaken ? numPairs + 1 : numPairs;
            xx = isTaken ? xx + ring.xx[index] : xx;
            xy = isTaken ? xy + ring.xy[index] : xy;
            yy = isTaken ? yy + ring.yy[index] : yy;
            xValues += ring.x[index] * values;
            yValues += ring.y[index] * values;
        }
        // Of both samples of a pair. Sums of small integers are exact.
        xx *= 2.0F;
        xy *= 2.0F;
        yy *= 2.0F;
        const Floats determinants = xx * yy - xy * xy;
        const Floats scales =
            (m_task.depths.isPerspective ? -1.0F / depths : zero + 1.0F) / determinants;
        gradients = {(xValues * yy - yValues * xy) * scales,
                     (yValues * xx - xValues * xy) * scales};
        return (numPairs >= c_minPairs) & (determinants > c_minDeterminant * xx * yy);
    }

    /// Fits planes to the neighbours of some samples of the row, wherever they are.
    /// \param offsets where they are looked for.
    /// \param radii of the dots.
    [[nodiscard, gnu::noinline]] SGradients FitScattered(const SSampleOffsets& offsets,
                                                         const std::int32_t* columns,
                                                         Floats radii) const
    {
        const float* const first = m_row.At(0);
        const Floats depths = Vector::Gather(first, columns);
        const Floats tolerances = m_row.Tolerances(depths);
        return fit(offsets, radii, [&](std::size_t each, Integers isWanted, Fits& fits) {
            const Floats others = Vector::Gather(first + offsets.steps[each], columns);
            const Integers isTaken =
                (Row::Magnitude(others - depths) <= tolerances * offsets.distances[each]) &
                isWanted;
            fits.Add(isTaken, offsets.x[each], offsets.y[each], valuesOf(others, depths));
            return isTaken;
        });
    }

    /// The same among the samples of a coarser grid.
    [[nodiscard, gnu::noinline]] SGradients FitScatteredIn(const SCoarseGrid& grid,
                                                           const std::int32_t* columns,
                                                           Floats radii) const
    {
        const Floats depths = Vector::Gather(m_row.At(0), columns);
        const Floats perTolerance = 1.0F / m_row.Tolerances(depths);
        const std::int32_t within = (1 << grid.shift) - 1;
        const float cellSize = static_cast<float>(1U << grid.shift);
        const std::uint64_t* const first =
            grid.first + grid.stride * static_cast<std::ptrdiff_t>(m_rowIndex >> grid.shift);
        constexpr std::int32_t c_column = (1 << SCoarseGrid::c_placeBits) - 1;
        std::int32_t cells[c_width];
        Integers columnsInCell;
        for (std::uint32_t lane = 0; lane < c_width; ++lane)
        {
            cells[lane] = columns[lane] >> grid.shift;
            columnsInCell[lane] = columns[lane] & within;
        }
        const std::int32_t rowInCell = static_cast<std::int32_t>(m_rowIndex) & within;
        return fit(
            grid.offsets, radii / cellSize, [&](std::size_t each, Integers isWanted, Fits& fits) {
                Floats others;
                Integers places;
                Vector::GatherWords(first + grid.offsets.steps[each], cells, others, places);
                const Floats x =
                    cellSize * grid.offsets.x[each] +
                    __builtin_convertvector((places & c_column) - columnsInCell, Floats);
                const Floats y = cellSize * grid.offsets.y[each] +
                                 __builtin_convertvector(
                                     (places >> SCoarseGrid::c_placeBits) - rowInCell, Floats);
                const Floats steps = (others - depths) * perTolerance;
                const Integers isTaken = (steps * steps <= x * x + y * y) & isWanted;
                fits.Add(isTaken, x, y, valuesOf(others, depths));
                return isTaken;
            });
    }

private:
    using Row = TSampleRow<Vector>;
    using Fits = TPlaneFits<Vector>;
    static constexpr std::uint32_t c_width = Vector::c_width;
    static constexpr std::size_t c_step = SSampleRows::c_offsetsPerDistance;

    /// Of the pairs of a ring so many must be there.
    static constexpr int c_minPairs = 6;
    /// Of a plane's equations; below it the places lie on one line.
    static constexpr float c_minDeterminant = 1e-3F;
    /// Among scattered samples a plane's neighbours are so many.
    static constexpr int c_maxPlaneNeighbors = 40;

    /// Fits planes to the nearest of the samples that \p add(offset, isWanted, fits) finds to be
    /// neighbours; it adds those of the wanted ones, and says which.
    /// \param radii in the units of \p offsets.
    template <typename Add>
    [[nodiscard]] static SGradients fit(const SSampleOffsets& offsets, Floats radii, const Add& add)
    {
        const Floats reaches = SSampleRows::c_planeReach * radii;
        Integers numLeft = Integers() + c_maxPlaneNeighbors;
        Fits fits;
        fits.Add(radii == radii, 0.0F, 0.0F, Floats());
        for (std::size_t index = 0; index < offsets.count; index += c_step)
        {
            numLeft = offsets.distances[index] <= reaches ? numLeft : Integers();
            if (Vector::Bits(numLeft > 0) == 0)
            {
                break;
            }
            for (std::size_t each = index; each < index + c_step; ++each)
            {
                numLeft += add(each, numLeft > 0, fits);
            }
        }
        return fits.Solve();
    }

    /// What is linear over the picture where there is a plane.
    [[nodiscard]] Floats valuesOf(Floats others, Floats depths) const
    {
        return m_task.depths.isPerspective ? (depths - others) / others : others - depths;
    }

    const SDotsTask& m_task;
    std::uint32_t m_rowIndex;
    Row m_row;
};

}  // namespace
}  // namespace Application
