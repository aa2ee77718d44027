#include "Base/Support/shared_not_null.h"

#include <gtest/gtest.h>

#include <memory>
#include <type_traits>
#include <utility>

namespace
{

using ScanAPI::shared_not_null;

TEST(SharedNotNull, EmptyPointer_IsRefused)
{
    EXPECT_THROW(shared_not_null<int>(std::shared_ptr<int>()), VekoException);
    EXPECT_THROW(shared_not_null<const int>(nullptr), VekoException);
}

TEST(SharedNotNull, GetShared_IsTheWrappedPointer)
{
    const auto pointer = std::make_shared<int>(3);
    const shared_not_null<int> wrapped(pointer);
    EXPECT_EQ(wrapped.get_shared(), pointer);
    EXPECT_EQ(pointer.use_count(), 2);
}

TEST(SharedNotNull, Dereferenced_IsTheObject)
{
    const shared_not_null<std::pair<int, int>> wrapped(std::make_shared<std::pair<int, int>>(1, 2));
    EXPECT_EQ((*wrapped).first, 1);
    EXPECT_EQ(wrapped->second, 2);
}

TEST(SharedNotNull, PointerWithoutOwnership_IsAccepted)
{
    int value = 9;
    const shared_not_null<int> wrapped(std::shared_ptr<int>(std::shared_ptr<int>(), &value));
    EXPECT_EQ(*wrapped, 9);
}

TEST(SharedNotNull, PointerToLessConstant_IsAccepted)
{
    const auto readOnly = [](const shared_not_null<const int>& wrapped) {
        return wrapped.get_shared();
    };
    const auto pointer = std::make_shared<int>(6);
    EXPECT_EQ(readOnly(pointer), pointer);
    EXPECT_EQ(readOnly(shared_not_null<int>(pointer)), pointer);
    EXPECT_THROW(readOnly(std::shared_ptr<int>()), VekoException);
}

TEST(SharedNotNull, PointerToMoreConstant_IsNotAccepted)
{
    EXPECT_FALSE((std::is_convertible_v<std::shared_ptr<const int>, shared_not_null<int>>));
    EXPECT_FALSE((std::is_convertible_v<shared_not_null<const int>, shared_not_null<int>>));
}

TEST(SharedNotNull, MovedFrom_IsNotLeftEmpty)
{
    shared_not_null<int> source(std::make_shared<int>(4));
    const shared_not_null<int> target = std::move(source);
    EXPECT_EQ(source.get_shared(), target.get_shared());
    shared_not_null<int> assigned(std::make_shared<int>(5));
    assigned = std::move(source);
    EXPECT_EQ(*source, 4);
    EXPECT_EQ(*assigned, 4);
}

}  // namespace
