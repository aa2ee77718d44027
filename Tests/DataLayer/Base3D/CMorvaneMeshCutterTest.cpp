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

/// One vertex after the other, then one triangle after the other.
Geometry::CTriangulation CopyPlainly(const Geometry::CTriangulation& mesh,
                                     const std::vector<bool>& mask)
{
    Geometry::CTriangulation expected;
    std::vector<std::uint32_t> newIndices(mask.size());
    for (std::size_t index = 0; index < mask.size(); ++index)
    {
        if (mask[index])
        {
            newIndices[index] = static_cast<std::uint32_t>(expected.vertices.size());
            expected.vertices.push_back(mesh.vertices[index]);
        }
    }
    for (const auto& [a, b, c] : mesh.triangles)
    {
        if (mask[a] && mask[b] && mask[c])
        {
            expected.triangles.push_back({newIndices[a], newIndices[b], newIndices[c]});
        }
    }
    return expected;
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

TEST(CMorvaneMeshCutter, CopyWihMask_VerticesDroppedBetweenKeptOnesMatterWhereverTheyLie)
{
    // Triangles whose lowest and highest vertices are kept, with others kept before them.
    Geometry::CTriangulation mesh;
    for (std::size_t index = 0; index < 6; ++index)
    {
        mesh.vertices.push_back(MakePosition(index));
    }
    mesh.triangles = {{1, 4, 5}, {1, 2, 4}};
    std::vector<bool> mask{true, true, false, false, true, true};
    const auto copy = CMorvaneMeshCutter::CopyWihMask(mesh, mask);
    EXPECT_EQ(copy->triangles, (Triangles{{1, 2, 3}}));
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

TEST(CMorvaneMeshCutter, CopyWihMask_LargeMeshAsWithOneVertexAfterTheOther)
{
    Geometry::CTriangulation mesh;
    std::vector<bool> mask;
    for (std::uint32_t index = 0; index < c_manySurfels; ++index)
    {
        mesh.vertices.push_back(MakePosition(index));
        mesh.triangles.push_back({index, index / 2, (index + 7) % 1000});
        mask.push_back(index % 3 != 0);
    }
    const Geometry::CTriangulation expected = CopyPlainly(mesh, mask);
    const auto copy = CMorvaneMeshCutter::CopyWihMask(mesh, mask);
    EXPECT_EQ(copy->vertices, expected.vertices);
    EXPECT_EQ(copy->triangles, expected.triangles);
}

TEST(CMorvaneMeshCutter, CopyWihMask_MeshOfNeighboursAsWithOneVertexAfterTheOther)
{
    Geometry::CTriangulation mesh;
    for (std::uint32_t index = 0; index + 2 < c_manySurfels; ++index)
    {
        mesh.vertices.push_back(MakePosition(index));
        // The first triangle of 64 reaches furthest back, the last one furthest on.
        mesh.triangles.push_back({index, index + 1, index + 2});
    }
    mesh.vertices.resize(c_manySurfels);
    // Holes of every length, whose ends lie at, before and behind those of groups of triangles.
    std::vector<bool> mask(c_manySurfels, true);
    std::size_t hole = 63;
    for (std::size_t length = 1; hole + length < mask.size(); ++length)
    {
        std::fill_n(mask.begin() + static_cast<std::ptrdiff_t>(hole), length, false);
        hole += length + 191 + length % 3;
    }
    const Geometry::CTriangulation expected = CopyPlainly(mesh, mask);
    const auto copy = CMorvaneMeshCutter::CopyWihMask(mesh, mask);
    EXPECT_EQ(copy->vertices, expected.vertices);
    EXPECT_EQ(copy->triangles, expected.triangles);
}

TEST(CMorvaneMeshCutter, CopyWihMask_VertexBesideAGroupOfTrianglesIsNoneOfItsCorners)
{
    constexpr std::uint32_t c_numVertices = 66;
    Geometry::CTriangulation mesh;
    mesh.vertices.resize(c_numVertices);
    for (std::uint32_t index = 0; index < 64; ++index)
    {
        mesh.triangles.push_back({1, 2 + index / 2, c_numVertices - 2});
    }
    for (std::uint32_t dropped = 0; dropped < c_numVertices; ++dropped)
    {
        std::vector<bool> mask(c_numVertices, true);
        mask[dropped] = false;
        const Geometry::CTriangulation expected = CopyPlainly(mesh, mask);
        EXPECT_EQ(CMorvaneMeshCutter::CopyWihMask(mesh, mask)->triangles, expected.triangles)
            << dropped;
    }
}

TEST(CMorvaneMeshCutter, CopyWihMask_OfSeveralBadTrianglesTheFirstIsNamed)
{
    Geometry::CTriangulation mesh = MakeMesh();
    mesh.triangles.resize(c_manySurfels, {0, 1, 2});
    mesh.triangles[c_manySurfels - 1] = {9, 0, 0};
    mesh.triangles[70000] = {0, 8, 7};
    mesh.triangles[70001] = {6, 0, 0};
    std::vector<bool> mask(5, true);
    EXPECT_EQ(GetMessageOf([&] { static_cast<void>(CMorvaneMeshCutter::CopyWihMask(mesh, mask)); }),
              "Triangle 70000 names vertex 8, but there are only 5.");
}

}  // namespace

}  // namespace DataLayerTest
