#include "Application/View/CMaskShapes.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "Application/Files/CInputError.h"

namespace Application
{

namespace
{

using SPoint = CMaskShapes::SPoint;

struct SCrossing
{
    double x;
    int direction;
};

void CheckPoints(const char* shape, const std::vector<SPoint>& points, std::size_t minPoints)
{
    if (points.size() < minPoints)
    {
        throw CInputError(shape, "expected at least " + std::to_string(minPoints) +
                                     (minPoints == 1 ? " point" : " points") + ", found " +
                                     std::to_string(points.size()));
    }
    const auto isInRange = [](double value) {
        return std::abs(value) <= CMaskShapes::c_maxCoordinate;
    };
    for (std::size_t index = 0; index < points.size(); ++index)
    {
        if (!isInRange(points[index].x) || !isInRange(points[index].y))
        {
            throw CInputError(shape, "point " + std::to_string(index + 1) +
                                         ": expected coordinates from -1e9 to 1e9, found " +
                                         std::to_string(points[index].x) + "," +
                                         std::to_string(points[index].y));
        }
    }
}

/// The first line of pixels whose centre is at or beyond \p coordinate, clipped to 0 .. size.
std::uint32_t FirstCentreFrom(double coordinate, std::uint32_t size)
{
    return static_cast<std::uint32_t>(
        std::clamp(std::ceil(coordinate - 0.5), 0.0, static_cast<double>(size)));
}

/// The line of pixels after the last whose centre is at or before \p coordinate, clipped likewise.
std::uint32_t EndOfCentresTo(double coordinate, std::uint32_t size)
{
    return static_cast<std::uint32_t>(
        std::clamp(std::floor(coordinate - 0.5) + 1.0, 0.0, static_cast<double>(size)));
}

/// Where the polygon's edges cross the horizontal line at \p y, from left to right. An edge owns
/// its upper end and not its lower one, so that a corner is crossed once.
void FindCrossings(const std::vector<SPoint>& polygon, double y, std::vector<SCrossing>& crossings)
{
    crossings.clear();
    SPoint from = polygon.back();
    for (const SPoint& to : polygon)
    {
        if ((from.y <= y) != (to.y <= y))
        {
            // Always computed from the upper end, so that neighbours that share the edge agree.
            const SPoint& upper = from.y < to.y ? from : to;
            const SPoint& lower = from.y < to.y ? to : from;
            const double x = upper.x + (y - upper.y) * (lower.x - upper.x) / (lower.y - upper.y);
            crossings.push_back({x, from.y <= y ? 1 : -1});
        }
        from = to;
    }
    std::sort(crossings.begin(), crossings.end(),
              [](const SCrossing& a, const SCrossing& b) { return a.x < b.x; });
}

/// Paints one piece of a brush stroke: a band of the given radius with round ends.
class CBrushSegment
{
public:
    CBrushSegment(const SPoint& from, const SPoint& to, double radius)
        : m_from(from), m_to(to), m_radius(radius)
    {}

    void Paint(CMask& mask) const
    {
        const auto [top, bottom] = std::minmax(m_from.y, m_to.y);
        const std::uint32_t endRow = EndOfCentresTo(bottom + m_radius, mask.GetHeight());
        for (std::uint32_t row = FirstCentreFrom(top - m_radius, mask.GetHeight()); row < endRow;
             ++row)
        {
            paintRow(mask, row);
        }
    }

private:
    void paintRow(CMask& mask, std::uint32_t row) const
    {
        const double y = row + 0.5;
        const auto [left, right] = findExtent(y);
        std::uint32_t begin = FirstCentreFrom(left - m_radius - 1.0, mask.GetWidth());
        std::uint32_t end = EndOfCentresTo(right + m_radius + 1.0, mask.GetWidth());
        // A band is convex, so what it covers of a row is one span.
        while (begin < end && !isCovered(begin + 0.5, y))
        {
            ++begin;
        }
        while (begin < end && !isCovered(end - 0.5, y))
        {
            --end;
        }
        mask.PaintSpan(row, begin, end);
    }

