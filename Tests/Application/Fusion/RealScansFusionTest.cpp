// Registered scans of real sensors, where a folder of them is there: named by VEKO2_REAL_SCANS, or
// beside the checkout.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "Application/Scans/CScanFile.h"
#include "Tests/Application/Fusion/FusionScenes.h"
#include "Tests/Support/CMockGeometricEntity.h"

namespace
{

using namespace TestSupport;
using Application::CScanFuser;

/// The scans that a folder's list of transforms names; none without one.
std::vector<CScanFuser::SScan> OpenScans(const std::string& folder)
{
    const char* const named = std::getenv("VEKO2_REAL_SCANS");
    const std::filesystem::path path =
        (named != nullptr ? std::filesystem::path(named)
                          : std::filesystem::path(VEKO2_SOURCE_FOLDER) / "../shared/data") /
        folder;
    std::vector<CScanFuser::SScan> scans;
    std::ifstream list(path / "transforms.txt");
    for (std::string line; std::getline(list, line);)
    {
        if (line.empty() || line[0] == '#')
        {
            continue;
        }
        std::istringstream words(line);
        std::string file;
        words >> file;
        LqMatrix4Rd trafo;
        for (std::size_t index = 0; index < 16; ++index)
        {
            words >> trafo.data()[index];
        }
        const auto scanFile = Application::CScanFile::Open(path / file);
        CScanFuser::SScan& scan = scans.emplace_back();
        scan.key = Base::CUniqueID();
        scan.entity = std::make_shared<CMockGeometricEntity>(scanFile.GetSurfelCollection());
        scan.trafo = scanFile.GetTransform() * trafo;
        scan.mask = std::make_shared<Base::CSurfelCollectionMask>();
    }
    return scans;
}

class RegisteredScans : public testing::TestWithParam<const char*>
{
protected:
    void SetUp() override
    {
        if (m_scans.empty())
        {
            GTEST_SKIP() << "no registered scans in " << GetParam();
        }
    }

    std::vector<CScanFuser::SScan> m_scans = OpenScans(GetParam());
};

TEST_P(RegisteredScans, ExactlyThePointsOfSmallComponentsAreFlagged)
{
    const CScanFuser::SFusion fusion = CScanFuser({}).Fuse(m_scans);
    EXPECT_GT(fusion.report.numSmallComponents, 0U);
    std::uint64_t numFlagged = 0;
    for (const std::vector<bool>& flags : FlagSmallComponents(m_scans, fusion))
    {
        numFlagged += static_cast<std::uint64_t>(std::count(flags.begin(), flags.end(), true));
    }
    EXPECT_EQ(numFlagged, fusion.report.numSmallComponentPoints);
}

TEST_P(RegisteredScans, MostPointsAreInTheLargestComponent)
{
    const CScanFuser::SReport report = CScanFuser({}).Fuse(m_scans).report;
    EXPECT_GT(10 * report.numLargestComponentPoints, 9 * report.numPoints);
    EXPECT_LT(20 * report.numSmallComponentPoints, report.numPoints);
}

INSTANTIATE_TEST_SUITE_P(RealScansFusionTest, RegisteredScans,
                         testing::Values("indoor_captures", "street"));

}  // namespace
