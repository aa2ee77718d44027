#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "Base/Math/LqMatrix4R.h"
#include "DataLayer/Export.h"
#include "DataLayer/PointCloud/CDeferredNeighborSearch.h"
#include "DataLayer/PointCloud/CNeighborCells.h"
#include "DataLayer/PointCloud/Kernels/NeighborCells.h"

namespace DataLayer
{

/// Tells whether a point's nearest neighbour is one of the first of a cloud, faster than by finding
/// it: by what is known of all points of a small cube of space. The answers are those of the
/// search.
///
/// Most cubes around the cloud are judged when the split is made, by where there are positions at
/// all; others when they are first asked for, by the distances of the positions near them. Where
/// the points of a cube differ, they are answered one by one. What is judged, and why that is
/// exact, is told in Docs/NeighborCells.md.
///
/// Takes 13 to 17 bytes for each position of a smooth surface, half a bound apart or a little less.
/// Const operations are safe from any number of threads; they take no lock and allocate nothing,
/// but for the index of the search the first time that many positions lie close together.
///
/// Not installed; exported for the library above, its tests and benchmark.
class VEKO2_DATALAYER_EXPORT CNearestNeighborSplit
{
public:
    /// Splits the cloud of \p search, which must live, behind its position \p last; a negative one
    /// splits it before the first. Answers are for neighbours within \p bound.
    ///
    /// \param kernel one of GetKernelNames(), or an empty name for the fastest.
    /// \returns null when cells are of no use: the positions lie too far apart for the bound, or
    /// the bound is too small or too large.
    /// @throw std::invalid_argument when this processor has no kernel of that name.
    [[nodiscard]] static std::unique_ptr<const CNearestNeighborSplit> Make(
        const CDeferredNeighborSearch& search, std::int32_t last, float bound,
        std::string_view kernel = {});

    ~CNearestNeighborSplit();
    CNearestNeighborSplit(const CNearestNeighborSplit&) = delete;
    CNearestNeighborSplit& operator=(const CNearestNeighborSplit&) = delete;

    /// Whether the nearest neighbour of \p point within the bound is one of the first positions.
    [[nodiscard]] bool IsAmongFirst(const LqVector3f& point) const;

    /// Has what IsAmongFirst() reads first in cubes that are not judged yet fetched for \p points,
    /// for all of them at once: for the first c_mostFetched, if there are more. Only a hint, which
    /// changes nothing.
    void Fetch(std::span<const LqVector3f> points) const;
    static constexpr std::size_t c_mostFetched = 64;

    /// How Look() has to place surfels that \p trafo transforms, with perspective division.
    [[nodiscard]] NeighborCells::SPlacement MakePlacement(const LqMatrix4Rf& trafo) const;

    /// Writes for each of \p surfels what is known so far of its cube, or of the one beside it
    /// where its place is too near the border to tell, into \p states. The numbers of those that
    /// are neither c_amongFirst nor c_notAmong, of which IsAmongFirst() must be asked, go to \p
    /// open in ascending order. Both have room for all surfels, less than 2^32. Returns how many
    /// are open.
    std::size_t Look(const SPositionArray& surfels, const NeighborCells::SPlacement& placement,
                     std::uint16_t* states, std::uint32_t* open) const;

    /// The bytes it takes.
    [[nodiscard]] std::size_t GetMemorySize() const;

    /// The names of the kernels of Look() that this processor runs, the fastest first.
    [[nodiscard]] static std::vector<std::string_view> GetKernelNames();

private:
    CNearestNeighborSplit(const CDeferredNeighborSearch& search, std::int32_t last, float bound,
                          NeighborCells::LookFunction look, CNeighborCells&& cells);

    /// Bounds, in squared cells, of how far the nearest of some positions is from a cube's points.
    struct SReach
    {
        double atLeast = std::numeric_limits<double>::infinity();
        double atMost = std::numeric_limits<double>::infinity();

        void Add(const SReach& other)
        {
            atLeast = std::min(atLeast, other.atLeast);
            atMost = std::min(atMost, other.atMost);
        }
    };

    [[nodiscard]] bool isOther(std::uint32_t index) const;
    [[nodiscard]] SReach reachOf(const std::uint32_t (&cell)[3], std::uint32_t index) const;
    [[nodiscard]] std::uint32_t judge(const std::uint32_t (&cell)[3]) const;
    [[nodiscard]] bool findExactly(const LqVector3f& point, const std::uint32_t (&cell)[3]) const;

    const CDeferredNeighborSearch& m_search;
    std::int32_t m_last;
    float m_bound;
    NeighborCells::LookFunction m_look;
    CNeighborCells m_cells;
};

}  // namespace DataLayer
