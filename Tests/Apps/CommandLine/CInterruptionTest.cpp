#include "Apps/CommandLine/CInterruption.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "Application/Files/CMappedFile.h"
#include "Application/Files/CReplacementFile.h"
#include "Apps/CommandLine/CConsole.h"
#include "Apps/CommandLine/CProgram.h"
#include "Tests/Apps/CommandLine/CCommandTest.h"

namespace
{

using CommandLine::CInterruptedError;
using CommandLine::CInterruption;

class CInterruptionTest : public TestSupport::CCommandTest
{
protected:
    CInterruptionTest()
    {
        // Worker threads may be running already.
        GTEST_FLAG_SET(death_test_style, "threadsafe");
    }

    /// Runs `cut` in this process after the signal has come.
    [[noreturn]] void cutAfter(int signal) const
    {
        CInterruption::Install();
        raise(signal);
        if (chdir(in("").c_str()) != 0)
        {
            _exit(99);
        }
        const char* const arguments[] = {"veko2",  "cut",      "scan.ply", "--view",  "view.json",
                                         "--mask", "mask.png", "-o",       "rest.ply"};
        _exit(static_cast<int>(
            CommandLine::CProgram::Run(static_cast<int>(std::size(arguments)), arguments)));
    }

    void prepare() const
    {
        write("scan.ply", makeScan());
        writeView("view.json");
        writeMask("mask.png", {{2, 2}});
    }
};

using CInterruptionDeathTest = CInterruptionTest;

/// Files that have to be removed when the process ends, as on file systems without unnamed ones.
constexpr auto c_named = Application::CReplacementFile::Naming::FromTheStart;

TEST_F(CInterruptionDeathTest, Signal_EndsACommandAtItsNextStepWithoutAnOutput)
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    {
        prepare();
        const auto before = list();
        EXPECT_EXIT(cutAfter(signal), testing::ExitedWithCode(130), "interrupted");
        EXPECT_EQ(list(), before);
    }
}

TEST_F(CInterruptionDeathTest, ThrowIfRequested_ThrowsOnlyAfterASignal)
{
    EXPECT_EXIT(
        {
            CInterruption::Install();
            CInterruption::ThrowIfRequested();
            raise(SIGINT);
            try
            {
                CInterruption::ThrowIfRequested();
            }
            catch (const CInterruptedError&)
            {
                _exit(7);
            }
        },
        testing::ExitedWithCode(7), "");
}

TEST_F(CInterruptionDeathTest, SecondSignal_EndsAtOnceAndRemovesUnfinishedFiles)
{
    EXPECT_EXIT(
        {
            CInterruption::Install();
            Application::CReplacementFile file(in("rest.ply"), false, c_named);
            file.Write("partial");
            raise(SIGINT);
            raise(SIGINT);
        },
        testing::ExitedWithCode(130), "veko2: interrupted");
    EXPECT_TRUE(list().empty());
}

TEST_F(CInterruptionDeathTest, WorkThatDoesNotNotice_IsEndedAndUnfinishedFilesAreRemoved)
{
    EXPECT_EXIT(
        {
            CInterruption::Install();
            Application::CReplacementFile file(in("rest.ply"), false, c_named);
            file.Write("partial");
            raise(SIGTERM);
            for (;;)
            {
                pause();
            }
        },
        testing::ExitedWithCode(130), "");
    EXPECT_TRUE(list().empty());
}

TEST_F(CInterruptionDeathTest, MappedInputThatIsShortened_IsAnInputErrorAndLeavesNothing)
{
    write("scan.ply", std::string(1 << 20, 'x'));
    EXPECT_EXIT(
        {
            CInterruption::Install();
            const auto mapped = Application::CMappedFile::Open(in("scan.ply"));
            Application::CReplacementFile file(in("rest.ply"), false, c_named);
            std::filesystem::resize_file(in("scan.ply"), 10);
            std::vector<std::byte> copy(mapped->GetBytes().begin(), mapped->GetBytes().end());
            file.Write(copy);
        },
        testing::ExitedWithCode(3), "veko2: .*/scan\\.ply: was shortened, or its disk failed");
    EXPECT_THAT(list(), testing::ElementsAre("scan.ply"));
}

TEST_F(CInterruptionDeathTest, BusErrorThatIsAboutNoInput_EndsTheProcessAsEver)
{
    EXPECT_EXIT(
        {
            CInterruption::Install();
            Application::CReplacementFile file(in("rest.ply"), false, c_named);
            file.Write("partial");
            raise(SIGBUS);
        },
        testing::KilledBySignal(SIGBUS), "");
    EXPECT_TRUE(list().empty());
}

