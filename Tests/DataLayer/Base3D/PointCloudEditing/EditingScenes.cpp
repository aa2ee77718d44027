#include "Tests/DataLayer/OperationScenes.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Base/Interfaces/CGeometricEntityPacket.h"
#include "Base/Support/CLogger.h"
#include "Base/Support/VekoException.h"
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

Selection makeSelection()
{
    return MakeFullyPaintedDeviceSelection(c_size, c_size);
}

std::string describe(const Base::SRegionSelectionInfo& selection)
{
    CBytes bytes;
    for (const LqMatrix4Rf* matrix :
         {&selection.transform1, &selection.transform2, &selection.transform3})
    {
        bytes.AddBytes(matrix->data(), 16 * sizeof(float));
    }
    bytes.Add(selection.maskWidth).Add(selection.maskHeight);
    return bytes.AddBytes(selection.maskData, std::size_t{c_size} * c_size).Get();
}

std::string describe(const Words& words)
{
    return CBytes().Add(words.size()).AddBytes(words.data(), words.size() * sizeof words[0]).Get();
}

std::string describe(const Base::ISurfelCollection& collection)
{
    const auto positions = collection.GetAllPositions();
    return CBytes().AddBytes(positions.data(), positions.size() * sizeof positions[0]).Get();
}

/// Surfels all over the view and beside it.
std::shared_ptr<CSurfelCollectionMinimal> makeCollection(std::size_t count = c_numSurfels)
{
    auto collection = std::make_shared<CSurfelCollectionMinimal>();
    for (std::size_t index = 0; index < count; ++index)
    {
        const float x = static_cast<float>(index % 301) / 120.0F - 1.25F;
        const float y = static_cast<float>(index / 301) / 120.0F - 1.25F;
        collection->AddSurfelNoReset({{x, y, 0.5F}, 0});
    }
    return collection;
}

SScene makeThrowScene()
{
    const auto text = std::make_shared<std::optional<VekoException>>();
    return SScene{[=] {
                      try
                      {
                          ThrowVekoException("file", 1, "function", L"%ls %d",
                                             std::wstring(500, L'x').c_str(), 7);
                      }
                      catch (const VekoException& exception)
                      {
                          text->emplace(exception);
                      }
                  },
                  [=] { return std::string((*text)->what()); }, [=] { return std::string(); }};
}

SScene makeLogScene()
{
    const auto logger = std::make_shared<const Logging::CLogger>(L"Veko2.Category");
    return SScene{
        [=] { logger->Warn("file", 1, "function", L"%ls", std::wstring(500, L'x').c_str()); },
        [] { return std::string(); }, [] { return std::string(); }};
}

SScene makeCutterScene()
{
    const Selection selection = makeSelection();
    const auto cutter = std::make_shared<std::optional<Cutter>>();
    return SScene{[=] { cutter->emplace(selection); },
                  [=] {
                      const bool isInside =
                          (*cutter)->IntersectsRegion(c_matIdentityD, *makeCollection(1000));
                      return std::string(isInside ? "inside" : "outside");
                  },
                  [=] { return describe(*selection) + std::to_string(selection.use_count()); }};
}

std::string describe(const Cutter::Results& results)
{
    std::string text;
    for (const auto& [hasChanged, words] : results)
    {
        text += hasChanged ? "changed" : "same";
        text += describe(words);
    }
    return text;
}

SScene makeComputeScene()
{
    const auto cutter = std::make_shared<const Cutter>(makeSelection());
    const auto collection = makeCollection();
    // The second use of a collection makes what later ones are faster with.
    const std::shared_ptr<CSurfelCollectionMinimal> used = makeCollection();
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
    return SScene{[=] { cutter->Compute(*inputs, *results); }, [=] { return describe(*results); },
                  [=] {
                      std::string text;
                      for (const Cutter::SInputData& input : *inputs)
                      {
                          text += describe(*input.collection) + describe(input.bitMasks);
                      }
                      return text;
                  }};
}

SScene makeIntersectsRegionScene()
{
    const auto cutter = std::make_shared<const Cutter>(makeSelection());
    const auto collection = makeCollection(1000);
    const auto answer = std::make_shared<bool>();
    return SScene{[=] { *answer = cutter->IntersectsRegion(c_matIdentityD, *collection); },
                  [=] { return std::string(*answer ? "inside" : "outside"); },
                  [=] { return describe(*collection); }};
}

