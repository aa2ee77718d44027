#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "Base/Math/LqVector3f.h"

namespace DataLayer
{

/// Positions somewhere in memory: element j is the three floats, of any alignment, at first +
/// j x stride bytes. Borrows them.
struct SPositionArray
{
    const std::byte* first = nullptr;
    std::size_t stride = 0;
    std::uint64_t count = 0;

    [[nodiscard]] LqVector3f operator[](std::uint64_t index) const
    {
        LqVector3f position;
        std::memcpy(&position, first + index * stride, sizeof position);
        return position;
    }
};

}  // namespace DataLayer
