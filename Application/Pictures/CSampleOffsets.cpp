#include "Application/Pictures/CSampleOffsets.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Application
{

namespace
{

bool IsKept(CSampleOffsets::EKept kept, std::int32_t x, std::int32_t y)
{
    switch (kept)
    {
        case CSampleOffsets::EKept::OneOfOpposites:
            return y > 0 || (y == 0 && x > 0);
        case CSampleOffsets::EKept::HalfOfFarOnes:
            // As the fields of one colour on a chessboard.
            return x * x + y * y < 9 || (x + y) % 2 == 0;
        default:
            return true;
    }
}

}  // namespace

CSampleOffsets::CSampleOffsets(float nearest, float farthest, EKept kept, std::size_t stride)
{
    struct SOffset
    {
        std::int32_t x;
        std::int32_t y;
        float distance;
    };
    std::vector<SOffset> offsets;
    const auto reach = static_cast<std::int32_t>(farthest);
    for (std::int32_t y = -reach; y <= reach; ++y)
    {
        for (std::int32_t x = -reach; x <= reach; ++x)
        {
            const float distance = std::sqrt(static_cast<float>(x * x + y * y));
            if (distance > 0.0F && distance >= nearest && distance <= farthest &&
                IsKept(kept, x, y))
            {
                offsets.push_back({x, y, distance});
            }
        }
    }
    std::stable_sort(offsets.begin(), offsets.end(),
                     [](const SOffset& a, const SOffset& b) { return a.distance < b.distance; });
    for (const SOffset& offset : offsets)
    {
        m_x.push_back(static_cast<float>(offset.x));
        m_y.push_back(static_cast<float>(offset.y));
        m_xx.push_back(static_cast<float>(offset.x * offset.x));
        m_xy.push_back(static_cast<float>(offset.x * offset.y));
        m_yy.push_back(static_cast<float>(offset.y * offset.y));
        m_distances.push_back(offset.distance);
        m_steps.push_back(offset.y * static_cast<std::int32_t>(stride) + offset.x);
    }
    const std::size_t size = offsets.size() + SSampleRows::c_margin;
    m_distances.resize(size, std::numeric_limits<float>::quiet_NaN());
    m_steps.resize(size);
}

}  // namespace Application
