#include "Apps/CommandLine/CProgram.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "Application/Files/CInputError.h"
#include "Application/Files/COutputError.h"
#include "Apps/CommandLine/CApplyCommand.h"
#include "Apps/CommandLine/CCleanCommand.h"
#include "Apps/CommandLine/CConsole.h"
#include "Apps/CommandLine/CCutCommand.h"
#include "Apps/CommandLine/CDemoCommand.h"
#include "Apps/CommandLine/CHelpFormatter.h"
#include "Apps/CommandLine/CHistoryCommand.h"
#include "Apps/CommandLine/CInfoCommand.h"
#include "Apps/CommandLine/CInterruption.h"
#include "Apps/CommandLine/CProjectCommand.h"
#include "Apps/CommandLine/CUsageError.h"
#include "Apps/CommandLine/CViewCommand.h"
#include "Apps/CommandLine/ICommand.h"
#include "Apps/CommandLine/JsonDocuments.h"
#include "Base/Support/CLogger.h"
#include "Base/Support/WideText.h"

namespace CommandLine
{

namespace
{

struct SCommandEntry
{
    std::unique_ptr<ICommand> command;
    CLI::App* options = nullptr;
};

std::vector<std::unique_ptr<ICommand>> MakeCommands()
{
    std::vector<std::unique_ptr<ICommand>> commands;
    commands.push_back(std::make_unique<CInfoCommand>());
    commands.push_back(std::make_unique<CViewCommand>());
    commands.push_back(std::make_unique<CCutCommand>());
    commands.push_back(std::make_unique<CProjectCommand>());
    commands.push_back(std::make_unique<CCleanCommand>());
    commands.push_back(std::make_unique<CApplyCommand>());
    commands.push_back(std::make_unique<CHistoryCommand>(CHistoryCommand::Direction::Undo));
    commands.push_back(std::make_unique<CHistoryCommand>(CHistoryCommand::Direction::Redo));
    commands.push_back(std::make_unique<CDemoCommand>());
    return commands;
}

/// True when `--json` is among the arguments, asked before they are parsed: a failure to parse them
/// is reported in the form that was asked for, too.
bool IsJsonWanted(const std::vector<std::string>& arguments)
{
    const auto end = std::find(arguments.begin(), arguments.end(), "--");
    // The parser lets a flag have the value that it stands for.
    return std::find(arguments.begin(), end, "--json") != end ||
           std::find(arguments.begin(), end, "--json=true") != end;
}

/// Whether an argument is a list of numbers, the first of which is like "-.5".
bool IsListWithoutLeadingZero(const std::string& argument)
{
    return argument.starts_with("-.") && argument.find(',') != std::string::npos &&
           argument.find_first_not_of("+-.,0123456789eE") == std::string::npos;
}

/// The arguments as the parser wants them: from the back, and points of a lasso or a brush like
/// "-.5,3" with the zero without which it takes them for an option.
std::vector<std::string> ToParse(std::vector<std::string> arguments)
{
    const auto end = std::find(arguments.begin(), arguments.end(), "--");
    for (auto argument = arguments.begin(); argument != end; ++argument)
    {
        if (IsListWithoutLeadingZero(*argument))
        {
            argument->insert(1, "0");
        }
    }
    std::reverse(arguments.begin(), arguments.end());
    return arguments;
}

/// Lets every option and argument of \p command refuse the empty text, which is what is left of a
/// variable of a script that was never set, and would do as if the option were not there.
void RefuseEmptyValues(CLI::App& command)
{
    for (CLI::Option* const option : command.get_options())
    {
        // Those of several words a time are told apart by empty ones, and look at each themselves.
        if (option->get_items_expected_max() > 0 && !option->get_inject_separator())
        {
            option->check(
                [](const std::string& value) {
                    return value.empty() ? "expected a value, found an empty text" : "";
                },
                "");
        }
    }
    for (CLI::App* const subcommand : command.get_subcommands({}))
    {
        RefuseEmptyValues(*subcommand);
    }
}

/// The program while it runs: parses, then runs the chosen command.
class CRun
{
public:
    CRun(CConsole& console, const std::vector<std::string>& arguments);

    /// Does what the arguments say and prints the result.
    ExitCode Execute();

private:
    [[nodiscard]] ICommand& getChosen() const;
    [[nodiscard]] std::string listCommands() const;
    void print(const std::string& text);

    void addCommand(std::unique_ptr<ICommand> command);

