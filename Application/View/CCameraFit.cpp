#include "Application/View/CCameraFit.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>

#include "Application/Files/CInputError.h"
#include "Base/Interfaces/IPointCloudSupport.h"
#include "Base/Math/PointTransform.h"
#include "Base/Support/ParallelFor.h"

namespace Application
{

namespace
{

using Vector = CCamera::Vector;

/// Scans of fewer points are looked at whole, so that no point that reaches far is overlooked.
constexpr std::uint64_t c_leastSampled = 400000;
/// Enough points to place quantiles well, few enough to be read in no time.
constexpr std::uint64_t c_numSamples = 50000;
constexpr std::uint64_t c_samplesPerBlock = 8192;
/// Those of a large scan lie on pages of their own, each of which is waited for unless asked for
/// in time.
constexpr std::uint64_t c_samplesAhead = 16;
/// The share of points on either side of an axis that may be strays.
constexpr double c_strayShare = 0.01;
/// How far beyond the others, as a share of their range, a point still counts.
constexpr double c_toleratedExcess = 1.0 / 3.0;
/// The part of the picture's half size that the points fill.
constexpr double c_filledPart = 0.92;
/// The near plane is never closer than this share of the eye's distance, for the depth's precision.
constexpr double c_minNearShare = 1e-3;
constexpr double c_maxFarShare = 1e6;
/// How near the eye may come to the points, as a share of their extent.
constexpr double c_clearance = 0.05;
constexpr int c_numBalancingRounds = 5;
constexpr double c_radiansPerDegree = 3.14159265358979323846 / 180.0;

/// Points by their coordinates along the picture's right, up and towards-the-viewer directions.
using Samples = std::array<std::vector<double>, 3>;

struct SRange
{
    double min = std::numeric_limits<double>::infinity();
    double max = -std::numeric_limits<double>::infinity();

