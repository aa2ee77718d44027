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

    TPlanes(const SDotsTask& task, std::uint32_t row) : m_task(task), m_row(task.depths, row) {}

    /// Up to this radius samples are dense.
    static constexpr float c_maxDenseRadius = 2.0F;

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
    /// \param columns counted from \p first on.
    /// \param radii of the dots.
    [[nodiscard, gnu::noinline]] SGradients FitScattered(const float* first,
                                                         const std::int32_t* columns,
                                                         Floats radii) const
    {
        const SSampleOffsets& offsets = m_task.offsets;
        const bool isPerspective = m_task.depths.isPerspective;
        const Floats depths = Vector::Gather(first, columns);
        const Floats tolerances = m_row.Tolerances(depths);
        const Floats reaches = c_planeReach * radii;
        Integers numLeft = Integers() + c_maxPlaneNeighbors;
        TPlaneFits<Vector> fits;
        fits.Add(depths == depths, 0.0F, 0.0F, Floats());
        for (std::size_t index = 0; index < offsets.count; index += c_step)
        {
            const float distance = offsets.distances[index];
            numLeft = distance <= reaches ? numLeft : Integers();
            if (Vector::Bits(numLeft > 0) == 0)
            {
                break;
            }
            const Floats bounds = tolerances * distance;
            for (std::size_t each = index; each < index + c_step; ++each)
            {
                const Floats others = Vector::Gather(first + offsets.steps[each], columns);
                const Integers isTaken =
                    (Row::Magnitude(others - depths) <= bounds) & (numLeft > 0);
                numLeft += isTaken;
                fits.Add(isTaken, offsets.x[each], offsets.y[each],
                         isPerspective ? (depths - others) / others : others - depths);
            }
        }
        return fits.Solve();
    }

private:
    using Row = TSampleRow<Vector>;
    static constexpr std::size_t c_step = SSampleRows::c_offsetsPerDistance;

    /// Of the pairs of a ring so many must be there.
    static constexpr int c_minPairs = 6;
    /// Of a plane's equations; below it the places lie on one line.
    static constexpr float c_minDeterminant = 1e-3F;
    /// Among scattered samples a plane's neighbours reach this far, in radii of the dot, and are so
    /// many.
    static constexpr float c_planeReach = 3.0F;
    static constexpr int c_maxPlaneNeighbors = 40;

    const SDotsTask& m_task;
    Row m_row;
};

}  // namespace
}  // namespace Application
