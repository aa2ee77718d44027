#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Base/Interfaces/CGeometricEntityPacket.h"
#include "DataLayer/Base3D/PointCloudEditing/CCachedModelsCutter.h"
#include "DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMask.h"
#include "DataLayer/Base3D/PointCloudEditing/CCutWithPixelMaskSyncableEntityCollectionModifyOperation.h"
#include "DataLayer/Base3D/PointCloudEditing/CSmallComponentModifyOperation.h"
#include "DataLayer/PointCloud/CSurfelCollectionMinimal.h"
#include "DataLayer/PointCloud/ISurfelRuns.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/CCutWithPixelMaskSyncableEntityCollectionModifyOperationTestPeer.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/CMockNeighborCloud.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/CSmallComponentModifyOperationTestPeer.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/CachedModels.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/EntityBatches.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/FuserContents.h"
#include "Tests/DataLayer/Descriptions.h"
#include "Tests/DataLayer/OperationScenes.h"
#include "Tests/Support/MockTags.h"
#include "Tests/Support/Selections.h"

namespace DataLayer
{

namespace
{

using namespace TestSupport;

using Cutter = CCutPointCloudWithPixelMask;
using CutOperation = CCutWithPixelMaskSyncableEntityCollectionModifyOperation;
using Selection = std::shared_ptr<const Base::SRegionSelectionInfo>;

constexpr std::uint32_t c_size = 8;
/// Two blocks of the parallel loops.
constexpr std::size_t c_numSurfels = 66000;

Selection MakeSelection()
{
    return MakeFullyPaintedDeviceSelection(c_size, c_size);
}

/// Surfels all over the view and beside it, with all kinds of normals.
std::shared_ptr<CSurfelCollectionMinimal> MakeCollection(std::size_t count = c_numSurfels)
{
    auto collection = std::make_shared<CSurfelCollectionMinimal>();
    for (std::size_t index = 0; index < count; ++index)
    {
        const float x = static_cast<float>(index % 301) / 120.0F - 1.25F;
        const float y = static_cast<float>(index / 301) / 120.0F - 1.25F;
        collection->AddSurfelNoReset({{x, y, 0.5F}, static_cast<std::uint16_t>(index)});
    }
    return collection;
}

SScene MakeCutterScene()
{
    const Selection selection = MakeSelection();
    const auto cutter = std::make_shared<std::optional<Cutter>>();
    return {[=] { cutter->emplace(selection); },
            [=] {
                const bool isInside =
                    (*cutter)->IntersectsRegion(c_matIdentityD, *MakeCollection(1000));
                return std::string(isInside ? "inside" : "outside");
            },
            [=] { return Describe(*selection) + Describe(selection.use_count()); }};
}

SScene MakeComputeScene()
{
    const Selection selection = MakeSelection();
    const auto cutter = std::make_shared<const Cutter>(selection);
    const auto collection = MakeCollection();
    // The second use of a collection makes what later ones are faster with.
    const std::shared_ptr<CSurfelCollectionMinimal> used = MakeCollection();
    static_cast<void>(used->GetPointCloudSupport());
    const auto mock = std::make_shared<CMockSurfelCollection>(
        std::vector<LqVector3f>{{0, 0, 0.5F}, {0.5F, 0, 0.5F}});
    const auto inputs = std::make_shared<const std::vector<Cutter::SInputData>>(
        std::vector<Cutter::SInputData>{{collection, {}, c_matIdentityD},
                                        {used, Words(c_numSurfels, {0x10}), c_matIdentityD},
                                        {used, {}, MakeTranslation(0.1, 0, 0)},
                                        {used, Words(5), MakeTranslation(0.2, 0, 0)},
                                        {mock, {}, c_matIdentityD},
                                        {mock, {}, MakeTranslation(9, 0, 0)}});
    const auto results = std::make_shared<Cutter::Results>();
    return {[=] { cutter->Compute(*inputs, *results); }, [=] { return Describe(*results); },
            DescribeAll(selection, inputs)};
}

SScene MakeIntersectsRegionScene()
{
    const Selection selection = MakeSelection();
    const auto cutter = std::make_shared<const Cutter>(selection);
    const auto trafo = std::make_shared<const LqMatrix4Rd>(c_matIdentityD);
    const auto collection = MakeCollection(1000);
    const auto answer = std::make_shared<bool>();
    return {[=] { *answer = cutter->IntersectsRegion(*trafo, *collection); },
            [=] { return std::string(*answer ? "inside" : "outside"); },
            DescribeAll(selection, trafo, collection)};
}

using Selections = std::vector<Selection>;
using Apply = std::function<std::shared_ptr<CCachedModel>(const CCachedModelsCutter&, Selections&)>;

/// Cuts with the first of the selections, and with all of them.
std::shared_ptr<CCachedModel> ApplyFirst(const CCachedModelsCutter& cutter, Selections& selections)
{
    return cutter.Apply(selections.front());
}
std::shared_ptr<CCachedModel> ApplyAll(const CCachedModelsCutter& cutter, Selections& selections)
{
    return cutter.Apply(selections);
}

SScene MakeModelScene(const std::shared_ptr<CBuildingModel>& model, const Apply& apply)
{
    const auto cutter = std::make_shared<const CCachedModelsCutter>(model);
    const auto selections =
        std::make_shared<Selections>(Selections{PaintColumn(1), PaintColumn(0), PaintColumn(2)});
    const auto result = std::make_shared<std::shared_ptr<CCachedModel>>();
    return {[=] { *result = apply(*cutter, *selections); }, [=] { return Describe(**result); },
            [=] {
                return Describe(*selections) + Describe(*model) +
                       Describe(model->GetSurfelCollection().get()) +
                       Describe(model->GetTriangulation());
            }};
}

/// A model cut with one selection, which writes to the log, and with a list.
void AddModelScenes(std::vector<SNamedScene>& scenes, const std::string& name,
                    const std::function<std::shared_ptr<CBuildingModel>()>& makeModel,
                    EHelpers helpersByList)
{
    scenes.push_back(
        {name, [=] { return MakeModelScene(makeModel(), ApplyFirst); }, EHelpers::GivenObjects});
    scenes.push_back(
        {name + "ByList", [=] { return MakeModelScene(makeModel(), ApplyAll); }, helpersByList});
}

void AddModelScenes(std::vector<SNamedScene>& scenes)
{
    AddModelScenes(
        scenes, "SurfelModel",
        [] {
            return SurfelModel(SurfelsInColumns({1, 2, 3, 2, 1}), MakeTranslation(0.01, 0, 0));
        },
        EHelpers::GivenObjects);
    AddModelScenes(
        scenes, "LargeSurfelModel", [] { return SurfelModel(MakeCollection()); },
        EHelpers::Workers);
    AddModelScenes(
        scenes, "MeshModel",
        [] {
            return MeshModel(MeshInColumns({1, 2, 3, 2, 1}));
        },
        EHelpers::Workers);
    AddModelScenes(
        scenes, "ModelWithBoth",
        [] {
            auto model = SurfelModel(SurfelsInColumns({1, 2, 3}));
            model->SetTriangulation(MeshInColumns({3, 1, 2}));
            return model;
        },
        EHelpers::Workers);
}

SScene MakeBuildingModelScene()
{
    const auto mesh = MeshInColumns({1, 2, 3, 2, 1});
    const auto model = std::make_shared<CBuildingModel>(nullptr, mesh);
    const auto cutter = std::make_shared<const CCachedModelsCutter>(model);
    const Selection selection = PaintColumn(1);
    const auto result = std::make_shared<std::shared_ptr<CCachedModel>>();
    return {[=] { *result = cutter->Apply(selection); }, [=] { return Describe(**result); },
            // A mesh that was built stays in the model.
            [=] {
                const bool isBuiltMesh =
                    model->GetTriangulation() == nullptr || model->GetTriangulation() == mesh;
                return Describe(*selection) + Describe(*mesh) +
                       Describe(model->GetUniqueId().GetValue()) + Describe(model->GetMatrix()) +
                       Describe(model->GetSurfelCollection()) + Describe(isBuiltMesh);
            }};
}

/// A batch of \p entries, the same at any time: under keys that count them, with values of which
/// no member is what it is at first.
std::shared_ptr<const Base::CEntityMapSyncBatch> MakeBatch(
    std::vector<Base::CEntityMapSyncEntry> entries)
{
    std::uint8_t number = 0;
    for (Base::CEntityMapSyncEntry& entry : entries)
    {
        entry.key = Base::CUniqueID(std::array<std::uint8_t, 16>{++number});
        entry.value.GetValue().optimizationLevel = number;
        entry.value.GetValue().flag = true;
        entry.value.GetValue().reserved = ~std::uint64_t{number};
    }
    return std::make_shared<const Base::CEntityMapSyncBatch>(std::move(entries));
}

/// Entities that are cut, missed, frozen, skeletons, and none at all.
std::shared_ptr<const Base::CEntityMapSyncBatch> MakeBatchToCut()
{
    const auto large = std::make_shared<CMockGeometricEntity>(MakeCollection());
    const SMockEntity cut({{0, 0, 0.5F}});
    const SMockEntity missed({{9, 0, 0.5F}});
    const SMockEntity skeleton({{0, 0, 0.5F}});
    skeleton.entity->tags["ISkeletonEntityTag"] = std::make_shared<CMockSkeletonTag>(1);
    return MakeBatch({MakeEntry(large, MakeSurfelMask(Words(c_numSurfels, {1}))), MakeEntry(large),
                      MakeEntry(cut.entity, MakeSurfelMask(MakeWords({1}))), MakeEntry(cut.entity),
                      MakeEntry(missed.entity, MakeSurfelMask(MakeWords({4}))),
                      MakeEntry(skeleton.entity, MakeSurfelMask(MakeWords({2}))),
                      MakeEntry(nullptr, MakeSurfelMask(MakeWords({0})))});
}

/// How many share each of the masks: none is kept by an operation that failed.
std::string DescribeMaskUses(const Base::CEntityMapSyncBatch& batch)
{
    CBytes bytes;
    for (const Base::CEntityMapSyncEntry& entry : batch.GetEntries())
    {
        bytes.Add(entry.value.HasValue() ? entry.value.GetValue().mask.use_count() : 0);
    }
    return bytes.Get();
}

SScene MakeCutOperationScene()
{
    const Selection selection = MakeSelection();
    const auto operation = std::make_shared<std::optional<CutOperation>>();
    const auto batch = MakeBatchToCut();
    const auto result = std::make_shared<Base::CEntityMapModifyBatch>();
    return {
        [=] {
            if (!operation->has_value())
            {
                operation->emplace(selection, c_matIdentityD);
            }
            *result = (*operation)->ComputeModifications(*batch);
        },
        // A call that failed has counted nothing.
        [=] { return Describe(*result) + std::to_string((*operation)->GetNumModifiedPackets()); },
        [=] { return Describe(*selection, *batch) + DescribeMaskUses(*batch); }};
}

SScene MakePacketScene()
{
    const Selection selection = MakeSelection();
    const auto operation = std::make_shared<const CutOperation>(selection, c_matIdentityD);
    const auto cutter = std::make_shared<const Cutter>(selection);
    const auto packet = std::make_shared<const Base::CGeometricEntityPacket>(
        SMockEntity({{0, 0, 0.5F}}).entity, MakeTranslation(0.1, 0, 0),
        MakeSurfelMask(MakeWords({1})), 3);
    const auto results = std::make_shared<Words>();
    results->reserve(2);
    using Peer = CCutWithPixelMaskSyncableEntityCollectionModifyOperationTestPeer;
    return {[=] {
                results->clear();
                const auto cut = Peer::CutPacket(*operation, *packet, *cutter);
                const auto frozen = Peer::FreezeOutlierBits(*operation, *packet);
                for (const auto* newPacket : {&cut, &frozen})
                {
                    results->push_back(
                        WordsOf(newPacket->GetValue().GetSurfelCollectionMask()).front());
                }
            },
            [=] { return Describe(*results); }, DescribeAll(selection, packet)};
}

/// A fuser with points enough for a parallel index.
std::shared_ptr<SFuserContent> MakeContent()
{
    std::vector<LqVector3f> mainPoints;
    for (std::size_t index = 0; index < 20000; ++index)
    {
        mainPoints.push_back({static_cast<float>(index % 200) * 0.05F,
                              static_cast<float>(index / 200) * 0.05F, 0.0F});
    }
    return MakeFuserContent(mainPoints, {{50, 0, 0}, {60, 0, 0}, {60, 1, 0}});
}

std::string DescribeSupport(const CSmallComponentModifyOperation& operation)
{
    using Peer = CSmallComponentModifyOperationTestPeer;
    return Describe(*Peer::GetCloud(operation)) + std::to_string(Peer::GetCount(operation));
}

SScene MakeConstructionScene()
{
    const auto content = std::make_shared<std::shared_ptr<const SFuserContent>>(MakeContent());
    const auto operation = std::make_shared<std::optional<CSmallComponentModifyOperation>>();
    return {[=] { operation->emplace(*content); }, [=] { return DescribeSupport(**operation); },
            [=] { return Describe(*content) + Describe(content->use_count()); }};
}

SScene MakeRebuildScene()
{
    std::shared_ptr<const SFuserContent> content = MakeContent();
    const auto operation = std::make_shared<CSmallComponentModifyOperation>(content);
    using Peer = CSmallComponentModifyOperationTestPeer;
    Peer::Reset(*operation);
    return {[=] { Peer::ComputeNNSupportStructures(*operation); },
            [=] { return DescribeSupport(*operation); },
            [=] {
                return Describe(*content) + Describe(Peer::GetCount(*operation)) +
                       (Peer::GetCloud(*operation) == nullptr ? "none" : "cloud");
            }};
}

SScene MakeSmallComponentScene()
{
    const std::shared_ptr<SFuserContent> content = MakeContent();
    std::shared_ptr<const SFuserContent> shared = content;
    const auto operation = std::make_shared<const CSmallComponentModifyOperation>(shared);
    const SMockEntity changed({{0, 0, 0}, {60, 0, 0}});
    const SMockEntity unchanged({{1, 1, 0}});
    const auto batch =
        MakeBatch({MakeEntry(changed.entity), MakeEntry(unchanged.entity),
                   MakeEntry(changed.entity, MakeSurfelMask(MakeWords({2, 0x100})))});
    for (const Base::CEntityMapSyncEntry& entry : batch->GetEntries())
    {
        AddToFuser(*content, entry.key, entry.value.GetValue().entity);
    }
    const auto result = std::make_shared<Base::CEntityMapModifyBatch>();
    return {[=] { *result = operation->ComputeModifications(*batch); },
            [=] { return Describe(*result); },
            [=] { return Describe(*content, *batch) + DescribeMaskUses(*batch); }};
}

/// The neighbours are those that a search of another maker names.
SScene MakeForeignSearchScene()
{
    std::shared_ptr<const SFuserContent> content = MakeFuserContent({{0, 0, 0}}, {{9, 0, 0}});
    const auto operation = std::make_shared<CSmallComponentModifyOperation>(content);
    const auto search = std::make_shared<CMockNearestNeighborSearch>();
    search->answers = {0, 7, -1, 7, 0};
    CSmallComponentModifyOperationTestPeer::SetCloud(
        *operation, std::make_unique<CMockNeighborCloud>(search), 3);
    const auto packet = std::make_shared<const Base::CEntityTrafoMaskPacket>(
        Base::CGeometricEntityPacket(SMockEntity(std::vector<LqVector3f>(5)).entity, c_matIdentityD,
                                     MakeSurfelMask(MakeWords({0x100, 1, 2, 4, 2})), 0));
    const auto words = std::make_shared<std::shared_ptr<Base::CSurfelCollectionMask>>();
    return {[=] {
                search->queries.clear();
                *words = CSmallComponentModifyOperationTestPeer::RemoveSmallComponents(*operation,
                                                                                       *packet);
            },
            [=] { return Describe(**words); }, DescribeAll(content, packet)};
}

/// A collection of another maker that knows the boxes of runs of its surfels, but never says them.
class CRunsCollection : public CMockSurfelCollection
{
public:
    using CMockSurfelCollection::CMockSurfelCollection;