    void Extend(double value)
    {
        min = std::min(min, value);
        max = std::max(max, value);
    }
};

double Along(const Vector& axis, const SHomogeneousPoint<double>& point)
{
    return (axis[0] * point.x + axis[1] * point.y) + axis[2] * point.z;
}

std::uint32_t CountBlocks(std::uint64_t count)
{
    return static_cast<std::uint32_t>((count + c_samplesPerBlock - 1) / c_samplesPerBlock);
}

/// Calls \p body(block, begin, end) in parallel for the blocks of the indices below \p count.
template <typename Body>
void ForEachBlock(std::uint64_t count, const Body& body)
{
    Base::ParallelFor(CountBlocks(count), [&](std::uint32_t block) {
        const std::uint64_t begin = block * c_samplesPerBlock;
        body(block, begin, std::min(begin + c_samplesPerBlock, count));
    });
}

/// The range of \p valueOf(index) for the indices below \p count.
template <typename Value>
SRange FindRange(std::size_t count, const Value& valueOf)
{
    std::vector<SRange> ranges(CountBlocks(count));
    ForEachBlock(count, [&](std::uint32_t block, std::size_t begin, std::size_t end) {
        SRange range;
        for (std::size_t index = begin; index < end; ++index)
        {
            range.Extend(valueOf(index));
        }
        ranges[block] = range;
    });
    SRange whole;
    for (const SRange& range : ranges)
    {
        whole.min = std::min(whole.min, range.min);
        whole.max = std::max(whole.max, range.max);
    }
    return whole;
}

/// Appends every \p step th point of \p scan, but those that are not finite.
void TakeSamples(const CCameraFit::SScan& scan, const std::array<Vector, 3>& axes,
                 std::uint64_t step, Samples& samples)
{
    const auto& positions = scan.collection->GetReadAccessor<Base::CSCElementDefinitionPosition>();
    const std::uint64_t numSamples = (scan.collection->GetCount() - 1) / step + 1;
    const std::byte* const bytes = positions.GetFirstElement();
    const std::size_t bytesPerStep = positions.GetStrideInBytes() * step;
    const std::size_t first = samples[0].size();
    for (std::vector<double>& values : samples)
    {
        values.resize(first + numSamples);
    }
    std::vector<std::size_t> numFinite(CountBlocks(numSamples));
    ForEachBlock(numSamples, [&](std::uint32_t block, std::uint64_t begin, std::uint64_t end) {
        std::size_t target = first + begin;
        for (std::uint64_t sample = begin; sample < end; ++sample)
        {
            __builtin_prefetch(bytes + std::min(sample + c_samplesAhead, end - 1) * bytesPerStep);
            const LqVector3f position = positions.At(sample * step);
            const auto point =
                TransformHomogeneous<double>(scan.trafo, position.x, position.y, position.z);
            if (std::isfinite(point.x) && std::isfinite(point.y) && std::isfinite(point.z))
            {
                for (std::size_t axis = 0; axis < 3; ++axis)
                {
                    samples[axis][target] = Along(axes[axis], point);
                }
                ++target;
            }
        }
        numFinite[block] = target - (first + begin);
    });
    std::size_t numTaken = first;
    for (std::size_t block = 0; block < numFinite.size(); ++block)
    {
        const std::size_t begin = first + block * c_samplesPerBlock;
        for (std::vector<double>& values : samples)
        {
            const auto source = values.begin() + static_cast<std::ptrdiff_t>(begin);
            std::copy(source, source + static_cast<std::ptrdiff_t>(numFinite[block]),
                      values.begin() + static_cast<std::ptrdiff_t>(numTaken));
        }
        numTaken += numFinite[block];
    }
    for (std::vector<double>& values : samples)
    {
        values.resize(numTaken);
    }
}

Samples TakeSamples(const std::vector<CCameraFit::SScan>& scans, const std::array<Vector, 3>& axes)
{
    std::uint64_t total = 0;
    for (const CCameraFit::SScan& scan : scans)
    {
        total += scan.collection->GetCount();
    }
    const std::uint64_t step = total < c_leastSampled ? 1 : total / c_numSamples;
    Samples samples;
    for (const CCameraFit::SScan& scan : scans)
    {
        if (scan.collection->GetCount() != 0)
        {
            TakeSamples(scan, axes, step, samples);
        }
    }
    return samples;
}

/// The range of the values without the strays at either end.
SRange FindRobustRange(std::vector<double> values)
{
    const auto rank =
        static_cast<std::ptrdiff_t>(static_cast<double>(values.size() - 1) * c_strayShare);
    const auto [smallest, largest] = std::minmax_element(values.begin(), values.end());
    const SRange whole{*smallest, *largest};
    std::nth_element(values.begin(), values.begin() + rank, values.end());
    const double low = values[static_cast<std::size_t>(rank)];
    std::nth_element(values.begin(), values.end() - 1 - rank, values.end());
    const double high = *(values.end() - 1 - rank);
    const double excess = (high - low) * c_toleratedExcess;
    return {std::max(whole.min, low - excess), std::min(whole.max, high + excess)};
}

/// The range, towards the viewer, of the corners of all bounding boxes.
SRange FindDepthRange(const std::vector<CCameraFit::SScan>& scans, const Vector& toViewer)
{
    SRange range;
    for (const CCameraFit::SScan& scan : scans)
    {
        const Geometry::CBox3D box = scan.collection->GetPointCloudSupport()->GetBoundingBox().box;
        if (box.IsEmpty())
        {
            continue;
        }
        for (unsigned corner = 0; corner < 8; ++corner)
        {
            const double value = Along(
                toViewer,
                TransformHomogeneous<double>(scan.trafo, (corner & 1U) != 0 ? box.max.x : box.min.x,
                                             (corner & 2U) != 0 ? box.max.y : box.min.y,
                                             (corner & 4U) != 0 ? box.max.z : box.min.z));
            if (std::isfinite(value))
            {
                range.Extend(value);
            }
        }
    }
    return range;
}

bool IsStray(const Samples& samples, const std::array<SRange, 3>& ranges, std::size_t index)
{
    for (std::size_t axis = 0; axis < 3; ++axis)
    {
        if (samples[axis][index] < ranges[axis].min || samples[axis][index] > ranges[axis].max)
        {
            return true;
        }
    }
    return false;
}

void RemoveStrays(Samples& samples, const std::array<SRange, 3>& ranges)
{
    std::size_t numKept = 0;
    for (std::size_t index = 0; index < samples[0].size(); ++index)
    {
        if (!IsStray(samples, ranges, index))
        {
            for (std::vector<double>& values : samples)
            {
                values[numKept] = values[index];
            }
            ++numKept;
        }
    }
    for (std::vector<double>& values : samples)
    {
        values.resize(numKept);
    }
}

/// How far the eye must be from the centre for all samples to be in the picture, none of them
/// nearer to the eye than \p clearance.
double FindDistance(const Samples& samples, const Vector& centre, double slopeX, double slopeY,
                    double clearance)
{
    const SRange distances = FindRange(samples[0].size(), [&](std::size_t index) {
        const double nearer = samples[2][index] - centre[2];
        return std::max({nearer + clearance,
                         nearer + std::abs(samples[0][index] - centre[0]) / slopeX,
                         nearer + std::abs(samples[1][index] - centre[1]) / slopeY});
    });
    return std::max(0.0, distances.max);
}

/// Moves the centre across the picture until the samples, seen from \p distance, leave equal
/// margins on opposite sides: what is near is larger and would push the rest aside.
void BalanceMargins(const Samples& samples, double distance, Vector& centre)
{
    for (std::size_t axis = 0; axis < 2; ++axis)
    {
        const SRange slopes = FindRange(samples[0].size(), [&](std::size_t index) {
            const double depth = distance - (samples[2][index] - centre[2]);
            return (samples[axis][index] - centre[axis]) / depth;
        });
        centre[axis] += 0.5 * (slopes.min + slopes.max) * distance;
    }
}

/// Moves the centre to where the samples fill the picture evenly in perspective, and returns how
/// far the eye is from it then.
double FitPerspective(const Samples& samples, double slopeX, double slopeY, double clearance,
                      Vector& centre)
{
    double distance = FindDistance(samples, centre, slopeX, slopeY, clearance);
    for (int round = 0; round < c_numBalancingRounds; ++round)
    {
        BalanceMargins(samples, distance, centre);
        distance = FindDistance(samples, centre, slopeX, slopeY, clearance);
    }
    return distance;
}

}  // namespace

std::optional<CCameraFit::SDirection> CCameraFit::FindDirection(std::string_view name)
{
    static constexpr std::array<std::pair<std::string_view, SDirection>, 7> c_directions = {{
        {"front", {{0.0, -1.0, 0.0}, {0.0, 0.0, 1.0}}},
        {"back", {{0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}}},
        {"left", {{-1.0, 0.0, 0.0}, {0.0, 0.0, 1.0}}},
        {"right", {{1.0, 0.0, 0.0}, {0.0, 0.0, 1.0}}},
        {"top", {{0.0, 0.0, 1.0}, {0.0, 1.0, 0.0}}},
        {"bottom", {{0.0, 0.0, -1.0}, {0.0, 1.0, 0.0}}},
        {"iso", {}},
    }};
    for (const auto& [known, direction] : c_directions)
    {
        if (known == name)
        {
            return direction;
        }
    }
    return std::nullopt;
}

CCamera CCameraFit::Compute(const std::vector<SScan>& scans) const
{
    CCamera::SParameters parameters;
    parameters.eye = direction.toEye;
    parameters.target = {0.0, 0.0, 0.0};
    parameters.up = direction.up;
    parameters.projection = projection;
    parameters.fieldOfView = fieldOfView;
    parameters.width = width;
    parameters.height = height;
    const std::array<Vector, 3> axes = CCamera(parameters).GetAxes();

    // The boxes come first: finding them loads the points of a file on all threads.
    const SRange depth = FindDepthRange(scans, axes[2]);
    Samples samples = TakeSamples(scans, axes);
    if (samples[0].empty())
    {
        throw CInputError("camera", "there is no point to look at");
    }
    std::array<SRange, 3> ranges;
    Vector centre{};
    Base::ParallelFor(3, [&](std::uint32_t axis) {
        ranges[axis] = FindRobustRange(samples[axis]);
        centre[axis] = 0.5 * (ranges[axis].min + ranges[axis].max);
    });
    RemoveStrays(samples, ranges);

    const double aspect = static_cast<double>(width) / height;
    const double radius =
        0.5 * std::hypot(ranges[0].max - ranges[0].min, ranges[1].max - ranges[1].min,
                         ranges[2].max - ranges[2].min);
    // A single point has no size of its own; one unit is as good as any.
    const double scale = radius > 0.0 ? radius : 1.0;
    double distance = 2.0 * scale;
    if (projection == CCamera::Projection::Perspective && radius > 0.0)
    {
        const double slope = c_filledPart * std::tan(0.5 * (fieldOfView * c_radiansPerDegree));
        distance = FitPerspective(samples, slope * aspect, slope, c_clearance * scale, centre);
    }
    if (projection == CCamera::Projection::Orthographic)
    {
        const double halfHeight = std::max(0.5 * (ranges[1].max - ranges[1].min),
                                           0.5 * (ranges[0].max - ranges[0].min) / aspect);
        parameters.orthographicHeight =
            2.0 * (halfHeight > 0.0 ? halfHeight : scale) / c_filledPart;
    }

    for (std::size_t axis = 0; axis < 3; ++axis)
    {
        parameters.target[axis] =
            (centre[0] * axes[0][axis] + centre[1] * axes[1][axis]) + centre[2] * axes[2][axis];
        parameters.eye[axis] = parameters.target[axis] + distance * axes[2][axis];
    }
    const double margin = 0.01 * (distance + scale);
    parameters.nearDistance =
        std::max(centre[2] + distance - depth.max - margin, c_minNearShare * distance);
    parameters.farDistance =
        std::min(centre[2] + distance - depth.min + margin, c_maxFarShare * distance);
    return CCamera(parameters);
}

}  // namespace Application
