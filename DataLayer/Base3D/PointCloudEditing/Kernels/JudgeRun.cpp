#include "DataLayer/Base3D/PointCloudEditing/Kernels/JudgeRun.h"

#include <algorithm>
#include <cstddef>
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

/// What the pixels of \p range have in common, unless that takes more than \p maxNumWords words of
/// the mask. When \p isInside is false the range stands for other, unpainted pixels as well.
ERunPlace JudgePixels(const SCutMask& mask, const SPixelRange& range, bool isInside,
                      std::uint32_t maxNumWords)
{
    const std::uint32_t firstWord = range.firstColumn / c_pixelsPerWord;
    const std::uint32_t lastWord = range.lastColumn / c_pixelsPerWord;
    const std::uint32_t numWords = lastWord - firstWord + 1;
    const std::uint32_t numRows = range.lastRow - range.firstRow + 1;
    if (numRows > maxNumWords / numWords)
    {
        return ERunPlace::Unknown;
    }
    std::uint32_t firstBits = ~0U << range.firstColumn % c_pixelsPerWord;
    std::uint32_t lastBits = ~0U >> (c_pixelsPerWord - 1 - range.lastColumn % c_pixelsPerWord);
    if (numWords == 1)
    {
        firstBits &= lastBits;
        lastBits = firstBits;
    }
    std::uint32_t painted = 0;
    std::uint32_t unpainted = isInside ? 0 : 1;
    const std::uint32_t* row =
        mask.words + std::size_t{range.firstRow} * mask.wordsPerRow + firstWord;
    for (std::uint32_t rowsLeft = numRows; rowsLeft > 0; --rowsLeft)
    {
        const std::uint32_t first = row[0];
        const std::uint32_t last = row[numWords - 1];
        painted |= (first & firstBits) | (last & lastBits);
        unpainted |= (~first & firstBits) | (~last & lastBits);
        for (std::uint32_t word = 1; word + 1 < numWords; ++word)
        {
            painted |= row[word];
            unpainted |= ~row[word];
        }
        if (painted != 0 && unpainted != 0)
        {
            return ERunPlace::Unknown;
        }
        row += mask.wordsPerRow;
    }
    return painted != 0 ? ERunPlace::Painted : ERunPlace::Unpainted;
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
    return JudgePixels(
        mask,
        {firstPixel(bounds->minColumn, firstColumn),
         lastPixel(bounds->maxColumn, firstColumn, endColumn), firstPixel(bounds->minRow, firstRow),
         lastPixel(bounds->maxRow, firstRow, endRow)},
        isWithin && run.isFinite, maxNumWords);
}

}  // namespace DataLayer
