#pragma once

#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>

namespace DataLayer
{

/// \p count in the 32 bits in which a cut counts surfels and collections. Called before anything is
/// allocated for them.
/// @throw std::length_error when it does not fit.
[[nodiscard]] inline std::uint32_t CheckedCount(std::uint64_t count)
{
    if (count > std::numeric_limits<std::uint32_t>::max())
    {
        throw std::length_error("A cut takes at most 4294967295 elements, but was given " +
                                std::to_string(count) + ".");
    }
    return static_cast<std::uint32_t>(count);
}

}  // namespace DataLayer
