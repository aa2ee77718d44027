#include "Application/View/CCameraFit.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <iterator>
#include <limits>
#include <memory>
#include <span>
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
constexpr std::uint64_t c_numSamples = 20000;
/// Should fewer of them be finite, more points are looked at.
constexpr std::uint64_t c_leastSamples = 1000;
constexpr std::uint64_t c_samplesPerBlock = 2048;
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
/// So far away that z and w of a point come to the same numbers, but for the near plane: their
/// quotient is then never above 1, however coordinates are rounded.
constexpr double c_endlessShare = 1e20;
/// How near the eye may come to the points, as a share of their extent.
constexpr double c_clearance = 0.05;
constexpr int c_numBalancingRounds = 5;
constexpr double c_radiansPerDegree = 3.14159265358979323846 / 180.0;

/// A value of two samples each, in a register of any processor.
using Pair = double __attribute__((vector_size(2 * sizeof(double))));

/// Points by their coordinates along the picture's right, up and towards-the-viewer directions.
struct SSamples
{
    /// Leaves the memory for the threads that fill it: the first to touch a page waits for it.
    explicit SSamples(std::size_t mostSamples)
    {
        for (std::unique_ptr<double[]>& values : axes)
        {
            // The last one may be repeated to make a pair.
            values = std::make_unique_for_overwrite<double[]>(mostSamples + 1);
        }
    }

    [[nodiscard]] Pair GetPair(std::size_t axis, std::size_t first) const
    {
        Pair pair;
        std::memcpy(&pair, &axes[axis][first], sizeof pair);
        return pair;
    }

    std::size_t count = 0;
    std::array<std::unique_ptr<double[]>, 3> axes;
};

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

constexpr SRange c_anyDepth{-std::numeric_limits<double>::infinity(),
                            std::numeric_limits<double>::infinity()};

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

/// SRange for values in pairs.
struct SPairRange
{
    void Extend(Pair pair)
    {
        min = pair < min ? pair : min;
        max = pair > max ? pair : max;
    }

    Pair min = Pair() + SRange().min;
    Pair max = Pair() + SRange().max;
};

/// The ranges of several values: \p extend(ranges, first) extends them by those of the samples
/// \p first and \p first + 1, for the pairs of \p count samples.
template <std::size_t numRanges, typename Extend>
std::array<SRange, numRanges> FindRanges(std::size_t count, const Extend& extend)
{
    using PairRanges = std::array<SPairRange, numRanges>;
    std::vector<PairRanges> blocks(CountBlocks(count));
    ForEachBlock(count, [&](std::uint32_t block, std::size_t begin, std::size_t end) {
        PairRanges ranges;
        for (std::size_t first = begin; first < end; first += 2)
        {
            extend(ranges, first);
        }
        blocks[block] = ranges;
    });
    std::array<SRange, numRanges> whole;
    for (const PairRanges& ranges : blocks)
    {
        for (std::size_t range = 0; range < numRanges; ++range)
        {
            const auto& [min, max] = ranges[range];
            whole[range].min = std::min({whole[range].min, min[0], min[1]});
            whole[range].max = std::max({whole[range].max, max[0], max[1]});
        }
    }
    return whole;
}

/// Numbers that show no pattern, whatever that of \p number is: the steps of SplitMix64 (Steele,
/// Lea and Flood, "Fast splittable pseudorandom number generators", 2014).
std::uint64_t Scatter(std::uint64_t number)
{
    std::uint64_t value = number * 0x9E3779B97F4A7C15U;
    value = (value ^ (value >> 30U)) * 0xBF58476D1CE4E5B9U;
    value = (value ^ (value >> 27U)) * 0x94D049BB133111EBU;
    return value ^ (value >> 31U);
}

/// The point that is sample number \p sample of all scans: any of the \p step points from \p begin
/// on, or of those that are left of \p count. Always the same one of them, or those in any regular
/// order, could all lie in one part of the rows that scans consist of.
std::uint64_t FindPoint(std::uint64_t begin, std::uint64_t step, std::uint64_t count,
                        std::uint64_t sample)
{
    const std::uint64_t numPoints = std::min(step, count - begin);
    return begin + (((Scatter(sample) >> 32U) * numPoints) >> 32U);
}

/// Appends one of each \p step points of \p scan, but those that are not finite.
/// \param numBefore how many points of other scans were looked at.
/// \return how many it looked at.
std::uint64_t TakeSamples(const CCameraFit::SScan& scan, const std::array<Vector, 3>& axes,
                          std::uint64_t step, std::uint64_t numBefore, SSamples& samples)
{
    const auto& positions = scan.collection->GetReadAccessor<Base::CSCElementDefinitionPosition>();
    const std::uint64_t count = scan.collection->GetCount();
    const std::uint64_t numSamples = (count + step - 1) / step;
    const auto pointOf = [&](std::uint64_t sample) {
        return FindPoint(sample * step, step, count, numBefore + sample);
    };
    const std::size_t first = samples.count;
    std::vector<std::size_t> numFinite(CountBlocks(numSamples));
    ForEachBlock(numSamples, [&](std::uint32_t block, std::uint64_t begin, std::uint64_t end) {
        std::size_t target = first + begin;
        for (std::uint64_t sample = begin; sample < end; ++sample)
        {
            __builtin_prefetch(positions.GetFirstElement() +
                               pointOf(std::min(sample + c_samplesAhead, numSamples - 1)) *
                                   positions.GetStrideInBytes());
            const LqVector3f position = positions.At(pointOf(sample));
            const auto point =
                TransformHomogeneous<double>(scan.trafo, position.x, position.y, position.z);
            if (std::isfinite(point.x) && std::isfinite(point.y) && std::isfinite(point.z))
            {
                for (std::size_t axis = 0; axis < 3; ++axis)
                {
                    samples.axes[axis][target] = Along(axes[axis], point);
                }
                ++target;
            }
        }
        numFinite[block] = target - (first + begin);
    });
    for (std::size_t block = 0; block < numFinite.size(); ++block)
    {
        for (const std::unique_ptr<double[]>& values : samples.axes)
        {
            const double* const source = &values[first + block * c_samplesPerBlock];
            std::copy(source, source + numFinite[block], &values[samples.count]);
        }
        samples.count += numFinite[block];
    }
    return numSamples;
}

