#include "Base/Support/CLogger.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "Tests/Support/CLogCapture.h"
#include "Tests/Support/ConcurrentCallers.h"

namespace
{

using Logging::CLogger;
using Logging::SLogRecord;
using TestSupport::CLogCapture;

/// Leaves the process as it was found.
class CLoggerTest : public testing::Test
{
protected:
    ~CLoggerTest() override
    {
        Logging::SetLogSink({});
        Logging::SetLogLevel(Logging::c_levelWarn);
    }

    const CLogger m_logger{L"Veko2.CLoggerTest"};
};

TEST_F(CLoggerTest, DefaultLevel_IsWarn)
{
    EXPECT_FALSE(m_logger.IsLogLevelEnabled(Logging::c_levelDebug));
    EXPECT_FALSE(m_logger.IsLogLevelEnabled(Logging::c_levelInfo));
    EXPECT_TRUE(m_logger.IsLogLevelEnabled(Logging::c_levelWarn));
}

TEST_F(CLoggerTest, Level_EnablesItselfAndEverythingAbove)
{
    const std::vector<std::vector<bool>> enabled = {
        {false, false, false}, {true, true, true}, {false, true, true}, {false, false, true}};
    for (int level = 0; level <= 3; ++level)
    {
        Logging::SetLogLevel(level);
        for (int asked = 1; asked <= 3; ++asked)
        {
            EXPECT_EQ(m_logger.IsLogLevelEnabled(asked),
                      enabled[static_cast<std::size_t>(level)][static_cast<std::size_t>(asked - 1)])
                << "level " << level << ", asked for " << asked;
        }
    }
}

TEST_F(CLoggerTest, Message_ReachesTheSinkWithEverythingThatWasGiven)
{
    const CLogCapture capture(Logging::c_levelDebug);
    m_logger.Info("Folder/Class", 97, "Class::Function", L"Output (matched) data: %d ", 12);
    const std::vector<SLogRecord> records = capture.GetRecords();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].category, L"Veko2.CLoggerTest");
    EXPECT_EQ(records[0].level, Logging::c_levelInfo);
    EXPECT_EQ(records[0].file, "Folder/Class");
    EXPECT_EQ(records[0].line, 97);
    EXPECT_EQ(records[0].function, "Class::Function");
    EXPECT_EQ(records[0].message, L"Output (matched) data: 12 ");
}

TEST_F(CLoggerTest, EachOperation_HasItsLevel)
{
    const CLogCapture capture(Logging::c_levelDebug);
    m_logger.Debug("f", 1, "g", L"debug");
    m_logger.Info("f", 2, "g", L"info");
    m_logger.Warn("f", 3, "g", L"warn");
    const std::vector<SLogRecord> records = capture.GetRecords();
    ASSERT_EQ(records.size(), 3U);
    EXPECT_EQ(records[0].level, 1);
    EXPECT_EQ(records[1].level, 2);
    EXPECT_EQ(records[2].level, 3);
}

TEST_F(CLoggerTest, StringConversion_TakesWideText)
{
    const CLogCapture capture(Logging::c_levelDebug);
    m_logger.Debug("f", 1, "g", L"Cutting Entity %s", L"{\u00C4-1}");
    EXPECT_EQ(capture.GetRecords().at(0).message, L"Cutting Entity {\u00C4-1}");
}

