#include <gmock/gmock.h>
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <random>

#include "Application/Projects/CProject.h"
#include "Tests/Apps/CommandLine/CCommandTest.h"

// The commands that work on projects, as a user runs them.

namespace
{

using Application::CProject;
using nlohmann::json;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

class ProjectCommandsTest : public TestSupport::CCommandTest
{
protected:
    ProjectCommandsTest()
    {
        write("a.ply", makeScan());
        write("b.ply", makeScan());
        write("list.txt",
              "a.ply 1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1\n"
              "b.ply 1 0 0 0 0 1 0 0 0 0 1 0 0.5 0 0 1\n");
        writeView("view.json");
        // (2, 2) and (4, 2) of the first scan; the second is two pixels to the right, so its (2,
        // 2).
        writeMask("mask.png", {{2, 2}, {4, 2}});
        expectDone({"project", "create", "p.json", "--transforms", "list.txt"});
    }

    std::string expectDone(const std::vector<std::string>& arguments) const
    {
        const auto result = run(arguments);
        EXPECT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(result.err, "");
        return result.out;
    }

    std::string cut() const
    {
        return expectDone({"cut", "p.json", "--view", "view.json", "--mask", "mask.png"});
    }

    [[nodiscard]] std::vector<unsigned> readFlags(std::size_t scan,
                                                  const std::string& project = "p.json") const
    {
        std::vector<unsigned> bits;
        for (const auto& word : CProject::Open(in(project), CProject::Access::Read).ReadFlags(scan))
        {
            bits.push_back(word.bits);
        }
        return bits;
    }

    /// Expects a failure that leaves everything as it was.
    void expectFailure(const std::vector<std::string>& arguments, int exitCode,
                       const std::string& message) const
    {
        const auto before = snapshot();
        const auto result = run(arguments);
        EXPECT_EQ(result.exitCode, exitCode) << result.err;
        EXPECT_THAT(result.err, AllOf(StartsWith("veko2: "), HasSubstr(message)));
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(snapshot(), before);
    }

    [[nodiscard]] std::vector<std::string> snapshot() const
    {
        std::vector<std::string> content;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(in("")))
        {
            content.push_back(entry.path().string());
            if (entry.is_regular_file())
            {
                content.back() += read(std::filesystem::relative(entry.path(), in("")).string());
            }
        }
        std::sort(content.begin(), content.end());
        return content;
    }
};

TEST_F(ProjectCommandsTest, Cut_GoesThroughAllScansAtOnce)
{
    EXPECT_EQ(cut(),
              "p.json: 3 of 8 points cut\n"
              "  a.ply: 2 of 4, 2 kept\n"
              "  b.ply: 1 of 4, 3 kept\n");
    EXPECT_THAT(readFlags(0), ElementsAre(8, 8, 0, 0));
    EXPECT_THAT(readFlags(1), ElementsAre(8, 0, 0, 0));
    EXPECT_EQ(read("a.ply"), makeScan());
}

TEST_F(ProjectCommandsTest, Cut_SeveralViewsFormTheirUnionInOneEdit)
{
    writeMask("other.png", {{6, 6}});
    expectDone({"cut", "p.json", "--view", "view.json", "--mask", "mask.png", "--view", "view.json",
                "--mask", "other.png"});
    EXPECT_THAT(readFlags(0), ElementsAre(8, 8, 0, 8));
    expectDone({"undo", "p.json"});
    EXPECT_TRUE(readFlags(0).empty());
}

TEST_F(ProjectCommandsTest, Cut_DryRunSaysTheSameAndChangesNothing)
{
    const auto before = snapshot();
    EXPECT_THAT(
        expectDone({"cut", "p.json", "--view", "view.json", "--mask", "mask.png", "--dry-run"}),
        StartsWith("p.json: 3 of 8 points would be cut\n"));
    EXPECT_EQ(snapshot(), before);
}

