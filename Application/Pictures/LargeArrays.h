#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <type_traits>

#include "Base/Support/LargePages.h"
#include "Base/Support/ParallelFor.h"

namespace Application
{

/// Sets \p count elements from \p first on to \p value, in parallel.
template <typename Element>
void FillInParallel(Element* first, std::size_t count, Element value)
{
    // Large enough for two threads to meet in few large pages, of which each would clear one when
    // they are new.
    constexpr std::size_t c_pieceSize = (std::size_t{8} << 20U) / sizeof(Element);
    const auto numPieces = static_cast<std::uint32_t>((count + c_pieceSize - 1) / c_pieceSize);
    Base::ParallelFor(numPieces, [&](std::uint32_t piece) {
        const std::size_t begin = piece * c_pieceSize;
        std::fill(first + begin, first + std::min(begin + c_pieceSize, count), value);
    });
}

struct SFreeLargeArray
{
    void operator()(void* first) const { std::free(first); }
};

template <typename Element>
using LargeArray = std::unique_ptr<Element[], SFreeLargeArray>;

/// An array of \p count elements of no value, in large pages.
template <typename Element>
[[nodiscard]] LargeArray<Element> MakeLargeArray(std::size_t count)
{
    static_assert(std::is_trivial_v<Element>);
    // A large page covers only a range that begins at a multiple of its size; what lies before the
    // first one, nearly as much at worst, would be in small ones.
    constexpr std::size_t c_pageSize = std::size_t{2} << 20U;
    constexpr std::size_t c_lineSize = 64;
    const std::size_t numBytes = count * sizeof(Element);
    const std::size_t alignment = numBytes < c_pageSize ? c_lineSize : c_pageSize;
    LargeArray<Element> elements(static_cast<Element*>(
        std::aligned_alloc(alignment, (numBytes + alignment - 1) / alignment * alignment)));
    if (elements == nullptr)
    {
        throw std::bad_alloc();
    }
    Base::PreferLargePages(elements.get(), numBytes);
    return elements;
}

/// An array of \p count elements of \p value, in large pages.
template <typename Element>
[[nodiscard]] LargeArray<Element> MakeLargeArray(std::size_t count, Element value)
{
    LargeArray<Element> elements = MakeLargeArray<Element>(count);
    FillInParallel(elements.get(), count, value);
    return elements;
}

}  // namespace Application
