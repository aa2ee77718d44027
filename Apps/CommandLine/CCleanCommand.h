#pragma once

#include <string>
#include <vector>

#include "Application/Fusion/CScanFuser.h"
#include "Application/Projects/SStation.h"
#include "Apps/CommandLine/ICommand.h"

namespace CommandLine
{

/// `veko2 clean`: flags the small floating components of a project, or of scans in one common
/// frame.
class CCleanCommand : public ICommand
{
public:
    [[nodiscard]] std::string GetName() const override;
    [[nodiscard]] std::string GetDescription() const override;
    void AddOptions(CLI::App& command) override;
    SReport Run(CConsole& console) override;

private:
    using Mask = std::shared_ptr<const Base::CSurfelCollectionMask>;

    [[nodiscard]] Application::CScanFuser::SParameters parseParameters() const;
    void checkScans() const;
    /// Per scan the flag file that is there and goes on, or an empty name.
    [[nodiscard]] std::vector<std::string> findContinuedFlags() const;
    void checkOutputs(const std::vector<std::string>& continued) const;
    /// Whether a flag file may be replaced that \p continued names, or an empty name.
    [[nodiscard]] bool isReplaced(const std::string& continued) const;
    [[nodiscard]] SReport cleanProject(CConsole& console) const;
    [[nodiscard]] SReport cleanScans(CConsole& console) const;
    [[nodiscard]] SReport clean(std::vector<Application::SStation>& stations,
                                std::vector<Mask>& changed, CConsole& console) const;
    void writeRest(const Application::CScanFile& scan,
                   const std::vector<Base::CSurfelBitMask>& words, const std::string& output,
                   CConsole& console) const;

    std::vector<std::string> m_scans;
    std::vector<std::string> m_outputs;
    std::vector<std::string> m_flags;
    std::string m_minimumPoints;
    std::string m_minimumFraction;
    std::string m_voxelSize;
    std::string m_scale;
    bool m_dryRun = false;
    bool m_force = false;
};

}  // namespace CommandLine
