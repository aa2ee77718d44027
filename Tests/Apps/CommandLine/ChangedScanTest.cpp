#include <gmock/gmock.h>

#include <chrono>
#include <fstream>
#include <iterator>

#include "Tests/Apps/CommandLine/CProjectCommandTest.h"

// Scans that another program writes to while a command reads them.

namespace
{

using testing::HasSubstr;

class ChangedScanTest : public TestSupport::CProjectCommandTest
{
protected:
    /// How often a moment is tried that the program may have passed before it was noticed.
    static constexpr int c_tries = 20;

    /// Whether the program has opened a file of the test's folder as a scan.
    [[nodiscard]] bool hasOpened(int process, const std::string& file) const
    {
        std::ifstream stream("/proc/" + std::to_string(process) + "/maps");
        const std::string mappings{std::istreambuf_iterator<char>(stream),
                                   std::istreambuf_iterator<char>()};
        return mappings.find(std::filesystem::canonical(in(file)).string()) != std::string::npos;
    }

    /// Makes a file look written to at this moment, or long ago.
    void touch(const std::string& file, std::chrono::hours ago = {}) const
    {
        std::filesystem::last_write_time(in(file),
                                         std::filesystem::file_time_type::clock::now() - ago);
    }

    /// A scan that takes a while, of many points at one place, written long ago.
    void writeLargeScan(const std::string& file) const
    {
        constexpr std::size_t c_points = 1000000;
        const std::string header =
            "ply\nformat binary_little_endian 1.0\nelement vertex " + std::to_string(c_points) +
            "\nproperty float x\nproperty float y\nproperty float z\nend_header\n";
        write(file, header + std::string(c_points * 12, '\0'));
        touch(file, std::chrono::hours(1));
    }

    /// Runs a command while \p scan is written to after it was opened and \p isTime; expects that
    /// it fails and changes nothing, or that it has done its work before. True when it failed.
    [[nodiscard]] bool isRefused(const std::vector<std::string>& arguments, const std::string& scan,
                                 const std::function<bool()>& isTime) const
    {
        touch(scan, std::chrono::hours(1));
        const auto before = snapshot();
        bool isTouched = false;
        const auto result = run(arguments, {.whileRunning = [&](int process) {
                                    if (!isTouched && hasOpened(process, scan) && isTime())
                                    {
                                        touch(scan);
                                        isTouched = true;
                                    }
                                }});
        if (result.exitCode == 0)
        {
            return false;
        }
        EXPECT_EQ(result.exitCode, 3);
        EXPECT_THAT(result.err, HasSubstr(scan + ": was written to by another program"));
        EXPECT_EQ(result.out, "");
        EXPECT_TRUE(snapshot() == before) << testing::PrintToString(list());
        return true;
    }

    /// Expects that a command fails when \p scan is written to after it was opened.
    void expectRefused(const std::vector<std::string>& arguments, const std::string& scan,
                       const std::vector<std::string>& outputs = {}) const
    {
        for (int count = 0; count < c_tries; ++count)
        {
            if (isRefused(arguments, scan, [] { return true; }))
            {
                return;
            }
            for (const std::string& output : outputs)
            {
                std::filesystem::remove(in(output));
            }
        }
        ADD_FAILURE() << "never refused";
    }
};

// The components of one scan depend on all others.
TEST_F(ChangedScanTest, CleanOfSeveralScans_KeepsNothingOfTheFirstWhenTheSecondChanges)
{
    const std::vector<std::string> scans{"one.ply", "two.ply", "large.ply"};
    write(scans[0], makeScan());
    write(scans[1], makeScan());
    // It takes a while to read, in which the second changes.
    writeLargeScan(scans[2]);
    std::vector<std::string> clean{"clean", "--voxel", "1"};
    clean.insert(clean.end(), scans.begin(), scans.end());
    std::vector<std::string> rests;
    for (const std::string& scan : scans)
    {
        rests.push_back(scan + ".rest");
        clean.insert(clean.end(), {"--flags", scan + ".flags", "--output", rests.back()});
    }
    expectRefused(clean, "two.ply", rests);
}

TEST_F(ChangedScanTest, CutOfAProject_KeepsNoPicture)
{
    writeLargeScan("large.ply");
    expectDone({"project", "create", "q.json", "a.ply", "large.ply"});
    const std::vector<std::string> stroke{"cut",    "q.json",   "--view",    "view.json",
                                          "--mask", "mask.png", "--picture", "cut.png"};
    for (int count = 0; count < c_tries; ++count)
    {
        if (isRefused(stroke, "large.ply", [] { return true; }))
        {
            return;
        }
        std::filesystem::remove(in("cut.png"));
        expectDone({"undo", "q.json"});
    }
    ADD_FAILURE() << "never refused";
}

TEST_F(ChangedScanTest, CutOfAProject_IsRefusedAlsoWhereNothingIsCut)
{
    writeLargeScan("large.ply");
    writeMask("empty.png", {{7, 1}});
    expectDone({"project", "create", "q.json", "large.ply"});
    expectRefused({"cut", "q.json", "--view", "view.json", "--mask", "empty.png"}, "large.ply");
}

TEST_F(ChangedScanTest, CommandsThatOnlyLook_Refuse)
{
    writeLargeScan("large.ply");
    expectDone({"project", "create", "q.json", "large.ply"});
    expectRefused({"info", "large.ply"}, "large.ply");
    expectRefused({"view", "large.ply", "--view", "v.json", "--output", "v.png"}, "large.ply",
                  {"v.json", "v.png"});
    expectRefused({"clean", "large.ply", "--voxel", "1", "--dry-run"}, "large.ply");
}

// With whatever output is there first, the others are there in the end.
TEST_F(ChangedScanTest, CutOfAScan_KeepsAllOutputsOrNone)
{
    writeLargeScan("large.ply");
    const std::vector<std::string> outputs{"rest.ply", "cut.flags", "cut.png"};
    const std::vector<std::string> cut{"cut",     "large.ply", "--view",    "view.json",
                                       "--mask",  "mask.png",  "--output",  outputs[0],
                                       "--flags", outputs[1],  "--picture", outputs[2]};
    for (const std::string& first : outputs)
    {
        const bool isFailed = isRefused(cut, "large.ply", [&] { return exists(first); });
        EXPECT_FALSE(isFailed) << first;
        for (const std::string& output : outputs)
        {
            EXPECT_EQ(exists(output), !isFailed) << output;
            std::filesystem::remove(in(output));
        }
    }
}

}  // namespace
