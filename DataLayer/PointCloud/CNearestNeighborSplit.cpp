#include "DataLayer/PointCloud/CNearestNeighborSplit.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>
#include <utility>

#include "DataLayer/PointCloud/Kernels/NeighborCellLookup.h"
#include "DataLayer/PointCloud/NeighborPlacement.h"

namespace DataLayer
{

using NeighborCells::c_amongFirst;
using NeighborCells::c_notAmong;
using NeighborCells::c_undecidable;
using NeighborCells::c_unjudged;

namespace
{

/// Beyond so many positions around a cell the index finds the nearest one sooner than a look at all
/// of them.
constexpr std::uint32_t c_crowd = 160;

/// The cell of a point.
struct SCell
{
    std::uint32_t numbers[3];

    SCell(const NeighborCells::SLookup& lookup, const LqVector3f& point)
        : numbers{NeighborCells::CellOf(lookup, point.x, 0),
                  NeighborCells::CellOf(lookup, point.y, 1),
                  NeighborCells::CellOf(lookup, point.z, 2)}
    {}
};

struct SKernel
{
    std::string_view name;
    NeighborCells::LookFunction look;
};

std::vector<SKernel> GetKernels()
{
    std::vector<SKernel> kernels;
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx512f"))
    {
        kernels.push_back({"avx512", NeighborCells::LookAvx512});
    }
    if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma"))
    {
        kernels.push_back({"avx2", NeighborCells::LookAvx2});
    }
#endif
    kernels.push_back({"scalar", NeighborCells::LookScalar});
    return kernels;
}

NeighborCells::LookFunction FindKernel(std::string_view name)
{
    for (const SKernel& kernel : GetKernels())
    {
        if (name.empty() || name == kernel.name)
        {
            return kernel.look;
        }
    }
    throw std::invalid_argument("This processor has no neighbour-cell kernel " + std::string(name));
}

}  // namespace

std::unique_ptr<const CNearestNeighborSplit> CNearestNeighborSplit::Make(
    const CDeferredNeighborSearch& search, std::int32_t last, float bound, std::string_view kernel)
{
    const NeighborCells::LookFunction look = FindKernel(kernel);
    std::optional<CNeighborCells> cells = CNeighborCells::Make(search.GetPositions(), last, bound);
    if (!cells)
    {
        return nullptr;
    }
    return std::unique_ptr<const CNearestNeighborSplit>(
        new CNearestNeighborSplit(search, last, bound, look, std::move(*cells)));
}

CNearestNeighborSplit::CNearestNeighborSplit(const CDeferredNeighborSearch& search,
                                             std::int32_t last, float bound,
                                             NeighborCells::LookFunction look,
                                             CNeighborCells&& cells)
    : m_search(search), m_last(last), m_bound(bound), m_look(look), m_cells(std::move(cells))
{}

CNearestNeighborSplit::~CNearestNeighborSplit() = default;

bool CNearestNeighborSplit::IsAmongFirst(const LqVector3f& point) const
{
    const SCell cell(m_cells.GetLookup(), point);
    std::uint32_t state = m_cells.GetState(cell.numbers);
    if (state == c_unjudged)
    {
        state = judge(cell.numbers);
        m_cells.SetState(cell.numbers, state);
    }
    return state == c_undecidable ? findExactly(point, cell.numbers) : state == c_amongFirst;
}

void CNearestNeighborSplit::Fetch(std::span<const LqVector3f> points) const
{
    const std::uint32_t* bricks[c_mostFetched];
    std::size_t count = 0;
    for (const LqVector3f& point : points.first(std::min(points.size(), c_mostFetched)))
    {
        const SCell cell(m_cells.GetLookup(), point);
        const std::uint32_t* const brick = m_cells.GetState(cell.numbers) == c_unjudged
                                               ? m_cells.FindFirstPoint(cell.numbers)
                                               : nullptr;
        if (brick != nullptr)
        {
            __builtin_prefetch(brick);
            bricks[count++] = brick;
        }
    }
    const SPositionArray& positions = m_search.GetPositions();
    for (const std::uint32_t* const brick : std::span(bricks, count))
    {
        if (*brick != CNeighborCells::c_noPoint)
        {
            __builtin_prefetch(positions.first + std::size_t{*brick} * positions.stride);
            m_cells.FetchNext(*brick);
        }
    }
}

NeighborCells::SPlacement CNearestNeighborSplit::MakePlacement(const LqMatrix4Rf& trafo) const
{
    return MakeNeighborPlacement(m_cells.GetLookup(), trafo);
}

std::size_t CNearestNeighborSplit::Look(const SPositionArray& surfels,
                                        const NeighborCells::SPlacement& placement,
                                        std::uint16_t* states, std::uint32_t* open) const
{
    return m_look(m_cells.GetLookup(), {surfels.first, surfels.stride, surfels.count, placement},
                  states, open);
}

std::size_t CNearestNeighborSplit::GetMemorySize() const
{
    return sizeof *this + m_cells.GetMemorySize();
}

std::vector<std::string_view> CNearestNeighborSplit::GetKernelNames()
{
    std::vector<std::string_view> names;
    for (const SKernel& kernel : GetKernels())
    {
        names.push_back(kernel.name);
    }
    return names;
}

/// Judges a cell's cube by the least and the greatest distance between its points and each
/// position.
std::uint32_t CNearestNeighborSplit::judge(const std::uint32_t (&cell)[3]) const
{
    // Room for the rounding of the search's squared distances.
    constexpr double c_more = 1.0 + 0x1p-20;
    CNeighborCells::CBricks bricks(m_cells, cell);
    const double bound =
        static_cast<double>(m_bound) * static_cast<double>(m_cells.GetLookup().scale);
    const double squaredBound = bound * bound;
    std::uint32_t count = 0;
    // A brick's positions begin with the others, since those have the higher indices.
    SReach other;
    const std::size_t numWithOthers = m_cells.AreAllFirstAround(cell) ? 0 : bricks.c_count;
    for (std::size_t brick = 0; brick < numWithOthers; ++brick)
    {
        for (std::uint32_t index = bricks.GetFirst(brick); isOther(index);
             index = m_cells.GetNext(index))
        {
            if (++count > c_crowd)
            {
                return c_undecidable;
            }
            other.Add(reachOf(cell, index));
        }
    }
    SReach first;
    const double nearEnough = std::min(squaredBound, other.atLeast);
    for (std::size_t brick = 0; brick < bricks.c_count; ++brick)
    {
        std::uint32_t index = bricks.GetFirst(brick);
        while (isOther(index))
        {
            index = m_cells.GetNext(index);
        }
        for (; index != CNeighborCells::c_noPoint; index = m_cells.GetNext(index))
        {
            if (++count > c_crowd)
            {
                return c_undecidable;
            }
            first.Add(reachOf(cell, index));
            if (first.atMost * c_more < nearEnough)
            {
                return c_amongFirst;
            }
        }
    }
    return first.atLeast > std::min(squaredBound, other.atMost) * c_more ? c_notAmong
                                                                         : c_undecidable;
}

/// Whether \p index is that of a position behind the first ones; c_noPoint is not.
bool CNearestNeighborSplit::isOther(std::uint32_t index) const
{
    return index != CNeighborCells::c_noPoint && static_cast<std::int64_t>(index) > m_last;
}

/// The least and the greatest distance between a position and the points of a cell's cube, in
/// cells.
CNearestNeighborSplit::SReach CNearestNeighborSplit::reachOf(const std::uint32_t (&cell)[3],
                                                             std::uint32_t index) const
{
    const NeighborCells::SLookup& lookup = m_cells.GetLookup();
    const LqVector3f position = m_search.GetPositions()[index];
    const float coordinates[3] = {position.x, position.y, position.z};
    SReach reach{0.0, 0.0};
    constexpr double c_halfEdge = 1.0 + CNeighborCells::c_queryError;
    for (std::uint32_t axis = 0; axis < 3; ++axis)
    {
        const double place = (static_cast<double>(coordinates[axis]) - lookup.low[axis]) *
                             static_cast<double>(lookup.scale);
        const double fromMiddle = std::abs(place - (cell[axis] | 1U));
        const double outside = std::max(fromMiddle - c_halfEdge, 0.0);
        const double across = fromMiddle + c_halfEdge;
        reach.atLeast += outside * outside;
        reach.atMost += across * across;
    }
    return reach;
}

/// The search's own answer, found among the positions around the cell.
bool CNearestNeighborSplit::findExactly(const LqVector3f& point,
                                        const std::uint32_t (&cell)[3]) const
{
    const SPositionArray& positions = m_search.GetPositions();
    float nearestDistance = m_bound * m_bound;
    std::uint32_t nearest = CNeighborCells::c_noPoint;
    std::uint32_t count = 0;
    CNeighborCells::CBricks bricks(m_cells, cell);
    for (std::size_t brick = 0; brick < bricks.c_count; ++brick)
    {
        for (std::uint32_t index = bricks.GetFirst(brick); index != CNeighborCells::c_noPoint;
             index = m_cells.GetNext(index))
        {
            if (++count > c_crowd)
            {
                const std::int32_t found = m_search.FindNearestNeighbor(point, m_bound, nullptr);
                return found >= 0 && found <= m_last;
            }
            const LqVector3f position = positions[index];
            const float x = point.x - position.x;
            const float y = point.y - position.y;
            const float z = point.z - position.z;
            const float distance = (x * x + y * y) + z * z;
            if (distance < nearestDistance || (distance == nearestDistance && index < nearest))
            {
                nearestDistance = distance;
                nearest = index;
            }
        }
    }
    return static_cast<std::int64_t>(nearest) <= m_last;
}

}  // namespace DataLayer
