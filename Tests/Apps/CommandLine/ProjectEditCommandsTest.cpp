#include <gmock/gmock.h>
#include <signal.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <random>

#include "Tests/Apps/CommandLine/CProjectCommandTest.h"

// Cutting projects, undoing and redoing.

namespace
{

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

using ProjectEditCommandsTest = TestSupport::CProjectCommandTest;

TEST_F(ProjectEditCommandsTest, Cut_GoesThroughAllScansAtOnce)
{
    EXPECT_EQ(cut(),
              "p.json: 3 of 8 points cut\n"
              "  a.ply: 2 of 4, 2 kept\n"
              "  b.ply: 1 of 4, 3 kept\n");
    EXPECT_THAT(readFlags(0), ElementsAre(8, 8, 0, 0));
    EXPECT_THAT(readFlags(1), ElementsAre(8, 0, 0, 0));
    EXPECT_EQ(read("a.ply"), makeScan());
}

TEST_F(ProjectEditCommandsTest, Cut_SeveralViewsFormTheirUnionInOneEdit)
{
    writeMask("other.png", {{6, 6}});
    expectDone({"cut", "p.json", "--view", "view.json", "--mask", "mask.png", "--view", "view.json",
                "--mask", "other.png"});
    EXPECT_THAT(readFlags(0), ElementsAre(8, 8, 0, 8));
    expectDone({"undo", "p.json"});
    EXPECT_TRUE(readFlags(0).empty());
}

TEST_F(ProjectEditCommandsTest, Cut_DryRunSaysTheSameAndChangesNothing)
{
    const auto before = snapshot();
    EXPECT_THAT(
        expectDone({"cut", "p.json", "--view", "view.json", "--mask", "mask.png", "--dry-run"}),
        StartsWith("p.json: 3 of 8 points would be cut\n"));
    EXPECT_EQ(snapshot(), before);
}

TEST_F(ProjectEditCommandsTest, Cut_ThatChangesNothingIsNoEdit)
{
    cut();
    const auto before = snapshot();
    const auto document = json::parse(
        expectDone({"cut", "p.json", "--view", "view.json", "--mask", "mask.png", "--json"}));
    EXPECT_EQ(document["newlyCut"], 0);
    EXPECT_EQ(document["scansChanged"], 0);
    EXPECT_EQ(snapshot(), before);
}

TEST_F(ProjectEditCommandsTest, Cut_LeavesSkeletonsWhole)
{
    expectDone({"project", "create", "q.json", "a.ply", "b.ply", "--skeleton", "b.ply"});
    expectDone({"cut", "q.json", "--view", "view.json", "--mask", "mask.png"});
    EXPECT_THAT(readFlags(0, "q.json"), ElementsAre(8, 8, 0, 0));
    EXPECT_TRUE(readFlags(1, "q.json").empty());
}

TEST_F(ProjectEditCommandsTest, Cut_DrawsBeforeAndAfter)
{
    expectDone({"cut", "p.json", "--view", "view.json", "--mask", "mask.png", "--picture",
                "both.png", "--dry-run"});
    EXPECT_THAT(read("both.png"), StartsWith("\x89PNG"));
}

TEST_F(ProjectEditCommandsTest, UndoAndRedo_GoBackAndForth)
{
    cut();
    EXPECT_EQ(expectDone({"undo", "p.json"}), "p.json: undid cut\n");
    EXPECT_TRUE(readFlags(0).empty());
    EXPECT_EQ(expectDone({"undo", "p.json"}), "p.json: nothing to undo\n");
    EXPECT_EQ(expectDone({"redo", "p.json"}), "p.json: redid cut\n");
    EXPECT_THAT(readFlags(0), ElementsAre(8, 8, 0, 0));
    EXPECT_EQ(expectDone({"redo", "p.json"}), "p.json: nothing to redo\n");
}

TEST_F(ProjectEditCommandsTest, Undo_DryRunChangesNothing)
{
    cut();
    const auto before = snapshot();
    EXPECT_EQ(expectDone({"undo", "p.json", "--dry-run"}), "p.json: would undo cut\n");
    EXPECT_EQ(snapshot(), before);
}

TEST_F(ProjectEditCommandsTest, UndoAndRedo_DryRunCountsTheScansThatWouldChange)
{
    cut();
    for (const char* const command : {"undo", "redo"})
    {
        const auto planned = json::parse(expectDone({command, "p.json", "--dry-run", "--json"}));
        const auto done = json::parse(expectDone({command, "p.json", "--json"}));
        EXPECT_EQ(planned["scansChanged"], 2) << command;
        EXPECT_EQ(planned["scansChanged"], done["scansChanged"]) << command;
        EXPECT_EQ(planned["edits"], done["edits"]) << command;
    }
}

TEST_F(ProjectEditCommandsTest, Cut_SaysWhatTheHistoryDrops)
{
    expectDone({"project", "create", "q.json", "a.ply", "--history", "0"});
    expectDone({"cut", "q.json", "--view", "view.json", "--mask", "mask.png"});
    writeMask("other.png", {{6, 6}});
    const auto result = run({"cut", "q.json", "--view", "view.json", "--mask", "other.png"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.err, HasSubstr("the oldest 1 edit can no longer be undone"));
}

/// Kills the program at moments all over its run, again and again, and finds the project at one of
/// the two states every time.
TEST_F(ProjectEditCommandsTest, Kill_LeavesTheLastWholeEdit)
{
    writeMask("first.png", {{2, 2}});
    expectDone({"cut", "p.json", "--view", "view.json", "--mask", "first.png"});
    const std::vector<unsigned> before{8, 0, 0, 0};
    const std::vector<unsigned> after{8, 8, 0, 0};
    std::mt19937 random(7);
    int numKilled = 0;
    for (int round = 0; round < 40; ++round)
    {
        const auto delay =
            std::chrono::microseconds(500 * round + static_cast<int>(random() % 500));
        const auto begin = std::chrono::steady_clock::now();
        const auto result = run({"cut", "p.json", "--view", "view.json", "--mask", "mask.png"},
                                {.whileRunning = [&](int process) {
                                    if (std::chrono::steady_clock::now() - begin >= delay)
                                    {
                                        kill(process, SIGKILL);
                                    }
                                }});
        numKilled += result.exitCode == -SIGKILL ? 1 : 0;
        const auto flags = readFlags(0);
        ASSERT_TRUE(flags == before || flags == after) << round;
        ASSERT_EQ(readFlags(1).empty(), flags == before) << round;
        if (flags == after)
        {
            ASSERT_EQ(expectDone({"undo", "p.json"}), "p.json: undid cut\n");
            ASSERT_EQ(readFlags(0), before);
        }
    }
    EXPECT_GT(numKilled, 0);
    // The next edit removes what was left.
    cut();
    for (const auto& entry : std::filesystem::directory_iterator(in("p.data")))
    {
        EXPECT_EQ(entry.path().extension() == ".part", false) << entry.path();
    }
}

}  // namespace
