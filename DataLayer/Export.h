#pragma once

/// Marks what `Veko2_DataLayer` exports; everything else of the library stays hidden.
#define VEKO2_DATALAYER_EXPORT __attribute__((visibility("default")))
