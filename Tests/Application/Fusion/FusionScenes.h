#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "Application/Fusion/CScanFuser.h"
#include "Base/Math/LqVector3f.h"

namespace TestSupport
{

using Positions = std::vector<LqVector3f>;

/// A scan with a key and an entity of its own.
[[nodiscard]] Application::CScanFuser::SScan MakeScan(Positions positions,
                                                      const LqMatrix4Rd& trafo = c_matIdentityD,
                                                      std::vector<Base::CSurfelBitMask> words = {});

/// \p count points evenly spread over a sphere.
[[nodiscard]] Positions MakeSphere(const LqVector3f& center, float radius, std::uint32_t count);

/// All points of \p lists, in order.
[[nodiscard]] Positions Join(const std::vector<Positions>& lists);

/// A transform that moves by \p x, \p y, \p z.
[[nodiscard]] LqMatrix4Rd MakeShift(double x, double y, double z);

/// By scan and surfel, whether SurfelFlagSmallComponent is set after the small-component operation
/// of \p fusion was applied to the map of \p scans. An entry without a message keeps its mask.
[[nodiscard]] std::vector<std::vector<bool>> FlagSmallComponents(
    const std::vector<Application::CScanFuser::SScan>& scans,
    Application::CScanFuser::SFusion fusion);

}  // namespace TestSupport
