#pragma once

#include <string>
#include <vector>

#include "Application/View/CMask.h"
#include "Application/View/CView.h"
#include "Apps/CommandLine/CCameraOptions.h"

namespace CommandLine
{

class CConsole;

/// A view and what was painted in it.
struct SPaintedView
{
    Application::CView view;
    Application::CMask mask;
    /// The file of the mask; empty where shapes were painted.
    std::string maskFile;
};

/// The options that say what was painted: pairs of a view and a mask picture, or shapes given in
/// pixels of one view.
class CPaintOptions
{
public:
    /// Adds the options to \p command; parsing it fills this object.
    void AddTo(CLI::App& command);

    /// Looks whether the options fit together and the shapes make sense, before any file is read.
    /// @throw CUsageError when they do not.
    void Check() const;

    /// The views and masks that Paint() reads.
    [[nodiscard]] std::vector<std::string> GetFiles() const;

    /// Reads and paints. \p scans are what a camera is fitted to where no view is given; \p name
    /// is what messages call them.
    /// @throw CUsageError when a value makes no sense, Application::CInputError when a file cannot
    /// be read or a mask does not have its view's size.
    [[nodiscard]] std::vector<SPaintedView> Paint(
        const std::vector<Application::CCameraFit::SScan>& scans, const std::string& name) const;

private:
    [[nodiscard]] bool hasShapes() const;
    void paintShapes(Application::CMask& mask) const;

    std::vector<std::string> m_views;
    std::vector<std::string> m_masks;
    std::vector<std::string> m_rectangles;
    std::vector<std::vector<std::string>> m_lassos;
    std::vector<std::vector<std::string>> m_brushes;
    CCameraOptions m_camera;
};

/// Says on \p console of every view in which nothing is painted that could cut that it is so.
void WarnOfEmptyMasks(const std::vector<SPaintedView>& painted, CConsole& console);

}  // namespace CommandLine
