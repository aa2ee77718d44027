#pragma once

#include <cstddef>
#include <cstdint>

/// Space in small cells, as the kernels read it that look points up in them.
///
/// A coordinate's cell number is `trunc(clamp((coordinate - low) * scale))`, clamped to 0 and
/// c_maximumCell; what is no number is clamped to the latter. Sixteen cells per axis make a block,
/// and only blocks that are in the table of an SLookup exist. The files of this folder are compiled
/// for several instruction sets, so nothing here may be a function that a linker could take from
/// one of them for all the others.
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
/// A block's states: a word for sixteen cells, 4 x 4 on x and y, of which cell (x, y) has the low
/// bit of its state at 4 y + x and the high one 16 above. Four words, one for each z, make a brick;
/// four bricks, 2 x 2 on x and y, a cache line, and four of those a layer, again 2 x 2: a scan of a
/// surface in any direction meets few lines.
inline constexpr std::uint32_t c_stateWords = c_blockEdge * c_blockEdge;

/// A place of the table: a block's key, its numbers on x, y and z from the lowest bit on, and the
/// first of its states. A free place has c_noKey, and the first state of the block without any of
/// the first.
struct SSlot
{
    std::uint64_t key;
    std::uint32_t firstState;
};

inline constexpr std::uint64_t c_noKey = ~std::uint64_t{0};

/// Where the cells are and what is known of them. A block stands at the first place of its key or
/// none from `(key * c_hashFactor) >> hashShift` on, round and round.
struct SLookup
{
    const SSlot* slots;
    const std::uint32_t* states;
    std::uint64_t slotMask;
    std::uint32_t hashShift;
    float low[3];
    float scale;
};

inline constexpr std::uint64_t c_hashFactor = 0x9E3779B97F4A7C15U;

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

/// Writes the EState of each of \p surfels. All kernels give the same answers.
///
/// States may become known at the same time: words are read atomically, and a state is written
/// once.
using LookFunction = void (*)(const SLookup& lookup, const SSurfels& surfels,
                              std::uint16_t* states);

/// One per source file, each compiled for its own instruction set.
void LookScalar(const SLookup& lookup, const SSurfels& surfels, std::uint16_t* states);
#if defined(__x86_64__)
void LookAvx2(const SLookup& lookup, const SSurfels& surfels, std::uint16_t* states);
void LookAvx512(const SLookup& lookup, const SSurfels& surfels, std::uint16_t* states);
#endif

}  // namespace DataLayer::NeighborCells
