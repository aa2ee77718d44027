#include <gmock/gmock.h>

#include <cstdlib>
#include <nlohmann/json.hpp>

#include "Tests/Apps/CommandLine/CProjectCommandTest.h"

// Making projects and looking at them, and what every command refuses.

namespace
{

using nlohmann::json;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

using ProjectCommandsTest = TestSupport::CProjectCommandTest;

TEST_F(ProjectCommandsTest, View_DrawsAProjectWhereItsScansAre)
{
    expectDone({"view", "p.json", "--like", "view.json", "--output", "project.png"});
    expectDone({"view", "a.ply", "--like", "view.json", "--output", "one.png"});
    EXPECT_NE(read("project.png"), read("one.png"));
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
    expectFailure({"cut", "missing.json", "--rectangle", "1,1,2,2"}, 3,
                  "missing.json: cannot be read: No such file");
    expectFailure({"clean", "missing.json"}, 3, "missing.json: cannot be read: No such file");
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
    expectFailure({"apply", "p.json", "--output", "new/" + std::string(300, 'x')}, 4, "too long");
    expectFailure({"apply", "p.json", "--output", ".", "--force"}, 2, "a.ply");
    expectFailure({"apply", "p.json", "--output", "p.data"}, 2, "p.data");
    expectFailure({"apply", "p.json", "--output", "p.data/sub", "--force"}, 2, "p.data");
    expectFailure({"apply", "p.json", "--output", "./x/../p.data/"}, 2, "p.data");
    expectFailure({"cut", "p.json", "--rectangle", "1,1,2,2", "--picture", "p.data/1.edit"}, 2,
                  "p.data");
    expectFailure({"cut", "p.json", "--rectangle", "1,1,2,2", "--picture", "b.ply", "--force"}, 2,
                  "would replace the input 'b.ply'");
    expectFailure({"view", "p.json", "--output", "b.ply", "--force"}, 2,
                  "would replace the input 'b.ply'");
    expectFailure({"view", "p.json", "--view", "./b.ply", "--force"}, 2,
                  "would replace the input 'b.ply'");
    expectFailure({"view", "a.ply", "p.json", "--output", "p.data/1.edit"}, 2, "p.data");
    expectFailure({"view", "p.json", "--view", "p.data/1.edit"}, 2, "p.data");
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

/// Registered scans of real sensors go through every command, and all the way back.
TEST_F(ProjectCommandsTest, RealScans_GoThereAndBackAgain)
{
    const char* const named = std::getenv("VEKO2_REAL_SCANS");
    const std::string data = named != nullptr ? named : VEKO2_SOURCE_FOLDER "/../shared/data";
    for (const std::string set : {"street", "indoor_captures"})
    {
        const std::string list = data + '/' + set + "/transforms.txt";
        if (!std::filesystem::exists(list))
        {
            GTEST_SKIP() << "there is no " << list;
        }
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
