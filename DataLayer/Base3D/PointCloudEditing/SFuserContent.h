#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "Base/Interfaces/CEntityTrafoMaskPacket.h"
#include "Base/Interfaces/CUniqueID.h"

namespace DataLayer
{

/// One point of the fused model: its position in world coordinates, and four words that belong to
/// the fuser.
struct SFuserPointRecord
{
    float x = 0.0F;
    float y = 0.0F;
    float z = 0.0F;
    std::uint32_t reserved[4] = {};
};

static_assert(sizeof(SFuserPointRecord) == 28 && offsetof(SFuserPointRecord, reserved) == 12,
              "blocks hold packed records of seven 32-bit words");

/// A run of fused points: \p count records one after the other. The fuser owns their memory.
struct SFuserPointBlock
{
    const SFuserPointRecord* first = nullptr;
    std::uint32_t count = 0;
};

/// What a scan fuser knows after an update: its own state of every entity, and its fused points,
/// split into those of the main components and those of the small ones.
///
/// A plain record. Whoever hands one out leaves it, its blocks and their points unchanged while it
/// is in use. An empty block pointer, and a block without records, hold no points.
struct SFuserContent
{
    /// By the key of the entity's entry in the synchronised map.
    std::unordered_map<Base::CUniqueID, Base::CEntityTrafoMaskPacket> packets;
    std::vector<std::shared_ptr<SFuserPointBlock>> mainComponentBlocks;
    std::vector<std::shared_ptr<SFuserPointBlock>> smallComponentBlocks;
};

}  // namespace DataLayer
