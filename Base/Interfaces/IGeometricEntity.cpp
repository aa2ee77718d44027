#include "Base/Interfaces/IGeometricEntity.h"

namespace Base
{

IGeometricEntity::~IGeometricEntity() = default;

}  // namespace Base
