#include "DataLayer/PointCloud/CIndexSelection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <mutex>
#include <random>
#include <vector>

namespace DataLayer
{

namespace
{

using Indices = std::vector<std::uint64_t>;

/// Random words among which whole and empty ones are frequent, as in a mask of a painted region.
std::vector<std::uint64_t> MakeWords(std::uint64_t count, std::uint64_t seed)
{
    std::mt19937_64 random(seed);
    std::vector<std::uint64_t> words(count / 64 + 1);
    for (std::uint64_t& word : words)
    {
        const std::uint64_t kind = random() % 3;
        word = kind == 0 ? 0 : kind == 1 ? CIndexSelection::c_all : random();
    }
    return words;
}

Indices ListSelected(const std::vector<std::uint64_t>& words, std::uint64_t count)
{
    Indices indices;
    for (std::uint64_t index = 0; index < count; ++index)
    {
        if (((words[index / 64] >> (index % 64)) & 1U) != 0)
        {
            indices.push_back(index);
        }
    }
    return indices;
}

Indices CopyIndices(const CIndexSelection& selection)
{
    return selection.Copy<Indices>([](std::uint64_t index) { return index; });
}

TEST(CIndexSelection, Copy_EqualsOneIndexAfterTheOther)
{
    for (const std::uint64_t count :
         {std::uint64_t{0}, std::uint64_t{1}, std::uint64_t{63}, std::uint64_t{64},
          std::uint64_t{65}, c_surfelBlockSize - 1, c_surfelBlockSize, c_surfelBlockSize + 1,
          3 * c_surfelBlockSize + 1234, 16 * c_surfelBlockSize, 33 * c_surfelBlockSize + 1})
    {
        const std::vector<std::uint64_t> words = MakeWords(count, count);
        const CIndexSelection selection(count, [&](std::uint64_t word) { return words[word]; });
        const Indices expected = ListSelected(words, count);
        EXPECT_EQ(selection.GetNumSelected(), expected.size()) << count;
        EXPECT_EQ(CopyIndices(selection), expected) << count;
    }
}

TEST(CIndexSelection, Copy_BitsFromTheCountOnAreIgnored)
{
    const CIndexSelection selection(70, [](std::uint64_t) { return CIndexSelection::c_all; });
    EXPECT_EQ(selection.GetNumSelected(), 70U);
    EXPECT_EQ(CopyIndices(selection).back(), 69U);
}

TEST(CIndexSelection, ForEachWord_TellsHowManyAreSelectedBefore)
{
    constexpr std::uint64_t c_count = 2 * c_surfelBlockSize + 100;
    const std::vector<std::uint64_t> words = MakeWords(c_count, 5);
    const CIndexSelection selection(c_count, [&](std::uint64_t word) { return words[word]; });
    const Indices selected = ListSelected(words, c_count);
    std::mutex mutex;
    std::uint64_t numWords = 0;
    selection.ForEachWord([&](std::uint64_t first, std::uint64_t word, std::uint64_t rank) {
        const std::lock_guard lock(mutex);
        ++numWords;
        const auto next = std::lower_bound(selected.begin(), selected.end(), first);
        EXPECT_EQ(rank, static_cast<std::uint64_t>(next - selected.begin()));
        const std::uint64_t numUnused = 64 - std::min<std::uint64_t>(c_count - first, 64);
        EXPECT_EQ(word, words[first / 64] & (CIndexSelection::c_all >> numUnused));
    });
    EXPECT_EQ(numWords, c_count / 64 + 1);
}

TEST(CIndexSelection, Construction_AsksForEachWordOnce)
{
    std::vector<int> numCalls(c_surfelBlockSize / 64 + 2);
    const CIndexSelection selection(c_surfelBlockSize + 65, [&](std::uint64_t word) {
        ++numCalls[word];
        return std::uint64_t{0};
    });
    EXPECT_EQ(numCalls, std::vector<int>(c_surfelBlockSize / 64 + 2, 1));
    EXPECT_EQ(selection.GetNumSelected(), 0U);
}

}  // namespace

}  // namespace DataLayer
