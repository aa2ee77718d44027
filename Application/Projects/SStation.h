#pragma once

#include <memory>

#include "Application/Projects/CScanEntity.h"
#include "Application/Scans/CScanFile.h"
#include "Base/Interfaces/CSurfelCollectionMask.h"
#include "Base/Math/LqMatrix4R.h"

namespace Application
{

/// A scan that is loaded, placed in the world, with its flags.
struct SStation
{
    CScanFile scan;
    /// Its identity is also its key in a synchronised map.
    std::shared_ptr<const CScanEntity> entity;
    /// From the surfels' own coordinates to the world.
    LqMatrix4Rd trafo = c_matIdentityD;
    /// Empty while no flag is set.
    std::shared_ptr<const Base::CSurfelCollectionMask> mask;
    int optimizationLevel = 0;

    /// Its words; none while no flag is set.
    [[nodiscard]] const std::vector<Base::CSurfelBitMask>& GetFlags() const
    {
        static const std::vector<Base::CSurfelBitMask> c_none;
        return mask ? mask->GetBitMasks() : c_none;
    }
};

}  // namespace Application
