#include <functional>
#include <memory>
#include <numeric>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "Base/Interfaces/CStdStreamRead.h"
#include "Base/Interfaces/CStdStreamWrite.h"
#include "Base/Interfaces/IPointCloudSupport.h"
#include "DataLayer/Base3D/CMeshToSurfels.h"
#include "DataLayer/Base3D/CMorvaneMeshCutter.h"
#include "DataLayer/Base3D/CTriangulation.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"
#include "DataLayer/PointCloud/ISurfelRuns.h"
#include "Tests/DataLayer/CFixedBuffer.h"
#include "Tests/DataLayer/Descriptions.h"
#include "Tests/DataLayer/OperationScenes.h"
#include "Tests/DataLayer/PointCloud/CForeignCollection.h"
#include "Tests/DataLayer/PointCloud/SurfelCollections.h"
#include "Tests/Support/Selections.h"

namespace DataLayerTest
{

namespace
{

using Base::ISurfelCollection;
using DataLayer::CSurfelCollectionMinimal;
using DataLayer::CSurfelCollectionPosition;
using DataLayer::CSurfelCollectionPositionNormal;
using DataLayer::CSurfelCollectionView;
using TestSupport::CBytes;
using TestSupport::CFixedBuffer;
using TestSupport::Describe;
using TestSupport::DescribeAll;
using TestSupport::EHelpers;
using TestSupport::SNamedScene;
using TestSupport::SScene;

/// Two blocks of the parallel loops.
constexpr std::size_t c_count = 70000;
/// How many surfels a collection of another maker has.
constexpr std::size_t c_numForeign = 300;

using Source = std::shared_ptr<const ISurfelCollection>;

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

template <typename Collection>
std::shared_ptr<Collection> MakeSource()
{
    if constexpr (std::is_same_v<Collection, CSurfelCollectionView>)
    {
        return MakeView();
    }
    else
    {
        return MakeCollection<Collection>(c_count);
    }
}

/// Made once, since it takes longer to make than to copy. Only for what does not change it.
template <typename Collection>
Source GetSource()
{
    static const Source c_source = MakeSource<Collection>();
    return c_source;
}

/// A collection of another maker.
Source MakeForeign()
{
    std::vector<LqVector3f> positions;
    std::vector<LqVector3f> normals;
    for (std::size_t index = 0; index < c_numForeign; ++index)
    {
        positions.push_back(MakePosition(index));
        normals.push_back(MakeNormal(index));
    }
    return std::make_shared<CForeignCollection>(positions, normals);
}

using Sources = std::vector<const ISurfelCollection*>;

/// \p copy makes a new collection of two old ones, both \p source.
template <typename Copy, typename... Inputs>
SScene MakeCopyScene(const Source& source, const Copy& copy,
                     const std::shared_ptr<const Inputs>&... inputs)
{
    const auto sources = std::make_shared<const Sources>(Sources{source.get(), source.get()});
    const auto result = std::make_shared<Source>();
    return {[=] { *result = copy(*sources, *inputs...); }, [=] { return Describe(**result); },
            DescribeAll(source, sources, inputs...)};
}

/// What operations are given beside collections.
struct SInputs
{
    static std::shared_ptr<const std::vector<std::size_t>> MakeIndices()
    {
        auto indices = std::make_shared<std::vector<std::size_t>>(c_count - 5);
        std::iota(indices->begin(), indices->end(), std::size_t{5});
        return indices;
    }
    static std::shared_ptr<const std::vector<bool>> MakeMarks()
    {
        auto marks = std::make_shared<std::vector<bool>>(c_count);
        for (std::size_t index = 0; index < c_count; index += 3)
        {
            (*marks)[index] = true;
        }
        return marks;
    }
    static std::shared_ptr<const std::vector<Base::CSurfelBitMask>> MakeWords()
    {
        auto words = std::make_shared<std::vector<Base::CSurfelBitMask>>(c_count);
        for (std::size_t index = 0; index < c_count; index += 3)
        {
            (*words)[index].bits = 8;
        }
        return words;
    }
    /// From the first \p numSource surfels to the last ones.
    static std::shared_ptr<const ISurfelCollection::IndexPairs> MakePairs(std::size_t numSource)
    {
        auto pairs = std::make_shared<ISurfelCollection::IndexPairs>();
        for (std::size_t index = 0; index < numSource; ++index)
        {
            pairs->emplace_back(static_cast<unsigned>(index),
                                static_cast<unsigned>(c_count - 1 - index));
        }
        return pairs;
    }

