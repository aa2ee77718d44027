#include "Application/Files/CInputError.h"

#include <gtest/gtest.h>

#include "Application/Files/COutputError.h"

namespace
{

using Application::CInputError;

TEST(CInputError, TextNamesTheFile)
{
    EXPECT_STREQ(CInputError("a/b.ply", "is odd").what(), "a/b.ply: is odd");
    EXPECT_STREQ(Application::COutputError("a/b.ply", "is full").what(), "a/b.ply: is full");
}

TEST(CInputError, TextNamesThePlace)
{
    EXPECT_STREQ(CInputError::AtLine("b.ply", 3, "is odd").what(), "b.ply: line 3: is odd");
    EXPECT_STREQ(CInputError::AtByte("b.ply", 0, "is odd").what(), "b.ply: byte 0: is odd");
}

}  // namespace
