#pragma once

#include <string>
#include <vector>

#include "Application/Editing/CSurfelCutter.h"
#include "Application/Pictures/CPicture.h"
#include "Application/Projects/CProjectCutter.h"
#include "Apps/CommandLine/CPaintOptions.h"
#include "Apps/CommandLine/SReport.h"

namespace CommandLine
{

class CConsole;

/// `veko2 cut` of a project: cuts all its scans with the same strokes, as one edit of its history.
class CProjectCut
{
public:
    /// What is asked for; \p paint was checked.
    struct SRequest
    {
        std::string project;
        const CPaintOptions& paint;
        Application::CSurfelCutter::Reach reach;
        Application::CSurfelCutter::Side side;
        std::string picture;
        bool isDryRun = false;
        bool isForced = false;
    };

    explicit CProjectCut(const SRequest& request) : m_request(request) {}

    /// @throw as ICommand::Run().
    [[nodiscard]] SReport Run(CConsole& console) const;

private:
    using Results = std::vector<Application::CProjectCutter::SResult>;

    [[nodiscard]] static Application::CPicture draw(std::vector<Application::SStation> stations,
                                                    const Results& results,
                                                    const SPaintedView& painted);
    [[nodiscard]] SReport report(const std::vector<Application::SStation>& stations,
                                 const Results& results) const;

    SRequest m_request;
};

}  // namespace CommandLine