TEST_F(CLoggerTest, Message_IsNotCutAtAnyLength)
{
    const CLogCapture capture(Logging::c_levelDebug);
    const std::wstring text(50'000, L'x');
    m_logger.Debug("f", 1, "g", L"%s", text.c_str());
    EXPECT_EQ(capture.GetRecords().at(0).message, text);
}

TEST_F(CLoggerTest, DisabledLevel_WritesNothing)
{
    {
        const CLogCapture capture(Logging::c_levelWarn);
        m_logger.Debug("f", 1, "g", L"debug");
        m_logger.Info("f", 1, "g", L"info");
        EXPECT_TRUE(capture.GetRecords().empty());
    }
    const CLogCapture capture(0);
    m_logger.Warn("f", 1, "g", L"warn");
    EXPECT_TRUE(capture.GetRecords().empty());
}

TEST_F(CLoggerTest, DefaultSink_WritesOneLineToStandardError)
{
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    m_logger.Warn("f", 1, "g", L"%d \u00E4", 5);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Veko2.CLoggerTest Warn: 5 \xC3\xA4\n");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST_F(CLoggerTest, DefaultSink_NamesEachLevel)
{
    Logging::SetLogLevel(Logging::c_levelDebug);
    testing::internal::CaptureStderr();
    m_logger.Debug("f", 1, "g", L"a");
    m_logger.Info("f", 1, "g", L"b");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Veko2.CLoggerTest Debug: a\nVeko2.CLoggerTest Info: b\n");
}

TEST_F(CLoggerTest, EmptySink_IsStandardErrorAgain)
{
    Logging::SetLogSink([](const SLogRecord&) { FAIL(); });
    Logging::SetLogSink({});
    testing::internal::CaptureStderr();
    m_logger.Warn("f", 1, "g", L"text");
    EXPECT_NE(testing::internal::GetCapturedStderr(), "");
}

TEST_F(CLoggerTest, SinkThatLogs_IsCalledAgain)
{
    std::vector<std::wstring> messages;
    Logging::SetLogSink([&](const SLogRecord& record) {
        messages.push_back(record.message);
        if (messages.size() < 3)
        {
            m_logger.Warn("f", 1, "g", L"inner %d", static_cast<int>(messages.size()));
        }
    });
    m_logger.Warn("f", 1, "g", L"outer");
    EXPECT_EQ(messages, (std::vector<std::wstring>{L"outer", L"inner 1", L"inner 2"}));
}

TEST_F(CLoggerTest, SinkThatReplacesItself_LivesUntilItReturns)
{
    const auto shared = std::make_shared<int>(0);
    Logging::SetLogSink([shared](const SLogRecord&) {
        Logging::SetLogSink([](const SLogRecord&) {});
        ++*shared;
    });
    m_logger.Warn("f", 1, "g", L"text");
    EXPECT_EQ(*shared, 1);
    EXPECT_EQ(shared.use_count(), 1);
}

TEST_F(CLoggerTest, SinkThatThrows_ReachesWhoeverLogs)
{
    Logging::SetLogSink([](const SLogRecord&) { throw std::runtime_error("sink"); });
    EXPECT_THROW(m_logger.Warn("f", 1, "g", L"text"), std::runtime_error);
    // The frame is usable again: nothing stays locked.
    int numCalls = 0;
    Logging::SetLogSink([&](const SLogRecord&) { ++numCalls; });
    m_logger.Warn("f", 1, "g", L"text");
    EXPECT_EQ(numCalls, 1);
}

TEST_F(CLoggerTest, ManyThreads_ReachTheSinkOneAfterAnother)
{
    Logging::SetLogLevel(Logging::c_levelInfo);
    // No lock of its own: the frame promises that calls do not overlap.
    std::vector<std::wstring> messages;
    Logging::SetLogSink([&](const SLogRecord& record) { messages.push_back(record.message); });
    TestSupport::RunCallers([this](std::size_t caller) {
        for (int round = 0; round < 250; ++round)
        {
            m_logger.Info("f", 1, "g", L"%zu/%d", caller, round);
            Logging::SetLogLevel(Logging::c_levelInfo);
        }
    });
    std::sort(messages.begin(), messages.end());
    EXPECT_EQ(messages.size(), 2000U);
    EXPECT_EQ(std::unique(messages.begin(), messages.end()), messages.end());
}

TEST_F(CLoggerTest, Logger_CannotBeCopied)
{
    EXPECT_FALSE(std::is_copy_constructible_v<CLogger>);
    EXPECT_FALSE(std::is_copy_assignable_v<CLogger>);
}

}  // namespace
