#include "Base/Interfaces/IIdentified.h"

namespace Base
{

IIdentified::~IIdentified() = default;

}  // namespace Base
