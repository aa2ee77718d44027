#include "Application/Fusion/CHashSlots.h"

#include <gtest/gtest.h>

#include <functional>

namespace
{

using Application::CHashSlots;

/// A table of numbers, with a hash that the test chooses.
struct STable
{
    std::function<std::uint64_t(std::uint64_t)> hash;
    std::vector<std::uint64_t> values = {};
    CHashSlots slots = {};

    std::uint32_t Find(std::uint64_t value) const
    {
        return slots.Find(hash(value), [&](std::uint32_t index) { return values[index] == value; });
    }

    std::uint32_t FindOrInsert(std::uint64_t value)
    {
        const auto next = static_cast<std::uint32_t>(values.size());
        const std::uint32_t number = slots.FindOrInsert(
            hash(value), next, [&](std::uint32_t index) { return values[index] == value; },
            [&](std::uint32_t index) { return hash(values[index]); });
        if (number == next)
        {
            values.push_back(value);
        }
        return number;
    }
};

std::uint64_t Spread(std::uint64_t value)
{
    return value * 0x9E3779B97F4A7C15U;
}

TEST(CHashSlotsTest, Find_InNoElementsFindsNone)
{
    EXPECT_EQ(STable{Spread}.Find(1), CHashSlots::c_none);
}

TEST(CHashSlotsTest, FindOrInsert_NumbersElementsInTheirOrder)
{
    STable table{Spread};
    EXPECT_EQ(table.FindOrInsert(30), 0U);
    EXPECT_EQ(table.FindOrInsert(20), 1U);
    EXPECT_EQ(table.FindOrInsert(30), 0U);
    EXPECT_EQ(table.FindOrInsert(10), 2U);
}

TEST(CHashSlotsTest, Elements_AreFoundAfterTheTableHasGrown)
{
    STable table{Spread};
    for (std::uint64_t value = 0; value < 10000; ++value)
    {
        ASSERT_EQ(table.FindOrInsert(value), value);
    }
    for (std::uint64_t value = 0; value < 10000; ++value)
    {
        ASSERT_EQ(table.Find(value), value);
    }
    EXPECT_EQ(table.Find(10000), CHashSlots::c_none);
}

TEST(CHashSlotsTest, ElementsOfOneHash_AreToldApart)
{
    STable table{[](std::uint64_t) { return ~std::uint64_t{0}; }};
    for (std::uint64_t value = 0; value < 100; ++value)
    {
        ASSERT_EQ(table.FindOrInsert(value), value);
    }
    EXPECT_EQ(table.Find(99), 99U);
    EXPECT_EQ(table.Find(100), CHashSlots::c_none);
}

}  // namespace
