#include "Base/Interfaces/IPointCloudSupport.h"

INearestNeighborSearch::~INearestNeighborSearch() = default;

namespace Base
{

IPointCloudSupport::~IPointCloudSupport() = default;

}  // namespace Base
