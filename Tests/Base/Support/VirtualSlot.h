#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace TestSupport
{

/// The slot of a virtual operation in its class's table, counted from 0, where a virtual destructor
/// takes two (Itanium C++ ABI: a pointer to a virtual member function holds the offset in the
/// table, plus 1 on machines that mark it there). Negative when the operation is not virtual.
template <typename Function, typename Class>
int VirtualSlot(Function Class::*operation)
{
    std::intptr_t parts[2];
    static_assert(sizeof parts == sizeof operation);
    std::memcpy(parts, &operation, sizeof parts);
#if defined(__aarch64__)
    const bool isVirtual = (parts[1] & 1) != 0;
    const std::intptr_t offset = parts[0];
#else
    const bool isVirtual = (parts[0] & 1) != 0;
    const std::intptr_t offset = parts[0] - 1;
#endif
    return isVirtual ? static_cast<int>(offset / static_cast<std::intptr_t>(sizeof(void*))) : -1;
}

}  // namespace TestSupport