/// One of each \p step points of \p scans, and of those that are left of each scan.
SSamples TakeSamples(const std::vector<CCameraFit::SScan>& scans, const std::array<Vector, 3>& axes,
                     std::uint64_t step)
{
    std::uint64_t mostSamples = 0;
    for (const CCameraFit::SScan& scan : scans)
    {
        mostSamples += scan.collection->GetCount() / step + 1;
    }
    SSamples samples(mostSamples);
    std::uint64_t numSeen = 0;
    for (const CCameraFit::SScan& scan : scans)
    {
        if (scan.collection->GetCount() != 0)
        {
            numSeen += TakeSamples(scan, axes, step, numSeen, samples);
        }
    }
    return samples;
}

/// Enough points of \p scans for a camera; none only if none is finite.
SSamples TakeSamples(const std::vector<CCameraFit::SScan>& scans, const std::array<Vector, 3>& axes)
{
    std::uint64_t total = 0;
    for (const CCameraFit::SScan& scan : scans)
    {
        total += scan.collection->GetCount();
    }
    constexpr std::uint64_t c_morePerTry = 16;
    std::uint64_t step = total < c_leastSampled ? 1 : total / c_numSamples;
    SSamples samples = TakeSamples(scans, axes, step);
    while (samples.count < c_leastSamples && step != 1)
    {
        step = (step + c_morePerTry - 1) / c_morePerTry;
        samples = TakeSamples(scans, axes, step);
    }
    return samples;
}

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

bool IsStray(const SSamples& samples, const std::array<SRange, 3>& ranges, std::size_t index)
{
    for (std::size_t axis = 0; axis < 3; ++axis)
    {
        if (samples.axes[axis][index] < ranges[axis].min ||
            samples.axes[axis][index] > ranges[axis].max)
        {
            return true;
        }
    }
    return false;
}

void RemoveStrays(SSamples& samples, const std::array<SRange, 3>& ranges)
{
    std::size_t numKept = 0;
    for (std::size_t index = 0; index < samples.count; ++index)
    {
        if (!IsStray(samples, ranges, index))
        {
            for (const std::unique_ptr<double[]>& values : samples.axes)
            {
                values[numKept] = values[index];
            }
            ++numKept;
        }
    }
    samples.count = numKept;
    for (const std::unique_ptr<double[]>& values : samples.axes)
    {
        // Makes no difference to any range.
        values[numKept] = values[numKept - 1];
    }
}

Pair Magnitude(Pair pair)
{
    return pair < -pair ? -pair : pair;
}

/// How far the eye must be from the centre for all samples to be in the picture, none of them
/// nearer to the eye than \p clearance.
double FindDistance(const SSamples& samples, const Vector& centre, double slopeX, double slopeY,
                    double clearance)
{
    const auto [distances] = FindRanges<1>(samples.count, [&](auto& ranges, std::size_t first) {
        const Pair nearer = samples.GetPair(2, first) - centre[2];
        ranges[0].Extend(nearer + clearance);
        ranges[0].Extend(nearer + Magnitude(samples.GetPair(0, first) - centre[0]) / slopeX);
        ranges[0].Extend(nearer + Magnitude(samples.GetPair(1, first) - centre[1]) / slopeY);
    });
    return std::max(0.0, distances.max);
}

/// Moves the centre across the picture until the samples, seen from \p distance, leave equal
/// margins on opposite sides: what is near is larger and would push the rest aside.
void BalanceMargins(const SSamples& samples, double distance, Vector& centre)
{
    const auto slopes = FindRanges<2>(samples.count, [&](auto& ranges, std::size_t first) {
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
double FitPerspective(const SSamples& samples, double slopeX, double slopeY, double clearance,
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
    SSamples samples = TakeSamples(scans, axes);
    if (samples.count == 0)
    {
        throw CInputError("camera", "there is no point to look at");
    }
    std::array<SRange, 3> ranges;
    Vector centre{};
    Base::ParallelFor(3, [&](std::uint32_t axis) {
        ranges[axis] = FindRobustRange({samples.axes[axis].get(), samples.count});
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
    parameters.farDistance = std::min(centre[2] + distance - depth.min + margin,
                                      (needsBoxes ? c_maxFarShare : c_endlessShare) * distance);
    return CCamera(parameters);
}

}  // namespace Application
