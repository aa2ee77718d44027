#pragma once

namespace ScanAPI
{

/// A position or normal where whole arrays are handed out as a vector of values.
struct SimpleVec3f
{
    float x = 0.0F;
    float y = 0.0F;
    float z = 0.0F;

    friend bool operator==(const SimpleVec3f&, const SimpleVec3f&) = default;
};

static_assert(sizeof(SimpleVec3f) == 3 * sizeof(float), "has the layout of LqVector3f");

}  // namespace ScanAPI
