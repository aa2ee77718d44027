#include "Base/Interfaces/SerializedElements.h"

#include <gtest/gtest.h>

#include <cstring>

namespace
{

TEST(SerializedElements, Tag_IsItsFourCharactersInTheirOrder)
{
    const char characters[5] = "VIEW";
    const Base::SerializedTag tag = Base::MakeSerializedTag(characters);
    EXPECT_EQ(std::memcmp(&tag, characters, 4), 0);
}

}  // namespace
