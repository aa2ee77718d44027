#include "Base/Interfaces/ISkeletonEntityTag.h"

namespace Base
{

ISkeletonEntityTag::~ISkeletonEntityTag() = default;

}  // namespace Base
