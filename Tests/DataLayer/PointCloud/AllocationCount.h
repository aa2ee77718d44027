#pragma once

#include <cstddef>

/// How many times this program and the libraries it uses have allocated memory with `new` so far.
[[nodiscard]] std::size_t GetAllocationCount();
