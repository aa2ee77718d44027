#pragma once

#include <cstddef>
#include <cstdint>

#include "Base/Interfaces/CSurfelBitMask.h"
#include "Base/Math/LqMatrix4R.h"

namespace DataLayer
{

/// All that classifying the surfels of one collection needs.
struct SCutSurfelsTask
{
    /// Carries a surfel's position to homogeneous clip coordinates.
    LqMatrix4Rf matrix;
    /// The view's size in pixels.
    float width = 0.0F;
    float height = 0.0F;
    /// The mask's bytes, row after row, maskWidth to a row.
    const std::uint8_t* mask = nullptr;
    std::uint32_t maskWidth = 0;
    /// The first column and row that lie outside, see EndOfPixels().
    float endColumn = 0.0F;
    float endRow = 0.0F;
    /// Position j is the three floats at firstPosition + j x positionStride bytes, aligned or not.
    const std::byte* firstPosition = nullptr;
    std::size_t positionStride = 0;
    /// Word j is surfel j's.
    Base::CSurfelBitMask* words = nullptr;
};

/// Sets SurfelFlagCut on the words of the surfels \p begin to \p end - 1 that lie on a painted
/// pixel, and says whether a word was changed. Ranges that do not overlap may run at once.
using CutSurfelsKernel = bool (*)(const SCutSurfelsTask& task, std::uint32_t begin,
                                  std::uint32_t end);

/// The reference: one surfel after the other. Every other form must give the same bits.
[[nodiscard]] bool CutSurfelsScalar(const SCutSurfelsTask& task, std::uint32_t begin,
                                    std::uint32_t end);

}  // namespace DataLayer
