#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>

#include "Tests/Apps/CommandLine/ProgramRun.h"

// What every command has in common: help, version, messages, exit codes.

namespace
{

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using TestSupport::RunProgram;

TEST(ProgramTest, Help_StartsWithTwoExamples)
{
    const auto result = RunProgram({"--help"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.out, testing::MatchesRegex("Examples:\n  veko2 [^\n]+\n  veko2 [^\n]+\n\n"
                                                  "[^\n]+\n\nUsage: veko2 (.|\n)*"));
    EXPECT_EQ(result.err, "");
}

TEST(ProgramTest, Help_ListsTheCommandsAndTheCommandsOfACommand)
{
    EXPECT_THAT(RunProgram({"--help"}).out, HasSubstr("\nCommands:\n  info  "));
    EXPECT_THAT(RunProgram({"project", "--help"}).out, HasSubstr("\nSubcommands:\n  create  "));
}

TEST(ProgramTest, FileNamedLikeACommand_IsAFile)
{
    const auto result = RunProgram({"info", "cut"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_THAT(result.err, StartsWith("veko2: cut: "));
}

class ProgramCommandHelpTest : public testing::TestWithParam<const char*>
{};

TEST_P(ProgramCommandHelpTest, Help_StartsWithTwoExamplesOfTheCommand)
{
    const std::string command = GetParam();
    const auto result = RunProgram({command, "--help"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.out, StartsWith("Examples:\n  veko2 " + command + ' '));
    EXPECT_THAT(result.out, HasSubstr("\n\nUsage: veko2 " + command + ' '));
    const std::string examples = result.out.substr(0, result.out.find("\n\n"));
    EXPECT_EQ(std::count(examples.begin(), examples.end(), '\n'), 2);
    EXPECT_EQ(result.err, "");
}

TEST_P(ProgramCommandHelpTest, Help_FitsIntoEightyColumns)
{
    std::istringstream lines(RunProgram({GetParam(), "--help"}).out);
    for (std::string line; std::getline(lines, line);)
    {
        EXPECT_LE(line.size(), 80U) << line;
    }
}

INSTANTIATE_TEST_SUITE_P(Commands, ProgramCommandHelpTest,
                         testing::Values("info", "view", "cut", "project", "clean", "apply", "undo",
                                         "redo", "demo"),
                         [](const auto& command) { return std::string(command.param); });

TEST(ProgramTest, Version_IsOneLine)
{
    const auto result = RunProgram({"--version"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out, "veko2 " VEKO2_VERSION "\n");
}

TEST(ProgramTest, NoCommand_IsAUsageError)
{
    const auto result = RunProgram({});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, StartsWith("veko2: "));
    EXPECT_THAT(result.err, HasSubstr("veko2 --help"));
}

TEST(ProgramTest, UnknownCommand_IsAUsageErrorThatNamesIt)
{
    const auto result = RunProgram({"cutt"});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_THAT(result.err, HasSubstr("cutt"));
}

TEST(ProgramTest, UsageErrorWithJson_PrintsOneDocumentWithTheSameMessage)
{
    const auto result = RunProgram({"--json"});
    EXPECT_EQ(result.exitCode, 2);
    const auto document = nlohmann::json::parse(result.out);
    EXPECT_EQ(document["error"]["code"], 2);
    EXPECT_THAT(result.err, HasSubstr(document["error"]["message"].get<std::string>()));
}

TEST(ProgramTest, JsonSpelledOut_PrintsTheDocumentOfAFailureToo)
{
    const auto result = RunProgram({"info", "missing.ply", "--json=true"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_EQ(nlohmann::json::parse(result.out)["error"]["code"], 3);
}

TEST(ProgramTest, JsonWithAnotherValue_IsAUsageError)
{
    for (const char* const option : {"--json=false", "--json=1", "--json=yes"})
    {
        const auto result = RunProgram({"info", "missing.ply", option});
        EXPECT_EQ(result.exitCode, 2) << option;
        EXPECT_EQ(result.out, "");
    }
}

TEST(ProgramTest, EmptyText_IsNoValueOfAnyOptionOrArgument)
{
    const std::vector<std::vector<std::string>> cases{
        {"info", ""},
        {"info", "a.ply", ""},
        {"view", "a.ply", "-o", "a.png", "--flags", ""},
        {"view", "a.ply", "-o", "a.png", "--fov="},
        {"cut", "a.ply", "--rectangle", "1,1,2,2", "-o", "b.ply", "--picture", ""},
        {"cut", "a.ply", "--rectangle", "", "-o", "b.ply"},
        {"cut", "a.ply", "--brush", "", "-o", "b.ply"},
        {"clean", "a.json", "--min-points", ""},
        {"project", "create", "a.json", "a.ply", "--transforms", ""},
        {"project", "list", ""},
        {"apply", "a.json", "-o", "out", "--drop", ""},
        {"undo", "a.json", "--steps", ""},
        {"demo", "--output", "out", "--seed", ""},
    };
    for (const auto& arguments : cases)
    {
        const auto result = RunProgram(arguments);
        EXPECT_EQ(result.exitCode, 2) << testing::PrintToString(arguments);
        EXPECT_EQ(result.out, "");
    }
}

TEST(ProgramTest, StandardOutputThatIsFull_IsAnOutputError)
{
    const auto result = RunProgram({"--version"}, {.standardOutput = "/dev/full"});
    EXPECT_EQ(result.exitCode, 4);
    EXPECT_THAT(result.err, HasSubstr("standard output"));
}

TEST(ProgramTest, MessageOnATerminal_IsColoured)
{
    const auto result =
        RunProgram({"nothing"}, {.environment = {"TERM=xterm", "NO_COLOR="}, .hasTerminal = true});
    EXPECT_THAT(result.err, HasSubstr("\x1b[31m"));
}

TEST(ProgramTest, MessageWithNoColorSet_IsPlain)
{
    const auto result =
        RunProgram({"nothing"}, {.environment = {"TERM=xterm", "NO_COLOR=1"}, .hasTerminal = true});
    EXPECT_THAT(result.err, Not(HasSubstr("\x1b[")));
}

TEST(ProgramTest, MessageOnADumbTerminal_IsPlain)
{
    const auto result =
        RunProgram({"nothing"}, {.environment = {"TERM=dumb", "NO_COLOR="}, .hasTerminal = true});
    EXPECT_THAT(result.err, Not(HasSubstr("\x1b[")));
}

TEST(ProgramTest, MessageWithoutATerminal_IsPlain)
{
    const auto result = RunProgram({"nothing"}, {.environment = {"TERM=xterm", "NO_COLOR="}});
    EXPECT_THAT(result.err, Not(HasSubstr("\x1b[")));
}

TEST(ProgramTest, ControlCharactersInAMessage_AreShownNotSent)
{
    const auto result = RunProgram({"a\x1b]0;title\x07z"});
    EXPECT_THAT(result.err, HasSubstr("a\\x1b]0;title\\x07z"));
}

}  // namespace
