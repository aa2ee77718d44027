#pragma once

#include "Base/Math/LqVector3f.h"
#include "DataLayer/Export.h"

namespace DataLayer
{

/// A surfel with a normal in full precision; (0, 0, 0) stands for none.
struct VEKO2_DATALAYER_EXPORT CSurfelPositionNormal
{
    LqVector3f position;
    LqVector3f normal;
};

static_assert(sizeof(CSurfelPositionNormal) == 24);

}  // namespace DataLayer
