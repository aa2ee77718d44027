#include "Apps/CommandLine/CCutCommand.h"

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>
#include <optional>

#include "Application/Files/CFileLock.h"
#include "Application/Scans/CFlagFile.h"
#include "Tests/Apps/CommandLine/CCommandTest.h"

namespace
{

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;

class CCutCommandTest : public TestSupport::CCommandTest
{
protected:
    CCutCommandTest()
    {
        write("scan.ply", makeScan());
        writeView("view.json");
        // Two of the scan's four points: (2, 2) and (4, 2).
        writeMask("mask.png", {{2, 2}, {4, 2}});
    }

    [[nodiscard]] std::vector<unsigned> readFlags(const std::string& file, std::uint64_t count)
    {
        std::vector<unsigned> bits;
        for (const auto& word : Application::CFlagFile::Read(in(file), count))
        {
            bits.push_back(word.bits);
        }
        return bits;
    }

    [[nodiscard]] static std::string keep(const std::vector<std::size_t>& indices)
    {
        std::vector<LqVector3f> points;
        for (const std::size_t index : indices)
        {
            points.push_back(scanPoints()[index]);
        }
        return makePly(points);
    }
};

TEST_F(CCutCommandTest, MaskAndView_WriteWhatIsLeft)
{
    const auto result =
        run({"cut", "scan.ply", "--view", "view.json", "--mask", "mask.png", "-o", "rest.ply"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, "scan.ply: 2 of 4 points cut, 2 kept\noutput: rest.ply\n");
    EXPECT_EQ(read("rest.ply"), keep({2, 3}));
    EXPECT_EQ(read("scan.ply"), makeScan());
    EXPECT_THAT(list(), ElementsAre("mask.png", "rest.ply", "scan.ply", "view.json"));
}

TEST_F(CCutCommandTest, Json_IsOneDocumentOfAllCounts)
{
    const auto result = run({"cut", "scan.ply", "--view", "view.json", "--mask", "mask.png", "-o",
                             "rest.ply", "--json"});
    EXPECT_EQ(json::parse(result.out), (json{{"command", "cut"},
                                             {"scan", "scan.ply"},
                                             {"points", 4},
                                             {"newlyCut", 2},
                                             {"cut", 2},
                                             {"kept", 2},
                                             {"dryRun", false},
                                             {"output", "rest.ply"}}));
}

TEST_F(CCutCommandTest, Rectangle_PaintsBothCorners)
{
    const auto result =
        run({"cut", "scan.ply", "--view", "view.json", "--rectangle", "4,2,2,2", "-o", "rest.ply"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(read("rest.ply"), keep({2, 3}));
}

TEST_F(CCutCommandTest, Lasso_PaintsItsInside)
{
    const auto result = run({"cut", "scan.ply", "--view", "view.json", "-o", "rest.ply", "--lasso",
                             "-1,-1", "4,1", "1,5"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(read("rest.ply"), keep({1, 2, 3}));
}

TEST_F(CCutCommandTest, NumberWithoutItsZero_IsNoOption)
{
    const auto result = run({"cut", "scan.ply", "--view", "view.json", "-o", "rest.ply", "--lasso",
                             "4,1", "1,5", "-.75,-.75"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(read("rest.ply"), keep({1, 2, 3}));
}

TEST_F(CCutCommandTest, FilesLikeANumberWithoutItsZero_KeepTheirNames)
{
    write("-.5,3", makeScan());
    const auto result = run(
        {"cut", "-o", "-.5.ply", "--rectangle", "4,2,2,2", "--view", "view.json", "--", "-.5,3"});
    EXPECT_THAT(result.out, testing::StartsWith("-.5,3: ")) << result.err;
    EXPECT_EQ(read("-.5.ply"), keep({2, 3}));
}

TEST_F(CCutCommandTest, Brush_PaintsAlongItsLine)
{
    const auto result = run({"cut", "scan.ply", "--view", "view.json", "-o", "rest.ply", "--brush",
                             "0.8", "2.5,2.5", "2.5,4.5"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(read("rest.ply"), keep({1, 3}));
}

TEST_F(CCutCommandTest, SeveralShapes_AddUp)
{
    const auto result =
        run({"cut",     "scan.ply", "--view", "view.json", "-o",  "rest.ply", "--lasso",
             "1,1",     "5,1",      "1,5",    "--brush",   "0.8", "6.5,6.5",  "--rectangle",
             "2,4,2,4", "--lasso",  "4,2",    "5,2",       "5,3", "4,3"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(read("rest.ply"), keep({}));
}

TEST_F(CCutCommandTest, SeveralViewsAndMasks_FormTheirUnion)
{
    writeMask("other.png", {{4, 2}, {6, 6}});
    const auto result = run({"cut", "scan.ply", "--view", "view.json", "--mask", "mask.png",
                             "--view", "view.json", "--mask", "other.png", "-o", "rest.ply"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("3 of 4 points cut"));
    EXPECT_EQ(read("rest.ply"), keep({2}));
}

TEST_F(CCutCommandTest, KeepPainted_CutsTheOthers)
{
    const auto result = run({"cut", "scan.ply", "--view", "view.json", "--mask", "mask.png",
                             "--keep-painted", "-o", "rest.ply"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(read("rest.ply"), keep({0, 1}));
}

TEST_F(CCutCommandTest, NothingUnderThePaint_WritesTheSameFile)
{
    writeMask("mask.png", {{5, 5}});
    const auto result =
        run({"cut", "scan.ply", "--view", "view.json", "--mask", "mask.png", "-o", "rest.ply"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(read("rest.ply"), makeScan());
}

TEST_F(CCutCommandTest, MaskWithoutPaint_IsWarnedOf)
{
    const auto cut = [&] {
        const auto result =
            run({"cut", "scan.ply", "--view", "view.json", "--mask", "mask.png", "--dry-run"});
        EXPECT_EQ(result.exitCode, 0);
        return result.err;
    };
    const auto isWarning =
        HasSubstr("veko2: warning: mask.png: nothing is painted inside the view");
    writeMask("mask.png", {});
    EXPECT_THAT(cut(), isWarning);
    writeMask("mask.png", {{0, 3}, {5, 0}});
    EXPECT_THAT(cut(), isWarning);
    writeMask("mask.png", {{1, 1}});
    EXPECT_EQ(cut(), "");
}

TEST_F(CCutCommandTest, ShapesOutsideTheView_AreWarnedOf)
{
    const auto result =
        run({"cut", "scan.ply", "--view", "view.json", "--brush", "1", "-100,-100", "--dry-run"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.err, HasSubstr("veko2: warning: nothing is painted inside the view"));
}

// One point in front of the eye and its mirror image behind it project to the same pixel.
TEST_F(CCutCommandTest, FrontOnly_IsTheDefaultAndLeavesWhatLiesBehind)
{
    write("scan.ply", makePly({{3.75F, -1.25F, -10}, {-3.75F, 1.25F, 10}, {-50, -50, -10}}));
    writePerspectiveView("view.json");
    writeMask("mask.png", {{5, 4}});
    for (const std::vector<std::string>& reach :
         {std::vector<std::string>{}, std::vector<std::string>{"--front-only"}})
    {
        std::vector<std::string> arguments{"cut",    "scan.ply", "--view", "view.json",
                                           "--mask", "mask.png", "--json", "--dry-run"};
        arguments.insert(arguments.end(), reach.begin(), reach.end());
        const auto result = run(arguments);
        ASSERT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(json::parse(result.out)["cut"], 1);
    }
}

TEST_F(CCutCommandTest, ThroughEye_IsTheLibrarysOwnAnswer)
{
    // The box reaches from (-3.75, -1.25, -10) to (3.75, 1.25, 10): its corners project to points
    // around the middle of the picture, among them the painted pixel.
    write("scan.ply", makePly({{3.75F, -1.25F, -10}, {-3.75F, 1.25F, 10}}));
    writePerspectiveView("view.json");
    writeMask("mask.png", {{4, 4}, {5, 4}});
    const auto result = run({"cut", "scan.ply", "--view", "view.json", "--mask", "mask.png",
                             "--through-eye", "--json", "--dry-run"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(json::parse(result.out)["cut"], 2);
}

TEST_F(CCutCommandTest, Flags_AreWrittenInsteadOfAScan)
{
    const auto result = run(
        {"cut", "scan.ply", "--view", "view.json", "--mask", "mask.png", "--flags", "scan.flags"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_THAT(readFlags("scan.flags", 4), ElementsAre(8, 8, 0, 0));
    EXPECT_THAT(list(), ElementsAre("mask.png", "scan.flags", "scan.ply", "view.json"));
}

TEST_F(CCutCommandTest, Flags_ThatAreThereAreContinuedWithoutForce)
{
    std::vector<Base::CSurfelBitMask> flags{{0x0100}, {0}, {0}, {8}};
    Application::CFlagFile::Write(in("scan.flags"), flags, false);
    const auto result = run({"cut", "scan.ply", "--view", "view.json", "--mask", "mask.png",
                             "--flags", "scan.flags", "--output", "rest.ply", "--json"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_THAT(readFlags("scan.flags", 4), ElementsAre(0x0108, 8, 0, 8));
    EXPECT_EQ(read("rest.ply"), keep({2}));
    const auto document = json::parse(result.out);
    EXPECT_EQ(document["newlyCut"], 2);
    EXPECT_EQ(document["cut"], 3);
}

TEST_F(CCutCommandTest, Flags_ThatAnotherRunIsContinuingAreWaitedFor)
{
    const auto writeFlags = [&](std::uint16_t last, bool force) {
        const std::vector<Base::CSurfelBitMask> flags{{0}, {0}, {0}, {last}};
        Application::CFlagFile::Write(in("scan.flags"), flags, force);
    };
    writeFlags(0, false);
    std::optional<Application::CFileLock> otherRun(in("scan.flags"));
    int calls = 0;
    const auto finishOtherRun = [&](int) {
        if (++calls == 100)
        {
            writeFlags(8, true);
            otherRun.reset();
        }
    };
    const auto result = run(
        {"cut", "scan.ply", "--view", "view.json", "--mask", "mask.png", "--flags", "scan.flags"},
        {.whileRunning = finishOtherRun});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_THAT(readFlags("scan.flags", 4), ElementsAre(8, 8, 0, 8));
}

TEST_F(CCutCommandTest, Flags_OfAnotherNumberOfPointsAreRefusedAndLeft)
{
    const std::vector<Base::CSurfelBitMask> flags(5);
    Application::CFlagFile::Write(in("scan.flags"), flags, false);
    const std::string before = read("scan.flags");
    const auto result = run(
        {"cut", "scan.ply", "--view", "view.json", "--mask", "mask.png", "--flags", "scan.flags"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_THAT(result.err, HasSubstr("scan.flags"));
    EXPECT_EQ(read("scan.flags"), before);
}

TEST_F(CCutCommandTest, Flags_FileThatIsSomethingElseIsRefusedAndLeft)
{
    write("scan.flags", "precious notes");
    const auto result = run({"cut", "scan.ply", "--view", "view.json", "--mask", "mask.png",
                             "--flags", "scan.flags", "--force"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_EQ(read("scan.flags"), "precious notes");
}

TEST_F(CCutCommandTest, DryRun_WritesNothing)
{
    const auto before = list();
    const auto result = run({"cut", "scan.ply", "--view", "view.json", "--mask", "mask.png", "-o",
                             "rest.ply", "--flags", "scan.flags", "--dry-run"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.out, "scan.ply: 2 of 4 points would be cut, 2 kept\n");
    EXPECT_EQ(list(), before);
}

TEST_F(CCutCommandTest, Picture_ShowsBeforeAndAfterSideBySide)
{
    const auto result = run({"cut", "scan.ply", "--view", "view.json", "--mask", "mask.png",
                             "--picture", "picture.png", "--dry-run"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    const std::string picture = read("picture.png");
    EXPECT_THAT(picture, testing::StartsWith("\x89PNG\r\n"));
    // The width, in the header.
    EXPECT_GE(static_cast<unsigned char>(picture.at(19)), 2 * c_size);
}

TEST_F(CCutCommandTest, FittedView_IsTheOneThatViewShows)
{
    ASSERT_EQ(run({"view", "scan.ply", "--view", "fitted.json", "--size", "64x48"}).exitCode, 0);
    const auto fitted = run(
        {"cut", "scan.ply", "--size", "64x48", "--rectangle", "1,1,31,47", "--dry-run", "--json"});
    const auto given = run({"cut", "scan.ply", "--view", "fitted.json", "--rectangle", "1,1,31,47",
                            "--dry-run", "--json"});
    EXPECT_EQ(fitted.exitCode, 0) << fitted.err;
    EXPECT_EQ(fitted.out, given.out);
    EXPECT_GT(json::parse(fitted.out)["cut"], 0);
    EXPECT_LT(json::parse(fitted.out)["cut"], 4);
}

TEST_F(CCutCommandTest, ScanWithoutPoints_IsCutToItself)
{
    write("scan.ply", makePly({}));
    const auto result =
        run({"cut", "scan.ply", "--view", "view.json", "--mask", "mask.png", "-o", "rest.ply"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(read("rest.ply"), makePly({}));
}

TEST_F(CCutCommandTest, ScanWithoutPoints_HasNoFittedView)
{
    write("scan.ply", makePly({}));
    const auto result = run({"cut", "scan.ply", "--rectangle", "1,1,5,5", "-o", "rest.ply"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_FALSE(exists("rest.ply"));
}

TEST_F(CCutCommandTest, NamesWithBlanksAndUmlauts_Work)
{
    write("mein Scan äöü.ply", makeScan());
    const auto result = run({"cut", "mein Scan äöü.ply", "--view", "view.json", "--mask",
                             "mask.png", "-o", "der Rest ✂.ply", "--json"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(read("der Rest ✂.ply"), keep({2, 3}));
    EXPECT_EQ(json::parse(result.out)["output"], "der Rest ✂.ply");
}

TEST_F(CCutCommandTest, NameThatIsNotUtf8_StillGivesAWholeDocument)
{
    write("scan\xff.ply", makeScan());
    const auto result = run({"cut", "scan\xff.ply", "--view", "view.json", "--mask", "mask.png",
                             "--dry-run", "--json"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(json::parse(result.out)["scan"], "scan\xEF\xBF\xBD.ply");
}

TEST_F(CCutCommandTest, NameWithControlCharacters_IsEscapedInTheText)
{
    write("a\x1b[31mb.ply", makeScan());
    const auto result =
        run({"cut", "a\x1b[31mb.ply", "--view", "view.json", "--mask", "mask.png", "--dry-run"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_THAT(result.out, testing::StartsWith("a\\x1b[31mb.ply: 2 of 4"));
}

TEST_F(CCutCommandTest, Progress_IsDrawnOnATerminalAndTakenAway)
{
    const auto result =
        run({"cut", "scan.ply", "--view", "view.json", "--mask", "mask.png", "-o", "rest.ply"},
            {.environment = {"TERM=xterm"}, .hasTerminal = true});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_THAT(result.err, HasSubstr("\r\x1b[KCutting ["));
    EXPECT_THAT(result.err, testing::EndsWith("\r\x1b[K"));
}

}  // namespace
