#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "Base/Interfaces/CStdStreamRead.h"
#include "Base/Interfaces/CStdStreamWrite.h"
#include "Base/Interfaces/CSurfelCollectionMask.h"
#include "Base/Interfaces/CUniqueID.h"
#include "Base/Interfaces/SRegionSelectionInfo.h"
#include "Base/Interfaces/SyncableEntityMap.h"
#include "Base/Support/CLogger.h"
#include "DataLayer/DataContainer/CCachedModel.h"
#include "DataLayer/PointCloud/ISurfelRuns.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/CachedModels.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/EntityBatches.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/FuserContents.h"
#include "Tests/DataLayer/CFixedBuffer.h"
#include "Tests/DataLayer/Descriptions.h"
#include "Tests/DataLayer/OperationScenes.h"
#include "Tests/Support/Selections.h"

namespace TestSupport
{

namespace
{

using DataLayer::CCachedModel;
using UniqueId = CCachedModel::UniqueId;

std::string DescribeOne(const Logging::SLogRecord& record)
{
    return Describe(record.category) + Describe(record.level) + record.file +
           Describe(record.line) + record.function + Describe(record.message);
}

std::string DescribeOne(const UniqueId& id)
{
    return Describe(id.GetValue());
}

std::string DescribeOne(const DataLayer::SSurfelRuns& runs)
{
    CBytes bytes;
    const auto add = [&](const DataLayer::SSurfelRun& run) {
        bytes.AddBytes(&run.box, sizeof run.box).Add(run.isFinite);
    };
    for (const DataLayer::SSurfelRun& run : runs.runs)
    {
        add(run);
    }
    for (const DataLayer::SSurfelRunGroup& group : runs.groups)
    {
        add(group.whole);
        bytes.Add(group.hasSmallRuns);
    }
    return bytes.Get();
}

template <typename Value>
std::string DescribeOne(const Value& value)
{
    return Describe(value);
}

/// A record is copied, and assigned to another one.
template <typename Value>
SScene MakeCopyScene(const std::shared_ptr<const Value>& source)
{
    const auto copied = std::make_shared<std::optional<Value>>();
    const auto assigned = std::make_shared<Value>();
    return {[=] {
                copied->emplace(*source);
                *assigned = **copied;
            },
            [=] { return DescribeOne(**copied) + DescribeOne(*assigned); },
            [=] { return DescribeOne(*source); }};
}

/// The copies of a record, which holds the same objects every time.
template <typename Value>
void AddCopyScene(std::vector<SNamedScene>& scenes, const std::string& name, const Value& value)
{
    const auto source = std::make_shared<const Value>(value);
    scenes.push_back({"CopyOf" + name, [=] { return MakeCopyScene(source); }, EHelpers::Nobody});
}

Base::CEntityMapValue MakeValue()
{
    Base::CEntityMapValue value;
    value.optimizationLevel = 3;
    value.mask = MakeSurfelMask(MakeWords({1, 2}));
    value.trafo = MakeTranslation(1, 2, 3);
    value.entity = SMockEntity({{0, 0, 1}, {0, 1, 0}}).entity;
    value.flag = true;
    value.reserved = 4;
    return value;
}

/// Entries with a state and without one.
Base::CEntityMapSyncBatch MakeSyncBatch()
{
    return MakeBatch(MakeEntry(MakeValue().entity), Base::CEntityMapSyncEntry());
}

/// A message of each kind.
Base::CEntityMapModifyBatch MakeModifyBatch()
{
    Base::CEntityMapModifyBatch batch;
    batch.origin = L"an operation with a name of some length";
    batch.flag = true;
    batch.messages.resize(3);
    batch.messages[0].SetValue(MakeValue());
    batch.messages[1].SetPartialValue(Base::CEntityMapPartialValue(MakeValue()));
    batch.messages[2].SetModify(Base::CEntityMapPartialValue(MakeValue()), {});
    return batch;
}

DataLayer::SSurfelRuns MakeRuns()
{
    DataLayer::SSurfelRuns runs;
    runs.runs = {{{{0, 0, 0}, {1, 1, 1}}, true}, {{{1, 0, 0}, {1, 1, 1}}, false}};
    runs.groups = {{{{{0, 0, 0}, {1, 1, 1}}, false}, true}};
    return runs;
}

DataLayer::SFuserContent MakeContent()
{
    const auto content = MakeFuserContent({{1, 2, 3}, {4, 5, 6}}, {{7, 8, 9}});
    AddToFuser(*content, Base::CUniqueID(), MakeValue().entity);
    AddToFuser(*content, Base::CUniqueID(), nullptr);
    return *content;
}

void AddCopyScenes(std::vector<SNamedScene>& scenes)
{
    AddCopyScene(scenes, "LogRecord",
                 Logging::SLogRecord{std::wstring(50, L'c'), 1, std::string(50, 'f'), 2,
                                     std::string(50, 'g'), std::wstring(50, L'm')});
    AddCopyScene(scenes, "ModelId", UniqueId(L"a model with a name of some length"));
    AddCopyScene(scenes, "Mask", Base::CSurfelCollectionMask(MakeWords({1, 2, 3})));
    AddCopyScene(scenes, "SyncBatch", MakeSyncBatch());
    AddCopyScene(scenes, "ModifyBatch", MakeModifyBatch());
    AddCopyScene(scenes, "IndexPairs", Base::ISurfelCollection::IndexPairs{{1, 2}, {3, 4}});
    AddCopyScene(scenes, "SurfelRuns", MakeRuns());
    AddCopyScene(scenes, "Triangulation", *DataLayer::MeshInColumns({1, 2, 3, 2, 1}));
    AddCopyScene(scenes, "FuserContent", MakeContent());
    AddCopyScene(scenes, "CutInput",
                 DataLayer::CCutPointCloudWithPixelMask::SInputData{
                     SMockEntity({{0, 0, 1}}).collection, MakeWords({1, 2}), MakeScale(2, 2, 2)});
}

SScene MakeTextOfIdScene()
{
    const auto id = std::make_shared<const Base::CEntityID>(std::array<std::uint8_t, 16>{1, 0xAB});
    const auto text = std::make_shared<CString>();
    return {[=] { *text = id->AsString(); }, [=] { return Describe(*text); }, DescribeAll(id)};
}

SScene MakeSyncBatchScene()
{
    static const std::vector<Base::CEntityMapSyncEntry> c_entries = MakeSyncBatch().GetEntries();
    const auto entries = std::make_shared<const std::vector<Base::CEntityMapSyncEntry>>(c_entries);
    const auto result = std::make_shared<Base::CEntityMapSyncBatch>();
    return {[=] { *result = Base::CEntityMapSyncBatch(*entries); },
            [=] { return Describe(*result); }, DescribeAll(entries)};
}

SScene MakeSelectionScene()
{
    const auto matrix = std::make_shared<const LqMatrix4Rf>(MakeTranslation(1, 2, 3));
    const auto mask = std::make_shared<const std::vector<std::uint8_t>>(MakeMask(4, 3, {{1, 2}}));
    const auto result = std::make_shared<std::shared_ptr<const Base::SRegionSelectionInfo>>();
    return {[=] { *result = Base::MakeRegionSelection(*matrix, *matrix, *matrix, *mask, 4, 3); },
            [=] { return CBytes().AddArray((*result)->maskData, 12).Get(); },
            DescribeAll(matrix, mask)};
}

/// A mask is written and read again, by one that has other words.
SScene MakeMaskStreamScene()
{
    const auto source = MakeSurfelMask(MakeWords({1, 2, 3}));
    const auto target = std::make_shared<Base::CSurfelCollectionMask>(MakeWords({4}));
    const auto bytes = std::make_shared<std::string>(100, '\0');
    return {[=] {
                CFixedBuffer buffer(*bytes);
                std::iostream stream(&buffer);
                Base::CStdStreamWrite writer(stream);
                source->Serialize(writer);
                Base::CStdStreamRead reader(stream);
                target->Serialize(reader);
            },
            [=] { return Describe(*target); }, DescribeAll(source, target)};
}

SScene MakeModelsScene()
{
    const auto surfels = SMockEntity({{0, 0, 1}}).collection;
    const auto mesh = DataLayer::MeshInColumns({1, 2, 3, 2, 1});
    const auto name = std::make_shared<const CString>(L"a model with a name of some length");
    const auto models = std::make_shared<std::array<std::unique_ptr<CCachedModel>, 2>>();
    return {[=] {
                const UniqueId id(*name);
                (*models)[0] = std::make_unique<CCachedModel>(c_matIdentityD, surfels, id);
                (*models)[1] = std::make_unique<CCachedModel>(c_matIdentityD, mesh, id);
            },
            [=] { return Describe(*(*models)[0]) + Describe(*(*models)[1]); },
            DescribeAll(surfels, mesh, name)};
}

}  // namespace

std::vector<SNamedScene> MakeRecordScenes()
{
    std::vector<SNamedScene> scenes{{"TextOfId", MakeTextOfIdScene, EHelpers::Nobody},
                                    {"SyncBatch", MakeSyncBatchScene, EHelpers::Nobody},
                                    {"RegionSelection", MakeSelectionScene, EHelpers::Nobody},
                                    {"MaskStream", MakeMaskStreamScene, EHelpers::Nobody},
                                    {"Models", MakeModelsScene, EHelpers::Nobody}};
    AddCopyScenes(scenes);
    return scenes;
}

}  // namespace TestSupport
