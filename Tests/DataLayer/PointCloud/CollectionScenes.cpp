#include "Tests/DataLayer/OperationScenes.h"

#include <functional>
#include <memory>
#include <numeric>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Base/Interfaces/CStdStreamRead.h"
#include "Base/Interfaces/CStdStreamWrite.h"
#include "Base/Interfaces/IPointCloudSupport.h"
#include "Base/Interfaces/SRegionSelectionInfo.h"
#include "DataLayer/Base3D/CMeshToSurfels.h"
#include "DataLayer/Base3D/CMorvaneMeshCutter.h"
#include "DataLayer/Base3D/CTriangulation.h"
#include "DataLayer/DataContainer/CCachedModel.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"
#include "DataLayer/PointCloud/ISurfelRuns.h"
#include "Tests/DataLayer/PointCloud/CForeignCollection.h"
#include "Tests/DataLayer/PointCloud/SurfelCollections.h"
#include "Tests/Support/Selections.h"

namespace DataLayerTest
{

namespace
{

using Base::ISurfelCollection;
using DataLayer::CSurfelCollectionMinimal;
using DataLayer::CSurfelCollectionView;
using TestSupport::CBytes;
using TestSupport::SNamedScene;
using TestSupport::SScene;

/// Two blocks of the parallel loops.
constexpr std::size_t c_count = 70000;

std::string Describe(const ISurfelCollection& collection)
{
    CBytes bytes;
    for (const auto& vectors : {collection.GetAllPositions(), collection.GetAllNormals()})
    {
        bytes.AddBytes(vectors.data(), vectors.size() * sizeof vectors[0]);
    }
    return bytes.Get();
}

std::vector<bool> MakeMask()
{
    std::vector<bool> mask(c_count);
    for (std::size_t index = 0; index < c_count; index += 3)
    {
        mask[index] = true;
    }
    return mask;
}

std::vector<Base::CSurfelBitMask> MakeWords()
{
    std::vector<Base::CSurfelBitMask> words(c_count);
    for (std::size_t index = 0; index < c_count; index += 3)
    {
        words[index].bits = 8;
    }
    return words;
}

/// A view of memory with normals, which it owns.
std::shared_ptr<CSurfelCollectionView> MakeView()
{
    const auto surfels = std::make_shared<std::vector<std::pair<LqVector3f, LqVector3f>>>();
    for (std::size_t index = 0; index < c_count; ++index)
    {
        surfels->emplace_back(MakePosition(index), MakeNormal(index));
    }
    constexpr std::size_t c_stride = 2 * sizeof(LqVector3f);
    return std::make_shared<CSurfelCollectionView>(surfels, c_count, &surfels->front().first,
                                                   c_stride, &surfels->front().second, c_stride);
}

std::shared_ptr<CSurfelCollectionMinimal> MakeMinimal()
{
    return MakeCollection<CSurfelCollectionMinimal>(c_count);
}

/// A collection of another maker.
std::shared_ptr<CForeignCollection> MakeForeign()
{
    std::vector<LqVector3f> positions;
    std::vector<LqVector3f> normals;
    for (std::size_t index = 0; index < 300; ++index)
    {
        positions.push_back(MakePosition(index));
        normals.push_back(MakeNormal(index));
    }
    return std::make_shared<CForeignCollection>(positions, normals);
}

using Copy = std::function<std::shared_ptr<ISurfelCollection>(const ISurfelCollection&)>;
using Source = std::shared_ptr<const ISurfelCollection>;

/// \p copy makes a new collection of an old one.
SScene MakeCopyScene(const Source& source, const Copy& copy)
{
    const auto result = std::make_shared<Source>();
    return {[=] { *result = copy(*source); }, [=] { return Describe(**result); },
            [=] { return Describe(*source); }};
}

/// The copy of a collection that owns its surfels, and of one that does not. Both are made once,
/// since they take longer to make than to copy.
void AddCopyScenes(std::vector<SNamedScene>& scenes, const std::string& name, const Copy& copy)
{
    scenes.push_back({name, [=] {
                          static const Source c_source = MakeMinimal();
                          return MakeCopyScene(c_source, copy);
                      }});
    scenes.push_back({name + "OfView", [=] {
                          static const Source c_source = MakeView();
                          return MakeCopyScene(c_source, copy);
                      }});
}

void AddCopyScenes(std::vector<SNamedScene>& scenes)
{
    AddCopyScenes(scenes, "SubsetByIndex", [](const ISurfelCollection& source) {
        std::vector<std::size_t> indices(c_count - 5);
        std::iota(indices.begin(), indices.end(), std::size_t{5});
        return source.GetSubsetCopyByIndex(indices, c_keep);
    });
    AddCopyScenes(scenes, "SubsetWithoutIndices", [](const ISurfelCollection& source) {
        return source.GetSubsetCopyByIndex({3, 4}, c_drop);
    });
    AddCopyScenes(scenes, "SubsetByMask", [](const ISurfelCollection& source) {
        return source.GetSubsetCopyByMask(MakeMask(), c_keepMarked);
    });
    AddCopyScenes(scenes, "SubsetByFlags", [](const ISurfelCollection& source) {
        return source.GetSubsetCopyByMask(MakeWords(), {8}, c_dropMarked);
    });
    AddCopyScenes(scenes, "Clone",
                  [](const ISurfelCollection& source) -> std::shared_ptr<ISurfelCollection> {
                      return source.Clone(TestSupport::MakeTranslation(1, 2, 3));
                  });
    AddCopyScenes(scenes, "CloneOfSeveral",
                  [](const ISurfelCollection& source) -> std::shared_ptr<ISurfelCollection> {
                      return source.CloneFromCollection(
                          {&source, &source}, {c_matIdentityD, TestSupport::MakeScale(2, 2, 2)});
                  });
    scenes.push_back(
        {"CloneOfForeign",
         [] {
             return MakeCopyScene(
                 MakeForeign(),
                 [](const ISurfelCollection& source) -> std::shared_ptr<ISurfelCollection> {
                     return CSurfelCollectionMinimal().CloneFromCollection(
                         {&source, &source}, {c_matIdentityD, TestSupport::MakeScale(2, 2, 2)});
                 });
         },
         true});
}

using Change = std::function<void(CSurfelCollectionMinimal&, const ISurfelCollection&)>;

/// \p change changes a collection, all of it or nothing.
SScene MakeChangeScene(const Source& source, const Change& change)
{
    const std::shared_ptr<CSurfelCollectionMinimal> target = MakeMinimal();
    // Makes the support, which a change must not leave behind for other surfels.
    static_cast<void>(target->GetPointCloudSupport()->GetBoundingBox());
    return {[=] { change(*target, *source); },
            [=] {
                const auto& box = target->GetPointCloudSupport()->GetBoundingBox().box;
                return Describe(*target) + CBytes().AddBytes(&box, sizeof box).Get();
            },
            [=] { return Describe(*target) + Describe(*source); }};
}

void AddChangeScenes(std::vector<SNamedScene>& scenes)
{
    const auto add = [&](const std::string& name, const Change& change) {
        scenes.push_back({name, [=] {
                              static const Source c_source = MakeView();
                              return MakeChangeScene(c_source, change);
                          }});
    };
    add("Append", [](CSurfelCollectionMinimal& target, const ISurfelCollection& source) {
        target.Append(source, TestSupport::MakeTranslation(1, 0, 0));
    });
    add("AppendOfItself", [](CSurfelCollectionMinimal& target, const ISurfelCollection&) {
        target.Append(target, TestSupport::MakeTranslation(1, 0, 0));
    });
    add("ScatterCopy", [](CSurfelCollectionMinimal& target, const ISurfelCollection& source) {
        ISurfelCollection::IndexPairs pairs;
        for (unsigned index = 0; index < c_count; ++index)
        {
            pairs.emplace_back(index, static_cast<unsigned>(c_count) - 1 - index);
        }
        target.ScatterCopy(source, pairs, c_matIdentityD);
    });
    add("AddSurfel", [](CSurfelCollectionMinimal& target, const ISurfelCollection&) {
        target.AddSurfelNoReset(MakeSurfel<CSurfelCollectionMinimal>(7));
    });
    add("Reserve", [](CSurfelCollectionMinimal& target, const ISurfelCollection&) {
        target.Reserve(2 * c_count);
    });
    add("ForceUpdate", [](CSurfelCollectionMinimal& target, const ISurfelCollection&) {
        target.ForceUpdate();
        if (target.GetPointCloudSupport()->GetNearestNeighborSearch()->FindNearestNeighbor(
                MakePosition(c_count - 1), 0.0F, nullptr) != static_cast<std::int32_t>(c_count - 1))
        {
            throw std::logic_error("the last surfel is not its own neighbour");
        }
    });
    scenes.push_back({"AppendOfForeign",
                      [] {
                          return MakeChangeScene(MakeForeign(),
                                                 [](CSurfelCollectionMinimal& target,
                                                    const ISurfelCollection& source) {
                                                     target.Append(source, c_matIdentityD);
                                                 });
                      },
                      true});
    scenes.push_back({"ScatterCopyOfForeign",
                      [] {
                          return MakeChangeScene(
                              MakeForeign(), [](CSurfelCollectionMinimal& target,
                                                const ISurfelCollection& source) {
                                  target.ScatterCopy(source, {{1, 2}, {299, 0}}, c_matIdentityD);
                              });
                      },
                      true});
}

SScene MakeSupportScene()
{
    const std::shared_ptr<CSurfelCollectionView> view = MakeView();
    const auto found = std::make_shared<std::int32_t>(-1);
    return {[=] {
                const auto support = view->GetPointCloudSupport();
                static_cast<void>(support->GetBoundingBox());
                const auto& runs = dynamic_cast<const DataLayer::ISurfelRuns&>(*support);
                static_cast<void>(runs.FindSurfelRuns());
                static_cast<void>(runs.FindSurfelRuns());
                *found = support->GetNearestNeighborSearch()->FindNearestNeighbor(
                    MakePosition(1234), 0.5F, nullptr);
            },
            [=] { return std::to_string(*found); }, [=] { return Describe(*view); }};
}

SScene MakeAllElementsScene()
{
    const std::shared_ptr<CSurfelCollectionMinimal> source = MakeMinimal();
    const auto counts = std::make_shared<std::pair<std::size_t, std::size_t>>();
    return {[=] {
                *counts = {source->GetAllPositions().size(), source->GetAllNormals().size()};
            },
            [=] { return CBytes().Add(counts->first).Add(counts->second).Get(); },
            [=] { return Describe(*source); }};
}

/// A buffer that takes no memory of its own.
class CFixedBuffer : public std::streambuf
{
public:
    explicit CFixedBuffer(std::string& bytes)
    {
        setp(bytes.data(), bytes.data() + bytes.size());
        setg(bytes.data(), bytes.data(), bytes.data() + bytes.size());
    }
};

SScene MakeSerializeScene()
{
    const std::shared_ptr<CSurfelCollectionMinimal> source = MakeMinimal();
    const auto target = std::make_shared<CSurfelCollectionMinimal>();
    const auto bytes = std::make_shared<std::string>(2 * sizeof(LqVector3f) * c_count, '\0');
    return {[=] {
                CFixedBuffer buffer(*bytes);
                std::iostream stream(&buffer);
                Base::CStdStreamWrite writer(stream);
                source->Serialize(writer);
                Base::CStdStreamRead reader(stream);
                target->Serialize(reader);
            },
            [=] { return Describe(*target); },
            [=] { return Describe(*source) + Describe(*target); }};
}

/// A strip of triangles.
std::shared_ptr<Geometry::CTriangulation> MakeMesh(std::uint32_t numVertices)
{
    auto mesh = std::make_shared<Geometry::CTriangulation>();
    for (std::uint32_t index = 0; index < numVertices; ++index)
    {
        mesh->vertices.push_back({static_cast<float>(index / 2), index % 2 == 0 ? 0.0F : 1.0F, 0});
        if (index >= 2)
        {
            mesh->triangles.push_back({index - 2, index - 1, index});
        }
    }
    return mesh;
}

std::string Describe(const Geometry::CTriangulation& mesh)
{
    return CBytes()
        .AddBytes(mesh.vertices.data(), mesh.vertices.size() * sizeof mesh.vertices[0])
        .AddBytes(mesh.triangles.data(), mesh.triangles.size() * sizeof mesh.triangles[0])
        .Get();
}

SScene MakeMeshToSurfelsScene(bool sampleFaces)
{
    const auto mesh = MakeMesh(sampleFaces ? 5000 : c_count);
    const auto result = std::make_shared<Source>();
    return {[=] { *result = DataLayer::CMeshToSurfels(0.4F, sampleFaces).CreateMinimal(*mesh); },
            [=] { return Describe(**result); }, [=] { return Describe(*mesh); }};
}

SScene MakeMeshCopyScene()
{
    const auto mesh = MakeMesh(c_count);
    const auto mask = std::make_shared<std::vector<bool>>(MakeMask());
    const auto result = std::make_shared<std::shared_ptr<Geometry::CTriangulation>>();
    return {[=] { *result = DataLayer::CMorvaneMeshCutter::CopyWihMask(*mesh, *mask); },
            [=] { return Describe(**result); },
            [=] { return Describe(*mesh) + (*mask == MakeMask() ? "" : "changed"); }};
}

SScene MakeSelectionScene()
{
    const auto result = std::make_shared<std::shared_ptr<const Base::SRegionSelectionInfo>>();
    return {[=] {
                *result = TestSupport::MakeDeviceSelection(4, 3, {{1, 2}});
            },
            [=] { return CBytes().AddBytes((*result)->maskData, 12).Get(); },
            [] { return std::string(); }};
}

}  // namespace

}  // namespace DataLayerTest

namespace TestSupport
{

std::vector<SNamedScene> MakeCollectionScenes()
{
    using namespace DataLayerTest;
    std::vector<SNamedScene> scenes;
    AddCopyScenes(scenes);
    AddChangeScenes(scenes);
    scenes.push_back({"Support", MakeSupportScene});
    scenes.push_back({"AllPositionsAndNormals", MakeAllElementsScene});
    scenes.push_back({"Serialize", MakeSerializeScene});
    scenes.push_back({"SurfelsOfMesh", [] { return MakeMeshToSurfelsScene(false); }});
    scenes.push_back({"SampledSurfelsOfMesh", [] { return MakeMeshToSurfelsScene(true); }});
    scenes.push_back({"CopyOfMesh", MakeMeshCopyScene});
    scenes.push_back({"RegionSelection", MakeSelectionScene});
    return scenes;
}

}  // namespace TestSupport
