#pragma once

#include <cstddef>
#include <cstdint>

#include "Base/Math/LqVector3f.h"
#include "DataLayer/Export.h"
#include "DataLayer/PointCloud/QNormal.h"

namespace DataLayer
{

/// A surfel in 16 bytes: its position and the code of its normal (see EncodeQNormal()).
struct VEKO2_DATALAYER_EXPORT CCompactSurfelPositionNormal
{
    LqVector3f position;
    std::uint16_t normal = c_invalidQNormal;
};

static_assert(sizeof(CCompactSurfelPositionNormal) == 16);
static_assert(offsetof(CCompactSurfelPositionNormal, normal) == 12);

}  // namespace DataLayer