// It would receive what is printed, such as that the program was interrupted.
TEST_F(CInterruptionDeathTest, FileThatIsOpened_IsNoStreamThatWasClosed)
{
    EXPECT_EXIT(
        {
            close(STDIN_FILENO);
            close(STDOUT_FILENO);
            const CommandLine::CConsole console;
            const int file = creat(in("rest.ply").c_str(), 0666);
            _exit(file > STDERR_FILENO && ::write(STDOUT_FILENO, "x", 1) < 0 ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(CInterruptionDeathTest, SignalThatIsIgnoredAtStart_StaysIgnored)
{
    EXPECT_EXIT(
        {
            ::signal(SIGINT, SIG_IGN);
            CInterruption::Install();
            raise(SIGINT);
            _exit(CInterruption::IsRequested() ? 1 : 0);
        },
        testing::ExitedWithCode(0), "");
}

// It is not the user's: it ends what does not notice theirs in time.
TEST_F(CInterruptionDeathTest, AlarmThatIsIgnoredAtStart_EndsAtOnceAllTheSame)
{
    EXPECT_EXIT(
        {
            ::signal(SIGALRM, SIG_IGN);
            CInterruption::Install();
            Application::CReplacementFile file(in("rest.ply"), false, c_named);
            file.Write("partial");
            raise(SIGALRM);
            _exit(1);
        },
        testing::ExitedWithCode(130), "veko2: interrupted");
    EXPECT_TRUE(list().empty());
}

// Two signals end the program where it is, which does not ask in between.
TEST_F(CInterruptionTest, EndAtOnceWithJson_StillPrintsOneDocument)
{
    bool isSent = false;
    const auto interruptTwice = [&](int process) {
        if (!isSent && exists("demo"))
        {
            kill(process, SIGINT);
            kill(process, SIGTERM);
            isSent = true;
        }
    };
    const auto result = run({"demo", "--points", "5000000", "--output", "demo", "--json"},
                            {.whileRunning = interruptTwice});
    EXPECT_EQ(result.exitCode, 130) << result.err;
    const auto document = nlohmann::json::parse(result.out);
    EXPECT_EQ(document["error"]["code"], 130);
    EXPECT_EQ(document["error"]["message"], "interrupted");
}

TEST_F(CInterruptionTest, InputThatIsShortenedWithJson_StillPrintsOneDocument)
{
    // Of holes only: it takes no room, and a while to read.
    const std::string name = "two\nlines \xff\xc2\x9b.ply";
    const std::string header =
        "ply\nformat binary_little_endian 1.0\nelement vertex 100000000\n"
        "property float x\nproperty float y\nproperty float z\nend_header\n";
    write(name, header);
    std::filesystem::resize_file(in(name), header.size() + std::size_t{100000000} * 12);
    const auto shorten = [&](int process) {
        std::ifstream mappings("/proc/" + std::to_string(process) + "/maps");
        const std::string text{std::istreambuf_iterator<char>(mappings),
                               std::istreambuf_iterator<char>()};
        if (text.find("lines") != std::string::npos)
        {
            // The header stays, which may not have been read yet.
            std::filesystem::resize_file(in(name), header.size());
        }
    };
    const auto result = run({"info", name, "--json"}, {.whileRunning = shorten});
    EXPECT_EQ(result.exitCode, 3) << result.err;
    EXPECT_THAT(result.err, testing::HasSubstr("\\xc2\\x9b.ply: was shortened"));
    const auto document = nlohmann::json::parse(result.out);
    EXPECT_EQ(document["error"]["code"], 3);
    EXPECT_THAT(document["error"]["message"].get<std::string>(),
                testing::HasSubstr("was shortened, or its disk failed"));
}

// Whenever the signal comes, the output is whole or not there, and nothing else is left.
TEST_F(CInterruptionTest, SignalToTheRunningProgram_NeverLeavesAPartialFile)
{
    writeView("view.json");
    writeMask("mask.png", {{2, 2}});
    std::string scan =
        "ply\nformat binary_little_endian 1.0\nelement vertex 2000000\n"
        "property float x\nproperty float y\nproperty float z\nend_header\n";
    const std::size_t headerSize = scan.size();
    scan.resize(headerSize + std::size_t{2000000} * 12);
    write("scan.ply", scan);
    for (int delay = 0; delay < 20; delay += 4)
    {
        int calls = 0;
        const auto interrupt = [&](int process) {
            if (calls++ == delay)
            {
                kill(process, SIGINT);
            }
        };
        const auto result =
            run({"cut", "scan.ply", "--view", "view.json", "--mask", "mask.png", "-o", "rest.ply"},
                {.whileRunning = interrupt});
        if (result.exitCode == 0)
        {
            EXPECT_EQ(std::filesystem::file_size(in("rest.ply")), scan.size());
            std::filesystem::remove(in("rest.ply"));
        }
        else
        {
            // Before the program could arrange for it, the signal itself ends it.
            EXPECT_THAT(result.exitCode, testing::AnyOf(130, -SIGINT)) << result.err;
        }
        EXPECT_THAT(list(), testing::ElementsAre("mask.png", "scan.ply", "view.json"));
    }
}

}  // namespace