    /// The x range of the part of the line that can be within the radius of the row at \p y.
    [[nodiscard]] std::pair<double, double> findExtent(double y) const
    {
        const double height = m_to.y - m_from.y;
        double first = 0.0;
        double last = 1.0;
        if (height != 0.0)
        {
            const double atUpper = (y - m_radius - m_from.y) / height;
            const double atLower = (y + m_radius - m_from.y) / height;
            first = std::clamp(std::min(atUpper, atLower), 0.0, 1.0);
            last = std::clamp(std::max(atUpper, atLower), 0.0, 1.0);
        }
        const double width = m_to.x - m_from.x;
        return std::minmax(m_from.x + first * width, m_from.x + last * width);
    }

    [[nodiscard]] bool isCovered(double x, double y) const
    {
        const double width = m_to.x - m_from.x;
        const double height = m_to.y - m_from.y;
        const double squaredLength = width * width + height * height;
        double along = 0.0;
        if (squaredLength > 0.0)
        {
            along = ((x - m_from.x) * width + (y - m_from.y) * height) / squaredLength;
            along = std::clamp(along, 0.0, 1.0);
        }
        const double dx = x - (m_from.x + along * width);
        const double dy = y - (m_from.y + along * height);
        return dx * dx + dy * dy <= m_radius * m_radius;
    }

    SPoint m_from;
    SPoint m_to;
    double m_radius;
};

}  // namespace

void CMaskShapes::AddRectangle(const SRectangle& rectangle)
{
    const auto clip = [](std::int64_t value, std::uint32_t size) {
        return static_cast<std::uint32_t>(std::clamp<std::int64_t>(value, 0, size));
    };
    const auto end = [&](std::int64_t last, std::uint32_t size) {
        return last < 0 ? 0U : clip(std::min<std::int64_t>(last, size - 1) + 1, size);
    };
    const auto [left, right] = std::minmax(rectangle.x0, rectangle.x1);
    const auto [top, bottom] = std::minmax(rectangle.y0, rectangle.y1);
    const std::uint32_t endRow = end(bottom, m_mask.GetHeight());
    for (std::uint32_t row = clip(top, m_mask.GetHeight()); row < endRow; ++row)
    {
        m_mask.PaintSpan(row, clip(left, m_mask.GetWidth()), end(right, m_mask.GetWidth()));
    }
}

void CMaskShapes::AddLasso(const std::vector<SPoint>& polygon)
{
    CheckPoints("lasso", polygon, 3);
    const auto [top, bottom] = std::minmax_element(
        polygon.begin(), polygon.end(), [](const SPoint& a, const SPoint& b) { return a.y < b.y; });
    const std::uint32_t endRow = EndOfCentresTo(bottom->y, m_mask.GetHeight());
    std::vector<SCrossing> crossings;
    for (std::uint32_t row = FirstCentreFrom(top->y, m_mask.GetHeight()); row < endRow; ++row)
    {
        FindCrossings(polygon, row + 0.5, crossings);
        int winding = 0;
        for (std::size_t index = 0; index + 1 < crossings.size(); ++index)
        {
            winding += crossings[index].direction;
            if (winding != 0)
            {
                m_mask.PaintSpan(row, FirstCentreFrom(crossings[index].x, m_mask.GetWidth()),
                                 FirstCentreFrom(crossings[index + 1].x, m_mask.GetWidth()));
            }
        }
    }
}

void CMaskShapes::AddBrush(const std::vector<SPoint>& line, double radius)
{
    CheckPoints("brush", line, 1);
    if (!(radius > 0.0 && radius <= c_maxCoordinate))
    {
        throw CInputError("brush", "expected a radius above 0 and up to 1e9 pixels, found " +
                                       std::to_string(radius));
    }
    CBrushSegment(line.front(), line.front(), radius).Paint(m_mask);
    for (std::size_t index = 1; index < line.size(); ++index)
    {
        CBrushSegment(line[index - 1], line[index], radius).Paint(m_mask);
    }
}

}  // namespace Application
