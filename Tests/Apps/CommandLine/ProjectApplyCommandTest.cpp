#include <gmock/gmock.h>

#include "Tests/Apps/CommandLine/CProjectCommandTest.h"

// Writing what is left of the scans of a project.

namespace
{

using testing::AllOf;
using testing::HasSubstr;

using ProjectApplyCommandTest = TestSupport::CProjectCommandTest;

TEST_F(ProjectApplyCommandTest, Apply_WritesWhatIsLeft)
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

TEST_F(ProjectApplyCommandTest, Apply_WarnsOfAnEmptyResult)
{
    write("c.xyz", "-0.5 0.5 0.5\n");
    expectDone({"project", "create", "q.json", "c.xyz"});
    expectDone({"cut", "q.json", "--view", "view.json", "--mask", "mask.png"});
    const auto result = run({"apply", "q.json", "--output", "out"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.err, HasSubstr("nothing is left in 'out/c.xyz'; only PLY and STL"));
    expectFailure({"info", "out/c.xyz"}, 3, "out/c.xyz: expected");
}

TEST_F(ProjectApplyCommandTest, Apply_ListsScansWhateverTheirNames)
{
    write("#c.ply", makeScan());
    write("transforms.txt", "0 0 0\n");
    expectDone({"project", "create", "q.json", "#c.ply", "transforms.txt"});
    expectDone({"apply", "q.json", "--output", "out"});
    EXPECT_EQ(read("out/transforms-2.txt"), "0 0 0\n");
    EXPECT_THAT(
        expectDone({"project", "create", "r.json", "--transforms", "out/transforms.txt"}),
        AllOf(HasSubstr("out/#c.ply: 4 points"), HasSubstr("out/transforms-2.txt: 1 point")));
}

TEST_F(ProjectApplyCommandTest, Apply_RefusesANameThatTheListCannotHold)
{
    write("c\nd.ply", makeScan());
    expectDone({"project", "create", "q.json", "c\nd.ply"});
    expectFailure({"apply", "q.json", "--output", "out"}, 4, "out/transforms.txt: a line cannot");
}

TEST_F(ProjectApplyCommandTest, Apply_DropsOnlyWhatIsAskedFor)
{
    cut();
    expectDone({"apply", "p.json", "--output", "out", "--drop", "small-component"});
    EXPECT_EQ(read("out/a.ply"), makeScan());
}

TEST_F(ProjectApplyCommandTest, Apply_WritesTheFlagsAsAProperty)
{
    cut();
    expectDone({"apply", "p.json", "--output", "out", "--property"});
    EXPECT_EQ(read("out/a.ply"),
              "ply\nformat ascii 1.0\nelement vertex 4\nproperty float x\nproperty float y\n"
              "property float z\nproperty ushort veko2_flags\nend_header\n"
              "-0.5 0.5 0.5 8\n0 0.5 0.5 8\n-0.5 -0 0.5 0\n0.5 -0.5 0.5 0\n");
    expectFailure({"apply", "p.json", "--output", "out", "--property"}, 4, "--force");
}

TEST_F(ProjectApplyCommandTest, Apply_RemovesWhatAKilledOneLeft)
{
    std::filesystem::create_directory(in("out"));
    write("out/.veko2-0123456789abcdef.part", "x");
    expectDone({"apply", "p.json", "--output", "out"});
    EXPECT_FALSE(exists("out/.veko2-0123456789abcdef.part"));
}

TEST_F(ProjectApplyCommandTest, Apply_IntoAFolderBesideTheDataIsNotIntoIt)
{
    expectDone({"apply", "p.json", "--output", "p.data2"});
    expectDone({"project", "create", "q.json", "--transforms", "p.data2/transforms.txt"});
}

TEST_F(ProjectApplyCommandTest, Apply_ScansOfTheSameNameGetNumbers)
{
    std::filesystem::create_directory(in("sub"));
    write("sub/a.ply", makeScan());
    expectDone({"project", "create", "q.json", "a.ply", "sub/a.ply"});
    EXPECT_THAT(expectDone({"apply", "q.json", "--output", "out"}), HasSubstr("out/a-2.ply"));
}

TEST_F(ProjectApplyCommandTest, Apply_ThatIsRefusedLeavesNoFolder)
{
    write("c.xyz", "0 0 0\n");
    expectDone({"project", "create", "q.json", "c.xyz"});
    expectFailure({"apply", "q.json", "--output", "new/folder", "--property"}, 3,
                  "expected a PLY file");
}

TEST_F(ProjectApplyCommandTest, Apply_WritesNoScanWhereOneCannotHaveTheProperty)
{
    write("c.obj", "v 0 0 0\n");
    expectDone({"project", "create", "q.json", "a.ply", "c.obj"});
    expectFailure({"apply", "q.json", "--output", "out", "--property"}, 3,
                  "c.obj: expected a PLY file");
}

TEST_F(ProjectApplyCommandTest, Apply_WritesNoScanWhereOneHasThePropertyAlready)
{
    expectDone({"apply", "p.json", "--output", "out", "--property"});
    expectDone({"project", "create", "q.json", "a.ply", "out/b.ply"});
    expectFailure({"apply", "q.json", "--output", "again", "--property"}, 3,
                  "out/b.ply: the vertices have a property 'veko2_flags' already");
}

TEST_F(ProjectApplyCommandTest, Apply_DryRunSaysThatAScanCannotHaveTheProperty)
{
    write("c.obj", "v 0 0 0\n");
    expectDone({"project", "create", "q.json", "a.ply", "c.obj"});
    expectFailure({"apply", "q.json", "--property", "--dry-run"}, 3, "c.obj: expected a PLY file");
}

}  // namespace
