#pragma once

#include <cstdint>
#include <vector>

#include "Base/Math/CBox3D.h"
#include "DataLayer/Export.h"

namespace DataLayer
{

/// What is known of the positions of some consecutive surfels.
struct SSurfelRun
{
    /// The box of those positions that are finite; empty when none is.
    Geometry::CBox3D box;
    /// Whether all of the positions are finite.
    bool isFinite = true;
};

/// A number of consecutive runs, taken together.
struct SSurfelRunGroup
{
    SSurfelRun whole;
    /// Whether the runs' boxes are clearly smaller than the whole one's, so that it pays to ask a
    /// run what the group could not answer. In an order that has nothing to do with space each run
    /// is spread as far as its group.
    bool hasSmallRuns = false;
};

/// All surfels of a collection, cut into runs of equal length and groups of runs. The last run and
/// the last group may be shorter.
struct SSurfelRuns
{
    static constexpr std::uint32_t c_surfelsPerRun = 256;
    static constexpr std::uint32_t c_runsPerGroup = 16;
    static constexpr std::uint32_t c_surfelsPerGroup = c_surfelsPerRun * c_runsPerGroup;

    std::vector<SSurfelRun> runs;
    std::vector<SSurfelRunGroup> groups;
};

/// An optional second interface of a collection's point-cloud support, found by `dynamic_cast`: the
/// boxes of runs of consecutive surfels. Whoever has a question about places in space, such as a
/// cut, can answer it for whole runs without reading their positions.
///
/// The supports of this library's own collections implement it. A support without it is as good;
/// its surfels are looked at one by one.
class VEKO2_DATALAYER_EXPORT ISurfelRuns
{
public:
    virtual ~ISurfelRuns();

    /// The runs, or null while there are none. To be called once per pass over the collection,
    /// since an implementation may make them only when it pays: for a second pass. They belong to
    /// the support, and hold as long as the collection's bounding box does: until the collection,
    /// or the memory it borrows, is changed. Safe for concurrent use.
    [[nodiscard]] virtual const SSurfelRuns* FindSurfelRuns() const = 0;

protected:
    ISurfelRuns() = default;
    ISurfelRuns(const ISurfelRuns&) = default;
    ISurfelRuns& operator=(const ISurfelRuns&) = default;
};

}  // namespace DataLayer
