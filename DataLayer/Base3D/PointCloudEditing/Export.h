#pragma once

/// Marks what `Veko2_PointCloudEditing` exports; everything else of the library stays hidden.
#define VEKO2_POINTCLOUDEDITING_EXPORT __attribute__((visibility("default")))
