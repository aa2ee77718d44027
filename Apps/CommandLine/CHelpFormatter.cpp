#include "Apps/CommandLine/CHelpFormatter.h"

#include <unistd.h>

#include <algorithm>
#include <sstream>
#include <utility>

#include "Apps/CommandLine/CConsole.h"

namespace CommandLine
{

namespace
{

constexpr std::size_t c_nameColumns = 28;

}  // namespace

CHelpFormatter::CHelpFormatter(std::vector<std::string> examples)
    : m_examples(std::move(examples)),
      m_columns(
          static_cast<std::size_t>(std::clamp(GetTerminalColumns(STDOUT_FILENO, 80), 60, 100)))
{}

std::string CHelpFormatter::make_help(const CLI::App* app, std::string name,
                                      CLI::AppFormatMode mode) const
{
    if (mode == CLI::AppFormatMode::Sub)
    {
        return make_subcommand(app);
    }
    std::string help = "Examples:\n";
    for (const std::string& example : m_examples)
    {
        help += "  " + example + '\n';
    }
    help += '\n' + app->get_description() + "\n\n" + make_usage(app, std::move(name)) +
            make_positionals(app);
    for (const std::string& group : app->get_groups())
    {
        const auto options = app->get_options([&](const CLI::Option* option) {
            return option->get_group() == group && option->nonpositional();
        });
        if (!options.empty())
        {
            help += make_group(group, false, options);
        }
    }
    help += make_subcommands(app, mode);
    return app->get_footer().empty() ? help : help + '\n' + make_footer(app);
}

std::string CHelpFormatter::make_option(const CLI::Option* option, bool isPositional) const
{
    std::string name = make_option_name(option, isPositional);
    if (option->get_type_size() > 0 && !isPositional)
    {
        name += ' ' + option->get_type_name();
    }
    return makeEntry(name, make_option_desc(option));
}

std::string CHelpFormatter::make_subcommand(const CLI::App* subcommand) const
{
    return makeEntry(subcommand->get_name(), subcommand->get_description());
}

std::string CHelpFormatter::makeEntry(const std::string& name, const std::string& description) const
{
    std::string entry = "  " + name;
    if (entry.size() + 2 > c_nameColumns)
    {
        entry += '\n' + std::string(c_nameColumns, ' ');
    }
    else
    {
        entry.resize(c_nameColumns, ' ');
    }
    std::size_t column = c_nameColumns;
    std::istringstream words(description);
    for (std::string word; words >> word;)
    {
        if (column > c_nameColumns && column + 1 + word.size() > m_columns)
        {
            entry += '\n' + std::string(c_nameColumns, ' ');
            column = c_nameColumns;
        }
        if (column > c_nameColumns)
        {
            entry += ' ';
            ++column;
        }
        entry += word;
        column += word.size();
    }
    return entry + '\n';
}

}  // namespace CommandLine