    [[nodiscard]] std::shared_ptr<const Base::IPointCloudSupport> GetPointCloudSupport()
        const override
    {
        auto support = std::make_shared<CRunsSupport>();
        support->boundingBox.box = {{-1, -1, 0}, {1, 1, 1}};
        OnMockCall();
        return support;
    }

private:
    class CRunsSupport : public CMockPointCloudSupport, public ISurfelRuns
    {
    public:
        [[nodiscard]] const SSurfelRuns* FindSurfelRuns() const override
        {
            OnMockCall();
            return nullptr;
        }
    };
};

SScene MakeForeignRunsScene()
{
    const Selection selection = MakeSelection();
    const auto cutter = std::make_shared<const Cutter>(selection);
    const auto collection = std::make_shared<CRunsCollection>(
        std::vector<LqVector3f>(SSurfelRuns::c_surfelsPerGroup, {0, 0, 0.5F}));
    const auto inputs = std::make_shared<const std::vector<Cutter::SInputData>>(
        std::vector<Cutter::SInputData>{{collection, {}, c_matIdentityD}});
    const auto results = std::make_shared<Cutter::Results>();
    return {[=] { cutter->Compute(*inputs, *results); }, [=] { return Describe(*results); },
            DescribeAll(selection, inputs)};
}

}  // namespace

}  // namespace DataLayer

namespace TestSupport
{

std::vector<SNamedScene> MakeEditingScenes()
{
    using namespace DataLayer;
    constexpr EHelpers c_given = EHelpers::GivenObjects;
    std::vector<SNamedScene> scenes{
        {"Cutter", MakeCutterScene, EHelpers::Nobody},
        {"Compute", MakeComputeScene, c_given},
        {"ComputeOfForeignRuns", MakeForeignRunsScene, c_given},
        {"IntersectsRegion", MakeIntersectsRegionScene},
        {"ModelThatBuildsItsMesh", MakeBuildingModelScene, c_given},
        {"CutOperation", MakeCutOperationScene, c_given},
        {"CutPacketAndFreeze", MakePacketScene, c_given},
        {"SmallComponentConstruction", MakeConstructionScene},
        {"SmallComponentRebuild", MakeRebuildScene},
        {"SmallComponentOperation", MakeSmallComponentScene, c_given},
        {"SmallComponentForeignSearch", MakeForeignSearchScene, c_given}};
    AddModelScenes(scenes);
    return scenes;
}

}  // namespace TestSupport
