#include "Application/Fusion/CScanFuser.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <utility>

#include "Application/Fusion/CBlockCells.h"
#include "Application/Fusion/CCellBucket.h"
#include "Application/Fusion/CCellComponents.h"
#include "Application/Fusion/CFusionGrid.h"
#include "Application/Fusion/CPointSample.h"
#include "Application/Fusion/CScanPoints.h"
#include "Application/Fusion/PointBlocks.h"
#include "Application/Fusion/SpacingEstimate.h"
#include "Base/Interfaces/CEntityTrafoMaskPacket.h"
#include "Base/Interfaces/CGeometricEntityPacket.h"
#include "Base/Support/ParallelFor.h"

namespace Application
{

namespace
{

using DataLayer::SFuserContent;
using DataLayer::SFuserPointBlock;
using SReport = CScanFuser::SReport;

/// How far the operation looks for a neighbour, in its own unit.
constexpr double c_searchBound = 2.25;

/// The parts of a voxel on each axis.
constexpr double c_partsPerVoxel = 2.0;

constexpr std::uint32_t c_maximumNumBuckets = 1024;

bool IsPositive(const std::optional<double>& value)
{
    return !value || (std::isfinite(*value) && *value > 0.0);
}

std::vector<CScanPoints> MakeScanPoints(const std::vector<CScanFuser::SScan>& scans,
                                        std::uint16_t leftOutFlags)
{
    std::vector<CScanPoints> points;
    points.reserve(scans.size());
    for (const CScanFuser::SScan& scan : scans)
    {
        points.emplace_back(scan, leftOutFlags);
    }
    return points;
}

/// Chooses the frame of the fused points.
void ChooseFrame(const std::vector<CScanPoints>& scans, const CScanFuser::SParameters& parameters,
                 SReport& report)
{
    const CPointSample sample(scans);
    if (!parameters.voxelSize)
    {
        report.spacing = EstimateSpacing(scans, sample);
    }
    const double chosenSize = CScanFuser::c_spacingsPerVoxel * report.spacing.value_or(0.0);
    report.voxelSize = parameters.voxelSize.value_or(chosenSize > 0.0 ? chosenSize : 1.0);
    report.scale = parameters.scale.value_or(c_partsPerVoxel / report.voxelSize);
    report.searchBound = c_searchBound / report.scale;
    report.origin = sample.ComputeMiddle();
    // A surface right through the middle then runs through the voxels there, not along their sides,
    // where rounding would take its points to one side or the other.
    for (double& coordinate : report.origin)
    {
        coordinate -= report.voxelSize / (2.0 * c_partsPerVoxel);
    }
}

/// From the common frame to that of the fused points.
LqMatrix4Rd MakeFuserTrafo(const LqMatrix4Rd& trafo, const SReport& report)
{
    LqMatrix4Rd shift = c_matIdentityD;
    LqMatrix4Rd scaling = c_matIdentityD;
    for (std::size_t axis = 0; axis < 3; ++axis)
    {
        shift(3, axis) = -report.origin[axis];
        scaling(axis, axis) = report.scale;
    }
    return trafo * shift * scaling;
}

void AddPackets(const std::vector<CScanFuser::SScan>& scans, const SReport& report,
                SFuserContent& content)
{
    for (const CScanFuser::SScan& scan : scans)
    {
        const Base::CGeometricEntityPacket packet(scan.entity, MakeFuserTrafo(scan.trafo, report),
                                                  scan.mask, 0);
        if (!content.packets.emplace(scan.key, Base::CEntityTrafoMaskPacket(packet)).second)
        {
            throw std::invalid_argument("Two scans to fuse have the same key.");
        }
    }
}

std::vector<CBlockCells> SumUpBlocks(const std::vector<CScanPoints>& scans, const SReport& report,
                                     const CBucketing& bucketing)
{
    const CFusionGrid grid(report.origin, report.voxelSize / c_partsPerVoxel);
    const std::vector<SPointBlock> blocks = MakePointBlocks(scans);
    std::vector<CBlockCells> cells(blocks.size());
    Base::ParallelFor(static_cast<std::uint32_t>(blocks.size()), [&](std::uint32_t index) {
        const SPointBlock& block = blocks[index];
        cells[index] = CBlockCells(*block.scan, block.begin, block.end, grid, bucketing);
    });
    return cells;
}

/// The voxels and fused points of all buckets.
std::vector<CCellBucket> FillBuckets(const std::vector<CScanPoints>& scans,
                                     const CBucketing& bucketing, SReport& report)
{
    const std::vector<CBlockCells> blocks = SumUpBlocks(scans, report, bucketing);
    for (const CBlockCells& block : blocks)
    {
        report.numPoints += block.GetCounts().numPoints;
        report.numLeftOutPoints += block.GetCounts().numLeftOut;
        report.numNotFinitePoints += block.GetCounts().numNotFinite;
        report.numTooFarPoints += block.GetCounts().numTooFar;
    }
    const double unitsPerPart = report.voxelSize / c_partsPerVoxel * report.scale;
    std::vector<CCellBucket> buckets(bucketing.GetBucketCount());
    Base::ParallelFor(bucketing.GetBucketCount(), [&](std::uint32_t bucket) {
        buckets[bucket] = CCellBucket(blocks, bucket, unitsPerPart);
    });
    return buckets;
}

void CheckFusedPointCount(const std::vector<CCellBucket>& buckets)
{
    std::uint64_t count = 1;  // The copy that leads the small ones.
    for (const CCellBucket& bucket : buckets)
    {
        count += bucket.GetFusedPointCount();
    }
    if (count > static_cast<std::uint64_t>(std::numeric_limits<std::int32_t>::max()))
    {
        throw std::length_error("There are too many fused points to index.");
    }
}

/// Tells by component whether it is small.
std::vector<bool> ChooseSmallComponents(const std::vector<std::uint64_t>& numPoints,
                                        const CScanFuser::SParameters& parameters, SReport& report)
{
    std::vector<bool> isSmall(numPoints.size());
    report.numComponents = numPoints.size();
    if (numPoints.empty())
    {
        return isSmall;
    }
    const auto largest = std::max_element(numPoints.begin(), numPoints.end());
    const double fractionOfLargest = parameters.minimumFraction * static_cast<double>(*largest);
    for (auto component = numPoints.begin(); component != numPoints.end(); ++component)
    {
        if (component != largest && (*component < parameters.minimumPoints ||
                                     static_cast<double>(*component) < fractionOfLargest))
        {
            isSmall[static_cast<std::size_t>(component - numPoints.begin())] = true;
            ++report.numSmallComponents;
            report.numSmallComponentPoints += *component;
        }
    }
    report.numLargestComponentPoints = *largest;
    return isSmall;
}

/// A block that holds a copy of the first of \p blocks' points.
std::shared_ptr<SFuserPointBlock> CopyFirstPoint(
    const std::vector<std::shared_ptr<SFuserPointBlock>>& blocks)
{
    struct SOnePoint : SFuserPointBlock
    {
        DataLayer::SFuserPointRecord point;
    };
    auto copy = std::make_shared<SOnePoint>();
    copy->point = *blocks.front()->first;
    copy->first = &copy->point;
    copy->count = 1;
    return copy;
}

void AddBlock(std::shared_ptr<SFuserPointBlock> block,
              std::vector<std::shared_ptr<SFuserPointBlock>>& blocks, std::uint64_t& count)
{
    if (block != nullptr)
    {
        count += block->count;
        blocks.push_back(std::move(block));
    }
}

void AddPoints(std::vector<CCellBucket> buckets, const CCellComponents& components,
               const std::vector<bool>& isSmall, SFuserContent& content, SReport& report)
{
    std::vector<CCellBucket::SBlocks> blocks(buckets.size());
    Base::ParallelFor(static_cast<std::uint32_t>(buckets.size()), [&](std::uint32_t bucket) {
        blocks[bucket] = buckets[bucket].TakePoints([&](std::uint32_t voxel) -> bool {
            return isSmall[components.GetComponent(bucket, voxel)];
        });
    });
    for (CCellBucket::SBlocks& ofBucket : blocks)
    {
        AddBlock(std::move(ofBucket.main), content.mainComponentBlocks, report.numMainFusedPoints);
    }
    if (content.mainComponentBlocks.empty())
    {
        return;
    }
    content.smallComponentBlocks.push_back(CopyFirstPoint(content.mainComponentBlocks));
    for (CCellBucket::SBlocks& ofBucket : blocks)
    {
        AddBlock(std::move(ofBucket.small), content.smallComponentBlocks,
                 report.numSmallFusedPoints);
    }
}

std::uint32_t ChooseBucketCount(const std::vector<CScanPoints>& scans)
{
    std::uint64_t count = 0;
    for (const CScanPoints& scan : scans)
    {
        count += scan.GetCount();
    }
    return static_cast<std::uint32_t>(std::bit_ceil(
        std::clamp<std::uint64_t>(count / CBlockCells::c_blockSize, 1, c_maximumNumBuckets)));
}

}  // namespace

CScanFuser::CScanFuser(const SParameters& parameters) : m_parameters(parameters)
{
    if (!IsPositive(parameters.voxelSize))
    {
        throw std::invalid_argument("The voxel size must be above 0.");
    }
    if (!IsPositive(parameters.scale))
    {
        throw std::invalid_argument("The scale must be above 0.");
    }
    if (!(parameters.minimumFraction >= 0.0 && parameters.minimumFraction <= 1.0))
    {
        throw std::invalid_argument("The fraction of the largest component must be from 0 to 1.");
    }
}

CScanFuser::SFusion CScanFuser::Fuse(const std::vector<SScan>& scans) const
{
    SReport report;
    const auto content = std::make_shared<SFuserContent>();
    const std::vector<CScanPoints> points = MakeScanPoints(scans, m_parameters.leftOutFlags);
    ChooseFrame(points, m_parameters, report);
    AddPackets(scans, report, *content);

    const CBucketing bucketing(ChooseBucketCount(points));
    std::vector<CCellBucket> buckets = FillBuckets(points, bucketing, report);
    CheckFusedPointCount(buckets);
    const CCellComponents components(buckets, bucketing);
    const std::vector<bool> isSmall =
        ChooseSmallComponents(components.GetPointCounts(), m_parameters, report);
    AddPoints(std::move(buckets), components, isSmall, *content, report);
    return {content, report};
}

}  // namespace Application
