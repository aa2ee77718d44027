#include "Application/Projects/ProjectJson.h"

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "Application/Files/CInputError.h"
#include "Application/Files/COutputError.h"
#include "Tests/Application/Files/FileTestSupport.h"

namespace
{

using Application::ParseProject;
using Application::PrintProject;
using Application::SProjectDocument;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

SProjectDocument MakeDocument()
{
    SProjectDocument document;
    document.scans.resize(2);
    document.scans[0].file = "scans/a b.ply";
    document.scans[0].key = Base::CUniqueID();
    document.scans[0].transform(3, 0) = 1.0 / 3.0;
    document.scans[0].points = 12345678901;
    document.scans[0].flags = "7-0.flags";
    document.scans[0].optimizationLevel = -3;
    document.scans[1].file = "../b.obj";
    document.scans[1].key = Base::CUniqueID();
    document.scans[1].isSkeleton = true;
    document.excluded = {{{-1, -2, -3}, {1, 2, 0.1}}};
    document.historyBudget = 5000;
    document.edits = {{"3.edit", "cut", 17}, {"7.edit", "clean", 18}};
    document.numDone = 1;
    return document;
}

std::string Print()
{
    return PrintProject(MakeDocument(), "p.json");
}

TEST(ProjectJsonTest, Print_ReadsBackAsTheSameText)
{
    const std::string text = Print();
    EXPECT_EQ(PrintProject(ParseProject(text, "p.json"), "p.json"), text);
}

TEST(ProjectJsonTest, Parse_ReadsEveryField)
{
    const SProjectDocument written = MakeDocument();
    const SProjectDocument read = ParseProject(PrintProject(written, "p.json"), "p.json");
    ASSERT_EQ(read.scans.size(), 2U);
    EXPECT_EQ(read.scans[0].file, written.scans[0].file);
    EXPECT_EQ(read.scans[0].key, written.scans[0].key);
    EXPECT_EQ(read.scans[0].transform, written.scans[0].transform);
    EXPECT_EQ(read.scans[0].points, 12345678901U);
    EXPECT_EQ(read.scans[0].flags, "7-0.flags");
    EXPECT_EQ(read.scans[0].optimizationLevel, -3);
    EXPECT_FALSE(read.scans[0].isSkeleton);
    EXPECT_EQ(read.scans[1].flags, "");
    EXPECT_TRUE(read.scans[1].isSkeleton);
    ASSERT_EQ(read.excluded.size(), 1U);
    EXPECT_EQ(read.excluded[0].max[2], 0.1);
    EXPECT_EQ(read.historyBudget, 5000U);
    ASSERT_EQ(read.edits.size(), 2U);
    EXPECT_EQ(read.edits[1].file, "7.edit");
    EXPECT_EQ(read.edits[1].command, "clean");
    EXPECT_EQ(read.edits[1].bytes, 18U);
    EXPECT_EQ(read.numDone, 1U);
}

TEST(ProjectJsonTest, Print_RefusesANameThatIsNotUtf8)
{
    SProjectDocument document = MakeDocument();
    document.scans[0].file = "\xFF.ply";
    EXPECT_THROW((void)PrintProject(document, "p.json"), Application::COutputError);
}

void ExpectFailure(const std::string& text, const std::string& message)
{
    try
    {
        (void)ParseProject(text, "p.json");
        FAIL() << "read without complaint: " << message;
    }
    catch (const Application::CInputError& error)
    {
        EXPECT_THAT(error.what(), AllOf(StartsWith("p.json: "), HasSubstr(message)));
    }
}

/// A piece of the text, what stands there instead, and what the message says.
struct SDamage
{
    const char* name;
    const char* piece;
    const char* replacement;
    const char* message;
};

class ProjectJsonDamageTest : public testing::TestWithParam<SDamage>
{};

TEST_P(ProjectJsonDamageTest, Parse_NamesFileAndField)
{
    std::string text = Print();
    const std::size_t place = text.find(GetParam().piece);
    ASSERT_NE(place, std::string::npos) << text;
    text.replace(place, std::string(GetParam().piece).size(), GetParam().replacement);
    ExpectFailure(text, GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    Fields, ProjectJsonDamageTest,
    testing::Values(
        SDamage{"NoJson", "{", "", "expected a JSON document"},
        SDamage{"OtherFormat", "veko2-project", "veko2-view", "format: expected"},
        SDamage{"OtherVersion", "\"version\": 1", "\"version\": 2", "version: expected 1"},
        SDamage{"NoVersion", "\"version\": 1,", "", "version: the field is missing"},
        SDamage{"UnknownField", "\"version\": 1,", "\"version\": 1, \"more\": 1,",
                "more: the field is not known"},
        SDamage{"ScansNoArray", "\"scans\": [", "\"scans\": {}, \"old\": [",
                "old: the field is not known"},
        SDamage{"UnknownScanField", "\"skeleton\": false", "\"skeleton\": false, \"x\": 0",
                "scans[0].x: the field is not known"},
        SDamage{"UnknownFieldWithoutName", "\"version\": 1,", "\"version\": 1, \"\": 1,",
                "the field is not known"},
        SDamage{"ScanNumber", "\"scans\": [", "\"scans\": [ 7,",
                "scans[0]: expected an object, found 7"},
        SDamage{"BoxText", "\"excluded\": [", "\"excluded\": [ \"a\",",
                "excluded[0]: expected an object, found \"a\""},
        SDamage{"EditArray", "\"edits\": [", "\"edits\": [ [1],",
                "history.edits[0]: expected an object, found array"},
        SDamage{"UnknownEditField", "\"command\": \"clean\"",
                "\"command\": \"clean\", \"x\": {\"y\": [[]]}",
                "history.edits[1].x: the field is not known"},
        SDamage{"FileNoText", "\"file\": \"scans/a b.ply\"", "\"file\": 1",
                "scans[0].file: expected a text, found 1"},
        SDamage{"FileEmpty", "scans/a b.ply", "", "scans[0].file: expected the name"},
        SDamage{"FileWithAZero", "scans/a b.ply", "scans/a\\u0000b.ply",
                "scans[0].file: expected the name of a scan file, found \"scans/a\\u0000b.ply\""},
        SDamage{"KeyShort", "\"key\": \"", "\"key\": \"0", "scans[0].key: expected an identifier"},
        SDamage{"TransformShort", "\"transform\": [\n        1.0,", "\"transform\": [",
                "scans[0].transform: expected an array of 16 numbers"},
        SDamage{"TransformText", "\"transform\": [\n        1.0,", "\"transform\": [ \"1\",",
                "scans[0].transform[0]: expected a number, found \"1\""},
        SDamage{"TransformSingular", "\"transform\": [\n        1.0,", "\"transform\": [ 0.0,",
                "scans[0].transform: expected a transform"},
        SDamage{"PointsNegative", "\"points\": 12345678901", "\"points\": -1",
                "scans[0].points: expected a whole number"},
        SDamage{"PointsFraction", "\"points\": 12345678901", "\"points\": 1.5",
                "scans[0].points: expected a whole number"},
        SDamage{"FlagsElsewhere", "7-0.flags", "../7-0.flags", "scans[0].flags: expected null or"},
        SDamage{"FlagsOtherName", "7-0.flags", "main.cpp", "scans[0].flags: expected null or"},
        SDamage{"LevelTooLarge", "\"optimizationLevel\": -3", "\"optimizationLevel\": 3000000000",
                "scans[0].optimizationLevel: expected a whole number of 32 bits"},
        SDamage{"LevelTooSmall", "\"optimizationLevel\": -3", "\"optimizationLevel\": -3000000000",
                "scans[0].optimizationLevel: expected a whole number of 32 bits"},
        SDamage{"SkeletonNumber", "\"skeleton\": true", "\"skeleton\": 1",
                "scans[1].skeleton: expected true or false"},
        SDamage{"BoxReversed", "-1.0", "9.0", "excluded[0].max: expected nothing below min"},
        SDamage{"BudgetNegative", "\"budget\": 5000", "\"budget\": -5000",
                "history.budget: expected a whole number"},
        SDamage{"DoneTooLarge", "\"done\": 1", "\"done\": 3",
                "history.done: expected at most the number of edits, 2"},
        SDamage{"EditElsewhere", "3.edit", "/etc/passwd", "history.edits[0].file: expected"},
        SDamage{"EditOctal", "3.edit", "03.edit", "history.edits[0].file: expected"},
        SDamage{"NoEdits", "\"edits\":", "\"edit\":", "history.edit: the field is not known"}),
    [](const auto& damage) { return std::string(damage.param.name); });

TEST(ProjectJsonTest, Parse_DeepNestingInsideAFieldIsAnErrorAndNoCrash)
{
    const std::string deep = std::string(400000, '[') + std::string(400000, ']');
    const std::string header = "{\"format\": \"veko2-project\", \"version\": ";
    for (const auto& [text, message] :
         {std::pair("{\"format\": " + deep + "}",
                    "format: expected \"veko2-project\", found array"),
          std::pair(header + deep + "}", "version: expected 1"),
          std::pair(header + "1, \"scans\": " + deep + "}",
                    "scans[0]: expected an object, found array"),
          std::pair(header + "1, \"scans\": {\"a\": " + deep + "}}",
                    "scans: expected an array, found object")})
    {
        ExpectFailure(text, message);
    }
}

TEST(ProjectJsonTest, Parse_NestingWithoutEndIsRefused)
{
    ExpectFailure("{\"format\": " + std::string(600000, '['), "levels of nesting");
}

TEST(ProjectJsonTest, Parse_NamesAnUnknownFieldAmongMany)
{
    std::string more;
    for (int index = 0; index < 1000; ++index)
    {
        more += "\"more" + std::to_string(index) + "\": [[[[[[[0]]]]]], {\"a\": {}}], ";
    }
    const std::string text = Print();
    const auto insertBefore = [&](const std::string& piece) {
        const std::size_t place = text.find(piece);
        return text.substr(0, place) + more + text.substr(place);
    };
    ExpectFailure(insertBefore("\"scans\""), "p.json: more0: the field is not known");
    ExpectFailure(insertBefore("\"key\""), "scans[0].more0: the field is not known");
    ExpectFailure(insertBefore("\"min\""), "excluded[0].more0: the field is not known");
    ExpectFailure(insertBefore("\"budget\""), "history.more0: the field is not known");
    ExpectFailure(insertBefore("\"command\""), "history.edits[0].more0: the field is not known");
}

TEST(ProjectJsonTest, Parse_MessagesAreShortWhateverTheFileSays)
{
    const std::string begin = "{\"format\": \"veko2-project\", \"version\": 1, \"";
    const std::string many(100000, '7');
    for (const std::string& text :
         {begin + many, begin + "scans\": " + many, begin + many + "\": 1}"})
    {
        try
        {
            (void)ParseProject(text, "p.json");
            FAIL();
        }
        catch (const Application::CInputError& error)
        {
            EXPECT_THAT(error.what(), HasSubstr("777..."));
            EXPECT_LT(std::string(error.what()).size(), 400U);
        }
    }
}

TEST(ProjectJsonTest, Parse_RefusesATransformOfManyNumbers)
{
    std::string text = Print();
    const std::string piece = "\"transform\": [";
    std::string numbers;
    for (int index = 0; index < 1000; ++index)
    {
        numbers += "1, ";
    }
    text.insert(text.find(piece) + piece.size(), numbers);
    ExpectFailure(text, "scans[0].transform: expected an array of 16 numbers, found [1,1,");
}

TEST(ProjectJsonTest, Parse_TheOrderOfFieldsIsFree)
{
    const std::string text = Print();
    const auto ordered = nlohmann::ordered_json::parse(text);
    nlohmann::ordered_json reversed;
    for (const char* const name : {"history", "excluded", "scans", "version", "format"})
    {
        reversed[name] = ordered[name];
    }
    EXPECT_EQ(PrintProject(ParseProject(reversed.dump(), "p.json"), "p.json"), text);
}

TEST(ProjectJsonTest, Parse_AListThatComesTwiceCountsAsItComesLast)
{
    const std::string text = Print();
    const auto lists = nlohmann::ordered_json::parse(text);
    std::string history = lists["history"].dump();
    history.insert(1, "\"edits\": " + lists["history"]["edits"].dump() + ", ");
    const std::string twice = "{\"scans\": " + lists["scans"].dump() +
                              ", \"excluded\": " + lists["excluded"].dump() +
                              ", \"history\": " + history + ", " + text.substr(1);
    EXPECT_EQ(PrintProject(ParseProject(twice, "p.json"), "p.json"), text);
}

TEST(ProjectJsonTest, Parse_RefusesAKeyTwice)
{
    SProjectDocument document = MakeDocument();
    document.scans[1].key = document.scans[0].key;
    ExpectFailure(PrintProject(document, "p.json"), "scans[1].key");
}

TEST(ProjectJsonTest, Parse_RefusesAProjectWithoutScans)
{
    SProjectDocument document = MakeDocument();
    document.scans.clear();
    EXPECT_THROW((void)ParseProject(PrintProject(document, "p.json"), "p.json"),
                 Application::CInputError);
}

TEST(ProjectJsonTest, IsProjectFile_JudgesByContent)
{
    const FileTest::CTemporaryFolder folder;
    FileTest::WriteAll(folder / "project", " \n" + Print());
    FileTest::WriteAll(folder / "view.json", "{\"format\": \"veko2-view\"}");
    FileTest::WriteAll(folder / "scan.ply", "ply\ncomment \"veko2-project\"\n");
    FileTest::WriteAll(folder / "marked", "\xEF\xBB\xBF" + Print());
    EXPECT_TRUE(Application::IsProjectFile(folder / "project"));
    EXPECT_TRUE(Application::IsProjectFile(folder / "marked"));
    EXPECT_FALSE(Application::IsProjectFile(folder / "view.json"));
    EXPECT_FALSE(Application::IsProjectFile(folder / "scan.ply"));
    EXPECT_FALSE(Application::IsProjectFile(folder / "missing"));
    EXPECT_FALSE(Application::IsProjectFile(folder.GetPath()));
}

}  // namespace
