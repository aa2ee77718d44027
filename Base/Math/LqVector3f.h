#pragma once

/// Three single-precision coordinates and nothing else.
///
/// Element arrays are read as consecutive values of this layout.
struct LqVector3f
{
    float x = 0.0F;
    float y = 0.0F;
    float z = 0.0F;

    friend bool operator==(const LqVector3f&, const LqVector3f&) = default;
};

static_assert(sizeof(LqVector3f) == 3 * sizeof(float), "positions are read as three packed floats");
