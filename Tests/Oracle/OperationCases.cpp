#include <array>
#include <memory>
#include <vector>

#include "DataLayer/Base3D/PointCloudEditing/CCutWithPixelMaskSyncableEntityCollectionModifyOperation.h"
#include "DataLayer/Base3D/PointCloudEditing/SFuserContent.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/CSmallComponentModifyOperationTestPeer.h"
#include "Tests/Oracle/CaseKinds.h"
#include "Tests/Oracle/EntityBatches.h"
#include "Tests/Oracle/Scenes.h"

// Whole batches of the two operations on the entity map.

namespace Oracle
{
namespace
{

using CutOperation = DataLayer::CCutWithPixelMaskSyncableEntityCollectionModifyOperation;
using SmallComponentOperation = DataLayer::CSmallComponentModifyOperation;
using SmallComponentPeer = DataLayer::CSmallComponentModifyOperationTestPeer;

/// The distance up to which the operation looks for a fused point.
constexpr float c_bound = 2.25F;

/// How far the fused points of a case reach: mostly so far that neighbours matter, and of few
/// digits, so that distances are equal.
[[nodiscard]] float SceneExtent(CCaseRandom& random)
{
    return random.OneIn(3) ? random.OneOf({0.5F, 12.0F, 40.0F, 1000.0F, 1e6F, 1e20F}) : 4.0F;
}

[[nodiscard]] std::uint32_t FusedPointCount(CCaseRandom& random)
{
    return random.Below(random.OneIn(60) ? 1500 : 30);
}

/// A surfel somewhere, or beside one of the fused points from \p firstPoint on: at it, or at the
/// bound's distance, give or take a step.
[[nodiscard]] LqVector3f SurfelNearPoints(CCaseRandom& random, const CNamedArrays& cases,
                                          std::size_t firstPoint, float extent)
{
    const std::size_t numPoints = cases.GetCount("points") - firstPoint;
    if (numPoints == 0 || random.OneIn(3))
    {
        return random.Point(-extent, extent);
    }
    const std::size_t chosen = firstPoint + random.Below(static_cast<std::uint32_t>(numPoints));
    const auto near = cases.Get<float>("points").subspan(3 * chosen, 3);
    std::array<float, 3> surfel = {near[0], near[1], near[2]};
    if (random.OneIn(2))
    {
        float& coordinate = surfel[random.Below(3)];
        const float distance = random.OneIn(2) ? c_bound : -c_bound;
        coordinate = random.Nudged(coordinate + distance);
    }
    else
    {
        for (float& coordinate : surfel)
        {
            coordinate += random.Between(-1.5F, 1.5F);
        }
    }
    return {surfel[0], surfel[1], surfel[2]};
}

/// Appends blocks of fused points.
void AppendBlocks(CCaseRandom& random, CNamedArrays& cases, const std::string& name, float extent)
{
    for (std::uint32_t blocks = random.Below(4); blocks > 0; --blocks)
    {
        for (std::uint32_t count = FusedPointCount(random); count > 0; --count)
        {
            AppendPoint(cases, "points", random.Point(-extent, extent));
        }
        cases.Append<std::uint32_t>(
            name, static_cast<std::uint32_t>(cases.GetCount("point_offsets") - 1));
        cases.EndList<float>("points", "point_offsets");
        cases.Append<std::uint8_t>("block_present", random.OneIn(12) ? 0 : 1);
    }
    cases.EndList<std::uint32_t>(name, name + "_offsets");
}

/// The blocks of a case; \p records keeps their points.
[[nodiscard]] std::vector<std::shared_ptr<DataLayer::SFuserPointBlock>> MakeBlocks(
    const CNamedArrays& cases, const std::string& name, std::size_t index,
    std::vector<std::unique_ptr<std::vector<DataLayer::SFuserPointRecord>>>& records)
{
    std::vector<std::shared_ptr<DataLayer::SFuserPointBlock>> blocks;
    for (const std::uint32_t block : cases.GetList<std::uint32_t>(name, name + "_offsets", index))
    {
        if (cases.Get<std::uint8_t>("block_present")[block] == 0)
        {
            blocks.push_back(nullptr);
            continue;
        }
        auto& points =
            *records.emplace_back(std::make_unique<std::vector<DataLayer::SFuserPointRecord>>());
        for (const LqVector3f& point : GetPoints(cases, "points", "point_offsets", block))
        {
            points.push_back({point.x, point.y, point.z, {}});
        }
        blocks.push_back(std::make_shared<DataLayer::SFuserPointBlock>(DataLayer::SFuserPointBlock{
            points.empty() ? nullptr : points.data(), static_cast<std::uint32_t>(points.size())}));
    }
    return blocks;
}

}  // namespace

void DeclareCutOperationCases(CNamedArrays& cases)
{
    DeclareSelections(cases);
    DeclareEntityBatches(cases);
    cases.Declare<double>("operation_matrix", {16});
}

void GenerateCutOperationCase(CCaseRandom& random, CNamedArrays& cases)
{
    const std::size_t selection = cases.GetCount("selection_width");
    AppendSelection(random, cases);
    const LqMatrix4Rd matrix = random.OneIn(2) ? c_matIdentityD : random.Transform();
    AppendMatrix(cases, "operation_matrix", matrix);
    const SBatchFaults faults = SBatchFaults::Choose(random);
    std::int32_t entity = -1;
    for (std::uint32_t entries = random.Below(random.OneIn(20) ? 40 : 6); entries > 0; --entries)
    {
        LqMatrix4Rd trafo = random.OneIn(2) ? c_matIdentityD : random.Transform();
        if (random.OneIn(30))
        {
            trafo = c_matInvalidD;
        }
        // Now and then the entity of the entry before again, or none.
        if (!random.OneIn(8))
        {
            entity = static_cast<std::int32_t>(AppendEntity(
                random, cases,
                ScreenPoints(random, cases, selection, trafo * matrix, SurfelCount(random) / 3),
                faults));
        }
        AppendEntry(random, cases, random.OneIn(12) ? -1 : entity, trafo, faults);
    }
    EndBatch(random, cases);
}

void AnswerCutOperationCases(const CNamedArrays& cases, CNamedArrays& answers)
{
    DeclareBatchAnswers(answers);
    CEntities entities(cases);
    const auto calls = cases.Get<std::uint8_t>("calls");
    for (std::size_t index = 0; index < calls.size(); ++index)
    {
        const CutOperation operation(
            ScanAPI::shared_not_null<const Base::SRegionSelectionInfo>(MakeSelection(cases, index)),
            GetMatrix(cases, "operation_matrix", index));
        const Base::CEntityMapSyncBatch batch = MakeBatch(cases, index, entities);
        for (std::uint8_t call = 0; call < calls[index]; ++call)
        {
            AppendBatchAnswer(
                operation, batch, entities, [&] { return operation.GetNumModifiedPackets(); },
                answers);
        }
        entities.Clear();
    }
}

void DeclareSmallComponentCases(CNamedArrays& cases)
{
    DeclareEntityBatches(cases);
    cases.Declare<std::uint8_t>("has_content");
    cases.Declare<std::uint8_t>("reset");
    cases.Declare<std::uint8_t>("rebuilds");
    cases.DeclareLists<float>("points", "point_offsets", {3});
    cases.Declare<std::uint8_t>("block_present");
    cases.DeclareLists<std::uint32_t>("main_blocks", "main_blocks_offsets");
    cases.DeclareLists<std::uint32_t>("small_blocks", "small_blocks_offsets");
    cases.Declare<std::uint8_t>("known_key", {16});
    cases.Declare<std::int32_t>("known_entity");
    cases.Declare<double>("known_trafo", {16});
    cases.Declare<std::uint64_t>("known_offsets");
    cases.Append<std::uint64_t>("known_offsets", 0);
}

void GenerateSmallComponentCase(CCaseRandom& random, CNamedArrays& cases)
{
    cases.Append<std::uint8_t>("has_content", random.OneIn(40) ? 0 : 1);
    cases.Append<std::uint8_t>("reset", random.OneIn(20) ? 1 : 0);
    cases.Append<std::uint8_t>("rebuilds", random.OneIn(8)
                                               ? static_cast<std::uint8_t>(1 + random.Below(2))
                                               : std::uint8_t{0});
    const std::size_t firstPoint = cases.GetCount("points");
    const float extent = SceneExtent(random);
    AppendBlocks(random, cases, "main_blocks", extent);
    AppendBlocks(random, cases, "small_blocks", extent);

    const SBatchFaults faults = SBatchFaults::Choose(random);
    // Most batches are as the content says; one wrong entry empties a batch.
    const bool isKnown = !random.OneIn(6);
    for (std::uint32_t entries = random.Below(random.OneIn(20) ? 12 : 5); entries > 0; --entries)
    {
        std::vector<LqVector3f> points;
        for (std::uint32_t count = SurfelCount(random) / 4; count > 0; --count)
        {
            points.push_back(SurfelNearPoints(random, cases, firstPoint, extent));
        }
        const auto entity = static_cast<std::int32_t>(AppendEntity(random, cases, points, faults));
        const std::size_t entry = cases.GetCount("entry_key");
        const LqMatrix4Rd trafo = random.Transform();
        const bool hasEntity = isKnown || !random.OneIn(6);
        AppendEntry(random, cases, hasEntity ? entity : -1, trafo, faults);
        if (!isKnown && random.OneIn(4))
        {
            continue;
        }
        // Another entity with the same identifier, or one of another, or none.
        std::int32_t known = entity;
        if (!isKnown && random.OneIn(4))
        {
            known =
                random.OneIn(2)
                    ? -1
                    : static_cast<std::int32_t>(AppendEntity(random, cases, {}, SBatchFaults{}));
        }
        const auto key = GetID(cases, "entry_key", entry).GetBytes();
        bool isKeyNew = true;
        const std::size_t firstKnown = cases.Get<std::uint64_t>("known_offsets").back();
        for (std::size_t at = firstKnown; at < cases.GetCount("known_entity"); ++at)
        {
            isKeyNew = isKeyNew && GetID(cases, "known_key", at).GetBytes() != key;
        }
        if (isKeyNew)
        {
            cases.Append<std::uint8_t>("known_key", std::span<const std::uint8_t>(key));
            cases.Append<std::int32_t>("known_entity", known);
            AppendMatrix(cases, "known_trafo",
                         random.OneIn(2) ? c_matIdentityD : random.Transform());
        }
    }
    cases.EndList<std::int32_t>("known_entity", "known_offsets");
    EndBatch(random, cases);
}

void AnswerSmallComponentCases(const CNamedArrays& cases, CNamedArrays& answers)
{
    DeclareBatchAnswers(answers);
    CEntities entities(cases);
    const auto calls = cases.Get<std::uint8_t>("calls");
    for (std::size_t index = 0; index < calls.size(); ++index)
    {
        std::vector<std::unique_ptr<std::vector<DataLayer::SFuserPointRecord>>> records;
        std::shared_ptr<const DataLayer::SFuserContent> content;
        if (cases.Get<std::uint8_t>("has_content")[index] != 0)
        {
            const auto made = std::make_shared<DataLayer::SFuserContent>();
            made->mainComponentBlocks = MakeBlocks(cases, "main_blocks", index, records);
            made->smallComponentBlocks = MakeBlocks(cases, "small_blocks", index, records);
            const auto offsets = cases.Get<std::uint64_t>("known_offsets");
            for (std::size_t known = offsets[index]; known < offsets[index + 1]; ++known)
            {
                const Base::CGeometricEntityPacket packet(
                    entities.Get(cases.Get<std::int32_t>("known_entity")[known]),
                    GetMatrix(cases, "known_trafo", known), nullptr, 0);
                made->packets.emplace(GetID(cases, "known_key", known), packet);
            }
            content = made;
        }
        SmallComponentOperation operation(content);
        if (cases.Get<std::uint8_t>("reset")[index] != 0)
        {
            SmallComponentPeer::Reset(operation);
        }
        for (std::uint8_t rebuild = cases.Get<std::uint8_t>("rebuilds")[index]; rebuild > 0;
             --rebuild)
        {
            SmallComponentPeer::ComputeNNSupportStructures(operation);
        }
        const Base::CEntityMapSyncBatch batch = MakeBatch(cases, index, entities);
        for (std::uint8_t call = 0; call < calls[index]; ++call)
        {
            AppendBatchAnswer(
                operation, batch, entities, [] { return 0U; }, answers);
        }
        entities.Clear();
    }
}

}  // namespace Oracle
