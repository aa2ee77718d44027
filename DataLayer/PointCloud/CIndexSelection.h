#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "Base/Support/LargePages.h"
#include "DataLayer/PointCloud/SurfelBlocks.h"

namespace DataLayer
{

/// A selection of the indices below a count, as one bit each, and how to copy what they select.
///
/// The work is done in parallel, block by block. The selected ones are counted first, so that
/// memory is taken exactly and once, and every block is written to its own place.
class CIndexSelection
{
public:
    static constexpr std::uint64_t c_wordSize = 64;
    static constexpr std::uint64_t c_all = ~std::uint64_t{0};

    /// \p getWord gives, for each w, which of the indices 64 w to 64 w + 63 are selected, the first
    /// in the lowest bit; bits from \p count on are ignored. It is called once for each word,
    /// concurrently.
    /// @throw std::length_error for a count that no memory holds.
    template <typename GetWord>
    CIndexSelection(std::uint64_t count, const GetWord& getWord)
        : m_count(count), m_firsts(CountSurfelBlocks(count) + std::size_t{1})
    {
        m_words.resize(count / c_wordSize + (count % c_wordSize != 0 ? 1 : 0));
        ForEachSurfelBlock(count, [&](std::uint64_t begin, std::uint64_t end) {
            std::uint64_t numSelected = 0;
            for (std::uint64_t first = begin; first < end; first += c_wordSize)
            {
                const std::uint64_t numUnused = c_wordSize - std::min(end - first, c_wordSize);
                const std::uint64_t word = getWord(first / c_wordSize) & (c_all >> numUnused);
                m_words[first / c_wordSize] = word;
                numSelected += countBits(word);
            }
            m_firsts[begin / c_surfelBlockSize + 1] = numSelected;
        });
        for (std::size_t block = 1; block < m_firsts.size(); ++block)
        {
            m_firsts[block] += m_firsts[block - 1];
        }
    }

    [[nodiscard]] std::uint64_t GetNumSelected() const { return m_firsts.back(); }

    /// Calls \p body for each word with its first index, its bits, and how many indices before it
    /// are selected. Concurrently.
    template <typename Body>
    void ForEachWord(const Body& body) const
    {
        forEachWord(0, countBlocks(), body);
    }

    /// Elements for the selected indices: \p write is called for each word with its first index,
    /// its bits, and where the first of as many elements as those select is to be written.
    /// Concurrently.
    template <typename Elements, typename Write>
    [[nodiscard]] Elements Make(const Write& write) const
    {
        // As many at once as stay in the cache until they are written: resizing fills them first.
        constexpr std::uint32_t c_blocksAtOnce = 16;
        Elements elements;
        Base::ReserveInLargePages(elements, GetNumSelected());
        for (std::uint32_t begin = 0; begin < countBlocks();)
        {
            const std::uint32_t end = begin + std::min(countBlocks() - begin, c_blocksAtOnce);
            elements.resize(m_firsts[end]);
            forEachWord(begin, end,
                        [&](std::uint64_t first, std::uint64_t word, std::uint64_t rank) {
                            write(first, word, elements.data() + rank);
                        });
            begin = end;
        }
        return elements;
    }

    /// The elements that \p read makes of the selected indices, in their order. It is called
    /// concurrently.
    template <typename Elements, typename Read>
    [[nodiscard]] Elements Copy(const Read& read) const
    {
        return Make<Elements>([&](std::uint64_t first, std::uint64_t word, auto* target) {
            if (word == c_all)
            {
                for (std::uint64_t offset = 0; offset < c_wordSize; ++offset)
                {
                    target[offset] = read(first + offset);
                }
                return;
            }
            for (; word != 0; word &= word - 1)
            {
                *target = read(first + static_cast<std::uint64_t>(std::countr_zero(word)));
                ++target;
            }
        });
    }

private:
    [[nodiscard]] std::uint32_t countBlocks() const
    {
        return static_cast<std::uint32_t>(m_firsts.size() - 1);
    }

    /// ForEachWord() of some blocks.
    template <typename Body>
    void forEachWord(std::uint32_t firstBlock, std::uint32_t endBlock, const Body& body) const
    {
        Base::ParallelFor(endBlock - firstBlock, [&](std::uint32_t index) {
            const std::uint64_t block = firstBlock + index;
            const std::uint64_t begin = block * c_surfelBlockSize;
            const std::uint64_t end = std::min(begin + c_surfelBlockSize, m_count);
            std::uint64_t rank = m_firsts[block];
            for (std::uint64_t first = begin; first < end; first += c_wordSize)
            {
                const std::uint64_t word = m_words[first / c_wordSize];
                body(first, word, rank);
                rank += countBits(word);
            }
        });
    }

    /// Most words are whole or empty, and without a machine flag counting takes a table.
    [[nodiscard]] static std::uint64_t countBits(std::uint64_t word)
    {
        return word == c_all ? c_wordSize : word == 0 ? 0 : std::uint64_t(std::popcount(word));
    }

    std::uint64_t m_count;
    std::vector<std::uint64_t> m_words;
    /// For each block, how many indices before it are selected; behind the last, how many in all.
    std::vector<std::uint64_t> m_firsts;
};

static_assert(c_surfelBlockSize % CIndexSelection::c_wordSize == 0, "words lie in one block");

}  // namespace DataLayer
