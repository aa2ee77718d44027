#include "Application/Fusion/SpacingEstimate.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <mutex>
#include <span>
#include <tuple>

#include "Application/Fusion/CFusionGrid.h"
#include "Application/Fusion/CHashSlots.h"
#include "Application/Fusion/PointBlocks.h"
#include "Base/Support/ParallelFor.h"

namespace Application
{

namespace
{

constexpr std::size_t c_numProbes = 512;
constexpr double c_infinity = std::numeric_limits<double>::infinity();

/// A point of the sample, and how far the nearest point at another place is, as far as known.
struct SProbe
{
    SFusionPoint point;
    double squaredDistance;
};

double SquaredDistance(const SFusionPoint& a, const SFusionPoint& b)
{
    const double x = a.x - b.x;
    const double y = a.y - b.y;
    const double z = a.z - b.z;
    return (x * x + y * y) + z * z;
}

/// Points of the sample at different places, and how far the nearest one of the sample is. A lower
/// distance than \p leastSquaredDistance, also 0, is none.
std::vector<SProbe> MakeProbes(const CPointSample& sample, double leastSquaredDistance)
{
    const std::vector<SFusionPoint>& points = sample.GetPoints();
    const std::size_t count = std::min(points.size(), c_numProbes);
    std::vector<SFusionPoint> places(count);
    for (std::size_t place = 0; place < count; ++place)
    {
        places[place] = points[place * points.size() / count];
    }
    std::sort(places.begin(), places.end(), [](const SFusionPoint& a, const SFusionPoint& b) {
        return std::tie(a.x, a.y, a.z) < std::tie(b.x, b.y, b.z);
    });
    places.erase(std::unique(places.begin(), places.end()), places.end());

    std::vector<SProbe> probes;
    probes.reserve(places.size());
    for (const SFusionPoint& place : places)
    {
        probes.push_back({place, c_infinity});
    }
    Base::ParallelFor(static_cast<std::uint32_t>(probes.size()), [&](std::uint32_t index) {
        SProbe& probe = probes[index];
        for (const SFusionPoint& point : points)
        {
            const double distance = SquaredDistance(probe.point, point);
            if (distance > leastSquaredDistance && distance < probe.squaredDistance)
            {
                probe.squaredDistance = distance;
            }
        }
    });
    return probes;
}

double MedianDistance(const std::vector<SProbe>& probes)
{
    std::vector<double> distances;
    for (const SProbe& probe : probes)
    {
        if (probe.squaredDistance < c_infinity)
        {
            distances.push_back(probe.squaredDistance);
        }
    }
    if (distances.empty())
    {
        return 0.0;
    }
    const auto middle = distances.begin() + static_cast<std::ptrdiff_t>((distances.size() - 1) / 2);
    std::nth_element(distances.begin(), middle, distances.end());
    return std::sqrt(*middle);
}

/// Finds, for any point, the probes that may be within a reach of it.
class CProbeGrid
{
public:
    CProbeGrid(const std::vector<SProbe>& probes, const std::array<double, 3>& origin, double reach)
        : m_grid(origin, 2.0 * reach), m_mayHaveProbes(c_numFilterBits, false)
    {
        for (std::uint32_t probe = 0; probe < probes.size(); ++probe)
        {
            add(probe, probes[probe].point, reach);
        }
    }

    [[nodiscard]] std::span<const std::uint32_t> FindProbes(const SFusionPoint& point) const
    {
        CFusionGrid::SPlace place;
        if (!m_grid.Locate(point, place))
        {
            return {};
        }
        const std::uint64_t hash = HashCell(place.cell);
        if (!m_mayHaveProbes[hash % c_numFilterBits])
        {
            return {};
        }
        const std::uint32_t number = find(place.cell, hash);
        return number != CHashSlots::c_none ? std::span<const std::uint32_t>(m_cells[number].probes)
                                            : std::span<const std::uint32_t>();
    }

private:
    /// Fits a processor's first cache and lets few cells without probes through.
    static constexpr std::size_t c_numFilterBits = std::size_t{1} << 17;

