#pragma once

#include <memory>

#include "Base/Math/LqMatrix4R.h"

namespace Base
{
struct SRegionSelectionInfo;
}

namespace Application
{

/// A region that was painted on the screen, and where the scan to be cut stands in front of it.
struct SCutRegion
{
    /// Must not be null.
    std::shared_ptr<const Base::SRegionSelectionInfo> selection;
    /// Carries the scan's own coordinates to those in which the selection's view chain starts.
    LqMatrix4Rd trafo = c_matIdentityD;
};

}  // namespace Application
