#include "Application/View/CCameraFit.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <limits>
#include <span>
#include <utility>
#include <vector>

#include "Application/Files/CInputError.h"
#include "Application/View/CCameraSamples.h"
#include "Base/Interfaces/IPointCloudSupport.h"
#include "Base/Math/PointTransform.h"
#include "Base/Support/ParallelFor.h"

namespace Application
{

namespace
{

using Vector = CCamera::Vector;
using SRange = CCameraSamples::SRange;
using Pair = CCameraSamples::Pair;

/// The share of points on either side of an axis that may be strays.
constexpr double c_strayShare = 0.01;
/// How far beyond the others, as a share of their range, a point still counts.
constexpr double c_toleratedExcess = 1.0 / 3.0;
/// The part of the picture's half size that the points fill.
constexpr double c_filledPart = 0.92;
/// The near plane is never closer than this share of the eye's distance, for the depth's precision.
constexpr double c_minNearShare = 1e-3;
constexpr double c_maxFarShare = 1e6;
/// So far away that z and w of a point come to the same numbers, but for the near plane: their
/// quotient is then never above 1, however coordinates are rounded.
constexpr double c_endlessShare = 1e20;
/// How near the eye may come to the points, as a share of their extent.
constexpr double c_clearance = 0.05;
constexpr int c_numBalancingRounds = 5;
constexpr double c_radiansPerDegree = 3.14159265358979323846 / 180.0;

constexpr SRange c_anyDepth{-std::numeric_limits<double>::infinity(),
                            std::numeric_limits<double>::infinity()};

/// Of values, the one furthest towards an end, and the one that so many others are beyond.
struct SEnd
{
    double outermost;
    double ranked;
};

/// \param rank of the other one.
/// \param isBeyond whether a value lies further towards the end than another one.
template <typename Iterator, typename Order>
SEnd FindEnd(Iterator first, Iterator last, std::ptrdiff_t rank, const Order& isBeyond)
{
    // A few of the values tell roughly where to look, and only what is there needs ordering.
    constexpr std::ptrdiff_t c_step = 16;
    std::vector<double> few;
    for (std::ptrdiff_t index = 0; index < last - first; index += c_step)
    {
        few.push_back(first[index]);
    }
    const auto bound = few.begin() + std::min(2 * rank / c_step + c_step,
                                              static_cast<std::ptrdiff_t>(few.size()) - 1);
    std::nth_element(few.begin(), bound, few.end(), isBeyond);
    std::vector<double> candidates;
    std::copy_if(first, last, std::back_inserter(candidates),
                 [&](double value) { return !isBeyond(*bound, value); });
    if (static_cast<std::ptrdiff_t>(candidates.size()) <= rank)
    {
        candidates.assign(first, last);
    }
    const double outermost = *std::min_element(candidates.begin(), candidates.end(), isBeyond);
    const auto ranked = candidates.begin() + rank;
    std::nth_element(candidates.begin(), ranked, candidates.end(), isBeyond);
    return {outermost, *ranked};
}

/// The range of the values without the strays at either end.
SRange FindRobustRange(std::span<const double> values)
{
    const auto rank =
        static_cast<std::ptrdiff_t>(static_cast<double>(values.size() - 1) * c_strayShare);
    const SEnd low = FindEnd(values.begin(), values.end(), rank, std::less<>());
    const SEnd high = FindEnd(values.rbegin(), values.rend(), rank, std::greater<>());
    const double excess = (high.ranked - low.ranked) * c_toleratedExcess;
    return {std::max(low.outermost, low.ranked - excess),
            std::min(high.outermost, high.ranked + excess)};
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
            const double value = CCameraSamples::Along(
                toViewer,
                TransformHomogeneous<double>(scan.trafo, (corner & 1U) != 0 ? box.max.x : box.min.x,
                                             (corner & 2U) != 0 ? box.max.y : box.min.y,
                                             (corner & 4U) != 0 ? box.max.z : box.min.z));
            if (std::isfinite(value))
            {
                range = {std::min(range.min, value), std::max(range.max, value)};
            }
        }
    }
    return range;
}

Pair Magnitude(Pair pair)
{
    return pair < -pair ? -pair : pair;
}

/// How far the eye must be from the centre for all samples to be in the picture, none of them
/// nearer to the eye than \p clearance.
double FindDistance(const CCameraSamples& samples, const Vector& centre, double slopeX,
                    double slopeY, double clearance)
{
    const auto [distances] = samples.FindRanges<1>([&](auto& ranges, std::size_t first) {
        const Pair nearer = samples.GetPair(2, first) - centre[2];
        ranges[0].Extend(nearer + clearance);
        ranges[0].Extend(nearer + Magnitude(samples.GetPair(0, first) - centre[0]) / slopeX);
        ranges[0].Extend(nearer + Magnitude(samples.GetPair(1, first) - centre[1]) / slopeY);
    });
    return std::max(0.0, distances.max);
}

/// Moves the centre across the picture until the samples, seen from \p distance, leave equal
/// margins on opposite sides: what is near is larger and would push the rest aside.
void BalanceMargins(const CCameraSamples& samples, double distance, Vector& centre)
{
    const auto slopes = samples.FindRanges<2>([&](auto& ranges, std::size_t first) {
        const Pair depth = distance - (samples.GetPair(2, first) - centre[2]);
        for (std::size_t axis = 0; axis < 2; ++axis)
        {
            ranges[axis].Extend((samples.GetPair(axis, first) - centre[axis]) / depth);
        }
    });
    for (std::size_t axis = 0; axis < 2; ++axis)
    {
        centre[axis] += 0.5 * (slopes[axis].min + slopes[axis].max) * distance;
    }
}

/// Moves the centre to where the samples fill the picture evenly in perspective, and returns how
/// far the eye is from it then.
double FitPerspective(const CCameraSamples& samples, double slopeX, double slopeY, double clearance,
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

    // The boxes come first: finding them loads the points of a file on all threads. Parallel
    // projection makes the depths themselves of the planes.
    const bool needsBoxes =
        planes == EPlanes::EnclosePoints || projection == CCamera::Projection::Orthographic;
    const SRange depth = needsBoxes ? FindDepthRange(scans, axes[2]) : c_anyDepth;
    CCameraSamples samples = CCameraSamples::Take(scans, axes);
    if (samples.IsEmpty())
    {
        throw CInputError("camera", "there is no point to look at");
    }
    std::array<SRange, 3> ranges;
    Vector centre{};
    Base::ParallelFor(3, [&](std::uint32_t axis) {
        ranges[axis] = FindRobustRange(samples.GetAxis(axis));
        centre[axis] = 0.5 * (ranges[axis].min + ranges[axis].max);
    });
    samples.Keep(ranges);

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
    parameters.farDistance = std::min(centre[2] + distance - depth.min + margin,
                                      (needsBoxes ? c_maxFarShare : c_endlessShare) * distance);
    return CCamera(parameters);
}

}  // namespace Application
