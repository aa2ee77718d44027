#pragma once

#include <string>

#include "Apps/CommandLine/ICommand.h"

namespace CommandLine
{

/// `veko2 demo`: makes scans to try the other commands on.
class CDemoCommand : public ICommand
{
public:
    [[nodiscard]] std::string GetName() const override;
    [[nodiscard]] std::string GetDescription() const override;
    void AddOptions(CLI::App& command) override;
    SReport Run(CConsole& console) override;

private:
    std::string m_folder;
    std::string m_points;
    std::string m_seed;
    bool m_force = false;
};

}  // namespace CommandLine