/// The columns of what \p model holds.
std::string describe(const CCachedModel& model)
{
    std::string text;
    if (model.GetSurfelCollection() != nullptr)
    {
        text += describe(*model.GetSurfelCollection());
    }
    if (const auto mesh = model.GetTriangulation())
    {
        text += CBytes()
                    .AddBytes(mesh->vertices.data(), mesh->vertices.size() * sizeof(LqVector3f))
                    .AddBytes(mesh->triangles.data(), mesh->triangles.size() * 12)
                    .Get();
    }
    return text;
}

using Apply = std::function<std::shared_ptr<CCachedModel>(const CCachedModelsCutter&)>;

SScene makeModelScene(const std::shared_ptr<CBuildingModel>& model, const Apply& apply)
{
    const auto cutter = std::make_shared<const CCachedModelsCutter>(model);
    const auto result = std::make_shared<std::shared_ptr<CCachedModel>>();
    return {[=] { *result = apply(*cutter); }, [=] { return describe(**result); },
            [=] { return describe(*model); }};
}

/// A model cut with one selection, which writes to the log, and with a list.
void addModelScenes(std::vector<SNamedScene>& scenes, const std::string& name,
                    const std::function<std::shared_ptr<CBuildingModel>()>& makeModel,
                    bool callsOthersByList)
{
    const Apply applyOne = [](const CCachedModelsCutter& cutter) {
        return cutter.Apply(PaintColumn(1));
    };
    const Apply applyList = [](const CCachedModelsCutter& cutter) {
        std::vector<Selection> selections{PaintColumn(1), PaintColumn(0), PaintColumn(2)};
        return cutter.Apply(selections);
    };
    scenes.push_back({name, [=] { return makeModelScene(makeModel(), applyOne); }, true});
    scenes.push_back({name + "ByList", [=] { return makeModelScene(makeModel(), applyList); },
                      callsOthersByList});
}

void addModelScenes(std::vector<SNamedScene>& scenes)
{
    addModelScenes(
        scenes, "SurfelModel",
        [] {
            return SurfelModel(SurfelsInColumns({1, 2, 3, 2, 1}));
        },
        true);
    addModelScenes(
        scenes, "LargeSurfelModel", [] { return SurfelModel(makeCollection()); }, false);
    addModelScenes(
        scenes, "MeshModel",
        [] {
            return MeshModel(MeshInColumns({1, 2, 3, 2, 1}));
        },
        false);
    addModelScenes(
        scenes, "ModelWithBoth",
        [] {
            auto model = SurfelModel(SurfelsInColumns({1, 2, 3}));
            model->SetTriangulation(MeshInColumns({3, 1, 2}));
            return model;
        },
        false);
}

SScene makeBuildingModelScene()
{
    // A mesh that was built stays, so that nothing of the model is told.
    const auto model = std::make_shared<CBuildingModel>(nullptr, MeshInColumns({1, 2, 3, 2, 1}));
    SScene scene = makeModelScene(
        model, [](const CCachedModelsCutter& cutter) { return cutter.Apply(PaintColumn(1)); });
    scene.describeInputs = [model] { return std::string(); };
    return scene;
}

/// What the messages of \p batch say that can be told from one time to the next.
std::string describe(const Base::CEntityMapModifyBatch& batch)
{
    CBytes bytes;
    bytes.AddBytes(batch.origin.data(), batch.origin.size() * sizeof(wchar_t));
    bytes.Add(batch.messages.size());
    for (const Base::CEntityMapModifyMessage& message : batch.messages)
    {
        const auto& mask = message.GetNewState().mask.GetValue();
        const std::string words = mask == nullptr ? "none" : describe(WordsOf(mask));
        bytes.AddBytes(words.data(), words.size());
    }
    return bytes.Get();
}

std::string describe(const Base::CEntityMapSyncBatch& batch)
{
    CBytes bytes;
    for (const Base::CEntityMapSyncEntry& entry : batch.GetEntries())
    {
        const Base::CEntityMapValue& value = entry.value.GetValue();
        bytes.AddBytes(entry.key.GetBytes().data(), 16);
        bytes.Add(value.entity.get()).Add(value.mask.get()).Add(value.mask.use_count());
        bytes.AddBytes(value.trafo.data(), 16 * sizeof(double)).Add(value.optimizationLevel);
        const std::string words = value.mask == nullptr ? "none" : describe(WordsOf(value.mask));
        bytes.AddBytes(words.data(), words.size());
    }
    return bytes.Get();
}

