#include "Base/Support/TOptional.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

namespace
{

using ScanAPI::BadOptionalAccessException;
using ScanAPI::TOptional;

/// Expects that \p read throws what reading an absent value throws, and nothing derived from it.
template <typename Read>
void ExpectBadAccess(const Read& read)
{
    try
    {
        read();
        FAIL() << "nothing was thrown";
    }
    catch (const BadOptionalAccessException& exception)
    {
        EXPECT_EQ(typeid(exception), typeid(BadOptionalAccessException));
        EXPECT_STREQ(exception.what(), "Accessing invalid TOptional value");
    }
}

TEST(TOptional, DefaultConstructed_HasNoValue)
{
    EXPECT_FALSE(TOptional<int>().HasValue());
}

TEST(TOptional, GetValue_OfAnEmptyOneThrows)
{
    TOptional<int> optional;
    ExpectBadAccess([&] { static_cast<void>(optional.GetValue()); });
    ExpectBadAccess([&] { static_cast<void>(std::as_const(optional).GetValue()); });
}

TEST(TOptional, GetValue_ThrowsWhatCanBeCaughtAsStandardException)
{
    try
    {
        static_cast<void>(TOptional<std::string>().GetValue());
        FAIL() << "nothing was thrown";
    }
    catch (const std::exception& exception)
    {
        EXPECT_STREQ(exception.what(), "Accessing invalid TOptional value");
    }
}

TEST(TOptional, ConstructedFromAValue_HoldsIt)
{
    const TOptional<std::string> optional(std::string("text"));
    EXPECT_TRUE(optional.HasValue());
    EXPECT_EQ(optional.GetValue(), "text");
}

TEST(TOptional, GetValue_LetsTheValueBeChanged)
{
    TOptional<int> optional(1);
    optional.GetValue() = 2;
    EXPECT_EQ(optional.GetValue(), 2);
}

TEST(TOptional, Emplace_ReplacesTheValueInPlace)
{
    TOptional<std::string> optional(std::string("before"));
    std::string& emplaced = optional.Emplace(3U, 'x');
    EXPECT_EQ(optional.GetValue(), "xxx");
    EXPECT_EQ(&emplaced, &optional.GetValue());
}

TEST(TOptional, Reset_DestroysTheValue)
{
    const auto shared = std::make_shared<int>(5);
    TOptional<std::shared_ptr<int>> optional(shared);
    EXPECT_EQ(shared.use_count(), 2);
    optional.Reset();
    EXPECT_FALSE(optional.HasValue());
    EXPECT_EQ(shared.use_count(), 1);
}

TEST(TOptional, Copy_IsIndependentOfItsSource)
{
    TOptional<std::vector<int>> source(std::vector<int>{1, 2});
    const TOptional<std::vector<int>> copy = source;
    source.GetValue().clear();
    EXPECT_EQ(copy.GetValue(), (std::vector<int>{1, 2}));
}

TEST(TOptional, MovedTo_HoldsTheValue)
{
    TOptional<std::unique_ptr<int>> source(std::make_unique<int>(7));
    const TOptional<std::unique_ptr<int>> target = std::move(source);
    EXPECT_EQ(*target.GetValue(), 7);
}

TEST(TOptional, Vector_KeepsAbsentAndPresentOnes)
{
    std::vector<TOptional<int>> optionals(3);
    optionals[1] = 5;
    EXPECT_FALSE(optionals[0].HasValue());
    EXPECT_TRUE(optionals[1].HasValue());
    EXPECT_FALSE(optionals[2].HasValue());
}

TEST(TOptional, Layout_IsTheValueAndThenTheFlag)
{
    static_assert(sizeof(TOptional<double>) == 2 * sizeof(double));
    TOptional<double> optional(1.5);
    EXPECT_EQ(static_cast<const void*>(&optional.GetValue()), static_cast<const void*>(&optional));
    unsigned char flag = 0;
    std::memcpy(&flag, reinterpret_cast<const unsigned char*>(&optional) + sizeof(double), 1);
    EXPECT_EQ(flag, 1);
    optional.Reset();
    std::memcpy(&flag, reinterpret_cast<const unsigned char*>(&optional) + sizeof(double), 1);
    EXPECT_EQ(flag, 0);
}

TEST(BadOptionalAccessException, Copy_HasTheSameText)
{
    const BadOptionalAccessException exception;
    const BadOptionalAccessException copy = exception;
    EXPECT_STREQ(copy.what(), "Accessing invalid TOptional value");
    static_assert(std::is_base_of_v<std::exception, BadOptionalAccessException>);
}

}  // namespace
