#include "DataLayer/Base3D/CMorvaneMeshCutter.h"

#include <gtest/gtest.h>

#include "Tests/DataLayer/PointCloud/SurfelCollections.h"

namespace DataLayerTest
{

namespace
{

using DataLayer::CMorvaneMeshCutter;
using Triangles = std::vector<std::array<std::uint32_t, 3>>;

/// Five vertices and three triangles around the middle one.
Geometry::CTriangulation MakeMesh()
{
    Geometry::CTriangulation mesh;
    for (std::size_t index = 0; index < 5; ++index)
    {
        mesh.vertices.push_back(MakePosition(index));
    }
    mesh.triangles = {{2, 0, 1}, {2, 1, 3}, {4, 2, 3}};
    return mesh;
}

TEST(CMorvaneMeshCutter, CopyWihMask_AllKeptIsTheSameMesh)
{
    const Geometry::CTriangulation mesh = MakeMesh();
    std::vector<bool> mask(5, true);
    const auto copy = CMorvaneMeshCutter::CopyWihMask(mesh, mask);
    EXPECT_EQ(copy->vertices, mesh.vertices);
    EXPECT_EQ(copy->triangles, mesh.triangles);
}

TEST(CMorvaneMeshCutter, CopyWihMask_TrianglesWithADroppedCornerGoAndTheOthersAreReindexed)
{
    const Geometry::CTriangulation mesh = MakeMesh();
    std::vector<bool> mask{false, true, true, true, true};
    const auto copy = CMorvaneMeshCutter::CopyWihMask(mesh, mask);
    EXPECT_EQ(copy->vertices, std::vector<LqVector3f>(mesh.vertices.begin() + 1,  //
                                                      mesh.vertices.end()));
    EXPECT_EQ(copy->triangles, (Triangles{{1, 0, 2}, {3, 1, 2}}));
}

TEST(CMorvaneMeshCutter, CopyWihMask_VertexWithoutTrianglesIsKept)
{
    const Geometry::CTriangulation mesh = MakeMesh();
    std::vector<bool> mask{true, false, false, false, true};
    const auto copy = CMorvaneMeshCutter::CopyWihMask(mesh, mask);
    EXPECT_EQ(copy->vertices, (std::vector<LqVector3f>{MakePosition(0), MakePosition(4)}));
    EXPECT_TRUE(copy->triangles.empty());
}

TEST(CMorvaneMeshCutter, CopyWihMask_NothingKeptIsAnEmptyMesh)
{
    std::vector<bool> mask(5, false);
    const auto copy = CMorvaneMeshCutter::CopyWihMask(MakeMesh(), mask);
    EXPECT_TRUE(copy->vertices.empty());
    EXPECT_TRUE(copy->triangles.empty());
}

TEST(CMorvaneMeshCutter, CopyWihMask_ShortMaskDropsWhatItDoesNotName)
{
    std::vector<bool> mask(4, true);
    const auto copy = CMorvaneMeshCutter::CopyWihMask(MakeMesh(), mask);
    EXPECT_EQ(copy->vertices.size(), 4U);
    EXPECT_EQ(copy->triangles, (Triangles{{2, 0, 1}, {2, 1, 3}}));
}

TEST(CMorvaneMeshCutter, CopyWihMask_EmptyMaskDropsAll)
{
    std::vector<bool> mask;
    const auto copy = CMorvaneMeshCutter::CopyWihMask(MakeMesh(), mask);
    EXPECT_TRUE(copy->vertices.empty());
    EXPECT_TRUE(copy->triangles.empty());
}

TEST(CMorvaneMeshCutter, CopyWihMask_SurplusEntriesAreIgnored)
{
    const Geometry::CTriangulation mesh = MakeMesh();
    std::vector<bool> mask(9, true);
    const auto copy = CMorvaneMeshCutter::CopyWihMask(mesh, mask);
    EXPECT_EQ(copy->vertices, mesh.vertices);
    EXPECT_EQ(copy->triangles, mesh.triangles);
}

TEST(CMorvaneMeshCutter, CopyWihMask_LeavesTheMaskAsItWas)
{
    std::vector<bool> mask{true, false, true, false};
    static_cast<void>(CMorvaneMeshCutter::CopyWihMask(MakeMesh(), mask));
    EXPECT_EQ(mask, (std::vector<bool>{true, false, true, false}));
}

TEST(CMorvaneMeshCutter, CopyWihMask_IndexBeyondTheVerticesNamesTheTriangle)
{
    Geometry::CTriangulation mesh = MakeMesh();
    mesh.triangles[1][2] = 5;
    std::vector<bool> mask(9, true);
    EXPECT_EQ(GetMessageOf([&] { static_cast<void>(CMorvaneMeshCutter::CopyWihMask(mesh, mask)); }),
              "Triangle 1 names vertex 5, but there are only 5.");
}

TEST(CMorvaneMeshCutter, CopyWihMask_DroppedTrianglesAreCheckedAsWell)
{
    Geometry::CTriangulation mesh = MakeMesh();
    mesh.triangles[0][1] = 0xFFFFFFFF;
    std::vector<bool> mask;
    EXPECT_THROW(static_cast<void>(CMorvaneMeshCutter::CopyWihMask(mesh, mask)), VekoException);
}

}  // namespace

}  // namespace DataLayerTest
