#pragma once

#include <string>
#include <vector>

#include "Application/View/CCamera.h"
#include "Application/View/CCameraFit.h"

namespace CLI
{
class App;
}

namespace CommandLine
{

/// The options that choose a camera: by default one that shows the whole scan, from a named side or
/// placed by hand.
class CCameraOptions
{
public:
    /// Adds the options to \p command; parsing it fills this object.
    void AddTo(CLI::App& command);

    /// True when any of the options was given.
    [[nodiscard]] bool IsGiven() const;

    /// Refuses what makes no sense whatever the scans are, since reading these may take a while.
    /// @throw CUsageError when an option makes no sense.
    void Check() const;

    /// The view that the options choose, after Check(). The same arguments give the same view.
    /// \p name is what messages call the scans. \p planes: of a camera that is fitted to the scans;
    /// one with a given eye encloses them unless its planes are given, too.
    /// @throw CUsageError when an option makes no sense.
    /// @throw Application::CInputError when a camera is to be fitted to scans without a finite
    /// point.
    [[nodiscard]] Application::CView MakeView(
        const std::vector<Application::CCameraFit::SScan>& scans, const std::string& name,
        Application::CCameraFit::EPlanes planes) const;

private:
    [[nodiscard]] Application::CCamera::SParameters makePlaced() const;
    void setPlanes(Application::CCamera::SParameters& parameters) const;
    [[nodiscard]] Application::CCameraFit makeFit() const;

    std::string m_size;
    std::string m_from;
    std::string m_eye;
    std::string m_target;
    std::string m_up;
    std::string m_fieldOfView;
    std::string m_orthographicHeight;
    std::string m_near;
    std::string m_far;
};

}  // namespace CommandLine
