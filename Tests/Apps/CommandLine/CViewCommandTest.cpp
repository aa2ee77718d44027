#include "Apps/CommandLine/CViewCommand.h"

#include <gmock/gmock.h>

#include <cmath>
#include <nlohmann/json.hpp>

#include "Application/Scans/CFlagFile.h"
#include "Application/View/CView.h"
#include "Tests/Apps/CommandLine/CCommandTest.h"

namespace
{

using Application::CView;
using nlohmann::json;
using testing::HasSubstr;

class CViewCommandTest : public TestSupport::CCommandTest
{
protected:
    CViewCommandTest() { write("scan.ply", makeScan()); }

    [[nodiscard]] static std::uint32_t widthOf(const std::string& png)
    {
        const auto byte = [&](std::size_t index) {
            return static_cast<std::uint32_t>(static_cast<unsigned char>(png.at(index)));
        };
        return byte(18) << 8 | byte(19);
    }
};

TEST_F(CViewCommandTest, PictureAndView_HaveTheSizeAskedFor)
{
    const auto result =
        run({"view", "scan.ply", "-o", "p.png", "--view", "v.json", "--size", "320x200"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.out, "picture: p.png\nview: v.json\n");
    EXPECT_EQ(widthOf(read("p.png")), 320U);
    const CView view = CView::Read(in("v.json"));
    EXPECT_EQ(view.GetWidth(), 320U);
    EXPECT_EQ(view.GetHeight(), 200U);
}

TEST_F(CViewCommandTest, Json_NamesTheFiles)
{
    const auto result = run({"view", "scan.ply", "--view", "v.json", "--json"});
    EXPECT_EQ(json::parse(result.out), (json{{"command", "view"},
                                             {"scans", {"scan.ply"}},
                                             {"width", 1280},
                                             {"height", 720},
                                             {"view", "v.json"}}));
}

TEST_F(CViewCommandTest, NothingToLookAt_NamesTheScans)
{
    write("nan.ply",
          "ply\nformat ascii 1.0\nelement vertex 1\nproperty float x\nproperty float y\n"
          "property float z\nend_header\nnan nan nan\n");
    write("empty.ply", makePly({}));
    const auto result = run({"view", "nan.ply", "empty.ply", "--view", "v.json"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_EQ(result.err, "veko2: nan.ply, empty.ply: camera: there is no point to look at\n");
    EXPECT_EQ(run({"cut", "nan.ply", "--rectangle", "1,1,2,2", "--dry-run"}).err,
              "veko2: nan.ply: camera: there is no point to look at\n");
}

TEST_F(CViewCommandTest, SameScan_GivesTheSameView)
{
    ASSERT_EQ(run({"view", "scan.ply", "--view", "a.json"}).exitCode, 0);
    ASSERT_EQ(run({"view", "scan.ply", "--view", "b.json"}).exitCode, 0);
    EXPECT_EQ(read("a.json"), read("b.json"));
}

TEST_F(CViewCommandTest, View_HasAFarPlaneWhetherThereIsAPictureOrNot)
{
    ASSERT_EQ(run({"view", "scan.ply", "--view", "a.json"}).exitCode, 0);
    ASSERT_EQ(run({"view", "scan.ply", "--view", "b.json", "-o", "p.png"}).exitCode, 0);
    // -1 where there is no end.
    EXPECT_LT(CView::Read(in("a.json")).GetTransforms()[1](2, 2), -1.001);
    EXPECT_EQ(read("a.json"), read("b.json"));
}

TEST_F(CViewCommandTest, Picture_IsTheSameWhetherTheViewIsWrittenOrNot)
{
    std::vector<LqVector3f> points;
    std::vector<LqVector3f> strays;
    for (int index = 0; index <= 500; ++index)
    {
        const auto value = 0.01F * static_cast<float>(index);
        points.push_back({std::sin(99.0F * value), std::sin(55.0F * value), value});
        strays.push_back({0.0F, value * value * value, 0.0F});
    }
    write("alone.ply", makePly(points));
    points.insert(points.end(), strays.begin(), strays.end());
    write("behind.ply", makePly(points));
    // Towards the eye, and behind it.
    for (const LqVector3f& stray : strays)
    {
        points.push_back({0.0F, -stray.y, 0.0F});
    }
    write("around.ply", makePly(points));
    for (const char* scan : {"alone.ply", "behind.ply", "around.ply"})
    {
        for (const char* projection : {"--fov=30", "--ortho=fit"})
        {
            SCOPED_TRACE(std::string(scan) + ' ' + projection);
            const auto draw = [&](std::vector<std::string> arguments) {
                arguments.insert(arguments.end(), {"--from", "front", projection, "--force"});
                EXPECT_EQ(run(arguments).exitCode, 0);
            };
            draw({"view", scan, "-o", "alone.png"});
            draw({"view", scan, "-o", "both.png", "--view", "v.json"});
            EXPECT_EQ(read("alone.png"), read("both.png"));
        }
    }
}

TEST_F(CViewCommandTest, Like_DrawsAnotherScanInTheSameView)
{
    ASSERT_EQ(run({"view", "scan.ply", "--view", "v.json", "--size", "64x64"}).exitCode, 0);
    write("other.ply", makePly({atPixel(2, 2)}));
    const auto result =
        run({"view", "other.ply", "--like", "v.json", "-o", "p.png", "--view", "again.json"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(read("again.json"), read("v.json"));
    EXPECT_EQ(widthOf(read("p.png")), 64U);
}

TEST_F(CViewCommandTest, Camera_PlacedByHandShowsItsTargetInTheMiddle)
{
    const auto result = run({"view", "scan.ply", "--eye", "0,0,10", "--target", "0,0,0", "--up",
                             "0,1,0", "--size", "100x100", "--view", "v.json"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    const CView view = CView::Read(in("v.json"));
    EXPECT_EQ(view.GetOrigin(), (CView::Origin{0, 0, 0}));
}

TEST_F(CViewCommandTest, Camera_SinglePlaneHasToFitTheScans)
{
    const auto draw = [&](const std::string& option, const std::string& value) {
        return run({"view", "scan.ply", "--eye", "0,0,1000", "--target", "0,0,0", "--up", "0,1,0",
                    option, value, "-o", "p.png", "--force"});
    };
    EXPECT_EQ(draw("--near", "200").exitCode, 0);
    EXPECT_EQ(draw("--far", "2000").exitCode, 0);
    EXPECT_EQ(draw("--near", "5000").exitCode, 2);
}

TEST_F(CViewCommandTest, Camera_ThatMakesNoSenseIsToldBeforeTheScanIsRead)
{
    EXPECT_EQ(run({"view", "missing.ply", "--from", "nowhere", "-o", "p.png"}).exitCode, 2);
}

TEST_F(CViewCommandTest, Camera_LookingAwayFromTheScanDrawsAnEmptyPicture)
{
    const auto result = run({"view", "scan.ply", "--eye", "0,0,10", "--target", "0,0,20", "--up",
                             "0,1,0", "-o", "p.png"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
}

TEST_F(CViewCommandTest, Camera_InParallelProjection)
{
    EXPECT_EQ(run({"view", "scan.ply", "--ortho", "fit", "--from", "top", "-o", "a.png"}).exitCode,
              0);
    EXPECT_EQ(run({"view", "scan.ply", "--ortho", "4", "--eye", "0,0,9", "--target", "0,0,0",
                   "--up", "0,1,0", "--near", "1", "--far", "20", "-o", "b.png"})
                  .exitCode,
              0);
}

TEST_F(CViewCommandTest, Flags_MarkOrHideWhatIsCut)
{
    const std::vector<Base::CSurfelBitMask> flags{{8}, {8}, {8}, {8}};
    Application::CFlagFile::Write(in("scan.flags"), flags, false);
    const std::vector<std::string> common{"view", "scan.ply", "--size", "64x64", "-o"};
    const auto draw = [&](const std::string& picture, const std::vector<std::string>& options) {
        auto arguments = common;
        arguments.push_back(picture);
        arguments.insert(arguments.end(), options.begin(), options.end());
        const auto result = run(arguments);
        EXPECT_EQ(result.exitCode, 0) << result.err;
        return read(picture);
    };
    const std::string plain = draw("plain.png", {});
    const std::string marked = draw("marked.png", {"--flags", "scan.flags"});
    const std::string hidden = draw("hidden.png", {"--flags", "scan.flags", "--hide-cut"});
    EXPECT_NE(plain, marked);
    EXPECT_NE(plain, hidden);
    EXPECT_NE(marked, hidden);
}

TEST_F(CViewCommandTest, FlagsForSomeScansOnly_AreAUsageError)
{
    const auto result =
        run({"view", "scan.ply", "scan.ply", "--flags", "scan.flags", "-o", "p.png"});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_THAT(result.err, HasSubstr("2 scans but 1 flag file:"));
}

TEST_F(CViewCommandTest, NoOutput_IsAUsageError)
{
    EXPECT_EQ(run({"view", "scan.ply"}).exitCode, 2);
}

TEST_F(CViewCommandTest, LikeAndCamera_AreAUsageError)
{
    EXPECT_EQ(run({"view", "scan.ply", "--like", "v.json", "--fov", "40", "-o", "p.png"}).exitCode,
              2);
}

TEST_F(CViewCommandTest, ScanWithoutPoints_HasNothingToLookAt)
{
    write("scan.ply", makePly({}));
    const auto result = run({"view", "scan.ply", "-o", "p.png"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_FALSE(exists("p.png"));
}

TEST_F(CViewCommandTest, PictureInPlaceOfAScan_IsRefusedEvenWithForce)
{
    const std::string before = read("scan.ply");
    const auto result = run({"view", "scan.ply", "-o", "scan.ply", "--force"});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_THAT(result.err, HasSubstr("--output would replace the input 'scan.ply'"));
    EXPECT_EQ(read("scan.ply"), before);
}

TEST_F(CViewCommandTest, PictureThatExists_IsLeft)
{
    write("p.png", "old");
    const auto result = run({"view", "scan.ply", "-o", "p.png"});
    EXPECT_EQ(result.exitCode, 4);
    EXPECT_EQ(read("p.png"), "old");
    EXPECT_EQ(run({"view", "scan.ply", "-o", "p.png", "--force"}).exitCode, 0);
    EXPECT_NE(read("p.png"), "old");
}

TEST_F(CViewCommandTest, MissingFolder_IsNoticedBeforeTheScanIsRead)
{
    EXPECT_EQ(run({"view", "none.ply", "-o", "no/p.png"}).exitCode, 4);
}

}  // namespace
