#pragma once

/// Marks what `Veko2_Base` exports; everything else of the library stays hidden.
#define VEKO2_BASE_EXPORT __attribute__((visibility("default")))
