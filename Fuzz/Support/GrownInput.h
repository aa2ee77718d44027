#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Fuzzing
{

/// \p input with a piece of it, which its bytes choose, repeated until it is \p size bytes long: an
/// input for the limits of large files that still has the shape of a small one. Pieces are whole
/// lines, words or any bytes, and their numbers may count. \p input itself where it is longer.
[[nodiscard]] std::vector<std::uint8_t> GrowInput(std::span<const std::uint8_t> input,
                                                  std::size_t size);

}  // namespace Fuzzing
