#pragma once

#include <cstddef>

/// Cuts 300,000 surfels, of which half lie under the paint, and says how many were cut.
extern "C" __attribute__((visibility("default"))) std::size_t CutSomeSurfels();
