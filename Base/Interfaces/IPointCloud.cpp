#include "Base/Interfaces/IPointCloud.h"

#include "Base/Interfaces/ISurfelCollectionPositionQNormal.h"

namespace Base
{

IPointCloud::~IPointCloud() = default;
ISurfelCollectionPositionQNormal::~ISurfelCollectionPositionQNormal() = default;

}  // namespace Base
