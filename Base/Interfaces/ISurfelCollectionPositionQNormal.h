#pragma once

#include "Base/Export.h"
#include "Base/Interfaces/IPointCloud.h"

namespace Base
{

/// A point cloud whose surfels have a position and a (quantised) normal.
class VEKO2_BASE_EXPORT ISurfelCollectionPositionQNormal : public IPointCloud
{
public:
    ~ISurfelCollectionPositionQNormal() override;
};

}  // namespace Base