TEST_F(ProjectCommandsTest, Cut_ThatChangesNothingIsNoEdit)
{
    cut();
    const auto before = snapshot();
    const auto document = json::parse(
        expectDone({"cut", "p.json", "--view", "view.json", "--mask", "mask.png", "--json"}));
    EXPECT_EQ(document["newlyCut"], 0);
    EXPECT_EQ(document["scansChanged"], 0);
    EXPECT_EQ(snapshot(), before);
}

TEST_F(ProjectCommandsTest, Cut_LeavesSkeletonsWhole)
{
    expectDone({"project", "create", "q.json", "a.ply", "b.ply", "--skeleton", "b.ply"});
    expectDone({"cut", "q.json", "--view", "view.json", "--mask", "mask.png"});
    EXPECT_THAT(readFlags(0, "q.json"), ElementsAre(8, 8, 0, 0));
    EXPECT_TRUE(readFlags(1, "q.json").empty());
}

TEST_F(ProjectCommandsTest, Cut_DrawsBeforeAndAfter)
{
    expectDone({"cut", "p.json", "--view", "view.json", "--mask", "mask.png", "--picture",
                "both.png", "--dry-run"});
    EXPECT_THAT(read("both.png"), StartsWith("\x89PNG"));
}

TEST_F(ProjectCommandsTest, View_DrawsAProjectWhereItsScansAre)
{
    expectDone({"view", "p.json", "--like", "view.json", "--output", "project.png"});
    expectDone({"view", "a.ply", "--like", "view.json", "--output", "one.png"});
    EXPECT_NE(read("project.png"), read("one.png"));
}

TEST_F(ProjectCommandsTest, UndoAndRedo_GoBackAndForth)
{
    cut();
    EXPECT_EQ(expectDone({"undo", "p.json"}), "p.json: undid cut\n");
    EXPECT_TRUE(readFlags(0).empty());
    EXPECT_EQ(expectDone({"undo", "p.json"}), "p.json: nothing to undo\n");
    EXPECT_EQ(expectDone({"redo", "p.json"}), "p.json: redid cut\n");
    EXPECT_THAT(readFlags(0), ElementsAre(8, 8, 0, 0));
    EXPECT_EQ(expectDone({"redo", "p.json"}), "p.json: nothing to redo\n");
}

TEST_F(ProjectCommandsTest, Undo_DryRunChangesNothing)
{
    cut();
    const auto before = snapshot();
    EXPECT_EQ(expectDone({"undo", "p.json", "--dry-run"}), "p.json: would undo cut\n");
    EXPECT_EQ(snapshot(), before);
}

