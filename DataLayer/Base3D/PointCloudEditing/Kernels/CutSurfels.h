#pragma once

#include <cstddef>
#include <cstdint>

#include "Base/Interfaces/CSurfelBitMask.h"
#include "DataLayer/Base3D/PointCloudEditing/Kernels/PaintedBands.h"

namespace DataLayer
{

// Plain data without member functions: the kernels are compiled for several instruction sets, and a
// linker could take an inline function from one of them for all the others.

/// Columns or rows in device coordinates, which grow with both; those of rows, which run downwards,
/// are the negative ones. A surfel lies on one of them exactly if its coordinate is at least \p
/// first and less than \p end: rounded as they are, pixel coordinates keep the order of device
/// coordinates.
struct SDeviceRange
{
    float first;
    float end;
};

/// A word of the packed mask has a bit for each of so many pixels.
inline constexpr std::uint32_t c_pixelsPerWord = 32;

/// So many words may be read before a packed mask's first one and behind its last one, so that a
/// register of words can have any of them in its middle.
inline constexpr std::uint32_t c_wordsBeside = 8;

/// A selection's mask as the kernels read it.
struct SCutMask
{
    /// The view's size in pixels.
    float width = 0.0F;
    float height = 0.0F;
    /// The bytes that the user painted, row after row, bytesPerRow to a row, and the first column
    /// and row that lie outside, see EndOfPixels(). Only the reference reads these.
    const std::uint8_t* bytes = nullptr;
    std::uint32_t bytesPerRow = 0;
    float endOfColumns = 0.0F;
    float endOfRows = 0.0F;
    /// Whether the rest holds. If not, only the reference can read this mask.
    bool isPacked = false;
    /// The rectangle that holds all pixels that can cut, which are the painted ones outside row 0
    /// and column 0: from the first to the last before the end. Paint in row 0 or column 0 may make
    /// it larger than need be. Empty when there is none outside these.
    std::uint32_t firstColumn = 0;
    std::uint32_t endColumn = 0;
    std::uint32_t firstRow = 0;
    std::uint32_t endRow = 0;
    /// One bit for each pixel of the rectangle, row after row, wordsPerRow to a row: bit b of a
    /// row's word w is the pixel of column firstColumn + c_pixelsPerWord w + b. Null when the
    /// rectangle is empty.
    const std::uint32_t* words = nullptr;
    std::uint32_t wordsPerRow = 0;
    /// Whether all of the rectangle's pixels are painted, so that none needs to be looked up.
    bool isWhole = false;
    /// The rectangle's columns and rows.
    SDeviceRange deviceColumns = {};
    SDeviceRange deviceRows = {};
    /// Whether its columns are a smaller part of the view than its rows, so that fewer surfels pass
    /// their test.
    bool isTall = false;
    /// What can be told of the rectangle's surfels without their pixels, when it is not whole.
    SPaintedBands bands = {};
};

/// The words of more surfels than these do not stay in the nearer caches.
inline constexpr std::uint32_t c_maximumCachedSurfels = 0x80000;

/// All that classifying the surfels of one collection needs.
struct SCutSurfelsTask
{
    /// Column c of the matrix that carries a surfel's position to homogeneous clip coordinates, for
    /// the components x, y and w: ((x c[0] + y c[1]) + z c[2]) + c[3].
    float clipX[4] = {};
    float clipY[4] = {};
    float clipW[4] = {};
    const SCutMask* mask = nullptr;
    /// Position j is the three floats at firstPosition + j x positionStride bytes, aligned or not.
    const std::byte* firstPosition = nullptr;
    std::size_t positionStride = 0;
    /// So many positions are there to be read, those beyond the cut ones as well. May be left 0:
    /// the last surfels of each cut then take longer.
    std::uint32_t numPositions = 0;
    /// While a kernel reads a position it asks for the bytes so far behind it, where there may be
    /// none. In one stretch two pages, since most processors by themselves do not look beyond a
    /// page's end; 0 where that is left to the processor.
    std::uintptr_t fetchDistance = 8192;
    /// Word j is surfel j's before the cut; null when all are 0. They may be the very words below.
    const Base::CSurfelBitMask* oldWords = nullptr;
    /// Word j is surfel j's after the cut.
    Base::CSurfelBitMask* words = nullptr;
    /// Whether the words are too many to stay in the cache: they are written past it then.
    bool isStreamed = false;
};

/// Writes the words of the surfels \p begin to \p end - 1: the old ones, with SurfelFlagCut where
/// the surfel lies on a painted pixel. Says whether one got the flag that did not have it. Ranges
/// that do not overlap may run at once.
using CutSurfelsKernel = bool (*)(const SCutSurfelsTask& task, std::uint32_t begin,
                                  std::uint32_t end);

/// The reference: one surfel after the other.
bool CutSurfelsScalar(const SCutSurfelsTask& task, std::uint32_t begin, std::uint32_t end);

/// One per source file, each compiled for its own instruction set. The mask must be packed.
bool CutSurfelsVector128(const SCutSurfelsTask& task, std::uint32_t begin, std::uint32_t end);
#if defined(__x86_64__)
bool CutSurfelsAvx2(const SCutSurfelsTask& task, std::uint32_t begin, std::uint32_t end);
bool CutSurfelsAvx512(const SCutSurfelsTask& task, std::uint32_t begin, std::uint32_t end);
#endif

}  // namespace DataLayer
