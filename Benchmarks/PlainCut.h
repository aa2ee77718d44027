#pragma once

#include <vector>

#include "Base/Interfaces/CSurfelBitMask.h"
#include "Base/Interfaces/ISurfelCollection.h"
#include "Base/Interfaces/SRegionSelectionInfo.h"

/// What is written when cutting is taken down from its definition, without a thought for speed. The
/// words of \p words that lie on painted pixels get the flag; true when one did not have it.
[[nodiscard]] bool CutPlainly(const Base::SRegionSelectionInfo& selection,
                              const Base::ISurfelCollection& collection,
                              std::vector<Base::CSurfelBitMask>& words);
