#pragma once

#include <string>
#include <vector>

#include "Application/Projects/SStation.h"
#include "Apps/CommandLine/ICommand.h"

namespace CommandLine
{

/// `veko2 apply`: writes the scans of a project without what is flagged, or with the flags as a
/// property.
class CApplyCommand : public ICommand
{
public:
    [[nodiscard]] std::string GetName() const override;
    [[nodiscard]] std::string GetDescription() const override;
    void AddOptions(CLI::App& command) override;
    SReport Run(CConsole& console) override;

private:
    [[nodiscard]] std::uint16_t parseDropped() const;
    void checkOutputs(const std::vector<Application::SStation>& stations,
                      const std::vector<std::string>& targets, const std::string& transforms) const;
    /// Writes one scan, or only looks what would be dropped of it, and says so in \p report.
    void apply(const Application::SStation& station, const std::string& target,
               std::uint16_t dropBits, CConsole& console, SReport& report) const;
    void write(const Application::SStation& station, const std::string& target,
               std::uint16_t dropBits, CConsole& console) const;

    std::string m_project;
    std::string m_folder;
    std::vector<std::string> m_dropped;
    bool m_isProperty = false;
    bool m_dryRun = false;
    bool m_force = false;
};

}  // namespace CommandLine
