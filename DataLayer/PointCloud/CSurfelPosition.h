#pragma once

#include "Base/Math/LqVector3f.h"
#include "DataLayer/Export.h"

namespace DataLayer
{

/// A surfel that has a position and no normal.
struct VEKO2_DATALAYER_EXPORT CSurfelPosition
{
    LqVector3f position;
};

static_assert(sizeof(CSurfelPosition) == 12);

}  // namespace DataLayer
