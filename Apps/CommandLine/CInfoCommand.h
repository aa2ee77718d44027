#pragma once

#include <string>
#include <vector>

#include "Apps/CommandLine/ICommand.h"

namespace CommandLine
{

/// `veko2 info`: says what scan files hold.
class CInfoCommand : public ICommand
{
public:
    [[nodiscard]] std::string GetName() const override;
    [[nodiscard]] std::string GetDescription() const override;
    void AddOptions(CLI::App& command) override;
    SReport Run(CConsole& console) override;

private:
    std::vector<std::string> m_scans;
};

}  // namespace CommandLine
