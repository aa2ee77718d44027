#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "DataLayer/PointCloud/CDeferredNeighborSearch.h"
#include "DataLayer/PointCloud/CNearestNeighborSplit.h"

namespace DataLayerTest
{

using DataLayer::CDeferredNeighborSearch;
using DataLayer::CNearestNeighborSplit;
using DataLayer::SPositionArray;
using Points = std::vector<LqVector3f>;

inline constexpr float c_bound = 2.25F;
inline constexpr float c_infinity = std::numeric_limits<float>::infinity();
inline constexpr float c_nan = std::numeric_limits<float>::quiet_NaN();

inline SPositionArray PositionsOf(const Points& points)
{
    return {reinterpret_cast<const std::byte*>(points.data()), sizeof(LqVector3f), points.size()};
}

inline Points MakeRandom(std::size_t count, float size, std::uint32_t seed, LqVector3f center = {})
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> offset(-size, size);
    Points points(count);
    for (LqVector3f& point : points)
    {
        point = {center.x + offset(random), center.y + offset(random), center.z + offset(random)};
    }
    return points;
}

/// The plainest restatement: whether the first nearest point within the bound is one of the first.
inline bool IsAmongFirst(const Points& points, std::int64_t last, const LqVector3f& query,
                         float bound)
{
    const auto isFinite = [](const LqVector3f& p) {
        return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
    };
    std::int64_t nearest = -1;
    float nearestDistance = c_infinity;
    for (std::size_t index = 0; isFinite(query) && index < points.size(); ++index)
    {
        const float x = points[index].x - query.x;
        const float y = points[index].y - query.y;
        const float z = points[index].z - query.z;
        const float distance = (x * x + y * y) + z * z;
        if (isFinite(points[index]) && distance <= bound * bound && distance < nearestDistance)
        {
            nearest = static_cast<std::int64_t>(index);
            nearestDistance = distance;
        }
    }
    return nearest >= 0 && nearest <= last;
}

/// What a split tells of some surfels at once.
struct SLooked
{
    std::vector<std::uint16_t> states;
    std::vector<std::uint32_t> open;

    bool operator==(const SLooked&) const = default;
};

/// Moves nothing, but divides by a w of two: a surfel is looked for in the cell that it is asked
/// for in, while the identity's may be in the next one where it is within the error of placing.
inline LqMatrix4Rf MakeIdentityWithPerspective()
{
    LqMatrix4Rf trafo(c_matIdentityD);
    for (std::size_t index = 0; index < 4; ++index)
    {
        trafo(index, index) = 2;
    }
    return trafo;
}

/// The room for one surfel more keeps what it held.
inline SLooked LookAt(const CNearestNeighborSplit& split, const SPositionArray& surfels,
                      const LqMatrix4Rf& trafo = LqMatrix4Rf(c_matIdentityD))
{
    SLooked looked{std::vector<std::uint16_t>(surfels.count + 1, 7),
                   std::vector<std::uint32_t>(surfels.count + 1, 7)};
    const std::size_t numOpen =
        split.Look(surfels, split.MakePlacement(trafo), looked.states.data(), looked.open.data());
    EXPECT_EQ(looked.states.back(), 7);
    EXPECT_EQ(looked.open.back(), 7U);
    looked.states.pop_back();
    looked.open.resize(numOpen);
    return looked;
}

/// The numbers of the surfels whose state is none that is known.
inline std::vector<std::uint32_t> OpenOf(const std::vector<std::uint16_t>& states)
{
    std::vector<std::uint32_t> open;
    for (std::uint32_t index = 0; index < states.size(); ++index)
    {
        if (states[index] != DataLayer::NeighborCells::c_amongFirst &&
            states[index] != DataLayer::NeighborCells::c_notAmong)
        {
            open.push_back(index);
        }
    }
    return open;
}

/// With each kernel.
class CNearestNeighborSplitTest : public testing::TestWithParam<std::string>
{
protected:
    /// Looks at all \p queries, asks for each, twice, since the second time more is known, looks
    /// once more and compares with the restatement. Returns how many were known without being asked
    /// for.
    std::size_t expectRestated(const Points& points, std::int32_t last, const Points& queries,
                               float bound = c_bound)
    {
        const CDeferredNeighborSearch search(PositionsOf(points));
        const auto split = CNearestNeighborSplit::Make(search, last, bound, GetParam());
        if (split == nullptr)
        {
            ADD_FAILURE() << "no cells";
            return 0;
        }
        std::vector<bool> expected;
        for (const LqVector3f& query : queries)
        {
            expected.push_back(IsAmongFirst(points, last, query, bound));
        }
        const SLooked looked = LookAt(*split, PositionsOf(queries));
        EXPECT_EQ(looked.open, OpenOf(looked.states));
        for (int pass = 0; pass < 2; ++pass)
        {
            for (std::size_t index = 0; index < queries.size(); ++index)
            {
                EXPECT_EQ(split->IsAmongFirst(queries[index]), expected[index])
                    << "query " << index << " at " << testing::PrintToString(queries[index]);
            }
        }
        const SLooked lookedAgain = LookAt(*split, PositionsOf(queries));
        EXPECT_EQ(lookedAgain.open, OpenOf(lookedAgain.states));
        const SLooked lookedExactly =
            LookAt(*split, PositionsOf(queries), MakeIdentityWithPerspective());
        for (std::size_t index = 0; index < queries.size(); ++index)
        {
            const auto query = [&] {
                return "query " + std::to_string(index) + " at " +
                       testing::PrintToString(queries[index]);
            };
            const std::uint16_t wrong = expected[index] ? DataLayer::NeighborCells::c_notAmong
                                                        : DataLayer::NeighborCells::c_amongFirst;
            EXPECT_NE(looked.states[index], wrong) << query();
            EXPECT_NE(lookedAgain.states[index], wrong) << query();
            EXPECT_NE(lookedExactly.states[index], wrong) << query();
            EXPECT_NE(lookedExactly.states[index], DataLayer::NeighborCells::c_unjudged) << query();
        }
        return queries.size() - looked.open.size();
    }

    /// Of all counts that are special for a cloud.
    void expectRestatedForAllSplits(const Points& points, const Points& queries,
                                    float bound = c_bound)
    {
        const auto count = static_cast<std::int32_t>(points.size());
        for (const std::int32_t last :
             {std::numeric_limits<std::int32_t>::min(), -1, 0, count / 2, count - 2, count - 1,
              count, std::numeric_limits<std::int32_t>::max()})
        {
            SCOPED_TRACE(last);
            expectRestated(points, last, queries, bound);
        }
    }

    [[nodiscard]] static Points around(const Points& points, float distance, std::size_t count,
                                       std::uint32_t seed)
    {
        Points queries = MakeRandom(count, distance, seed);
        for (std::size_t index = 0; index < count; ++index)
        {
            const LqVector3f& point = points[index * 7919 % points.size()];
            queries[index] = {point.x + queries[index].x, point.y + queries[index].y,
                              point.z + queries[index].z};
        }
        return queries;
    }
};

inline std::vector<std::string> KernelNames()
{
    std::vector<std::string> names;
    for (const std::string_view name : CNearestNeighborSplit::GetKernelNames())
    {
        names.emplace_back(name);
    }
    return names;
}

}  // namespace DataLayerTest
