#include "DataLayer/Base3D/CMeshToSurfels.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "Base/Interfaces/IPointCloudSupport.h"
#include "DataLayer/PointCloud/QNormal.h"
#include "Tests/DataLayer/PointCloud/SurfelCollections.h"

namespace DataLayerTest
{

namespace
{

using DataLayer::CMeshToSurfels;

constexpr float c_usualDistance = 0.1F;

/// The right triangle (0, 0), (4, 0), (0, 3) in the plane z = 1; its normal is +z.
Geometry::CTriangulation MakeTriangle()
{
    Geometry::CTriangulation mesh;
    mesh.vertices = {{0.0F, 0.0F, 1.0F}, {4.0F, 0.0F, 1.0F}, {0.0F, 3.0F, 1.0F}};
    mesh.triangles = {{0, 1, 2}};
    return mesh;
}

std::uint16_t GetCode(const Base::ISurfelCollection& surfels, std::size_t index)
{
    return dynamic_cast<const DataLayer::CSurfelCollectionMinimal&>(surfels)
        .GetSurfel(index)
        .normal;
}

TEST(CMeshToSurfels, CreateMinimal_OneSurfelPerVertexInVertexOrder)
{
    Geometry::CTriangulation mesh = MakeTriangle();
    mesh.vertices.push_back({9.0F, 9.0F, 9.0F});
    const auto surfels = CMeshToSurfels(c_usualDistance, false).CreateMinimal(mesh);
    const auto positions = surfels->GetAllPositions();
    ASSERT_EQ(positions.size(), mesh.vertices.size());
    for (std::size_t index = 0; index < positions.size(); ++index)
    {
        EXPECT_EQ(positions[index].x, mesh.vertices[index].x);
        EXPECT_EQ(positions[index].y, mesh.vertices[index].y);
        EXPECT_EQ(positions[index].z, mesh.vertices[index].z);
    }
}

TEST(CMeshToSurfels, CreateMinimal_EmptyMeshGivesAnEmptyCollection)
{
    const auto surfels = CMeshToSurfels(c_usualDistance, true).CreateMinimal({});
    EXPECT_EQ(surfels->GetCount(), 0U);
    EXPECT_TRUE(surfels->GetPointCloudSupport()->GetBoundingBox().box.IsEmpty());
}

TEST(CMeshToSurfels, CreateMinimal_NormalsPointWhereTheTrianglesAreCounterClockwise)
{
    Geometry::CTriangulation mesh = MakeTriangle();
    EXPECT_EQ(GetCode(*CMeshToSurfels(c_usualDistance, false).CreateMinimal(mesh), 0),
              DataLayer::EncodeQNormal(0.0F, 0.0F, 1.0F));
    mesh.triangles = {{0, 2, 1}};
    EXPECT_EQ(GetCode(*CMeshToSurfels(c_usualDistance, false).CreateMinimal(mesh), 0),
              DataLayer::EncodeQNormal(0.0F, 0.0F, -1.0F));
}

TEST(CMeshToSurfels, CreateMinimal_NormalsPointAlongEveryAxis)
{
    Geometry::CTriangulation mesh;
    mesh.vertices = {
        {0.0F, 0.0F, 0.0F}, {1.0F, 0.0F, 0.0F}, {0.0F, 1.0F, 0.0F}, {0.0F, 0.0F, 1.0F}};
    const auto codeOf = [&mesh](std::uint32_t second, std::uint32_t third) {
        mesh.triangles = {{0, second, third}};
        return GetCode(*CMeshToSurfels(c_usualDistance, false).CreateMinimal(mesh), 0);
    };
    EXPECT_EQ(codeOf(2, 3), DataLayer::EncodeQNormal(1.0F, 0.0F, 0.0F));
    EXPECT_EQ(codeOf(3, 1), DataLayer::EncodeQNormal(0.0F, 1.0F, 0.0F));
    EXPECT_EQ(codeOf(1, 2), DataLayer::EncodeQNormal(0.0F, 0.0F, 1.0F));
    EXPECT_EQ(codeOf(3, 2), DataLayer::EncodeQNormal(-1.0F, 0.0F, 0.0F));
    EXPECT_EQ(codeOf(1, 3), DataLayer::EncodeQNormal(0.0F, -1.0F, 0.0F));
    EXPECT_EQ(codeOf(2, 1), DataLayer::EncodeQNormal(0.0F, 0.0F, -1.0F));
}

TEST(CMeshToSurfels, CreateMinimal_NormalsAreWeightedByArea)
{
    // Along +z an area of 6, along +x one of 1.5: the sum is (1, 0, 4), not (1, 0, 1).
    Geometry::CTriangulation mesh;
    mesh.vertices = {{0.0F, 0.0F, 0.0F},
                     {4.0F, 0.0F, 0.0F},
                     {0.0F, 3.0F, 0.0F},
                     {0.0F, 3.0F, 0.0F},
                     {0.0F, 0.0F, 1.0F}};
    mesh.triangles = {{0, 1, 2}, {0, 3, 4}};
    EXPECT_EQ(GetCode(*CMeshToSurfels(c_usualDistance, false).CreateMinimal(mesh), 0),
              DataLayer::EncodeQNormal(1.0F, 0.0F, 4.0F));
}

TEST(CMeshToSurfels, CreateMinimal_VertexWithoutAreaHasNoNormal)
{
    Geometry::CTriangulation mesh = MakeTriangle();
    mesh.vertices.push_back({1.0F, 1.0F, 1.0F});
    mesh.vertices.push_back({2.0F, 2.0F, 2.0F});
    mesh.triangles.push_back({3, 3, 4});
    const auto surfels = CMeshToSurfels(c_usualDistance, false).CreateMinimal(mesh);
    EXPECT_EQ(GetCode(*surfels, 2), DataLayer::EncodeQNormal(0.0F, 0.0F, 1.0F));
    EXPECT_EQ(GetCode(*surfels, 3), DataLayer::c_invalidQNormal);
    EXPECT_EQ(GetCode(*surfels, 4), DataLayer::c_invalidQNormal);
}

TEST(CMeshToSurfels, CreateMinimal_TriangleThatIsNotFiniteSpoilsNoOtherNormal)
{
    Geometry::CTriangulation mesh = MakeTriangle();
    mesh.vertices.push_back({c_nan, 0.0F, 0.0F});
    mesh.triangles.push_back({0, 1, 3});
    const auto surfels = CMeshToSurfels(0.5F, true).CreateMinimal(mesh);
    EXPECT_EQ(GetCode(*surfels, 0), DataLayer::EncodeQNormal(0.0F, 0.0F, 1.0F));
    EXPECT_GT(surfels->GetCount(), 4U);
    for (const auto& position : surfels->GetSubsetCopyByIndex({3}, c_drop)->GetAllPositions())
    {
        EXPECT_TRUE(std::isfinite(position.x));
    }
}

TEST(CMeshToSurfels, SampleFaces_TriangleThatIsNotFiniteGetsNone)
{
    for (const float coordinate : {c_nan, c_infinity, -c_infinity})
    {
        for (std::size_t corner = 0; corner < 3; ++corner)
        {
            Geometry::CTriangulation mesh = MakeTriangle();
            mesh.vertices[corner].y = coordinate;
            EXPECT_EQ(CMeshToSurfels(0.5F, true).CreateMinimal(mesh)->GetCount(), 3U)
                << corner << ' ' << coordinate;
        }
    }
}

TEST(CMeshToSurfels, CreateMinimal_LargeCoordinatesKeepTheirNormal)
{
    Geometry::CTriangulation mesh;
    mesh.vertices = {{0.0F, 0.0F, 0.0F}, {3.0e38F, 0.0F, 0.0F}, {0.0F, 3.0e38F, 0.0F}};
    mesh.triangles = {{0, 1, 2}};
    EXPECT_EQ(GetCode(*CMeshToSurfels(c_usualDistance, false).CreateMinimal(mesh), 0),
              DataLayer::EncodeQNormal(0.0F, 0.0F, 1.0F));
}

TEST(CMeshToSurfels, CreateMinimal_IndexBeyondTheVerticesNamesTheTriangle)
{
    Geometry::CTriangulation mesh = MakeTriangle();
    mesh.triangles.push_back({0, 3, 1});
    EXPECT_EQ(GetMessageOf([&] {
                  static_cast<void>(CMeshToSurfels(c_usualDistance, false).CreateMinimal(mesh));
              }),
              "Triangle 1 names vertex 3, but there are only 3.");
    EXPECT_EQ(GetCodeLineOf([&] {
                  static_cast<void>(CMeshToSurfels(c_usualDistance, false).CreateMinimal(mesh));
              }),
              28U);
}

TEST(CMeshToSurfels, SampleFaces_FollowTheVerticesInsideTheFace)
{
    const Geometry::CTriangulation mesh = MakeTriangle();
    const auto surfels = CMeshToSurfels(0.25F, true).CreateMinimal(mesh);
    const auto positions = surfels->GetAllPositions();
    ASSERT_GT(positions.size(), 3U);
    EXPECT_EQ(positions[1].x, 4.0F);
    for (std::size_t index = 3; index < positions.size(); ++index)
    {
        EXPECT_GT(positions[index].x, 0.0F);
        EXPECT_GT(positions[index].y, 0.0F);
        EXPECT_LT(3.0F * positions[index].x + 4.0F * positions[index].y, 12.0F);
        EXPECT_FLOAT_EQ(positions[index].z, 1.0F);
        EXPECT_EQ(GetCode(*surfels, index), DataLayer::EncodeQNormal(0.0F, 0.0F, 1.0F));
    }
}

TEST(CMeshToSurfels, SampleFaces_LeaveNoPlaceOfTheFaceFarFromASurfel)
{
    constexpr float c_distance = 0.25F;
    const auto surfels = CMeshToSurfels(c_distance, true).CreateMinimal(MakeTriangle());
    const auto support = surfels->GetPointCloudSupport();
    for (float x = 0.0F; x <= 4.0F; x += 0.05F)
    {
        for (float y = 0.0F; 3.0F * x + 4.0F * y <= 12.0F; y += 0.05F)
        {
            EXPECT_GE(support->GetNearestNeighborSearch()->FindNearestNeighbor({x, y, 1.0F},
                                                                               c_distance, nullptr),
                      0)
                << x << " " << y;
        }
    }
}

TEST(CMeshToSurfels, SampleFaces_AboutOneSurfelPerSquareOfTheDistance)
{
    // The area is 6, so with a distance of 0.05 about 2400 surfels, and more only at the borders.
    const auto surfels = CMeshToSurfels(0.05F, true).CreateMinimal(MakeTriangle());
    EXPECT_GE(surfels->GetCount() - 3, 2400U);
    EXPECT_LE(surfels->GetCount() - 3, 2600U);
}

TEST(CMeshToSurfels, SampleFaces_SliverGetsARowAndNotASquare)
{
    Geometry::CTriangulation mesh;
    mesh.vertices = {{0.0F, 0.0F, 0.0F}, {100.0F, 0.0F, 0.0F}, {50.0F, 0.001F, 0.0F}};
    mesh.triangles = {{0, 1, 2}};
    const auto surfels = CMeshToSurfels(1.0F, true).CreateMinimal(mesh);
    EXPECT_EQ(surfels->GetCount(), 3U + 50U);
}

TEST(CMeshToSurfels, SampleFaces_DoNotDependOnWhichCornerComesFirst)
{
    Geometry::CTriangulation mesh = MakeTriangle();
    const auto expected = CMeshToSurfels(0.3F, true).CreateMinimal(mesh)->GetCount();
    mesh.triangles = {{1, 2, 0}};
    EXPECT_EQ(CMeshToSurfels(0.3F, true).CreateMinimal(mesh)->GetCount(), expected);
    mesh.triangles = {{2, 0, 1}};
    EXPECT_EQ(CMeshToSurfels(0.3F, true).CreateMinimal(mesh)->GetCount(), expected);
}

TEST(CMeshToSurfels, SampleFaces_OfEquallyLongEdgesTheFirstHasTheRows)
{
    Geometry::CTriangulation mesh;
    mesh.vertices = {{0.0F, 0.0F, 0.0F}, {2.0F, 4.0F, 0.0F}, {4.0F, 0.0F, 0.0F}};
    const auto getFirst = [&mesh](std::uint32_t a, std::uint32_t b, std::uint32_t c) {
        mesh.triangles = {{a, b, c}};
        return CMeshToSurfels(1.0F, true).CreateMinimal(mesh)->GetAllPositions()[3];
    };
    // The first surfel lies near that edge's first corner: at the bottom, and at the top.
    EXPECT_LT(getFirst(0, 1, 2).y, 1.0F);
    EXPECT_GT(getFirst(1, 2, 0).y, 3.0F);
}

TEST(CMeshToSurfels, SampleFaces_SameMeshGivesTheSameBits)
{
    const auto first = CMeshToSurfels(0.07F, true).CreateMinimal(MakeTriangle());
    const auto second = CMeshToSurfels(0.07F, true).CreateMinimal(MakeTriangle());
    EXPECT_EQ(GetBits(*first), GetBits(*second));
}

TEST(CMeshToSurfels, SampleFaces_FaceNoLargerThanTheDistanceGetsNone)
{
    EXPECT_EQ(CMeshToSurfels(5.0F, true).CreateMinimal(MakeTriangle())->GetCount(), 3U);
    EXPECT_GT(CMeshToSurfels(4.99F, true).CreateMinimal(MakeTriangle())->GetCount(), 3U);
}

TEST(CMeshToSurfels, SampleFaces_FaceWithoutAreaGetsNone)
{
    Geometry::CTriangulation mesh = MakeTriangle();
    mesh.triangles = {{0, 1, 1}};
    EXPECT_EQ(CMeshToSurfels(0.1F, true).CreateMinimal(mesh)->GetCount(), 3U);
}

TEST(CMeshToSurfels, SampleFaces_DistanceThatIsNoDistanceThrows)
{
    const auto create = [](float distance) {
        return [distance] {
            static_cast<void>(CMeshToSurfels(distance, true).CreateMinimal(MakeTriangle()));
        };
    };
    for (const float distance : {0.0F, -0.1F, c_nan, c_infinity})
    {
        EXPECT_EQ(GetCodeLineOf(create(distance)), 183U) << distance;
    }
    EXPECT_EQ(GetMessageOf(create(0.0F)),
              "The sampling distance is 0; it must be positive and finite.");
}

TEST(CMeshToSurfels, SampleFaces_TooManySurfelsThrow)
{
    for (const float distance : {1.0e-4F, 1.0e-20F, std::numeric_limits<float>::denorm_min()})
    {
        EXPECT_THROW(
            static_cast<void>(CMeshToSurfels(distance, true).CreateMinimal(MakeTriangle())),
            VekoException)
            << distance;
    }
}

TEST(CMeshToSurfels, SampleFaces_TooManySurfelsInOneRowThrowTheirNumber)
{
    Geometry::CTriangulation mesh;
    mesh.vertices = {{0.0F, 0.0F, 0.0F}, {0x1p50F, 0.0F, 0.0F}, {0x1p49F, 1.0F, 0.0F}};
    mesh.triangles = {{0, 1, 2}};
    const auto create = [&mesh] {
        static_cast<void>(CMeshToSurfels(1.0F, true).CreateMinimal(mesh));
    };
    EXPECT_EQ(GetMessageOf(create),
              "A sampling distance of 1 would give about 562949953421313 surfels; at most "
              "268435456 are made.");
    EXPECT_EQ(GetCodeLineOf(create), 194U);
}

TEST(CMeshToSurfels, NoSampling_DistanceDoesNotMatter)
{
    EXPECT_EQ(CMeshToSurfels(c_nan, false).CreateMinimal(MakeTriangle())->GetCount(), 3U);
}

TEST(CMeshToSurfels, ViewVertices_ArePositionsInTheMeshsOwnMemory)
{
    const auto mesh = std::make_shared<const Geometry::CTriangulation>(MakeTriangle());
    const auto surfels = CMeshToSurfels::ViewVertices(mesh);
    EXPECT_EQ(surfels->GetCount(), 3U);
    EXPECT_FALSE(surfels->HasNormals());
    const auto& positions = surfels->GetReadAccessor<Base::CSCElementDefinitionPosition>();
    EXPECT_EQ(positions.GetFirstElement(),
              reinterpret_cast<const std::byte*>(mesh->vertices.data()));
    EXPECT_EQ(positions.At(1), mesh->vertices[1]);
}

TEST(CMeshToSurfels, ViewVertices_KeepTheMeshAlive)
{
    auto mesh = std::make_shared<const Geometry::CTriangulation>(MakeTriangle());
    const std::weak_ptr<const Geometry::CTriangulation> observer = mesh;
    auto surfels = CMeshToSurfels::ViewVertices(std::move(mesh));
    EXPECT_FALSE(observer.expired());
    surfels.reset();
    EXPECT_TRUE(observer.expired());
}

TEST(CMeshToSurfels, ViewVertices_DoNotLookAtTheTriangles)
{
    Geometry::CTriangulation mesh = MakeTriangle();
    mesh.triangles.push_back({0, 3, 1});
    const auto surfels =
        CMeshToSurfels::ViewVertices(std::make_shared<const Geometry::CTriangulation>(mesh));
    EXPECT_EQ(surfels->GetCount(), 3);
}

}  // namespace

}  // namespace DataLayerTest