/// Entities that are cut, missed, frozen, skeletons, and none at all.
Base::CEntityMapSyncBatch makeBatch()
{
    const auto large = std::make_shared<CMockGeometricEntity>(makeCollection());
    const SMockEntity cut({{0, 0, 0.5F}});
    const SMockEntity missed({{9, 0, 0.5F}});
    const SMockEntity skeleton({{0, 0, 0.5F}});
    skeleton.entity->tags["ISkeletonEntityTag"] = std::make_shared<CMockSkeletonTag>(1);
    return MakeBatch(MakeEntry(large, MakeSurfelMask(Words(c_numSurfels, {1}))), MakeEntry(large),
                     MakeEntry(cut.entity, MakeSurfelMask(MakeWords({1}))), MakeEntry(cut.entity),
                     MakeEntry(missed.entity, MakeSurfelMask(MakeWords({4}))),
                     MakeEntry(skeleton.entity, MakeSurfelMask(MakeWords({2}))),
                     MakeEntry(nullptr, MakeSurfelMask(MakeWords({0}))));
}

SScene makeCutOperationScene()
{
    const Selection selection = makeSelection();
    const auto operation = std::make_shared<std::optional<CutOperation>>();
    const auto batch = std::make_shared<const Base::CEntityMapSyncBatch>(makeBatch());
    const auto result = std::make_shared<Base::CEntityMapModifyBatch>();
    return SScene{
        [=] {
            if (!operation->has_value())
            {
                operation->emplace(selection, c_matIdentityD);
            }
            *result = (*operation)->ComputeModifications(*batch);
        },
        // A call that failed has counted nothing.
        [=] { return describe(*result) + std::to_string((*operation)->GetNumModifiedPackets()); },
        [=] { return describe(*batch) + describe(*selection); }};
}

SScene makePacketScene()
{
    const auto operation = std::make_shared<const CutOperation>(makeSelection(), c_matIdentityD);
    const auto cutter = std::make_shared<const Cutter>(makeSelection());
    const SMockEntity entity({{0, 0, 0.5F}});
    const auto mask = MakeSurfelMask(MakeWords({1}));
    const auto packet = std::make_shared<const Base::CGeometricEntityPacket>(
        entity.entity, c_matIdentityD, mask, 3);
    const auto results = std::make_shared<Words>();
    results->reserve(2);
    using Peer = CCutWithPixelMaskSyncableEntityCollectionModifyOperationTestPeer;
    return SScene{[=] {
                      results->clear();
                      const auto cut = Peer::CutPacket(*operation, *packet, *cutter);
                      const auto frozen = Peer::FreezeOutlierBits(*operation, *packet);
                      for (const auto* newPacket : {&cut, &frozen})
                      {
                          results->push_back(
                              WordsOf(newPacket->GetValue().GetSurfelCollectionMask()).front());
                      }
                  },
                  [=] { return describe(*results); }, [=] { return describe(WordsOf(mask)); }};
}

/// A fuser that knows the entities of makeKnownBatch(), with points enough for a parallel index.
std::shared_ptr<SFuserContent> makeContent()
{
    std::vector<LqVector3f> mainPoints;
    for (std::size_t index = 0; index < 20000; ++index)
    {
        mainPoints.push_back({static_cast<float>(index % 200) * 0.05F,
                              static_cast<float>(index / 200) * 0.05F, 0.0F});
    }
    return MakeFuserContent(mainPoints, {{50, 0, 0}, {60, 0, 0}, {60, 1, 0}});
}

SScene makeConstructionScene()
{
    const auto content = std::make_shared<std::shared_ptr<const SFuserContent>>(makeContent());
    const auto operation = std::make_shared<std::optional<CSmallComponentModifyOperation>>();
    return SScene{[=] { operation->emplace(*content); },
                  [=] {
                      using Peer = CSmallComponentModifyOperationTestPeer;
                      return describe(*Peer::GetCloud(**operation)) +
                             std::to_string(Peer::GetCount(**operation));
                  },
                  [=] {
                      return std::to_string(content->use_count()) +
                             CBytes()
                                 .AddBytes((*content)->mainComponentBlocks[0]->first,
                                           20000 * sizeof(SFuserPointRecord))
                                 .Get();
                  }};
}

