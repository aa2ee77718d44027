#include <gtest/gtest.h>

#include <string>
#include <type_traits>

#include "Base/Support/CString.h"
#include "Base/Support/INonCopyable.h"

namespace
{

TEST(UxUniqueIdT, TwoOfTheSameValue_AreEqual)
{
    using Id = UxUniqueIdT<std::string>;
    EXPECT_EQ(Id("a"), Id("a"));
    EXPECT_NE(Id("a"), Id("b"));
    EXPECT_EQ(Id("a").GetValue(), "a");
}

TEST(UxUniqueIdT, DefaultConstructed_HoldsTheDefaultValue)
{
    EXPECT_EQ(UxUniqueIdT<int>().GetValue(), 0);
}

TEST(UxUniqueIdT, Value_DoesNotBecomeAnIdentifierByItself)
{
    EXPECT_FALSE((std::is_convertible_v<int, UxUniqueIdT<int>>));
    EXPECT_TRUE((std::is_constructible_v<UxUniqueIdT<int>, int>));
}

TEST(INonCopyable, DerivedClass_CanBeNeitherCopiedNorMovedNorAssigned)
{
    class COperation : public INonCopyable
    {};
    EXPECT_TRUE(std::is_default_constructible_v<COperation>);
    EXPECT_FALSE(std::is_copy_constructible_v<COperation>);
    EXPECT_FALSE(std::is_move_constructible_v<COperation>);
    EXPECT_FALSE(std::is_copy_assignable_v<COperation>);
    EXPECT_FALSE(std::is_move_assignable_v<COperation>);
}

}  // namespace
