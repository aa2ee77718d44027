#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "DataLayer/PointCloud/CNearestNeighborIndex.h"

namespace NearestNeighborIndexTest
{

using DataLayer::CNearestNeighborIndex;
using DataLayer::SPositionArray;

using Points = std::vector<LqVector3f>;

inline constexpr float c_infinity = std::numeric_limits<float>::infinity();
inline constexpr float c_nan = std::numeric_limits<float>::quiet_NaN();
inline constexpr float c_largest = std::numeric_limits<float>::max();
inline constexpr float c_smallest = std::numeric_limits<float>::denorm_min();

inline SPositionArray PositionsOf(const Points& points)
{
    return {reinterpret_cast<const std::byte*>(points.data()), sizeof(LqVector3f), points.size()};
}

inline bool IsFinite(const LqVector3f& point)
{
    return std::isfinite(point.x) && std::isfinite(point.y) && std::isfinite(point.z);
}

inline float SquaredDistance(const LqVector3f& a, const LqVector3f& b)
{
    const float dx = a.x - b.x;
    const float dy = a.y - b.y;
    const float dz = a.z - b.z;
    return (dx * dx + dy * dy) + dz * dz;
}

/// What the index has to answer, found by looking at every point.
inline std::int32_t Scan(const Points& points, const LqVector3f& query, float bound)
{
    std::int32_t nearest = -1;
    float least = 0.0F;
    if (!IsFinite(query) || !(bound >= 0.0F))
    {
        return nearest;
    }
    for (std::size_t i = 0; i < points.size(); ++i)
    {
        const float square = SquaredDistance(points[i], query);
        if (IsFinite(points[i]) && square <= bound * bound && (nearest < 0 || square < least))
        {
            nearest = static_cast<std::int32_t>(i);
            least = square;
        }
    }
    return nearest;
}

/// Uniform coordinates in [-extent, extent).
inline Points MakeRandom(std::size_t count, float extent, std::uint32_t seed)
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> coordinate(-extent, extent);
    Points points(count);
    for (LqVector3f& point : points)
    {
        point = {coordinate(random), coordinate(random), coordinate(random)};
    }
    return points;
}

/// Every point of \p points, and random ones of the space around them.
inline Points MakeQueries(const Points& points, float extent, std::size_t count)
{
    Points queries = MakeRandom(count / 2, extent, 77);
    std::mt19937 random(78);
    while (queries.size() < count && !points.empty())
    {
        queries.push_back(points[random() % points.size()]);
    }
    return queries;
}

/// Runs with each search kernel of this processor.
class CNearestNeighborIndexTest : public testing::TestWithParam<std::string>
{
protected:
    [[nodiscard]] static CNearestNeighborIndex makeIndex(const Points& points)
    {
        return CNearestNeighborIndex(PositionsOf(points), GetParam());
    }

    [[nodiscard]] static std::int32_t find(const Points& points, const LqVector3f& query,
                                           float bound)
    {
        return makeIndex(points).FindNearestNeighbor(query, bound, nullptr);
    }

    static void expectSameAsScan(const Points& points, const Points& queries,
                                 const std::vector<float>& bounds)
    {
        const CNearestNeighborIndex index = makeIndex(points);
        for (const LqVector3f& query : queries)
        {
            for (const float bound : bounds)
            {
                ASSERT_EQ(index.FindNearestNeighbor(query, bound, nullptr),
                          Scan(points, query, bound))
                    << points.size() << " points, query " << query.x << " " << query.y << " "
                    << query.z << ", bound " << bound;
            }
        }
    }
};

}  // namespace NearestNeighborIndexTest
