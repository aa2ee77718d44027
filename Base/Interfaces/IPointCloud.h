#pragma once

#include "Base/Export.h"
#include "Base/Interfaces/ISurfelCollection.h"

namespace Base
{

/// A surfel collection whose surfels are points of a cloud, each with a position of its own.
class VEKO2_BASE_EXPORT IPointCloud : public ISurfelCollection
{
public:
    ~IPointCloud() override;
};

}  // namespace Base
