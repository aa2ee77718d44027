#include "DataLayer/PointCloud/BoundPositions.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <span>
#include <vector>

#include "DataLayer/PointCloud/Kernels/PackedBoundsKernels.h"
#include "DataLayer/PointCloud/SurfelBlocks.h"

namespace DataLayer
{

namespace
{

constexpr std::uint64_t c_surfelsPerRun = SSurfelRuns::c_surfelsPerRun;
constexpr std::uint64_t c_surfelsPerGroup = SSurfelRuns::c_surfelsPerGroup;
static_assert(c_surfelBlockSize % c_surfelsPerGroup == 0, "groups do not reach across blocks");

/// Four floats in a register of any processor.
using Lanes = float __attribute__((vector_size(16)));
using LaneMask = decltype(Lanes() < Lanes());

Lanes LoadLanes(const std::byte* address, std::size_t numBytes)
{
    Lanes lanes{};
    std::memcpy(&lanes, address, numBytes);
    return lanes;
}

bool HasFiniteCoordinates(const LqVector3f& position)
{
    return std::isfinite(position.x) && std::isfinite(position.y) && std::isfinite(position.z);
}

/// BoundPositions() one position after the other, with any stride and any coordinates.
SSurfelRun BoundOneByOne(const SPositionArray& positions, std::uint64_t begin, std::uint64_t end)
{
    SSurfelRun run;
    for (std::uint64_t index = begin; index < end; ++index)
    {
        const LqVector3f position = positions[index];
        if (HasFiniteCoordinates(position))
        {
            run.box.Extend(position);
        }
        else
        {
            run.isFinite = false;
        }
    }
    return run;
}

/// The bounds of positions as they are gathered, three lanes of them; the fourth holds whatever
/// lies behind a position in memory.
class CLaneBounds
{
public:
    void Add(Lanes position)
    {
        m_min = position < m_min ? position : m_min;
        m_max = position > m_max ? position : m_max;
        m_isNaN |= position != position;
    }

    /// Adds the first of \p count positions without gaps between them, and returns how many.
    std::uint64_t AddPacked(const std::byte* first, std::uint64_t count)
    {
        static const PackedBounds::BoundFunction fastest = PackedBounds::GetKernels().front().bound;
        PackedBounds::SBounds bounds{};
        const std::uint64_t numAdded = fastest(first, count, bounds);
        if (numAdded == 0)
        {
            // The bounds of none are infinite, which would pass for coordinates.
            return 0;
        }
        for (const float* const corners : {bounds.minima, bounds.maxima})
        {
            const auto* const bytes = reinterpret_cast<const std::byte*>(corners);
            for (std::size_t corner = 0; corner < 4; ++corner)
            {
                Add(LoadLanes(bytes + corner * sizeof(LqVector3f), sizeof(LqVector3f)));
            }
        }
        m_isNaN |= LaneMask{} - static_cast<int>(bounds.hasNaN);
        return numAdded;
    }

    /// Whether all coordinates were finite: infinite ones have become a bound.
    [[nodiscard]] bool IsFinite() const
    {
        const bool isNaN = (m_isNaN[0] | m_isNaN[1] | m_isNaN[2]) != 0;
        return !isNaN && HasFiniteCoordinates({m_min[0], m_min[1], m_min[2]}) &&
               HasFiniteCoordinates({m_max[0], m_max[1], m_max[2]});
    }

    [[nodiscard]] bool HasZero() const
    {
        const LaneMask isZero = (m_min == Lanes()) | (m_max == Lanes());
        return (isZero[0] | isZero[1] | isZero[2]) != 0;
    }

    [[nodiscard]] Geometry::CBox3D GetBox() const
    {
        Geometry::CBox3D box;
        box.min = {m_min[0], m_min[1], m_min[2]};
        box.max = {m_max[0], m_max[1], m_max[2]};
        return box;
    }

private:
    static constexpr float c_infinity = std::numeric_limits<float>::infinity();

