#include "Base/Support/ParallelFor.h"

// Takes the place of ParallelFor.cpp where there is no task scheduler. The answers are the same.

namespace Base
{

void RunParallelFor(std::uint32_t count, ParallelForItem item, const void* body)
{
    for (std::uint32_t index = 0; index < count; ++index)
    {
        item(body, index);
    }
}

}  // namespace Base
