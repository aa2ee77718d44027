#pragma once

#include <string>
#include <vector>

#include "Application/Projects/CProject.h"
#include "Application/Projects/SProjectDocument.h"
#include "Apps/CommandLine/ICommand.h"

namespace CommandLine
{

/// `veko2 project create` and `veko2 project list`: makes a project of several scans, and says what
/// one holds.
class CProjectCommand : public ICommand
{
public:
    [[nodiscard]] std::string GetName() const override;
    [[nodiscard]] std::string GetDescription() const override;
    void AddOptions(CLI::App& command) override;
    SReport Run(CConsole& console) override;

private:
    void addCreate(CLI::App& command);
    void addList(CLI::App& command);
    [[nodiscard]] SReport create(CConsole& console) const;
    [[nodiscard]] SReport list() const;
    [[nodiscard]] std::vector<Application::SWorldBox> parseBoxes() const;
    [[nodiscard]] std::uint64_t parseHistoryBudget() const;
    [[nodiscard]] int parseOptimizationLevel() const;
    /// The scans with the names as given, not yet opened.
    [[nodiscard]] std::vector<Application::SProjectScan> collectScans() const;
    /// Their names and transforms alone.
    [[nodiscard]] std::vector<Application::SProjectScan> placeScans() const;
    void markSkeletons(std::vector<Application::SProjectScan>& scans) const;
    void checkScans(const std::vector<Application::SProjectScan>& scans) const;
    /// Opens the scans of \p document one after the other, completes what it says of them, and
    /// excludes what lies in its boxes.
    [[nodiscard]] std::vector<Application::CProject::SNewFlags> readScans(
        Application::SProjectDocument& document, CConsole& console) const;

    CLI::App* m_create = nullptr;
    CLI::App* m_list = nullptr;
    std::string m_project;
    std::vector<std::string> m_scans;
    std::string m_transforms;
    std::vector<std::string> m_excluded;
    std::vector<std::string> m_skeletons;
    std::string m_optimizationLevel;
    std::string m_historyBudget;
    bool m_force = false;
};

}  // namespace CommandLine