    Lanes m_min{c_infinity, c_infinity, c_infinity, c_infinity};
    Lanes m_max{-c_infinity, -c_infinity, -c_infinity, -c_infinity};
    LaneMask m_isNaN{};
};

SSurfelRun Unite(std::span<const SSurfelRun> runs)
{
    SSurfelRun whole;
    for (const SSurfelRun& run : runs)
    {
        whole.isFinite = whole.isFinite && run.isFinite;
        if (!run.box.IsEmpty())
        {
            whole.box.Extend(run.box.min);
            whole.box.Extend(run.box.max);
        }
    }
    return whole;
}

double Measure(const Geometry::CBox3D& box)
{
    if (box.IsEmpty())
    {
        return 0.0;
    }
    return (static_cast<double>(box.max.x) - static_cast<double>(box.min.x)) +
           (static_cast<double>(box.max.y) - static_cast<double>(box.min.y)) +
           (static_cast<double>(box.max.z) - static_cast<double>(box.min.z));
}

SSurfelRunGroup MakeGroup(std::span<const SSurfelRun> runs)
{
    // Surfels of one place in space in an arbitrary order come to at least 0.9.
    constexpr double c_small = 0.75;
    double sum = 0.0;
    for (const SSurfelRun& run : runs)
    {
        sum += Measure(run.box);
    }
    const SSurfelRun whole = Unite(runs);
    return {whole, sum < c_small * Measure(whole.box) * static_cast<double>(runs.size())};
}

}  // namespace

SSurfelRun BoundPositions(const SPositionArray& positions, std::uint64_t begin, std::uint64_t end)
{
    // Four floats are read where three are meant, which all positions but the last have room for.
    const bool hasRoom = positions.stride >= sizeof(float);
    if (!hasRoom)
    {
        return BoundOneByOne(positions, begin, end);
    }
    const std::uint64_t endOfWhole = std::min(end, positions.count - 1);
    const auto bound = [&](std::uint64_t numPacked) {
        CLaneBounds bounds;
        std::uint64_t index = begin;
        if (numPacked != 0)
        {
            index += bounds.AddPacked(positions.first + begin * positions.stride, numPacked);
        }
        const std::byte* address = positions.first + index * positions.stride;
        for (; index < endOfWhole; ++index)
        {
            bounds.Add(LoadLanes(address, sizeof(Lanes)));
            address += positions.stride;
        }
        if (endOfWhole < end)
        {
            bounds.Add(LoadLanes(address, sizeof(LqVector3f)));
        }
        return bounds;
    };
    const bool isPacked = positions.stride == sizeof(LqVector3f);
    CLaneBounds bounds = bound(isPacked ? endOfWhole - begin : 0);
    // Of zeros of either sign the first one stays, which only the order of the positions tells.
    if (isPacked && bounds.HasZero())
    {
        bounds = bound(0);
    }
    if (!bounds.IsFinite())
    {
        return BoundOneByOne(positions, begin, end);
    }
    return {bounds.GetBox(), true};
}

Geometry::CBox3D BoundAllPositions(SPositionArray positions)
{
    if (positions.stride == 0)
    {
        positions.count = std::min<std::uint64_t>(positions.count, 1);
    }
    std::vector<SSurfelRun> blocks(CountSurfelBlocks(positions.count));
    ForEachSurfelBlock(positions.count, [&](std::uint64_t begin, std::uint64_t end) {
        blocks[begin / c_surfelBlockSize] = BoundPositions(positions, begin, end);
    });
    return Unite(blocks).box;
}

SSurfelRuns MakeSurfelRuns(const SPositionArray& positions)
{
    const std::uint64_t count = positions.count;
    SSurfelRuns runs;
    runs.runs.resize(count / c_surfelsPerRun + (count % c_surfelsPerRun != 0 ? 1 : 0));
    runs.groups.resize(count / c_surfelsPerGroup + (count % c_surfelsPerGroup != 0 ? 1 : 0));
    ForEachSurfelBlock(count, [&](std::uint64_t begin, std::uint64_t end) {
        for (std::uint64_t firstOfGroup = begin; firstOfGroup < end;
             firstOfGroup += c_surfelsPerGroup)
        {
            const std::uint64_t endOfGroup = std::min(firstOfGroup + c_surfelsPerGroup, end);
            SSurfelRun* const firstRun = &runs.runs[firstOfGroup / c_surfelsPerRun];
            SSurfelRun* run = firstRun;
            for (std::uint64_t first = firstOfGroup; first < endOfGroup; first += c_surfelsPerRun)
            {
                *run =
                    BoundPositions(positions, first, std::min(first + c_surfelsPerRun, endOfGroup));
                ++run;
            }
            runs.groups[firstOfGroup / c_surfelsPerGroup] = MakeGroup({firstRun, run});
        }
    });
    return runs;
}

}  // namespace DataLayer
