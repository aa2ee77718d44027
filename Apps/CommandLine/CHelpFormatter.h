#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace CommandLine
{

/// Lays out the help of one command: two examples first, then how it is called, then its options,
/// their descriptions wrapped to the terminal's width.
class CHelpFormatter : public CLI::Formatter
{
public:
    /// Each of \p examples is a command line that works as it stands.
    explicit CHelpFormatter(std::vector<std::string> examples);

    std::string make_help(const CLI::App* app, std::string name,
                          CLI::AppFormatMode mode) const override;
    std::string make_option(const CLI::Option* option, bool isPositional) const override;
    std::string make_subcommand(const CLI::App* subcommand) const override;

private:
    [[nodiscard]] std::string makeEntry(const std::string& name,
                                        const std::string& description) const;

    std::vector<std::string> m_examples;
    std::size_t m_columns;
};

}  // namespace CommandLine
