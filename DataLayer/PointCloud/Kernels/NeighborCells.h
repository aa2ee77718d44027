#pragma once

#include <cstddef>
#include <cstdint>

/// Space in small cells, as the kernels read it that look points up in them.
///
/// A coordinate's cell number is `trunc(clamp((coordinate - low) * scale))`, clamped to 0 and
/// c_maximumCell; what is no number is clamped to the latter. Sixteen cells per axis make a block,
/// eight blocks per axis a region. Only blocks that an SLookup tells of exist. The files of this
/// folder are compiled for several instruction sets, so nothing here may be a function that a
/// linker could take from one of them for all the others.
namespace DataLayer::NeighborCells
{

/// What is known of all points of a cell alike.
enum EState : std::uint32_t
{
    c_unjudged = 0,    ///< Nothing so far.
    c_amongFirst = 1,  ///< Their nearest neighbour is one of the first.
    c_notAmong = 2,    ///< Their nearest neighbour is none of the first, or they have none.
    c_undecidable = 3  ///< They differ, or it takes more than bounds to tell.
};

inline constexpr std::uint32_t c_cellBits = 17;
inline constexpr std::uint32_t c_maximumCell = (1U << c_cellBits) - 1U;
/// Cells per block and axis.
inline constexpr std::uint32_t c_blockEdgeBits = 4;
inline constexpr std::uint32_t c_blockEdge = 1U << c_blockEdgeBits;
inline constexpr std::uint32_t c_blockBits = c_cellBits - c_blockEdgeBits;
/// Blocks per region and axis.
inline constexpr std::uint32_t c_regionEdgeBits = 3;
inline constexpr std::uint32_t c_regionBits = c_blockBits - c_regionEdgeBits;
inline constexpr std::uint32_t c_regionBlocks = 1U << (3U * c_regionEdgeBits);
/// A block's states: a word for the sixteen cells of a row on x, at 16 z + y, of which cell x has
/// the low bit of its state at x and the high one 16 above. A plane is a cache line.
inline constexpr std::uint32_t c_stateWords = c_blockEdge * c_blockEdge;

/// A place of the table: a region's key, its numbers on x, y and z from the lowest bit on, and the
/// first of its blocks. A free place has c_noRegion and a region without blocks.
struct SSlot
{
    std::uint32_t region;
    std::uint32_t firstBlock;
};

inline constexpr std::uint32_t c_noRegion = ~0U;

/// Where the cells are and what is known of them. A region stands at the first place of its key or
/// none from `region * c_hashFactor >> hashShift` on, round and round. Its blocks follow each other
/// by their places, the numbers in the region on x, y and z from the lowest bit on; of each, where
/// its c_stateWords words of states begin. All blocks that do not exist have the words at 0.
struct SLookup
{
    const SSlot* slots;
    const std::uint32_t* blocks;
    const std::uint32_t* states;
    std::uint32_t slotMask;
    std::uint32_t hashShift;
    float low[3];
    float scale;
};

inline constexpr std::uint32_t c_hashFactor = 0x9E3779B9U;

/// Surfels and how to place them: position j, three floats of any alignment, lies at first +
/// j x stride; it is multiplied from the left with the 4 x 4 matrix, and divided by w unless the
/// matrix is affine, its last column 0, 0, 0, 1.
struct SSurfels
{
    const std::byte* first;
    std::size_t stride;
    std::size_t count;
    const float* matrix;
    bool isAffine;
};

/// Writes the EState of each of \p surfels, and returns whether all are known, c_amongFirst or
/// c_notAmong. All kernels give the same answers.
///
/// States may become known at the same time: words are read atomically, and a state is written
/// once.
using LookFunction = bool (*)(const SLookup& lookup, const SSurfels& surfels,
                              std::uint16_t* states);

/// One per source file, each compiled for its own instruction set.
bool LookScalar(const SLookup& lookup, const SSurfels& surfels, std::uint16_t* states);
#if defined(__x86_64__)
bool LookAvx2(const SLookup& lookup, const SSurfels& surfels, std::uint16_t* states);
bool LookAvx512(const SLookup& lookup, const SSurfels& surfels, std::uint16_t* states);
#endif

}  // namespace DataLayer::NeighborCells
