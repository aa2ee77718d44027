#pragma once

#include <array>
#include <vector>

#include "Application/Fusion/CScanPoints.h"

namespace Application
{

/// Some of the points of all scans, evenly spread over them: all when they are few. Always the same
/// for the same scans.
class CPointSample
{
public:
    explicit CPointSample(const std::vector<CScanPoints>& scans);

    /// All of them finite, and none left out.
    [[nodiscard]] const std::vector<SFusionPoint>& GetPoints() const { return m_points; }

    /// True when every point to fuse is in the sample.
    [[nodiscard]] bool IsComplete() const { return m_isComplete; }

    /// The median of each axis; 0 without points.
    [[nodiscard]] std::array<double, 3> ComputeMiddle() const;

    /// The extent of the middle half of the points, along the axis on which it is largest; 0
    /// without points.
    [[nodiscard]] double ComputeInnerExtent() const;

private:
    /// The value that \p fraction of the points are below, on each axis.
    [[nodiscard]] std::array<double, 3> computeQuantile(double fraction) const;

    std::vector<SFusionPoint> m_points;
    bool m_isComplete = true;
};

}  // namespace Application
