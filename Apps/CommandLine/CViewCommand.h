#pragma once

#include <string>
#include <vector>

#include "Apps/CommandLine/CCameraOptions.h"
#include "Apps/CommandLine/ICommand.h"

namespace CommandLine
{

/// `veko2 view`: draws scans and writes down the view, in which a region can then be painted.
class CViewCommand : public ICommand
{
public:
    [[nodiscard]] std::string GetName() const override;
    [[nodiscard]] std::string GetDescription() const override;
    void AddOptions(CLI::App& command) override;
    SReport Run(CConsole& console) override;

private:
    void check() const;

    std::vector<std::string> m_scans;
    std::string m_output;
    std::string m_view;
    std::string m_likeView;
    std::vector<std::string> m_flags;
    CCameraOptions m_camera;
    bool m_hideCut = false;
    bool m_force = false;
};

}  // namespace CommandLine
