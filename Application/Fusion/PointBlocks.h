#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <vector>

#include "Application/Fusion/CBlockCells.h"
#include "Application/Fusion/CScanPoints.h"

namespace Application
{

/// A run of points of one scan.
struct SPointBlock
{
    const CScanPoints* scan;
    std::uint64_t begin;
    std::uint64_t end;
};

/// Cuts \p scans into blocks of at most CBlockCells::c_blockSize points, in order.
[[nodiscard]] inline std::vector<SPointBlock> MakePointBlocks(const std::vector<CScanPoints>& scans)
{
    std::vector<SPointBlock> blocks;
    for (const CScanPoints& scan : scans)
    {
        for (std::uint64_t begin = 0; begin < scan.GetCount(); begin += CBlockCells::c_blockSize)
        {
            blocks.push_back(
                {&scan, begin, std::min(begin + CBlockCells::c_blockSize, scan.GetCount())});
        }
    }
    if (blocks.size() > std::numeric_limits<std::uint32_t>::max())
    {
        throw std::length_error("There are too many points to fuse.");
    }
    return blocks;
}

}  // namespace Application