TEST_F(ProjectCommandsTest, Cut_SaysWhatTheHistoryDrops)
{
    expectDone({"project", "create", "q.json", "a.ply", "--history", "0"});
    expectDone({"cut", "q.json", "--view", "view.json", "--mask", "mask.png"});
    writeMask("other.png", {{6, 6}});
    const auto result = run({"cut", "q.json", "--view", "view.json", "--mask", "other.png"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.err, HasSubstr("the oldest 1 edit can no longer be undone"));
}

TEST_F(ProjectCommandsTest, List_SaysWhatThereIs)
{
    cut();
    const auto document = json::parse(expectDone({"project", "list", "p.json", "--json"}));
    EXPECT_EQ(document["scans"][0]["flags"]["cut"], 2);
    EXPECT_EQ(document["scans"][1]["transform"][12], 0.5);
    EXPECT_EQ(document["history"]["done"], 1);
    EXPECT_EQ(document["history"]["edits"][0]["command"], "cut");
}

TEST_F(ProjectCommandsTest, Create_ExcludesWhatLiesInABox)
{
    expectDone({"project", "create", "q.json", "a.ply", "--exclude", "-0.6,0.6,0,-0.4,0.4,1"});
    EXPECT_THAT(readFlags(0, "q.json"), ElementsAre(0x10, 0, 0, 0));
}

TEST_F(ProjectCommandsTest, Create_NamesScansFromTheProjectsFolder)
{
    std::filesystem::create_directory(in("sub"));
    expectDone({"project", "create", "sub/q.json", "a.ply"});
    EXPECT_EQ(json::parse(read("sub/q.json"))["scans"][0]["file"], "../a.ply");
    expectDone({"project", "list", "sub/q.json"});
}

TEST_F(ProjectCommandsTest, Apply_WritesWhatIsLeft)
{
    cut();
    EXPECT_EQ(expectDone({"apply", "p.json", "--output", "out"}),
              "out/a.ply: 2 of 4 points dropped, 2 kept\n"
              "out/b.ply: 1 of 4 points dropped, 3 kept\n"
              "out/transforms.txt\n");
    const auto points = scanPoints();
    EXPECT_EQ(read("out/a.ply"), makePly({points[2], points[3]}));
    EXPECT_EQ(read("out/b.ply"), makePly({points[1], points[2], points[3]}));
    expectDone({"project", "create", "q.json", "--transforms", "out/transforms.txt"});
}

TEST_F(ProjectCommandsTest, Apply_WarnsOfAnEmptyResult)
{
    write("c.xyz", "-0.5 0.5 0.5\n");
    expectDone({"project", "create", "q.json", "c.xyz"});
    expectDone({"cut", "q.json", "--view", "view.json", "--mask", "mask.png"});
    const auto result = run({"apply", "q.json", "--output", "out"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.err, HasSubstr("nothing is left in 'out/c.xyz'; only PLY and STL"));
    expectFailure({"info", "out/c.xyz"}, 3, "out/c.xyz: expected");
}

TEST_F(ProjectCommandsTest, Apply_DropsOnlyWhatIsAskedFor)
{
    cut();
    expectDone({"apply", "p.json", "--output", "out", "--drop", "small-component"});
    EXPECT_EQ(read("out/a.ply"), makeScan());
}

TEST_F(ProjectCommandsTest, Apply_WritesTheFlagsAsAProperty)
{
    cut();
    expectDone({"apply", "p.json", "--output", "out", "--property"});
    EXPECT_EQ(read("out/a.ply"),
              "ply\nformat ascii 1.0\nelement vertex 4\nproperty float x\nproperty float y\n"
              "property float z\nproperty ushort veko2_flags\nend_header\n"
              "-0.5 0.5 0.5 8\n0 0.5 0.5 8\n-0.5 -0 0.5 0\n0.5 -0.5 0.5 0\n");
    expectFailure({"apply", "p.json", "--output", "out", "--property"}, 4, "--force");
}

TEST_F(ProjectCommandsTest, Apply_RemovesWhatAKilledOneLeft)
{
    std::filesystem::create_directory(in("out"));
    write("out/.veko2-0123456789abcdef.part", "x");
    expectDone({"apply", "p.json", "--output", "out"});
    EXPECT_FALSE(exists("out/.veko2-0123456789abcdef.part"));
}

TEST_F(ProjectCommandsTest, Create_TheSameScanAtTwoPlaces)
{
    write("twice.txt",
          "a.ply 1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1\n"
          "./a.ply 1 0 0 0 0 1 0 0 0 0 1 0 0.5 0 0 1\n");
    expectDone({"project", "create", "q.json", "--transforms", "twice.txt"});
    write("same.txt",
          "a.ply 1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1\n"
          "./a.ply 1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1\n");
    expectFailure({"project", "create", "r.json", "--transforms", "same.txt"}, 2,
                  "are the same file with the same transform");
}

TEST_F(ProjectCommandsTest, Apply_IntoAFolderBesideTheDataIsNotIntoIt)
{
    expectDone({"apply", "p.json", "--output", "p.data2"});
    expectDone({"project", "create", "q.json", "--transforms", "p.data2/transforms.txt"});
}

TEST_F(ProjectCommandsTest, Apply_ScansOfTheSameNameGetNumbers)
{
    std::filesystem::create_directory(in("sub"));
    write("sub/a.ply", makeScan());
    expectDone({"project", "create", "q.json", "a.ply", "sub/a.ply"});
    EXPECT_THAT(expectDone({"apply", "q.json", "--output", "out"}), HasSubstr("out/a-2.ply"));
}

TEST_F(ProjectCommandsTest, BadInput_IsRefusedAndChangesNothing)
{
    cut();
    expectFailure({"project"}, 2, "create or list");
    expectFailure({"project", "create", "q.json"}, 2, "needs scans");
    expectFailure({"project", "create", "p.json", "a.ply"}, 4, "--force");
    expectFailure({"project", "create", "q.json", "missing.ply"}, 3, "missing.ply");
    expectFailure({"project", "create", "a.ply", "b.ply", "--force"}, 2, "a.ply' is the name");
    expectFailure({"project", "create", "new.XYZ", "b.ply"}, 2, "new.XYZ' is the name");
    expectFailure({"project", "create", "view.json", "b.ply", "--force"}, 4,
                  "view.json: exists and is not a project");
    expectFailure({"project", "create", "view.json", "view.json", "--force"}, 4, "not a project");
    expectFailure({"project", "create", "q.json", "a.ply", "b.ply", "./a.ply"}, 2,
                  "'a.ply' and './a.ply' are the same file with the same transform");
    expectFailure({"project", "create", "q.json", "a.ply", "--transforms", "none.txt"}, 3,
                  "none.txt");
    expectFailure({"project", "create", "q.json", "view.json", "--transforms", "list.txt"}, 3,
                  "expected one line for 'view.json', found 0");
    expectFailure({"project", "create", "q.json", "a.ply", "--exclude", "1,2,3"}, 2, "--exclude");
    expectFailure({"project", "create", "q.json", "a.ply", "--skeleton", "b.ply"}, 2, "--skeleton");
    expectFailure({"project", "create", "q.json", "a.ply", "--history", "x"}, 2, "--history");
    expectFailure({"project", "list", "a.ply"}, 3, "a.ply");
    expectFailure({"project", "list", "missing.json"}, 3, "missing.json");
    expectFailure({"cut", "p.json", "--view", "view.json", "--mask", "mask.png", "-o", "x.ply"}, 2,
                  "veko2 apply");
    expectFailure({"cut", "p.json", "--view", "view.json", "--mask", "mask.png", "--flags", "f"}, 2,
                  "veko2 apply");
    expectFailure({"view", "p.json", "--flags", "f", "--output", "x.png"}, 2, "--flags");
    expectFailure({"undo", "a.ply"}, 3, "a.ply");
    expectFailure({"undo", "p.json", "--steps", "0"}, 2, "--steps");
    expectFailure({"redo", "p.json", "--steps", "-1"}, 2, "--steps");
    expectFailure({"apply", "p.json"}, 2, "--output");
    expectFailure({"apply", "p.json", "--output", "out", "--drop", "frozen"}, 2, "--drop");
    expectFailure({"apply", "p.json", "--output", "a.ply"}, 4, "a.ply");
    expectFailure({"apply", "p.json", "--output", ".", "--force"}, 2, "a.ply");
    expectFailure({"apply", "p.json", "--output", "p.data"}, 2, "p.data");
    expectFailure({"apply", "p.json", "--output", "p.data/sub", "--force"}, 2, "p.data");
    expectFailure({"apply", "p.json", "--output", "./x/../p.data/"}, 2, "p.data");
    expectFailure({"cut", "p.json", "--rectangle", "1,1,2,2", "--picture", "p.data/1.edit"}, 2,
                  "p.data");
    expectFailure({"clean", "a.ply", "./a.ply", "--dry-run"}, 2, "are the same file");
    expectFailure({"clean", "p.json", "a.ply"}, 2, "one project");
    expectFailure({"clean", "p.json", "-o", "x.ply"}, 2, "veko2 apply");
    expectFailure({"clean", "a.ply"}, 2, "--output");
    expectFailure({"clean", "a.ply", "b.ply", "-o", "x.ply"}, 2, "2 scans but 1 times --output");
    expectFailure({"clean", "a.ply", "--flags", "a.ply", "--force"}, 2, "a.ply");
    expectFailure({"clean", "a.ply", "b.ply", "-o", "b.ply", "-o", "c.ply", "--force"}, 2, "b.ply");
    expectFailure({"clean", "a.ply", "--dry-run", "--voxel", "0"}, 2, "--voxel");
    expectFailure({"clean", "p.json", "--voxel", "1e-300"}, 2,
                  "--voxel: voxels of 1e-300 are too small for scans that reach 1 from their "
                  "middle; give at least 1e-09");
    expectFailure({"clean", "p.json", "--voxel", "1e-320"}, 2, "give at least 1e-09");
    write("noJson.json", "{\"format\": \"veko2-project\", x");
    expectFailure({"undo", "noJson.json"}, 3,
                  "noJson.json: byte 29: expected a JSON document: parse");
    write("noJson.json", "{\"format\": \"veko2-project\", \"version\": 1e999}");
    expectFailure({"undo", "noJson.json"}, 3, "noJson.json: number overflow parsing '1e999'");
    expectFailure({"clean", "a.ply", "--dry-run", "--scale", "-1"}, 2, "--scale");
    expectFailure({"clean", "a.ply", "--dry-run", "--min-fraction", "2"}, 2, "--min-fraction");
    expectFailure({"clean", "a.ply", "--dry-run", "--min-points", "1.5"}, 2, "--min-points");
}

TEST_F(ProjectCommandsTest, DamagedProject_IsRefusedByEveryCommand)
{
    cut();
    const std::vector<std::vector<std::string>> commands{
        {"view", "p.json", "--output", "x.png"},
        {"cut", "p.json", "--rectangle", "1,1,2,2"},
        {"clean", "p.json"},
        {"apply", "p.json", "--output", "out"},
        {"undo", "p.json"},
        {"redo", "p.json"}};
    const auto expectAll = [&](const std::string& message) {
        for (const auto& command : commands)
        {
            expectFailure(command, 3, message);
        }
        const auto listed = run({"project", "list", "p.json"});
        EXPECT_EQ(listed.exitCode, 3);
        EXPECT_THAT(listed.out, AllOf(HasSubstr("b.ply: 4 points"), HasSubstr("history: 1 edit")));
        EXPECT_THAT(listed.err, HasSubstr(message));
    };
    const std::string flags = read("p.data/1-0.flags");
    write("p.data/1-0.flags", flags.substr(0, 32));
    expectAll("the flags of 'a.ply' cannot be used");
    write("p.data/1-0.flags", flags);

    const std::string edit = read("p.data/1.edit");
    write("p.data/1.edit", edit + "x");
    expectAll("the history is damaged");
    std::string flipped = edit;
    flipped.back() = static_cast<char>(flipped.back() ^ 1);
    write("p.data/1.edit", flipped);
    expectAll("the history is damaged");
    write("p.data/1.edit", edit);

    std::filesystem::rename(in("b.ply"), in("c.ply"));
    expectAll("b.ply' is missing");
    std::filesystem::rename(in("c.ply"), in("b.ply"));
    expectDone({"undo", "p.json"});
}

TEST_F(ProjectCommandsTest, List_SaysWhatIsDamaged)
{
    cut();
    std::string flags = read("p.data/1-0.flags");
    flags.back() = static_cast<char>(flags.back() ^ 1);
    write("p.data/1-0.flags", flags);
    write("p.data/1.edit", "short");
    const auto result = run({"project", "list", "p.json", "--json"});
    EXPECT_EQ(result.exitCode, 3);
    const auto document = json::parse(result.out);
    EXPECT_TRUE(document["scans"][0]["flags"].is_null());
    EXPECT_EQ(document["scans"][1]["flags"]["cut"], 1);
    ASSERT_EQ(document["damages"].size(), 2U);
    EXPECT_THAT(document["damages"][0].get<std::string>(), HasSubstr("1.edit"));
    EXPECT_THAT(document["damages"][1].get<std::string>(), HasSubstr("1-0.flags"));
}

TEST_F(ProjectCommandsTest, ReplacedScan_IsRefusedWhereItIsRead)
{
    write("b.ply", makePly({atPixel(1, 1)}));
    expectFailure({"cut", "p.json", "--rectangle", "1,1,2,2"}, 3, "has 1 points, but had 4");
}

/// Two dense squares of points far from each other, the second one small.
std::vector<LqVector3f> MakeFloatingBit()
{
    std::vector<LqVector3f> points;
    const auto addSquare = [&](int side, float offset) {
        for (int row = 0; row < side; ++row)
        {
            for (int column = 0; column < side; ++column)
            {
                points.push_back({offset + 0.01F * static_cast<float>(column),
                                  0.01F * static_cast<float>(row), 0.0F});
            }
        }
    };
    addSquare(60, 0.0F);
    addSquare(3, 5.0F);
    return points;
}

TEST_F(ProjectCommandsTest, Clean_FlagsTheFloatingBit)
{
    write("bit.ply", makePly(MakeFloatingBit()));
    expectDone({"project", "create", "q.json", "bit.ply"});
    EXPECT_THAT(expectDone({"clean", "q.json", "--min-points", "100"}),
                AllOf(StartsWith("2 components, 1 small"),
                      HasSubstr("bit.ply: 9 of 3609 points flagged, 0 unflagged, 0 left alone")));
    EXPECT_THAT(expectDone({"clean", "q.json", "--min-points", "5"}),
                HasSubstr("0 of 3609 points flagged, 9 unflagged"));
    EXPECT_EQ(expectDone({"undo", "q.json"}), "q.json: undid clean\n");
    expectDone({"apply", "q.json", "--output", "out"});
    const auto all = MakeFloatingBit();
    EXPECT_EQ(read("out/bit.ply"), makePly({all.begin(), all.begin() + 3600}));
}

TEST_F(ProjectCommandsTest, Clean_WarnsOfVoxelsAndScalesThatDoNotFit)
{
    write("bit.ply", makePly(MakeFloatingBit()));
    const auto expectWarning = [&](const std::string& option, const std::string& value,
                                   const std::string& warning) {
        const auto result = run({"clean", "bit.ply", "--dry-run", option, value});
        EXPECT_EQ(result.exitCode, 0) << result.err;
        EXPECT_THAT(result.err, HasSubstr(warning)) << value;
    };
    expectWarning("--voxel", "1e-7", "voxels of 1e-07 are too small to tell all components apart");
    expectWarning("--voxel", "1e-7", "; from 4.72e-06 on they do");
    expectWarning("--voxel", "1e-10", "points too far away for voxels of 1e-10 are flagged");
    expectWarning("--scale", "1000", "the search looks only 0.00225 far");
}

TEST_F(ProjectCommandsTest, Clean_LeavesExcludedPointsAlone)
{
    write("bit.ply", makePly(MakeFloatingBit()));
    expectDone({"project", "create", "q.json", "bit.ply", "--exclude", "4,-1,-1,6,1,1"});
    EXPECT_THAT(expectDone({"clean", "q.json", "--min-points", "100"}),
                HasSubstr("0 of 3609 points flagged, 0 unflagged, 9 left alone"));
}

TEST_F(ProjectCommandsTest, Clean_WritesScansOrFlagsLikeCut)
{
    write("bit.ply", makePly(MakeFloatingBit()));
    const auto all = MakeFloatingBit();
    expectDone({"clean", "bit.ply", "--min-points", "100", "-o", "rest.ply", "--flags", "f"});
    EXPECT_EQ(read("rest.ply"), makePly({all.begin(), all.begin() + 3600}));
    expectFailure({"clean", "bit.ply", "--min-points", "100", "-o", "rest.ply"}, 4, "--force");
    EXPECT_THAT(expectDone({"clean", "bit.ply", "--min-points", "5", "--flags", "f"}),
                HasSubstr("9 unflagged"));
}

/// A Gaussian-splat file: 62 float properties per vertex, of which no two values are the same.
std::string MakeSplats(const std::vector<LqVector3f>& points, const std::string& more = "",
                       const std::vector<std::uint16_t>& flags = {},
                       const std::vector<bool>& isKept = {})
{
    std::vector<std::string> names{"x", "y", "z", "nx", "ny", "nz"};
    const auto add = [&](const std::string& name, int count) {
        for (int index = 0; index < count; ++index)
        {
            names.push_back(name + std::to_string(index));
        }
    };
    add("f_dc_", 3);
    add("f_rest_", 45);
    names.push_back("opacity");
    add("scale_", 3);
    add("rot_", 4);
    std::string body;
    std::size_t numKept = 0;
    for (std::size_t index = 0; index < points.size(); ++index)
    {
        if (!isKept.empty() && !isKept[index])
        {
            continue;
        }
        ++numKept;
        std::vector<float> values{points[index].x, points[index].y, points[index].z};
        while (values.size() < names.size())
        {
            values.push_back(static_cast<float>(index * names.size() + values.size()) / 7.0F);
        }
        body.append(reinterpret_cast<const char*>(values.data()), values.size() * sizeof(float));
        if (!flags.empty())
        {
            body.append(reinterpret_cast<const char*>(&flags[index]), 2);
        }
    }
    std::string header =
        "ply\nformat binary_little_endian 1.0\nelement vertex " + std::to_string(numKept) + '\n';
    for (const std::string& name : names)
    {
        header += "property float " + name + '\n';
    }
    return header + more + "end_header\n" + body;
}

TEST_F(ProjectCommandsTest, Splats_GoThroughEveryCommandUntouched)
{
    auto points = MakeFloatingBit();
    write("splats.ply", MakeSplats(points));
    expectDone({"project", "create", "q.json", "splats.ply"});
    expectDone({"view", "q.json", "--output", "x.png", "--view", "v.json", "--from", "top"});
    expectDone({"clean", "q.json", "--min-points", "100"});
    expectDone({"cut", "q.json", "--view", "v.json", "--rectangle", "1,1,700,719"});

    const auto flags = readFlags(0, "q.json");
    std::vector<std::uint16_t> words;
    std::vector<bool> isKept;
    for (const unsigned word : flags)
    {
        words.push_back(static_cast<std::uint16_t>(word));
        isKept.push_back((word & 0x000A) == 0);
    }
    EXPECT_GT(std::count(isKept.begin(), isKept.end(), true), 0);
    EXPECT_GT(std::count(isKept.begin(), isKept.end(), false), 9);
    expectDone({"apply", "q.json", "--output", "out"});
    EXPECT_EQ(read("out/splats.ply"), MakeSplats(points, "", {}, isKept));
    expectDone({"apply", "q.json", "--output", "flagged", "--property"});
    EXPECT_EQ(read("flagged/splats.ply"),
              MakeSplats(points, "property ushort veko2_flags\n", words));
}

/// Kills the program at moments all over its run, again and again, and finds the project at one of
/// the two states every time.
TEST_F(ProjectCommandsTest, Kill_LeavesTheLastWholeEdit)
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

/// Registered scans of real sensors go through every command, and all the way back.
TEST_F(ProjectCommandsTest, RealScans_GoThereAndBackAgain)
{
    const char* const named = std::getenv("VEKO2_DATA");
    const std::string data = named != nullptr ? named : VEKO2_SOURCE_FOLDER "/../shared/data";
    if (!std::filesystem::exists(data))
    {
        GTEST_SKIP() << "there are no real scans in " << data;
    }
    for (const std::string set : {"street", "indoor_captures"})
    {
        const std::string list = data + '/' + set + "/transforms.txt";
        const std::string project = set + ".json";
        expectDone({"project", "create", project, "--transforms", list});
        const std::string begin = read(project);
        const auto cleaned = json::parse(expectDone({"clean", project, "--json"}));
        EXPECT_GT(cleaned["fusion"]["components"], 0);
        const auto cut =
            json::parse(expectDone({"cut", project, "--rectangle", "540,260,740,460", "--json"}));
        std::uint64_t numScansCut = 0;
        for (const json& scan : cut["scans"])
        {
            numScansCut += scan["newlyCut"] > 0 ? 1 : 0;
        }
        EXPECT_GT(numScansCut, 1U) << set;
        expectDone({"apply", project, "--output", set + "-out"});
        expectDone({"undo", project, "--steps", "2"});
        const json undone = json::parse(read(project));
        for (const json& scan : undone["scans"])
        {
            EXPECT_TRUE(scan["flags"].is_null());
        }
        EXPECT_EQ(json::parse(begin)["scans"], undone["scans"]);
    }
}

}  // namespace