    CConsole& m_console;
    const std::vector<std::string>& m_arguments;
    bool m_isJson = false;
    std::vector<SCommandEntry> m_commands;
    CLI::App m_program{"Cuts painted regions out of 3-D scans.", "veko2"};
};

CRun::CRun(CConsole& console, const std::vector<std::string>& arguments)
    : m_console(console), m_arguments(arguments)
{
    m_program.formatter(std::make_shared<CHelpFormatter>(std::vector<std::string>{
        "veko2 view scan.ply --output scan.png",
        "veko2 cut scan.ply --rectangle 400,200,700,500 --output rest.ply"}));
    m_program.set_help_flag("-h,--help", "Print this help and leave.");
    m_program.set_version_flag("--version", "veko2 " VEKO2_VERSION, "Print the version and leave.");
    // No values: whether it is there has to be seen before the arguments are parsed.
    m_program.add_flag("--json", m_isJson, "Print the result as one JSON document.")
        ->disable_flag_override();
    m_program.require_subcommand(0, 1);
    m_program.get_formatter()->label("SUBCOMMAND", "COMMAND");
    // So that --json may follow the command.
    m_program.fallthrough();
    for (std::unique_ptr<ICommand>& command : MakeCommands())
    {
        addCommand(std::move(command));
    }
}

void CRun::addCommand(std::unique_ptr<ICommand> command)
{
    const std::string name = command->GetName();
    CLI::App& options = *m_program.add_subcommand(name, command->GetDescription());
    // Adding the options of all commands takes a quarter of the time in which the program starts,
    // and those of a command that is not named cannot be asked for.
    if (std::find(m_arguments.begin(), m_arguments.end(), name) != m_arguments.end())
    {
        command->AddOptions(options);
        options.footer("--json prints the result as one JSON document.");
        RefuseEmptyValues(options);
    }
    // Last, as commands of its own would be in the same group.
    options.group("Commands");
    m_commands.push_back({std::move(command), &options});
}

ExitCode CRun::Execute()
{
    try
    {
        m_program.parse(ToParse(m_arguments));
    }
    catch (const CLI::CallForHelp&)
    {
        print(m_program.help());
        return ExitCode::Done;
    }
    catch (const CLI::CallForVersion& version)
    {
        print(version.what() + std::string("\n"));
        return ExitCode::Done;
    }
    catch (const CLI::ExtrasError&)
    {
        // The parser does not say whether the first stray word stands where a command should.
        if (!m_program.get_subcommands().empty())
        {
            throw;
        }
        throw CUsageError("there is no command '" + m_program.remaining().front() +
                          "'; the commands are " + listCommands());
    }
    const SReport report = getChosen().Run(m_console);
    // File names and texts in files may hold any byte.
    print(m_isJson ? PrintDocument(report.document) : EscapeControlCharacters(report.text));
    for (const std::string& damage : report.damages)
    {
        m_console.Error(damage);
    }
    return report.damages.empty() ? ExitCode::Done : ExitCode::InputUnreadable;
}

ICommand& CRun::getChosen() const
{
    for (const SCommandEntry& entry : m_commands)
    {
        if (entry.options->parsed())
        {
            return *entry.command;
        }
    }
    throw CUsageError("a command is needed; the commands are " + listCommands());
}

std::string CRun::listCommands() const
{
    std::string names;
    for (const SCommandEntry& entry : m_commands)
    {
        names += (names.empty() ? "" : ", ") + entry.options->get_name();
    }
    return names;
}

void CRun::print(const std::string& text)
{
    // What is on its way is the only document, even if it is cut short.
    (void)CInterruption::TakeDocument();
    m_console.PrintResult(text);
}

/// How a run ended that did not come to its end.
struct SFailure
{
    ExitCode code = ExitCode::Failed;
    std::string message;
};

/// Calls \p run and turns every exception into a message and its exit code.
template <typename Run>
std::optional<SFailure> Guard(const Run& run)
{
    try
    {
        run();
        return std::nullopt;
    }
    catch (const CLI::ParseError& error)
    {
        return SFailure{ExitCode::Usage, error.what()};
    }
    catch (const CUsageError& error)
    {
        return SFailure{ExitCode::Usage, error.what()};
    }
    catch (const Application::CInputError& error)
    {
        return SFailure{ExitCode::InputUnreadable, error.what()};
    }
    catch (const Application::COutputError& error)
    {
        return SFailure{ExitCode::OutputUnwritable, error.what()};
    }
    catch (const CInterruptedError&)
    {
        return SFailure{ExitCode::Interrupted, "interrupted"};
    }
    catch (const std::bad_alloc&)
    {
        return SFailure{ExitCode::Failed, "not enough memory"};
    }
    catch (const std::exception& error)
    {
        return SFailure{ExitCode::Failed, error.what()};
    }
}

}  // namespace

ExitCode CProgram::Run(int argumentCount, const char* const* arguments)
{
    CInterruption::Install();
    CConsole console;
    Logging::SetLogSink([&console](const Logging::SLogRecord& record) {
        console.Warn(Base::WideToUtf8(record.message));
    });
    // The arguments after the program's name, which may be missing too.
    const std::vector<std::string> given(arguments + std::min(argumentCount, 1),
                                         arguments + argumentCount);
    if (IsJsonWanted(given))
    {
        CInterruption::PromiseDocument();
    }
    ExitCode exitCode = ExitCode::Done;
    const std::optional<SFailure> failure =
        Guard([&] { exitCode = CRun(console, given).Execute(); });
    if (failure)
    {
        console.Error(failure->message);
        if (failure->code == ExitCode::Usage)
        {
            console.Error("see 'veko2 --help' or 'veko2 COMMAND --help'");
        }
        // Where even this cannot be printed, the message above has said why.
        (void)Guard([&] {
            const std::string document = PrintFailure(failure->code, failure->message);
            if (CInterruption::TakeDocument())
            {
                console.PrintResult(document);
            }
        });
    }
    Logging::SetLogSink({});
    return failure ? failure->code : exitCode;
}

}  // namespace CommandLine
