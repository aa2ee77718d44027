#include "Base/Interfaces/ITagged.h"

namespace Base
{

ITagged::~ITagged() = default;

}  // namespace Base
