#include "DataLayer/PointCloud/RecordSelection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace
{

using DataLayer::NearestNeighbor::SelectByCoordinate;
using DataLayer::NearestNeighbor::SelectByIndex;
using DataLayer::NearestNeighbor::SRecord;

using Records = std::vector<SRecord>;

/// Records whose y is \p coordinate of their number; x, z and the index name the record.
Records MakeRecords(std::uint32_t count, const std::function<float(std::uint32_t)>& coordinate)
{
    Records records;
    for (std::uint32_t i = 0; i < count; ++i)
    {
        const float name = static_cast<float>(i);
        records.push_back({{name, coordinate(i), -name}, i});
    }
    return records;
}

void ExpectSameRecords(Records found, const Records& original)
{
    std::sort(found.begin(), found.end(),
              [](const SRecord& a, const SRecord& b) { return a.index < b.index; });
    for (std::size_t i = 0; i < found.size(); ++i)
    {
        ASSERT_EQ(found[i].index, original[i].index);
        for (std::uint32_t axis = 0; axis < 3; ++axis)
        {
            ASSERT_EQ(found[i].position[axis], original[i].position[axis]);
        }
    }
}

struct SArrangement
{
    std::string name;
    std::function<float(std::uint32_t)> coordinate;
};

class RecordSelectionTest : public testing::TestWithParam<SArrangement>
{};

INSTANTIATE_TEST_SUITE_P(
    Arrangement, RecordSelectionTest,
    testing::Values(
        SArrangement{"Ascending", [](std::uint32_t i) { return static_cast<float>(i); }},
        SArrangement{"Descending", [](std::uint32_t i) { return -static_cast<float>(i); }},
        SArrangement{"Equal", [](std::uint32_t) { return 7.0F; }},
        SArrangement{"TwoValues", [](std::uint32_t i) { return static_cast<float>(i * i % 3); }},
        SArrangement{"MostlyLeast", [](std::uint32_t i) { return i % 97 == 5 ? 1.0F : 0.0F; }},
        SArrangement{"Sawtooth", [](std::uint32_t i) { return static_cast<float>(i % 64); }},
        SArrangement{"Scattered",
                     [](std::uint32_t i) { return static_cast<float>(std::minstd_rand(i + 1)()); }},
        SArrangement{"LargestFloats",
                     [](std::uint32_t i) {
                         const float largest = std::numeric_limits<float>::max();
                         return i % 2 == 0 ? largest : -largest;
                     }}),
    [](const auto& arrangement) { return arrangement.param.name; });

TEST_P(RecordSelectionTest, SelectByCoordinate_NoneBeforeTheMiddleIsGreaterThanAnyFromItOn)
{
    for (const std::uint32_t count : {1U, 2U, 15U, 16U, 17U, 33U, 256U, 5000U})
    {
        const Records original = MakeRecords(count, GetParam().coordinate);
        for (const std::uint32_t middle : {0U, 1U, count / 3, count / 2, count - 1, count})
        {
            Records records = original;
            SRecord* const first = records.data();
            SelectByCoordinate(first, first + middle, first + count, 1);
            float greatestBefore = -std::numeric_limits<float>::infinity();
            for (std::uint32_t i = 0; i < middle; ++i)
            {
                greatestBefore = std::max(greatestBefore, records[i].position[1]);
            }
            for (std::uint32_t i = middle; i < count; ++i)
            {
                ASSERT_LE(greatestBefore, records[i].position[1]) << count << " at " << middle;
            }
            ExpectSameRecords(records, original);
        }
    }
}

TEST(RecordSelectionSampleTest, SelectByCoordinate_AllOfManyIsNoMoreThanTheLargestSampleHolds)
{
    constexpr std::uint32_t c_count = 128 * 256;
    const Records original =
        MakeRecords(c_count, [](std::uint32_t i) { return static_cast<float>(i % 1000); });
    Records records = original;
    SelectByCoordinate(records.data(), records.data() + c_count, records.data() + c_count, 1);
    ExpectSameRecords(records, original);
}

TEST(RecordSelectionIndexTest, SelectByIndex_NoneBeforeTheMiddleIsGreaterThanAnyFromItOn)
{
    const Records original = MakeRecords(1000, [](std::uint32_t) { return 0.0F; });
    Records records = original;
    std::shuffle(records.begin(), records.end(), std::mt19937(1));
    SelectByIndex(records.data(), records.data() + 300, records.data() + 1000);
    for (std::uint32_t i = 0; i < 1000; ++i)
    {
        EXPECT_EQ(records[i].index < 300, i < 300);
    }
    ExpectSameRecords(records, original);
}

}  // namespace
