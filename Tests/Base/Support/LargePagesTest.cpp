#include "Base/Support/LargePages.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <vector>

namespace Base
{

namespace
{

constexpr std::size_t c_manyElements = std::size_t{3} << 20;

TEST(LargePages, ResizeInLargePages_NewElementsAreThoseOfResize)
{
    std::vector<std::uint16_t> elements{1, 2, 3};
    ResizeInLargePages(elements, c_manyElements);
    ASSERT_EQ(elements.size(), c_manyElements);
    EXPECT_EQ((std::vector<std::uint16_t>(elements.begin(), elements.begin() + 3)),
              (std::vector<std::uint16_t>{1, 2, 3}));
    EXPECT_EQ(std::count(elements.begin() + 3, elements.end(), 0), c_manyElements - 3);
}

TEST(LargePages, ResizeInLargePages_TakesNoMoreThanIsAskedFor)
{
    std::vector<std::uint16_t> elements;
    ResizeInLargePages(elements, c_manyElements);
    EXPECT_EQ(elements.capacity(), c_manyElements);
}

TEST(LargePages, ResizeInLargePages_EnoughRoomIsKept)
{
    std::vector<std::uint16_t> elements(c_manyElements, 7);
    const std::uint16_t* const first = elements.data();
    ResizeInLargePages(elements, 5);
    EXPECT_EQ(elements, std::vector<std::uint16_t>(5, 7));
    ResizeInLargePages(elements, c_manyElements);
    EXPECT_EQ(elements.data(), first);
}

TEST(LargePages, PreferLargePages_RefusedRangeIsNoError)
{
    constexpr std::size_t c_numBytes = std::size_t{8} << 20;
    void* const range =
        mmap(nullptr, c_numBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(range, MAP_FAILED);
    ASSERT_EQ(munmap(range, c_numBytes), 0);
    errno = 0;
    PreferLargePages(range, c_numBytes);
    EXPECT_EQ(errno, 0);
}

}  // namespace

}  // namespace Base
