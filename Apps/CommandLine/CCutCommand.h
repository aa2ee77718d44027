#pragma once

#include <cstdint>
#include <string>

#include "Apps/CommandLine/CPaintOptions.h"
#include "Apps/CommandLine/ICommand.h"

namespace CommandLine
{

/// `veko2 cut`: cuts what is painted out of a scan, or flags it.
class CCutCommand : public ICommand
{
public:
    CLI::App& AddTo(CLI::App& program) override;
    SReport Run(CConsole& console) override;

private:
    struct SCounts
    {
        std::uint64_t points = 0;
        std::uint64_t newlyCut = 0;
        std::uint64_t kept = 0;
    };

    void check() const;
    [[nodiscard]] bool continuesFlags() const;
    [[nodiscard]] SReport report(const SCounts& counts) const;

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
