#include "DataLayer/Base3D/PointCloudEditing/Kernels/JudgeRun.h"

#include <algorithm>
#include <optional>

#include "DataLayer/Base3D/PointCloudEditing/Kernels/PixelBounds.h"

namespace DataLayer
{

namespace
{

/// Pixels of the prepared rectangle, counted from its first column and row, both ends included.
struct SPixelRange
{
    std::uint32_t firstColumn;
    std::uint32_t lastColumn;
    std::uint32_t firstRow;
    std::uint32_t lastRow;
};

/// The bits from \p first to \p last of a word.
std::uint32_t selectBits(std::uint32_t first, std::uint32_t last)
{
    return (~0U >> (31 - last)) & (~0U << first);
}

/// What the pixels of \p range have in common, found in at most \p maxNumWords words. When
/// \p isWhole is false the range stands for other, unpainted pixels as well.
ERunPlace judgePixels(const SCutMask& mask, const SPixelRange& range, bool isWhole,
                      std::uint32_t maxNumWords)
{
    const std::uint32_t firstWord = range.firstColumn / 32;
    const std::uint32_t lastWord = range.lastColumn / 32;
    bool hasPainted = false;
    bool hasUnpainted = !isWhole;
    std::uint32_t numWordsLeft = maxNumWords;
    for (std::uint32_t row = range.firstRow; row <= range.lastRow; ++row)
    {
        const std::uint32_t* const words = mask.words + std::size_t{row} * mask.wordsPerRow;
        for (std::uint32_t word = firstWord; word <= lastWord; ++word)
        {
            const std::uint32_t asked = selectBits(word == firstWord ? range.firstColumn % 32 : 0,
                                                   word == lastWord ? range.lastColumn % 32 : 31);
            hasPainted = hasPainted || (words[word] & asked) != 0;
            hasUnpainted = hasUnpainted || (words[word] & asked) != asked;
            if ((hasPainted && hasUnpainted) || numWordsLeft == 0)
            {
                return ERunPlace::Unknown;
            }
            --numWordsLeft;
        }
    }
    return hasPainted ? ERunPlace::Painted : ERunPlace::Unpainted;
}

}  // namespace

ERunPlace JudgeRun(const SCutSurfelsTask& task, const SSurfelRun& run, std::uint32_t maxNumWords)
{
    const SCutMask& mask = *task.mask;
    // A position that is not finite is never on a pixel: its clip coordinates are all infinite or
    // NaN, and so the quotient of two of them is NaN. It can only keep a run from being painted.
    if (mask.words == nullptr || run.box.IsEmpty())
    {
        return ERunPlace::Unpainted;
    }
    const std::optional<SPixelBounds> bounds = BoundPixels(task, run.box);
    if (!bounds)
    {
        return ERunPlace::Unknown;
    }
    // Sizes up to 2^24, for which alone masks are packed, are exact as floats.
    const float firstColumn = static_cast<float>(mask.firstColumn);
    const float endColumn = static_cast<float>(mask.endColumn);
    const float firstRow = static_cast<float>(mask.firstRow);
    const float endRow = static_cast<float>(mask.endRow);
    const bool isApart = bounds->maxColumn < firstColumn || bounds->minColumn >= endColumn ||
                         bounds->maxRow < firstRow || bounds->minRow >= endRow;
    if (isApart)
    {
        return ERunPlace::Unpainted;
    }
    const bool isWithin = bounds->minColumn >= firstColumn && bounds->maxColumn < endColumn &&
                          bounds->minRow >= firstRow && bounds->maxRow < endRow;
    // A coordinate between the first pixel and the end is truncated toward zero, as the kernels do.
    const auto firstPixel = [](float min, float first) {
        return static_cast<std::uint32_t>(std::max(min, first)) - static_cast<std::uint32_t>(first);
    };
    const auto lastPixel = [](float max, float first, float end) {
        return (max < end ? static_cast<std::uint32_t>(max) : static_cast<std::uint32_t>(end) - 1) -
               static_cast<std::uint32_t>(first);
    };
    return judgePixels(
        mask,
        {firstPixel(bounds->minColumn, firstColumn),
         lastPixel(bounds->maxColumn, firstColumn, endColumn), firstPixel(bounds->minRow, firstRow),
         lastPixel(bounds->maxRow, firstRow, endRow)},
        isWithin && run.isFinite, maxNumWords);
}

}  // namespace DataLayer