    struct SProbeCell
    {
        SCell cell;
        std::vector<std::uint32_t> probes;
    };

    [[nodiscard]] std::uint32_t find(const SCell& cell, std::uint64_t hash) const
    {
        return m_slots.Find(hash,
                            [&](std::uint32_t number) { return m_cells[number].cell == cell; });
    }

    void add(std::uint32_t probe, const SFusionPoint& point, double reach)
    {
        CFusionGrid::SPlace low;
        CFusionGrid::SPlace high;
        if (!m_grid.Locate({point.x - reach, point.y - reach, point.z - reach}, low) ||
            !m_grid.Locate({point.x + reach, point.y + reach, point.z + reach}, high))
        {
            return;
        }
        for (std::int32_t x = low.cell.x; x <= high.cell.x; ++x)
        {
            for (std::int32_t y = low.cell.y; y <= high.cell.y; ++y)
            {
                for (std::int32_t z = low.cell.z; z <= high.cell.z; ++z)
                {
                    addToCell(probe, {x, y, z});
                }
            }
        }
    }

    void addToCell(std::uint32_t probe, const SCell& cell)
    {
        const std::uint64_t hash = HashCell(cell);
        const auto next = static_cast<std::uint32_t>(m_cells.size());
        const std::uint32_t number = m_slots.FindOrInsert(
            hash, next, [&](std::uint32_t other) { return m_cells[other].cell == cell; },
            [&](std::uint32_t other) { return HashCell(m_cells[other].cell); });
        if (number == next)
        {
            m_cells.push_back({cell, {}});
            m_mayHaveProbes[hash % c_numFilterBits] = true;
        }
        m_cells[number].probes.push_back(probe);
    }

    CFusionGrid m_grid;
    std::vector<SProbeCell> m_cells;
    CHashSlots m_slots;
    std::vector<bool> m_mayHaveProbes;
};

/// Lowers the distances of \p probes to those that the points of a block show.
void LowerDistances(const SPointBlock& block, const CProbeGrid& grid, double leastSquaredDistance,
                    std::vector<SProbe>& probes)
{
    for (std::uint64_t index = block.begin; index < block.end; ++index)
    {
        if (block.scan->IsLeftOut(index))
        {
            continue;
        }
        const SFusionPoint point = block.scan->GetPoint(index);
        for (const std::uint32_t number : grid.FindProbes(point))
        {
            SProbe& probe = probes[number];
            const double distance = SquaredDistance(probe.point, point);
            if (distance > leastSquaredDistance && distance < probe.squaredDistance)
            {
                probe.squaredDistance = distance;
            }
        }
    }
}

}  // namespace

double EstimateSpacing(const std::vector<CScanPoints>& scans, const CPointSample& sample)
{
    const double leastDistance = sample.ComputeInnerExtent() * 0x1p-22;
    const double leastSquaredDistance = leastDistance * leastDistance;
    std::vector<SProbe> probes = MakeProbes(sample, leastSquaredDistance);
    const double reach = MedianDistance(probes);
    if (sample.IsComplete() || reach == 0.0)
    {
        return reach;
    }
    // Within the median of the sample all points are looked at. The median of all is not above it,
    // so the probes for which nothing is found there do not matter.
    const CProbeGrid grid(probes, sample.ComputeMiddle(), reach);
    const std::vector<SPointBlock> blocks = MakePointBlocks(scans);
    std::mutex mutex;
    Base::ParallelFor(static_cast<std::uint32_t>(blocks.size()), [&](std::uint32_t block) {
        std::vector<SProbe> lowered;
        {
            const std::lock_guard lock(mutex);
            lowered = probes;
        }
        LowerDistances(blocks[block], grid, leastSquaredDistance, lowered);
        const std::lock_guard lock(mutex);
        for (std::size_t probe = 0; probe < probes.size(); ++probe)
        {
            probes[probe].squaredDistance =
                std::min(probes[probe].squaredDistance, lowered[probe].squaredDistance);
        }
    });
    return MedianDistance(probes);
}

}  // namespace Application
