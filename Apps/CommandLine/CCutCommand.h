#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Application/Editing/CSurfelCutter.h"
#include "Apps/CommandLine/CPaintOptions.h"
#include "Apps/CommandLine/ICommand.h"

namespace Application
{
class CScanFile;
}

namespace CommandLine
{

/// `veko2 cut`: cuts what is painted out of a scan, or flags it.
class CCutCommand : public ICommand
{
public:
    [[nodiscard]] std::string GetName() const override;
    [[nodiscard]] std::string GetDescription() const override;
    void AddOptions(CLI::App& command) override;
    SReport Run(CConsole& console) override;

private:
    struct SCut
    {
        Application::CSurfelCutter::SResult result;
        /// What the picture shows, where one is asked for.
        std::optional<SPaintedView> drawn;
    };

    [[nodiscard]] SReport cutProject(CConsole& console) const;
    [[nodiscard]] Application::CSurfelCutter::Reach reach() const;
    [[nodiscard]] Application::CSurfelCutter::Side side() const;
    [[nodiscard]] Application::CSurfelCutter::Answer answer() const;
    void checkTarget() const;
    [[nodiscard]] bool continuesFlags() const;
    void checkOutputs(bool isContinued) const;
    /// Keeps nothing of what it needs beside its answer, since writing takes memory as well.
    [[nodiscard]] SCut cutScan(const Application::CScanFile& scan, bool isContinued,
                               CConsole& console) const;
    void write(const Application::CScanFile& scan,
               const Application::CSurfelCutter::SResult& result, bool isContinued,
               CConsole& console) const;
    [[nodiscard]] SReport report(std::uint64_t numPoints,
                                 const Application::CSurfelCutter::SResult& cut) const;

    std::string m_scan;
    std::string m_output;
    std::string m_flags;
    std::string m_picture;
    CPaintOptions m_paint;
    bool m_keepPainted = false;
    bool m_throughEye = false;
    bool m_dryRun = false;
    bool m_force = false;
};

}  // namespace CommandLine
