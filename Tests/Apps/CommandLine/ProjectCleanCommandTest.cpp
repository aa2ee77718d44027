#include <gmock/gmock.h>
#include <signal.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>

#include "Application/Files/CFileLock.h"
#include "Tests/Apps/CommandLine/CProjectCommandTest.h"

// Flagging the small components of projects and scans.

namespace
{

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

using ProjectCleanCommandTest = TestSupport::CProjectCommandTest;

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

TEST_F(ProjectCleanCommandTest, Clean_FlagsTheFloatingBit)
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

TEST_F(ProjectCleanCommandTest, Clean_WarnsOfVoxelsAndScalesThatDoNotFit)
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

TEST_F(ProjectCleanCommandTest, Clean_LeavesExcludedPointsAlone)
{
    write("bit.ply", makePly(MakeFloatingBit()));
    expectDone({"project", "create", "q.json", "bit.ply", "--exclude", "4,-1,-1,6,1,1"});
    EXPECT_THAT(expectDone({"clean", "q.json", "--min-points", "100"}),
                HasSubstr("0 of 3609 points flagged, 0 unflagged, 9 left alone"));
}

TEST_F(ProjectCleanCommandTest, Clean_WritesScansOrFlagsLikeCut)
{
    write("bit.ply", makePly(MakeFloatingBit()));
    const auto all = MakeFloatingBit();
    expectDone({"clean", "bit.ply", "--min-points", "100", "-o", "rest.ply", "--flags", "f"});
    EXPECT_EQ(read("rest.ply"), makePly({all.begin(), all.begin() + 3600}));
    expectFailure({"clean", "bit.ply", "--min-points", "100", "-o", "rest.ply"}, 4, "--force");
    EXPECT_THAT(expectDone({"clean", "bit.ply", "--min-points", "5", "--flags", "f"}),
                HasSubstr("9 unflagged"));
}

TEST_F(ProjectCleanCommandTest, Json_NamesTheFilesOfEachScan)
{
    const auto document =
        nlohmann::json::parse(expectDone({"clean", "a.ply", "b.ply", "-o", "c.ply", "-o", "d.ply",
                                          "--flags", "c.flags", "--flags", "d.flags", "--json"}));
    EXPECT_EQ(document["scans"][0]["output"], "c.ply");
    EXPECT_EQ(document["scans"][1]["output"], "d.ply");
    EXPECT_EQ(document["scans"][0]["flags"], "c.flags");
    EXPECT_EQ(document["scans"][1]["flags"], "d.flags");
}

/// Whether the program, as this process, has the file open.
bool HasOpen(int process, const std::filesystem::path& file)
{
    std::error_code error;
    const std::filesystem::path state = "/proc/" + std::to_string(process);
    // Before, it is a copy of this one, with all that this one has open.
    if (!std::filesystem::equivalent(state / "exe", VEKO2_PROGRAM, error))
    {
        return false;
    }
    for (std::filesystem::directory_iterator entry(state / "fd", error), end;
         !error && entry != end; entry.increment(error))
    {
        std::error_code closed;
        if (std::filesystem::equivalent(entry->path(), file, closed))
        {
            return true;
        }
    }
    return false;
}

/// Two scans with their flag files.
class CleanOfTwoScansTest : public TestSupport::CProjectCommandTest
{
protected:
    CleanOfTwoScansTest()
    {
        expectDone({"clean", "a.ply", "--flags", "a.flags"});
        expectDone({"clean", "b.ply", "--flags", "b.flags"});
    }
};

// Two runs that are given the same scans in different orders would wait for each other for ever.
TEST_F(CleanOfTwoScansTest, Flags_AreLockedInTheOrderOfTheirNames)
{
    std::optional<Application::CFileLock> lock(in("a.flags"));
    bool isFirstAlone = false;
    const auto release = [&](int process) {
        if (lock && HasOpen(process, in("a.flags")))
        {
            isFirstAlone = !HasOpen(process, in("b.flags"));
            lock.reset();
        }
    };
    const auto result = run({"clean", "b.ply", "a.ply", "--flags", "b.flags", "--flags", "a.flags"},
                            {.whileRunning = release});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_TRUE(isFirstAlone);
}

TEST_F(CleanOfTwoScansTest, FlagsOfTwoNames_AreLockedOnce)
{
    std::filesystem::create_hard_link(in("a.flags"), in("c.flags"));
    int rounds = 0;
    const auto endIfStuck = [&](int process) {
        if (++rounds == 10000)
        {
            kill(process, SIGKILL);
        }
    };
    const auto result = run({"clean", "a.ply", "b.ply", "--flags", "a.flags", "--flags", "c.flags"},
                            {.whileRunning = endIfStuck});
    EXPECT_EQ(result.exitCode, 0) << result.err;
}

TEST_F(CleanOfTwoScansTest, FlagFileThatSomebodyMakesMeanwhile_IsNotReplaced)
{
    std::optional<Application::CFileLock> lock(in("a.flags"));
    const auto make = [&](int process) {
        if (lock && HasOpen(process, in("a.flags")))
        {
            std::filesystem::copy_file(in("b.flags"), in("new.flags"));
            lock.reset();
        }
    };
    const auto result =
        run({"clean", "b.ply", "a.ply", "--flags", "new.flags", "--flags", "a.flags"},
            {.whileRunning = make});
    EXPECT_EQ(result.exitCode, 4);
    EXPECT_THAT(result.err, HasSubstr("new.flags: exists already"));
    EXPECT_EQ(read("new.flags"), read("b.flags"));
}

TEST_F(CleanOfTwoScansTest, FlagFileThatCannotBeLookedAt_IsAnOutputError)
{
    const std::string name(300, 'x');
    expectFailure({"clean", "a.ply", "--flags", name}, 4, name + ": cannot be written");
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

TEST_F(ProjectCleanCommandTest, Splats_GoThroughEveryCommandUntouched)
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

}  // namespace
