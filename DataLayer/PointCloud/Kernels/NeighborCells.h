#pragma once

#include <cstddef>
#include <cstdint>

/// Space in small cells, as the kernels read it that look points up in them.
///
/// A coordinate's cell number is `trunc(clamp((coordinate - low) * scale))`, clamped to 0 and
/// c_maximumCell; what is no number is clamped to the latter. Two cells per axis make a cube,
/// sixteen a block, eight blocks per axis a region. Only blocks that an SLookup tells of exist. The
/// files of this folder are compiled for several instruction sets, so nothing here may be a
/// function that a linker could take from one of them for all the others.
namespace DataLayer::NeighborCells
{

/// What is known of all points of a cube alike.
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
/// A block's states: a word for the sixteen cubes of two rows on x, those of cube rows 2 y and
/// 2 y + 1 at 4 z + y. The cube at x of the first row has the low bit of its state at x, that of
/// the second at 8 + x, and the high ones are 16 above.
inline constexpr std::uint32_t c_stateWords = 32;

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
/// Nothing of all this ever changes but the states: others may set bits there meanwhile, so their
/// words are read atomically, or many at once where the processor reads each of them whole.
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

/// A step is a 64th of a cell.
inline constexpr std::uint32_t c_stepBits = 6;

/// How to place surfels. A position is multiplied from the left with the 4 x 4 matrix, and divided
/// by w unless the matrix is affine, its last column 0, 0, 0, 1; that is where its cell is looked
/// for. A near one, whose x x + y y + z z is at most the nearness, which no other matrix has, may
/// be looked for in the cell that these sums tell instead, one for each axis: x steps[0] + (y
/// steps[1] + (z steps[2] + steps[3])), each rounded once with its product. They are between 2^23
/// and 2^24, so that their lowest 23 bits are the steps.
struct SPlacement
{
    float matrix[16];
    bool isAffine;
    float nearness;
    float steps[3][4];
};

/// Surfels: position j, three floats of any alignment, lies at first + j x stride.
struct SSurfels
{
    const std::byte* first;
    std::size_t stride;
    std::size_t count;
    const SPlacement& placement;
};

/// Writes the EState of the cube in which each of \p surfels is looked for into \p states, and the
/// numbers of those that are neither c_amongFirst nor c_notAmong into \p open, in ascending order.
/// Returns how many those are. Each has room for all surfels; what is behind the numbers is
/// overwritten. Kernels may look for a near surfel in different cubes, so that it is open for one
/// and not for another, but what they know is the same.
using LookFunction = std::size_t (*)(const SLookup& lookup, const SSurfels& surfels,
                                     std::uint16_t* states, std::uint32_t* open);

/// One per source file, each compiled for its own instruction set.
std::size_t LookScalar(const SLookup& lookup, const SSurfels& surfels, std::uint16_t* states,
                       std::uint32_t* open);
#if defined(__x86_64__)
std::size_t LookAvx2(const SLookup& lookup, const SSurfels& surfels, std::uint16_t* states,
                     std::uint32_t* open);
std::size_t LookAvx512(const SLookup& lookup, const SSurfels& surfels, std::uint16_t* states,
                       std::uint32_t* open);
#endif

}  // namespace DataLayer::NeighborCells
