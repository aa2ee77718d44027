#include "DataLayer/Base3D/PointCloudEditing/LogMessage.h"

#include <gtest/gtest.h>

#include "Tests/Support/CLogCapture.h"

namespace DataLayer
{

namespace
{

TEST(LogMessage, WritesWithItsPlaceWhenTheLevelIsEnabled)
{
    const Logging::CLogger logger(L"Category");
    const TestSupport::CLogCapture capture(Logging::c_levelInfo);
    VEKO2_LOG(logger, Info, "file", 17, "function", L"%d %s", 5, L"words");
    const auto records = capture.GetRecords();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].category, L"Category");
    EXPECT_EQ(records[0].level, Logging::c_levelInfo);
    EXPECT_EQ(records[0].file, "file");
    EXPECT_EQ(records[0].line, 17);
    EXPECT_EQ(records[0].function, "function");
    EXPECT_EQ(records[0].message, L"5 words");
}

TEST(LogMessage, EvaluatesArgumentsOnlyWhenTheLevelIsEnabled)
{
    const Logging::CLogger logger(L"Category");
    int numEvaluations = 0;
    const auto logAt = [&](int level) {
        const TestSupport::CLogCapture capture(level);
        VEKO2_LOG(logger, Debug, "file", 1, "function", L"%d", ++numEvaluations);
        return capture.GetRecords().size();
    };
    EXPECT_EQ(logAt(Logging::c_levelInfo), 0U);
    EXPECT_EQ(logAt(0), 0U);
    EXPECT_EQ(numEvaluations, 0);
    EXPECT_EQ(logAt(Logging::c_levelDebug), 1U);
    EXPECT_EQ(numEvaluations, 1);
}

TEST(LogMessage, IsASingleStatement)
{
    const Logging::CLogger logger(L"Category");
    const TestSupport::CLogCapture capture(Logging::c_levelDebug);
    const bool isLogged = false;
    if (isLogged)
        VEKO2_LOG(logger, Warn, "file", 1, "function", L"first");
    else
        VEKO2_LOG(logger, Warn, "file", 2, "function", L"second");
    const auto records = capture.GetRecords();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].message, L"second");
}

}  // namespace

}  // namespace DataLayer
