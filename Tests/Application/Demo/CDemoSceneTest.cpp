#include "Application/Demo/CDemoScene.h"

#include <gtest/gtest.h>
#include <tbb/global_control.h>

#include <cmath>
#include <cstring>
#include <set>

#include "Application/Demo/CDemoShape.h"
#include "Application/Files/CInputError.h"

namespace
{

using Application::CDemoScene;
using Application::CDemoShape;
using Application::CInputError;
using Application::SDemoVector;

constexpr std::uint64_t c_numPoints = 20000;

/// FNV-1a.
std::uint64_t HashBytes(std::uint64_t hash, const void* bytes, std::size_t count)
{
    const auto* const first = static_cast<const unsigned char*>(bytes);
    for (std::size_t index = 0; index < count; ++index)
    {
        hash = (hash ^ first[index]) * 0x100000001B3U;
    }
    return hash;
}

std::uint64_t HashScans(const std::vector<CDemoScene::SScan>& scans)
{
    std::uint64_t hash = 0xCBF29CE484222325U;
    for (const auto& scan : scans)
    {
        hash = HashBytes(hash, scan.trafo.data(), 16 * sizeof(double));
        hash = HashBytes(hash, scan.positions.data(), scan.positions.size() * sizeof(LqVector3f));
        hash = HashBytes(hash, scan.normals.data(), scan.normals.size() * sizeof(LqVector3f));
    }
    return hash;
}

std::uint64_t CountPoints(const std::vector<CDemoScene::SScan>& scans)
{
    std::uint64_t count = 0;
    for (const auto& scan : scans)
    {
        count += scan.positions.size();
    }
    return count;
}

SDemoVector ToCommon(const CDemoScene::SScan& scan, const LqVector3f& point)
{
    const auto along = [&](std::size_t axis) {
        return point.x * scan.trafo(0, axis) + point.y * scan.trafo(1, axis) +
               point.z * scan.trafo(2, axis) + scan.trafo(3, axis);
    };
    return {along(0), along(1), along(2)};
}

TEST(CDemoScene, Generate_GivesTheSameBytesOnEveryMachine)
{
    const CDemoScene scene({.numPoints = c_numPoints});
    EXPECT_EQ(HashScans(scene.Generate()), 0x654D0B5211A3A1DAU);
}

TEST(CDemoScene, Generate_DoesNotDependOnTheNumberOfThreads)
{
    const CDemoScene scene({.numPoints = c_numPoints});
    const std::uint64_t expected = HashScans(scene.Generate());
    for (const std::size_t numThreads : {1U, 2U, 7U})
    {
        const tbb::global_control control(tbb::global_control::max_allowed_parallelism, numThreads);
        EXPECT_EQ(HashScans(scene.Generate()), expected) << numThreads << " threads";
    }
}

TEST(CDemoScene, Generate_OtherSeedGivesOtherPoints)
{
    EXPECT_NE(HashScans(CDemoScene({.numPoints = c_numPoints, .seed = 1}).Generate()),
              HashScans(CDemoScene({.numPoints = c_numPoints, .seed = 2}).Generate()));
}

TEST(CDemoScene, Generate_HasAboutTheNumberOfPointsAskedFor)
{
    for (const std::uint64_t numPoints : {2000U, 20000U, 40000U})
    {
        const auto count =
            static_cast<double>(CountPoints(CDemoScene({.numPoints = numPoints}).Generate()));
        EXPECT_NEAR(count / static_cast<double>(numPoints), 1.0, 0.08) << numPoints;
    }
}

TEST(CDemoScene, Generate_EveryStationHasItsOwnNameTransformAndPoints)
{
    const auto scans = CDemoScene({.numPoints = c_numPoints}).Generate();
    ASSERT_EQ(scans.size(), CDemoScene::c_numStations);
    std::set<std::string> names;
    for (const auto& scan : scans)
    {
        names.insert(scan.name);
        EXPECT_GT(scan.positions.size(), c_numPoints / 12);
        EXPECT_EQ(scan.positions.size(), scan.normals.size());
    }
    EXPECT_EQ(names.size(), scans.size());
}

TEST(CDemoScene, Generate_TransformsAreRotationsAndTranslations)
{
    for (const auto& scan : CDemoScene({.numPoints = c_numPoints}).Generate())
    {
        for (std::size_t a = 0; a < 3; ++a)
        {
            for (std::size_t b = 0; b < 3; ++b)
            {
                const double dot = scan.trafo(a, 0) * scan.trafo(b, 0) +
                                   scan.trafo(a, 1) * scan.trafo(b, 1) +
                                   scan.trafo(a, 2) * scan.trafo(b, 2);
                EXPECT_NEAR(dot, a == b ? 1.0 : 0.0, 1e-14);
            }
            EXPECT_EQ(scan.trafo(a, 3), 0.0);
        }
        EXPECT_EQ(scan.trafo(3, 3), 1.0);
    }
}

TEST(CDemoScene, Generate_AllScansFitTheShapeInTheCommonCoordinates)
{
    for (const auto& scan : CDemoScene({.numPoints = c_numPoints}).Generate())
    {
        std::size_t numOnSurface = 0;
        for (const LqVector3f& point : scan.positions)
        {
            numOnSurface += std::abs(CDemoShape::Distance(ToCommon(scan, point))) < 1.5 ? 1 : 0;
        }
        const double share =
            static_cast<double>(numOnSurface) / static_cast<double>(scan.positions.size());
        EXPECT_GT(share, 0.95);
        EXPECT_LT(share, 0.999) << "specks and stray points are missing";
    }
}

TEST(CDemoScene, Generate_NormalsHaveLengthOneAndFaceTheStation)
{
    for (const auto& scan : CDemoScene({.numPoints = c_numPoints}).Generate())
    {
        std::size_t numFacing = 0;
        for (std::size_t index = 0; index < scan.positions.size(); ++index)
        {
            const LqVector3f& n = scan.normals[index];
            const LqVector3f& p = scan.positions[index];
            EXPECT_NEAR(n.x * n.x + n.y * n.y + n.z * n.z, 1.0F, 1e-5F);
            EXPECT_LT(p.z, 0.0F);
            numFacing += n.x * p.x + n.y * p.y + n.z * p.z < 0.0F ? 1 : 0;
        }
        EXPECT_GT(static_cast<double>(numFacing), 0.99 * static_cast<double>(scan.normals.size()));
    }
}

TEST(CDemoScene, Construct_NumberOfPointsOutsideTheLimitsThrows)
{
    EXPECT_THROW(CDemoScene({.numPoints = CDemoScene::c_minPoints - 1}), CInputError);
    EXPECT_THROW(CDemoScene({.numPoints = CDemoScene::c_maxPoints + 1}), CInputError);
    EXPECT_NO_THROW(CDemoScene({.numPoints = CDemoScene::c_maxPoints}));
    EXPECT_EQ(CDemoScene({.numPoints = CDemoScene::c_minPoints}).Generate().size(), 6U);
}

}  // namespace
