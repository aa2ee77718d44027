#include <gmock/gmock.h>
#include <sys/mount.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "Tests/Apps/CommandLine/CCommandTest.h"

// Everything that can be wrong with what `veko2 cut` is given: a clear message, the exit code, and
// nothing left behind.

namespace
{

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class CutCommandBadInputTest : public TestSupport::CCommandTest
{
protected:
    CutCommandBadInputTest()
    {
        write("scan.ply", makeScan());
        writeView("view.json");
        writeMask("mask.png", {{2, 2}});
    }

    /// Runs `cut` and expects its failure, with nothing on standard output and no file made.
    void expectFailure(const std::vector<std::string>& arguments, int exitCode,
                       const std::string& message)
    {
        std::vector<std::string> all{"cut"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        const auto before = list();
        const auto result = run(all);
        EXPECT_EQ(result.exitCode, exitCode) << result.err;
        EXPECT_THAT(result.err, AllOf(testing::StartsWith("veko2: "), HasSubstr(message)));
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(list(), before);
    }

    void expectUsageError(const std::vector<std::string>& arguments, const std::string& message)
    {
        expectFailure(arguments, 2, message);
    }

    /// Cuts with the standard view and mask, with one of the files as given here.
    void expectFailureWith(const std::string& scan, const std::string& view,
                           const std::string& mask, int exitCode, const std::string& message)
    {
        expectFailure({scan, "--view", view, "--mask", mask, "-o", "rest.ply"}, exitCode, message);
    }

    void replaceInView(const std::string& what, const std::string& by)
    {
        std::string text = read("view.json");
        const std::size_t place = text.find(what);
        ASSERT_NE(place, std::string::npos) << text;
        write("view.json", text.replace(place, what.size(), by));
    }
};

TEST_F(CutCommandBadInputTest, NoScan)
{
    expectUsageError({"--rectangle", "1,1,2,2", "-o", "rest.ply"}, "SCAN");
}

TEST_F(CutCommandBadInputTest, UnknownOption)
{
    expectUsageError({"scan.ply", "--rectangel", "1,1,2,2", "-o", "rest.ply"}, "--rectangel");
}

TEST_F(CutCommandBadInputTest, ShapesAreLookedAtBeforeAScanIsRead)
{
    expectUsageError({"none.ply", "--rectangle", "1,1,2", "-o", "rest.ply"}, "--rectangle");
    expectUsageError({"none.ply", "--lasso", "1,1", "2,2", "-o", "rest.ply"}, "--lasso");
    expectUsageError({"none.ply", "--brush", "0", "1,1", "--dry-run"}, "--brush");
}

TEST_F(CutCommandBadInputTest, NothingPainted)
{
    expectUsageError({"scan.ply", "-o", "rest.ply"}, "nothing is painted");
}

TEST_F(CutCommandBadInputTest, NoOutput)
{
    expectUsageError({"scan.ply", "--rectangle", "1,1,2,2"}, "--output");
}

TEST_F(CutCommandBadInputTest, MoreMasksThanViews)
{
    expectUsageError({"scan.ply", "--view", "view.json", "--mask", "mask.png", "--mask", "mask.png",
                      "-o", "rest.ply"},
                     "2 masks but 1 view");
}

TEST_F(CutCommandBadInputTest, MoreViewsThanMasks)
{
    expectUsageError({"scan.ply", "--view", "view.json", "--view", "view.json", "--mask",
                      "mask.png", "-o", "rest.ply"},
                     "1 mask but 2 views");
}

TEST_F(CutCommandBadInputTest, ViewWithoutMaskOrShape)
{
    expectUsageError({"scan.ply", "--view", "view.json", "-o", "rest.ply"}, "--mask");
}

TEST_F(CutCommandBadInputTest, MaskAndShapes)
{
    expectUsageError({"scan.ply", "--view", "view.json", "--mask", "mask.png", "--rectangle",
                      "1,1,2,2", "-o", "rest.ply"},
                     "--mask and shapes");
}

TEST_F(CutCommandBadInputTest, ShapesInTwoViews)
{
    expectUsageError({"scan.ply", "--view", "view.json", "--view", "view.json", "--rectangle",
                      "1,1,2,2", "-o", "rest.ply"},
                     "2 views");
}

TEST_F(CutCommandBadInputTest, ViewAndCamera)
{
    expectUsageError({"scan.ply", "--view", "view.json", "--size", "9x9", "--rectangle", "1,1,2,2",
                      "-o", "rest.ply"},
                     "--view and camera");
}

TEST_F(CutCommandBadInputTest, FrontOnlyAndThroughEye)
{
    expectUsageError(
        {"scan.ply", "--rectangle", "1,1,2,2", "--front-only", "--through-eye", "-o", "rest.ply"},
        "--through-eye");
}

TEST_F(CutCommandBadInputTest, TwoOutputsInOneFile)
{
    expectUsageError({"scan.ply", "--view", "view.json", "--mask", "mask.png", "-o", "rest.ply",
                      "--flags", "./rest.ply"},
                     "--output and --flags");
}

TEST_F(CutCommandBadInputTest, TwoOutputsInOneFileByALinkToIt)
{
    std::filesystem::create_symlink("rest.ply", in("link"));
    expectUsageError({"scan.ply", "--view", "view.json", "--mask", "mask.png", "-o", "rest.ply",
                      "--picture", "link", "--force"},
                     "name the same file");
}

TEST_F(CutCommandBadInputTest, NumbersThatAreNone)
{
    const std::vector<std::vector<std::string>> cases{
        {"--rectangle", "a,1,2,2"},
        {"--rectangle", "1,1,2"},
        {"--rectangle", "1,1,2,2,3"},
        {"--rectangle", "1,1,2,"},
        {"--rectangle", "1,1,2,nan"},
        {"--rectangle", "1,1,2,1.5"},
        {"--rectangle", "1,1,2,1e30"},
        {"--lasso", "1,1", "2,2", "inf,3"},
        {"--lasso", "1,1", "2,2", "3"},
        {"--brush", "0", "1,1"},
        {"--brush", "-1", "1,1"},
        {"--brush", "wide", "1,1"},
        {"--brush", "2"},
        {"--rectangle", "1,1,2,2", "--size", "0x8"},
        {"--rectangle", "1,1,2,2", "--size", "8"},
        {"--rectangle", "1,1,2,2", "--size", "99999x8"},
        {"--rectangle", "1,1,2,2", "--size", "8x-8"},
        {"--rectangle", "1,1,2,2", "--fov", "0"},
        {"--rectangle", "1,1,2,2", "--fov", "180"},
        {"--rectangle", "1,1,2,2", "--fov", "x"},
        {"--rectangle", "1,1,2,2", "--from", "nowhere"},
        {"--rectangle", "1,1,2,2", "--ortho", "7"},
        {"--rectangle", "1,1,2,2", "--eye", "1,2,3"},
        {"--rectangle", "1,1,2,2", "--eye", "1,2,3", "--target", "1,2,3"},
        {"--rectangle", "1,1,2,2", "--eye", "1,2", "--target", "0,0,0"},
        {"--rectangle", "1,1,2,2", "--eye", "1,2,3", "--target", "0,0,0", "--up", "1,2,3"},
        {"--rectangle", "1,1,2,2", "--eye", "1,2,3", "--target", "0,0,0", "--near", "-1"},
        {"--rectangle", "1,1,2,2", "--near", "1"},
        {"--rectangle", "1,1,2,2", "--up", "0,0,0"},
    };
    for (const auto& options : cases)
    {
        SCOPED_TRACE(testing::PrintToString(options));
        std::vector<std::string> arguments{"scan.ply", "-o", "rest.ply"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        expectUsageError(arguments, "--");
    }
}

TEST_F(CutCommandBadInputTest, CameraThatMakesNoSense_IsToldBeforeTheScanIsRead)
{
    const std::vector<std::vector<std::string>> cases{
        {"--size", "0x8"},
        {"--fov", "180"},
        {"--from", "nowhere"},
        {"--ortho", "7"},
        {"--up", "0,0,0"},
        {"--near", "1"},
        {"--eye", "1,2,3"},
        {"--eye", "1,2,3", "--target", "1,2,3"},
        {"--eye", "1,2,3", "--target", "0,0,0", "--from", "top"},
        {"--eye", "1,2,3", "--target", "0,0,0", "--near", "x"},
        {"--eye", "1,2,3", "--target", "0,0,0", "--far", "x"},
        {"--eye", "1,2,3", "--target", "0,0,0", "--near", "2", "--far", "1"},
        {"--eye", "1,2,3", "--target", "0,0,0", "--near", "0"},
        {"--eye", "1,2,3", "--target", "0,0,0", "--far", "0"},
        {"--eye", "1,2,3", "--target", "0,0,0", "--far", "-1", "--ortho", "4"},
    };
    for (const auto& options : cases)
    {
        SCOPED_TRACE(testing::PrintToString(options));
        std::vector<std::string> arguments{"missing.ply", "-o", "rest.ply", "--rectangle",
                                           "1,1,2,2"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        expectUsageError(arguments, "");
    }
}

TEST_F(CutCommandBadInputTest, LassoOfTwoPoints)
{
    expectUsageError({"scan.ply", "-o", "rest.ply", "--lasso", "1,1", "2,2"}, "--lasso");
}

TEST_F(CutCommandBadInputTest, MissingScan)
{
    expectFailureWith("none.ply", "view.json", "mask.png", 3, "none.ply");
}

TEST_F(CutCommandBadInputTest, FolderInPlaceOfTheScan)
{
    expectFailureWith(".", "view.json", "mask.png", 3, "directory");
}

TEST_F(CutCommandBadInputTest, EmptyFileInPlaceOfTheScan)
{
    write("scan.ply", "");
    expectFailureWith("scan.ply", "view.json", "mask.png", 3, "scan.ply");
}

TEST_F(CutCommandBadInputTest, DamagedScanNamesTheLine)
{
    write("scan.ply", makeScan().replace(makeScan().rfind("0.5"), 3, "abc"));
    expectFailureWith("scan.ply", "view.json", "mask.png", 3, "scan.ply: line 11");
}

TEST_F(CutCommandBadInputTest, ScanThatPromisesMoreThanItHas)
{
    write("scan.ply",
          "ply\nformat binary_little_endian 1.0\nelement vertex 4000000000\nproperty float x\n"
          "property float y\nproperty float z\nend_header\n");
    expectFailureWith("scan.ply", "view.json", "mask.png", 3, "scan.ply");
}

TEST_F(CutCommandBadInputTest, MissingView)
{
    expectFailureWith("scan.ply", "none.json", "mask.png", 3, "none.json");
}

TEST_F(CutCommandBadInputTest, ViewThatIsNoJson)
{
    write("view.json", "{");
    expectFailureWith("scan.ply", "view.json", "mask.png", 3, "view.json");
}

TEST_F(CutCommandBadInputTest, ViewWithASingularMatrix)
{
    replaceInView("1.0", "0.0");
    expectFailureWith("scan.ply", "view.json", "mask.png", 3, "view.json");
}

TEST_F(CutCommandBadInputTest, ViewWithANumberBeyondFloat)
{
    replaceInView("1.0", "1e300");
    expectFailureWith("scan.ply", "view.json", "mask.png", 3, "view.json");
}

TEST_F(CutCommandBadInputTest, ViewWithANumberBeyondDouble)
{
    replaceInView("1.0", "1e999");
    expectFailureWith("scan.ply", "view.json", "mask.png", 3, "view.json");
}

TEST_F(CutCommandBadInputTest, FolderInPlaceOfTheView)
{
    expectFailureWith("scan.ply", ".", "mask.png", 3, "veko2: .: ");
}

TEST_F(CutCommandBadInputTest, MissingMask)
{
    expectFailureWith("scan.ply", "view.json", "none.png", 3, "none.png");
}

TEST_F(CutCommandBadInputTest, MaskOfAnotherSize)
{
    writeMask("mask.png", {{2, 2}}, 9);
    expectFailureWith("scan.ply", "view.json", "mask.png", 3, "mask.png");
}

TEST_F(CutCommandBadInputTest, DamagedMask)
{
    write("mask.png", read("mask.png").substr(0, 40));
    expectFailureWith("scan.ply", "view.json", "mask.png", 3, "mask.png");
}

TEST_F(CutCommandBadInputTest, MaskThatIsNoPicture)
{
    write("mask.png", "no picture");
    expectFailureWith("scan.ply", "view.json", "mask.png", 3, "mask.png");
}

TEST_F(CutCommandBadInputTest, FolderInPlaceOfTheMask)
{
    expectFailureWith("scan.ply", "view.json", ".", 3, "veko2: .: ");
}

TEST_F(CutCommandBadInputTest, OutputThatExistsIsLeft)
{
    write("rest.ply", "old");
    expectFailureWith("scan.ply", "view.json", "mask.png", 4, "--force");
    EXPECT_EQ(read("rest.ply"), "old");
}

TEST_F(CutCommandBadInputTest, OutputThatExistsIsReplacedWithForce)
{
    write("rest.ply", "old");
    const auto result = run({"cut", "scan.ply", "--view", "view.json", "--mask", "mask.png", "-o",
                             "rest.ply", "--force"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_NE(read("rest.ply"), "old");
}

TEST_F(CutCommandBadInputTest, OutputThatIsTheScanNeedsForce)
{
    expectFailure({"scan.ply", "--view", "view.json", "--mask", "mask.png", "-o", "scan.ply"}, 4,
                  "--force");
    const auto result = run({"cut", "scan.ply", "--view", "view.json", "--mask", "mask.png", "-o",
                             "scan.ply", "--force"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    auto points = scanPoints();
    points.erase(points.begin());
    EXPECT_EQ(read("scan.ply"), makePly(points));
}

TEST_F(CutCommandBadInputTest, OutputThatIsAnotherInputIsRefusedEvenWithForce)
{
    const std::vector<std::string> common{"cut",    "scan.ply", "--view", "view.json",
                                          "--mask", "mask.png", "--force"};
    ASSERT_EQ(run({"cut", "scan.ply", "--view", "view.json", "--mask", "mask.png", "--flags", "f"})
                  .exitCode,
              0);
    const auto readInputs = [this] {
        return read("scan.ply") + read("mask.png") + read("view.json") + read("f");
    };
    const std::vector<std::vector<std::string>> outputs{
        {"--dry-run", "--picture", "./scan.ply"},
        {"--dry-run", "--picture", "mask.png"},
        {"--dry-run", "--flags", "f", "--picture", "f"},
        {"--output", "view.json"},
        {"--output", "mask.png"},
    };
    for (const auto& output : outputs)
    {
        std::vector<std::string> arguments = common;
        arguments.insert(arguments.end(), output.begin(), output.end());
        const auto before = readInputs();
        const auto result = run(arguments);
        EXPECT_EQ(result.exitCode, 2) << output.back();
        EXPECT_THAT(result.err, HasSubstr("would replace the input"));
        EXPECT_EQ(readInputs(), before);
    }
}

TEST_F(CutCommandBadInputTest, PictureThatExistsIsNoticedBeforeTheWork)
{
    write("picture.png", "old");
    expectFailure({"scan.ply", "--view", "view.json", "--mask", "mask.png", "-o", "rest.ply",
                   "--picture", "picture.png"},
                  4, "picture.png");
    EXPECT_EQ(read("picture.png"), "old");
}

TEST_F(CutCommandBadInputTest, OutputInAMissingFolder)
{
    expectFailure({"scan.ply", "--view", "view.json", "--mask", "mask.png", "-o", "no/rest.ply"}, 4,
                  "no/rest.ply");
}

TEST_F(CutCommandBadInputTest, OutputThatIsAFolder)
{
    expectFailure({"scan.ply", "--view", "view.json", "--mask", "mask.png", "-o", ".", "--force"},
                  4, "directory");
}

TEST_F(CutCommandBadInputTest, OutputThatIsADevice)
{
    expectFailure(
        {"scan.ply", "--view", "view.json", "--mask", "mask.png", "-o", "/dev/full", "--force"}, 4,
        "/dev/full");
}

TEST_F(CutCommandBadInputTest, OutputInAFolderThatMayNotBeWritten)
{
    if (geteuid() == 0)
    {
        GTEST_SKIP() << "nothing is forbidden to the superuser";
    }
    std::filesystem::create_directory(in("locked"));
    std::filesystem::permissions(
        in("locked"), std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
    expectFailure(
        {"scan.ply", "--view", "view.json", "--mask", "mask.png", "-o", "locked/rest.ply"}, 4,
        "locked/rest.ply");
}

/// 100,000 points, about a megabyte.
std::string MakeLargeScan()
{
    std::string text =
        "ply\nformat ascii 1.0\nelement vertex 100000\nproperty float x\n"
        "property float y\nproperty float z\nend_header\n";
    for (int index = 0; index < 100000; ++index)
    {
        text += "0.25 0.25 0\n";
    }
    return text;
}

TEST_F(CutCommandBadInputTest, OutputBeyondTheFileSizeLimit)
{
    write("scan.ply", MakeLargeScan());
    const auto before = list();
    const auto result =
        run({"cut", "scan.ply", "--view", "view.json", "--mask", "mask.png", "-o", "rest.ply"},
            {.fileSizeLimit = 4096});
    EXPECT_EQ(result.exitCode, 4) << result.err;
    EXPECT_THAT(result.err, HasSubstr("rest.ply"));
    EXPECT_EQ(list(), before);
}

TEST_F(CutCommandBadInputTest, FullDiskLeavesTheOldFile)
{
    std::filesystem::create_directory(in("disk"));
    if (mount("tmpfs", in("disk").c_str(), "tmpfs", 0, "size=64k") != 0)
    {
        GTEST_SKIP() << "a small disk cannot be made here";
    }
    write("scan.ply", MakeLargeScan());
    write("disk/rest.ply", "old");
    const auto result = run({"cut", "scan.ply", "--view", "view.json", "--mask", "mask.png", "-o",
                             "disk/rest.ply", "--force"});
    EXPECT_EQ(result.exitCode, 4) << result.err;
    EXPECT_THAT(result.err, AllOf(HasSubstr("disk/rest.ply"), HasSubstr("space")));
    EXPECT_EQ(read("disk/rest.ply"), "old");
    std::size_t numFiles = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(in("disk")))
    {
        ++numFiles;
    }
    EXPECT_EQ(numFiles, 1U);
    umount(in("disk").c_str());
}

TEST_F(CutCommandBadInputTest, JsonTellsTheErrorInOneDocument)
{
    const auto result = run({"cut", "none.ply", "--view", "view.json", "--mask", "mask.png", "-o",
                             "rest.ply", "--json"});
    EXPECT_EQ(result.exitCode, 3);
    const auto document = nlohmann::json::parse(result.out);
    EXPECT_EQ(document["error"]["code"], 3);
    EXPECT_THAT(document["error"]["message"].get<std::string>(), HasSubstr("none.ply"));
}

}  // namespace