    std::shared_ptr<const std::vector<std::size_t>> indices = MakeIndices();
    std::shared_ptr<const std::vector<std::size_t>> fewIndices =
        std::make_shared<const std::vector<std::size_t>>(std::vector<std::size_t>{3, 4});
    std::shared_ptr<const std::vector<bool>> marks = MakeMarks();
    std::shared_ptr<const std::vector<Base::CSurfelBitMask>> words = MakeWords();
    std::shared_ptr<const ISurfelCollection::IndexPairs> pairs = MakePairs(c_count);
    std::shared_ptr<const ISurfelCollection::IndexPairs> foreignPairs = MakePairs(c_numForeign);
    std::shared_ptr<const LqMatrix4Rd> trafo =
        std::make_shared<const LqMatrix4Rd>(TestSupport::MakeTranslation(1, 2, 3));
    std::shared_ptr<const std::vector<LqMatrix4Rd>> trafos =
        std::make_shared<const std::vector<LqMatrix4Rd>>(
            std::vector<LqMatrix4Rd>{c_matIdentityD, TestSupport::MakeScale(2, 2, 2)});
};

/// The same for one scene alone.
template <typename Input>
std::shared_ptr<const Input> Anew(const std::shared_ptr<const Input>& input)
{
    return std::make_shared<const Input>(*input);
}

/// The copies of a collection of one kind.
template <typename Collection>
void AddCopyScenes(std::vector<SNamedScene>& scenes, const std::string& kind, const SInputs& inputs)
{
    const auto add = [&](const std::string& name, const auto& copy, const auto&... given) {
        scenes.push_back({kind + name, [=] {
                              return MakeCopyScene(GetSource<Collection>(), copy, Anew(given)...);
                          }});
    };
    add(
        "SubsetByIndex",
        [](const Sources& sources, const auto& indices) {
            return sources[0]->GetSubsetCopyByIndex(indices, c_keep);
        },
        inputs.indices);
    add(
        "SubsetWithoutIndices",
        [](const Sources& sources, const auto& indices) {
            return sources[0]->GetSubsetCopyByIndex(indices, c_drop);
        },
        inputs.fewIndices);
    add(
        "SubsetByMask",
        [](const Sources& sources, const auto& marks) {
            return sources[0]->GetSubsetCopyByMask(marks, c_keepMarked);
        },
        inputs.marks);
    add(
        "SubsetByFlags",
        [](const Sources& sources, const auto& words) {
            return sources[0]->GetSubsetCopyByMask(words, {8}, c_dropMarked);
        },
        inputs.words);
    add(
        "Clone",
        [](const Sources& sources, const LqMatrix4Rd& trafo) { return sources[0]->Clone(trafo); },
        inputs.trafo);
    const auto cloneSeveral = [](const Sources& sources, const auto& trafos) {
        return GetSource<Collection>()->CloneFromCollection(sources, trafos);
    };
    add("CloneOfSeveral", cloneSeveral, inputs.trafos);
    scenes.push_back({kind + "CloneOfForeign",
                      [=, trafos = inputs.trafos] {
                          return MakeCopyScene(MakeForeign(), cloneSeveral, Anew(trafos));
                      },
                      EHelpers::GivenObjects});
}

/// \p change changes a collection, all of it or nothing.
template <typename Collection, typename Change, typename... Inputs>
SScene MakeChangeScene(const Source& source, const Change& change,
                       const std::shared_ptr<const Inputs>&... inputs)
{
    const auto target = MakeSource<Collection>();
    // Makes the support, which a change must not leave behind for other surfels.
    static_cast<void>(target->GetPointCloudSupport()->GetBoundingBox());
    return {[=] { change(*target, *source, *inputs...); },
            [=] {
                const auto& box = target->GetPointCloudSupport()->GetBoundingBox().box;
                return Describe(*target) + CBytes().AddBytes(&box, sizeof box).Get();
            },
            DescribeAll(target, source, inputs...)};
}

template <typename Collection>
void ExpectOwnNeighbor(const Collection& collection)
{
    if (collection.GetPointCloudSupport()->GetNearestNeighborSearch()->FindNearestNeighbor(
            MakePosition(c_count - 1), 0.0F, nullptr) != static_cast<std::int32_t>(c_count - 1))
    {
        throw std::logic_error("the last surfel is not its own neighbour");
    }
}

/// The changes of a collection of one kind.
template <typename Collection>
void AddChangeScenes(std::vector<SNamedScene>& scenes, const std::string& kind,
                     const SInputs& inputs)
{
    const auto append = [](Collection& target, const ISurfelCollection& source,
                           const LqMatrix4Rd& trafo) { target.Append(source, trafo); };
    const auto scatterCopy = [](Collection& target, const ISurfelCollection& source,
                                const auto& pairs, const LqMatrix4Rd& trafo) {
        target.ScatterCopy(source, pairs, trafo);
    };
    const auto add = [&](const std::string& name, EHelpers helpers, const auto& change,
                         const auto&... given) {
        scenes.push_back({kind + name,
                          [=] {
                              const Source source = helpers == EHelpers::GivenObjects
                                                        ? MakeForeign()
                                                        : GetSource<CSurfelCollectionView>();
                              return MakeChangeScene<Collection>(source, change, Anew(given)...);
                          },
                          helpers});
    };
    add("Append", EHelpers::Workers, append, inputs.trafo);
    add("AppendOfForeign", EHelpers::GivenObjects, append, inputs.trafo);
    add(
        "AppendOfItself", EHelpers::Workers,
        [](Collection& target, const ISurfelCollection&, const LqMatrix4Rd& trafo) {
            target.Append(target, trafo);
        },
        inputs.trafo);
    add("ScatterCopy", EHelpers::Workers, scatterCopy, inputs.pairs, inputs.trafo);
    add("ScatterCopyOfForeign", EHelpers::GivenObjects, scatterCopy, inputs.foreignPairs,
        inputs.trafo);
    add("AddSurfel", EHelpers::Nobody, [](Collection& target, const ISurfelCollection&) {
        target.AddSurfelNoReset(MakeSurfel<Collection>(7));
    });
    add("AddSurfels", EHelpers::Nobody, [](Collection& target, const ISurfelCollection&) {
        auto* const first = target.AddSurfelsNoReset(2);
        first[0] = MakeSurfel<Collection>(7);
        first[1] = MakeSurfel<Collection>(8);
    });
    add("SetSurfels", EHelpers::Nobody, [](Collection& target, const ISurfelCollection&) {
        target.SetSurfels(typename Collection::Surfels(3, MakeSurfel<Collection>(7)));
    });
    add("Reserve", EHelpers::Nobody,
        [](Collection& target, const ISurfelCollection&) { target.Reserve(2 * c_count); });
    add("ForceUpdate", EHelpers::Workers, [](Collection& target, const ISurfelCollection&) {
        target.ForceUpdate();
        ExpectOwnNeighbor(target);
    });
    add("ForceUpdateButIndex", EHelpers::Workers, [](Collection& target, const ISurfelCollection&) {
        target.ForceUpdateButIndex();
        ExpectOwnNeighbor(target);
    });
}

/// A new collection's support, with all that it makes when it is asked.
template <typename Collection>
SScene MakeSupportScene()
{
    const auto collection = MakeSource<Collection>();
    const auto found = std::make_shared<std::int32_t>(-1);
    return {[=] {
                const auto support = collection->GetPointCloudSupport();
                static_cast<void>(support->GetBoundingBox());
                const auto& runs = dynamic_cast<const DataLayer::ISurfelRuns&>(*support);
                static_cast<void>(runs.FindSurfelRuns());
                static_cast<void>(runs.FindSurfelRuns());
                *found = support->GetNearestNeighborSearch()->FindNearestNeighbor(
                    MakePosition(1234), 0.5F, nullptr);
            },
            [=] { return std::to_string(*found); }, DescribeAll(collection)};
}

SScene MakeAllElementsScene(const Source& source)
{
    using Elements = std::vector<ScanAPI::SimpleVec3f>;
    const auto result = std::make_shared<std::pair<Elements, Elements>>();
    return {[=] {
                *result = {source->GetAllPositions(), source->GetAllNormals()};
            },
            [=] {
                return CBytes()
                    .AddArray(result->first.data(), result->first.size())
                    .AddArray(result->second.data(), result->second.size())
                    .Get();
            },
            DescribeAll(source)};
}

/// A collection is written, and read by one that has no surfels.
SScene MakeSerializeScene(const Source& source, const std::shared_ptr<ISurfelCollection>& target)
{
    const auto bytes = std::make_shared<std::string>(2 * sizeof(LqVector3f) * c_count + 1000, '\0');
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

template <typename Collection>
std::shared_ptr<Collection> MakeEmpty()
{
    if constexpr (std::is_same_v<Collection, CSurfelCollectionView>)
    {
        return std::make_shared<CSurfelCollectionView>(nullptr, 0, nullptr, std::size_t{0});
    }
    else
    {
        return std::make_shared<Collection>();
    }
}

/// What else collections of one kind can do.
template <typename Collection>
void AddOtherScenes(std::vector<SNamedScene>& scenes, const std::string& kind)
{
    scenes.push_back({kind + "Support", MakeSupportScene<Collection>});
    scenes.push_back({kind + "AllPositionsAndNormals",
                      [] { return MakeAllElementsScene(GetSource<Collection>()); }});
    scenes.push_back(
        {kind + "Serialize",
         [] { return MakeSerializeScene(GetSource<Collection>(), MakeEmpty<Collection>()); },
         std::is_same_v<Collection, CSurfelCollectionView> ? EHelpers::Workers : EHelpers::Nobody});
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

SScene MakeMeshToSurfelsScene(bool sampleFaces)
{
    const auto mesh = MakeMesh(sampleFaces ? 5000 : c_count);
    const auto result = std::make_shared<Source>();
    return {[=] { *result = DataLayer::CMeshToSurfels(0.4F, sampleFaces).CreateMinimal(*mesh); },
            [=] { return Describe(**result); }, DescribeAll(mesh)};
}

SScene MakeVertexViewScene()
{
    const std::shared_ptr<const Geometry::CTriangulation> mesh = MakeMesh(100);
    const auto result = std::make_shared<Source>();
    return {[=] { *result = DataLayer::CMeshToSurfels::ViewVertices(mesh); },
            [=] { return Describe(**result); },
            [=] { return Describe(*mesh) + Describe(mesh.use_count()); }};
}

SScene MakeMeshCopyScene()
{
    const auto mesh = MakeMesh(c_count);
    const auto marks = std::make_shared<std::vector<bool>>(*SInputs::MakeMarks());
    const auto result = std::make_shared<std::shared_ptr<Geometry::CTriangulation>>();
    return {[=] { *result = DataLayer::CMorvaneMeshCutter::CopyWihMask(*mesh, *marks); },
            [=] { return Describe(**result); }, DescribeAll(mesh, marks)};
}

SScene MakeViewScene()
{
    const auto positions = std::make_shared<const std::vector<LqVector3f>>(
        std::vector<LqVector3f>{MakePosition(0), MakePosition(1)});
    const auto result = std::make_shared<std::unique_ptr<CSurfelCollectionView>>();
    return {[=] {
                *result = std::make_unique<CSurfelCollectionView>(
                    positions, positions->size(), positions->data(), sizeof(LqVector3f));
            },
            [=] { return Describe(**result); },
            [=] {
                return CBytes().AddArray(positions->data(), positions->size()).Get() +
                       Describe(positions.use_count());
            }};
}

}  // namespace

}  // namespace DataLayerTest

namespace TestSupport
{

std::vector<SNamedScene> MakeCollectionScenes()
{
    using namespace DataLayerTest;
    std::vector<SNamedScene> scenes;
    const SInputs inputs;
    AddCopyScenes<CSurfelCollectionMinimal>(scenes, "Minimal", inputs);
    AddCopyScenes<CSurfelCollectionPosition>(scenes, "Positions", inputs);
    AddCopyScenes<CSurfelCollectionPositionNormal>(scenes, "Normals", inputs);
    AddCopyScenes<CSurfelCollectionView>(scenes, "View", inputs);
    AddChangeScenes<CSurfelCollectionMinimal>(scenes, "Minimal", inputs);
    AddChangeScenes<CSurfelCollectionPosition>(scenes, "Positions", inputs);
    AddChangeScenes<CSurfelCollectionPositionNormal>(scenes, "Normals", inputs);
    AddOtherScenes<CSurfelCollectionMinimal>(scenes, "Minimal");
    AddOtherScenes<CSurfelCollectionPosition>(scenes, "Positions");
    AddOtherScenes<CSurfelCollectionPositionNormal>(scenes, "Normals");
    AddOtherScenes<CSurfelCollectionView>(scenes, "View");
    scenes.push_back({"View", MakeViewScene, EHelpers::Nobody});
    scenes.push_back({"ViewOfVertices", MakeVertexViewScene, EHelpers::Nobody});
    scenes.push_back({"SurfelsOfMesh", [] { return MakeMeshToSurfelsScene(false); }});
    scenes.push_back({"SampledSurfelsOfMesh", [] { return MakeMeshToSurfelsScene(true); }});
    scenes.push_back({"CopyOfMesh", MakeMeshCopyScene});
    return scenes;
}

}  // namespace TestSupport
