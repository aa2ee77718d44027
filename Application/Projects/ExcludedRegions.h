#pragma once

#include <cstdint>
#include <vector>

#include "Application/Projects/SProjectDocument.h"
#include "Base/Interfaces/CSurfelBitMask.h"
#include "Base/Interfaces/ISurfelCollection.h"

namespace Application
{

/// Sets SurfelFlagExcluded on the surfels that \p trafo places within any of \p boxes, and returns
/// how many did not have it before. \p words are empty or one per surfel; with boxes, they always
/// are one per surfel afterwards.
/// @throw VekoException when the collection has no positions.
std::uint64_t ExcludeSurfels(const Base::ISurfelCollection& collection, const LqMatrix4Rd& trafo,
                             const std::vector<SWorldBox>& boxes,
                             std::vector<Base::CSurfelBitMask>& words);

}  // namespace Application