SScene makeRebuildScene()
{
    std::shared_ptr<const SFuserContent> content = makeContent();
    const auto operation = std::make_shared<CSmallComponentModifyOperation>(content);
    using Peer = CSmallComponentModifyOperationTestPeer;
    Peer::Reset(*operation);
    return SScene{[=] { Peer::ComputeNNSupportStructures(*operation); },
                  [=] {
                      return describe(*Peer::GetCloud(*operation)) +
                             std::to_string(Peer::GetCount(*operation));
                  },
                  [=] {
                      return std::to_string(Peer::GetCount(*operation)) +
                             (Peer::GetCloud(*operation) == nullptr ? "none" : "cloud");
                  }};
}

SScene makeSmallComponentScene()
{
    const std::shared_ptr<SFuserContent> content = makeContent();
    std::shared_ptr<const SFuserContent> shared = content;
    const auto operation = std::make_shared<const CSmallComponentModifyOperation>(shared);
    const SMockEntity changed({{0, 0, 0}, {60, 0, 0}});
    const SMockEntity unchanged({{1, 1, 0}});
    const auto batch = std::make_shared<const Base::CEntityMapSyncBatch>(
        MakeBatch(MakeEntry(changed.entity), MakeEntry(unchanged.entity),
                  MakeEntry(changed.entity, MakeSurfelMask(MakeWords({2, 0x100})))));
    for (const Base::CEntityMapSyncEntry& entry : batch->GetEntries())
    {
        AddToFuser(*content, entry.key, entry.value.GetValue().entity);
    }
    const auto result = std::make_shared<Base::CEntityMapModifyBatch>();
    return {[=] { *result = operation->ComputeModifications(*batch); },
            [=] { return describe(*result); }, [=] { return describe(*batch); }};
}

/// The neighbours are those that a search of another maker names.
SScene makeForeignSearchScene()
{
    std::shared_ptr<const SFuserContent> content = MakeFuserContent({{0, 0, 0}}, {{9, 0, 0}});
    const auto operation = std::make_shared<CSmallComponentModifyOperation>(content);
    const auto search = std::make_shared<CMockNearestNeighborSearch>();
    search->answers = {0, 7, -1, 7, 0};
    CSmallComponentModifyOperationTestPeer::SetCloud(
        *operation, std::make_unique<CMockNeighborCloud>(search), 3);
    const SMockEntity entity(std::vector<LqVector3f>(5));
    const auto packet = std::make_shared<const Base::CEntityTrafoMaskPacket>(
        Base::CGeometricEntityPacket(entity.entity, c_matIdentityD, nullptr, 0));
    const auto words = std::make_shared<std::shared_ptr<Base::CSurfelCollectionMask>>();
    return {
        [=] {
            search->queries.clear();
            *words =
                CSmallComponentModifyOperationTestPeer::RemoveSmallComponents(*operation, *packet);
        },
        [=] { return describe(WordsOf(*words)); }, [=] { return describe(*entity.collection); }};
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

SScene makeForeignRunsScene()
{
    const auto cutter = std::make_shared<const Cutter>(makeSelection());
    const auto collection = std::make_shared<CRunsCollection>(
        std::vector<LqVector3f>(SSurfelRuns::c_surfelsPerGroup, {0, 0, 0.5F}));
    const auto inputs = std::make_shared<const std::vector<Cutter::SInputData>>(
        std::vector<Cutter::SInputData>{{collection, {}, c_matIdentityD}});
    const auto results = std::make_shared<Cutter::Results>();
    return {[=] { cutter->Compute(*inputs, *results); }, [=] { return describe(*results); },
            [=] { return describe(*collection); }};
}

}  // namespace

}  // namespace DataLayer

namespace TestSupport
{

std::vector<SNamedScene> MakeEditingScenes()
{
    using namespace DataLayer;
    std::vector<SNamedScene> scenes{{"ThrowRoutine", makeThrowScene},
                                    {"LogMessage", makeLogScene, true},
                                    {"Cutter", makeCutterScene},
                                    {"Compute", makeComputeScene, true},
                                    {"ComputeOfForeignRuns", makeForeignRunsScene, true},
                                    {"IntersectsRegion", makeIntersectsRegionScene},
                                    {"ModelThatBuildsItsMesh", makeBuildingModelScene, true},
                                    {"CutOperation", makeCutOperationScene, true},
                                    {"CutPacketAndFreeze", makePacketScene, true},
                                    {"SmallComponentConstruction", makeConstructionScene},
                                    {"SmallComponentRebuild", makeRebuildScene},
                                    {"SmallComponentOperation", makeSmallComponentScene, true},
                                    {"SmallComponentForeignSearch", makeForeignSearchScene, true}};
    addModelScenes(scenes);
    return scenes;
}

}  // namespace TestSupport
