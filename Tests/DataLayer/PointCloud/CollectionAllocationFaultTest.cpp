#include <gtest/gtest.h>

#include <memory>
#include <numeric>
#include <sstream>
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
#include "Tests/DataLayer/PointCloud/SurfelCollections.h"
#include "Tests/Support/AllocationFaults.h"
#include "Tests/Support/Selections.h"

namespace DataLayerTest
{

namespace
{

using Base::ISurfelCollection;
using DataLayer::CSurfelCollectionMinimal;
using DataLayer::CSurfelCollectionView;
using TestSupport::CBytes;
using TestSupport::ExpectEveryAllocationMayFail;
using TestSupport::SFaultScene;

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

template <typename Copy>
void ExpectCopyMayFail(const Copy& copy)
{
    for (const std::shared_ptr<const ISurfelCollection>& source :
         {std::shared_ptr<const ISurfelCollection>(MakeMinimal()),
          std::shared_ptr<const ISurfelCollection>(MakeView())})
    {
        const auto makeScene = [&] {
            const auto result = std::make_shared<std::shared_ptr<ISurfelCollection>>();
            return SFaultScene{[&, result] { *result = copy(*source); },
                               [result] { return Describe(**result); },
                               [&] { return Describe(*source); }};
        };
        EXPECT_GT(ExpectEveryAllocationMayFail(makeScene), 4U);
    }
}

TEST(CollectionAllocationFaultTest, SubsetByIndex_IsMadeOrNot)
{
    std::vector<std::size_t> indices(c_count - 5);
    std::iota(indices.begin(), indices.end(), std::size_t{5});
    ExpectCopyMayFail([indices](const ISurfelCollection& source) {
        return source.GetSubsetCopyByIndex(indices, c_keep);
    });
    ExpectCopyMayFail([](const ISurfelCollection& source) {
        return source.GetSubsetCopyByIndex({3, 4}, c_drop);
    });
}

TEST(CollectionAllocationFaultTest, SubsetByMask_IsMadeOrNot)
{
    const auto mask = std::make_shared<const std::vector<bool>>(MakeMask());
    ExpectCopyMayFail([mask](const ISurfelCollection& source) {
        return source.GetSubsetCopyByMask(*mask, c_keepMarked);
    });
}

TEST(CollectionAllocationFaultTest, SubsetByFlags_IsMadeOrNot)
{
    const auto words = std::make_shared<const std::vector<Base::CSurfelBitMask>>(MakeWords());
    ExpectCopyMayFail([words](const ISurfelCollection& source) {
        return source.GetSubsetCopyByMask(*words, {8}, c_dropMarked);
    });
}

TEST(CollectionAllocationFaultTest, Clone_IsMadeOrNot)
{
    ExpectCopyMayFail([](const ISurfelCollection& source) -> std::shared_ptr<ISurfelCollection> {
        return source.Clone(TestSupport::MakeTranslation(1, 2, 3));
    });
}

TEST(CollectionAllocationFaultTest, CloneOfSeveral_IsMadeOrNot)
{
    ExpectCopyMayFail([](const ISurfelCollection& source) -> std::shared_ptr<ISurfelCollection> {
        return source.CloneFromCollection({&source, &source},
                                          {c_matIdentityD, TestSupport::MakeScale(2, 2, 2)});
    });
}

/// A scene in which a collection is changed.
template <typename Change>
void ExpectChangeMayFail(const Change& change)
{
    const auto makeScene = [&] {
        const std::shared_ptr<CSurfelCollectionMinimal> target = MakeMinimal();
        const std::shared_ptr<CSurfelCollectionView> source = MakeView();
        // Makes the support, which a failed change must not leave behind for other surfels.
        static_cast<void>(target->GetPointCloudSupport()->GetBoundingBox());
        return SFaultScene{[=] { change(*target, *source); },
                           [=] {
                               const auto& box =
                                   target->GetPointCloudSupport()->GetBoundingBox().box;
                               return Describe(*target) + CBytes().AddBytes(&box, sizeof box).Get();
                           },
                           [=] { return Describe(*target) + Describe(*source); }};
    };
    EXPECT_GT(ExpectEveryAllocationMayFail(makeScene), 0U);
}

TEST(CollectionAllocationFaultTest, Append_ChangesAllOrNothing)
{
    ExpectChangeMayFail([](CSurfelCollectionMinimal& target, const CSurfelCollectionView& source) {
        target.Append(source, TestSupport::MakeTranslation(1, 0, 0));
    });
    ExpectChangeMayFail([](CSurfelCollectionMinimal& target, const CSurfelCollectionView&) {
        target.Append(target, TestSupport::MakeTranslation(1, 0, 0));
    });
}

TEST(CollectionAllocationFaultTest, ScatterCopy_ChangesAllOrNothing)
{
    ISurfelCollection::IndexPairs pairs;
    for (unsigned index = 0; index < c_count; ++index)
    {
        pairs.emplace_back(index, static_cast<unsigned>(c_count) - 1 - index);
    }
    ExpectChangeMayFail(
        [pairs](CSurfelCollectionMinimal& target, const CSurfelCollectionView& source) {
            target.ScatterCopy(source, pairs, c_matIdentityD);
        });
}

TEST(CollectionAllocationFaultTest, AddedSurfel_IsThereOrNot)
{
    ExpectChangeMayFail([](CSurfelCollectionMinimal& target, const CSurfelCollectionView&) {
        target.AddSurfelNoReset(MakeSurfel<CSurfelCollectionMinimal>(7));
    });
}

TEST(CollectionAllocationFaultTest, Reserve_MakesRoomOrNot)
{
    ExpectChangeMayFail([](CSurfelCollectionMinimal& target, const CSurfelCollectionView&) {
        target.Reserve(2 * c_count);
    });
}

TEST(CollectionAllocationFaultTest, ForceUpdate_BuildsTheIndexOrNot)
{
    ExpectChangeMayFail([](CSurfelCollectionMinimal& target, const CSurfelCollectionView&) {
        target.ForceUpdate();
        ASSERT_EQ(target.GetPointCloudSupport()->GetNearestNeighborSearch()->FindNearestNeighbor(
                      MakePosition(c_count - 1), 0.0F, nullptr),
                  static_cast<std::int32_t>(c_count - 1));
    });
}

TEST(CollectionAllocationFaultTest, Support_IsBuiltPieceByPieceOrNot)
{
    const auto makeScene = [] {
        const std::shared_ptr<CSurfelCollectionView> view = MakeView();
        const auto found = std::make_shared<std::vector<std::int32_t>>();
        found->reserve(1);
        return SFaultScene{
            [=] {
                const auto support = view->GetPointCloudSupport();
                static_cast<void>(support->GetBoundingBox());
                const auto& runs = dynamic_cast<const DataLayer::ISurfelRuns&>(*support);
                static_cast<void>(runs.FindSurfelRuns());
                static_cast<void>(runs.FindSurfelRuns());
                found->assign(1, support->GetNearestNeighborSearch()->FindNearestNeighbor(
                                     MakePosition(1234), 0.5F, nullptr));
            },
            [=] { return CBytes().AddAll(*found).Get(); }, [=] { return Describe(*view); }};
    };
    EXPECT_GT(ExpectEveryAllocationMayFail(makeScene), 8U);
}

TEST(CollectionAllocationFaultTest, AllPositionsAndNormals_AreCopiedOrNot)
{
    const auto makeScene = [] {
        const std::shared_ptr<CSurfelCollectionMinimal> source = MakeMinimal();
        const auto result = std::make_shared<std::pair<std::size_t, std::size_t>>();
        return SFaultScene{
            [=] {
                *result = {source->GetAllPositions().size(), source->GetAllNormals().size()};
            },
            [=] { return CBytes().Add(result->first).Add(result->second).Get(); },
            [=] { return Describe(*source); }};
    };
    EXPECT_GT(ExpectEveryAllocationMayFail(makeScene), 4U);
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

TEST(CollectionAllocationFaultTest, Serialize_WritesAndReadsOrNot)
{
    const auto makeScene = [] {
        const std::shared_ptr<CSurfelCollectionMinimal> source = MakeMinimal();
        const auto target = std::make_shared<CSurfelCollectionMinimal>();
        const auto bytes = std::make_shared<std::string>(2 * sizeof(LqVector3f) * c_count, '\0');
        return SFaultScene{[=] {
                               CFixedBuffer buffer(*bytes);
                               std::iostream stream(&buffer);
                               Base::CStdStreamWrite writer(stream);
                               source->Serialize(writer);
                               Base::CStdStreamRead reader(stream);
                               target->Serialize(reader);
                           },
                           [=] { return Describe(*target); },
                           [=] { return Describe(*source) + Describe(*target); }};
    };
    EXPECT_GT(ExpectEveryAllocationMayFail(makeScene), 4U);
}

/// A strip of triangles.
std::shared_ptr<Geometry::CTriangulation> MakeMesh(std::uint32_t numVertices = c_count)
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

TEST(MeshAllocationFaultTest, SurfelsOfAMesh_AreMadeOrNot)
{
    for (const bool sampleFaces : {false, true})
    {
        const auto makeScene = [=] {
            const auto mesh = MakeMesh(sampleFaces ? 5000 : c_count);
            const auto result = std::make_shared<std::shared_ptr<ISurfelCollection>>();
            return SFaultScene{
                [=] {
                    *result = DataLayer::CMeshToSurfels(0.4F, sampleFaces).CreateMinimal(*mesh);
                },
                [=] { return Describe(**result); }, [=] { return Describe(*mesh); }};
        };
        EXPECT_GT(ExpectEveryAllocationMayFail(makeScene), 4U);
    }
}

TEST(MeshAllocationFaultTest, CopyOfAMesh_IsMadeOrNot)
{
    const auto makeScene = [] {
        const auto mesh = MakeMesh();
        const auto mask = std::make_shared<std::vector<bool>>(MakeMask());
        const auto result = std::make_shared<std::shared_ptr<Geometry::CTriangulation>>();
        return SFaultScene{
            [=] { *result = DataLayer::CMorvaneMeshCutter::CopyWihMask(*mesh, *mask); },
            [=] { return Describe(**result); },
            [=] { return Describe(*mesh) + (*mask == MakeMask() ? "" : "changed"); }};
    };
    EXPECT_GT(ExpectEveryAllocationMayFail(makeScene), 4U);
}

TEST(RegionSelectionAllocationFaultTest, Selection_IsMadeOrNot)
{
    const auto makeScene = [] {
        const auto result = std::make_shared<std::shared_ptr<const Base::SRegionSelectionInfo>>();
        return SFaultScene{[=] {
                               *result = TestSupport::MakeDeviceSelection(4, 3, {{1, 2}});
                           },
                           [=] { return CBytes().AddBytes((*result)->maskData, 12).Get(); },
                           [] { return std::string(); }};
    };
    EXPECT_GT(ExpectEveryAllocationMayFail(makeScene), 4U);
}

}  // namespace

}  // namespace DataLayerTest
