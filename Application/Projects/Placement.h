#pragma once

#include "Base/Math/LqMatrix4R.h"

namespace Application
{

/// True for what can place a scan in the world: sixteen finite numbers with 0, 0, 0, 1 at 3, 7, 11,
/// 15 and an inverse. A matrix written column by column fails this as soon as it moves anything.
[[nodiscard]] bool IsPlacement(const LqMatrix4Rd& matrix);

}  // namespace Application
