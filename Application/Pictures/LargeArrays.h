#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>

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

/// An array of \p count elements of \p value, in large pages.
template <typename Element>
[[nodiscard]] std::unique_ptr<Element[]> MakeLargeArray(std::size_t count, Element value)
{
    auto elements = std::make_unique_for_overwrite<Element[]>(count);
    Base::PreferLargePages(elements.get(), count * sizeof(Element));
    FillInParallel(elements.get(), count, value);
    return elements;
}

}  // namespace Application
