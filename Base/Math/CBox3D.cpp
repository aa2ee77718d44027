#include "Base/Math/CBox3D.h"

namespace Geometry
{

namespace
{

void ExtendAxis(float& min, float& max, float value)
{
    if (value < min)
    {
        min = value;
    }
    if (value > max)
    {
        max = value;
    }
}

}  // namespace

void CBox3D::Extend(float x, float y, float z)
{
    ExtendAxis(min.x, max.x, x);
    ExtendAxis(min.y, max.y, y);
    ExtendAxis(min.z, max.z, z);
}

bool CBox3D::Intersects(const CBox3D& other) const
{
    if (IsEmpty() || other.IsEmpty())
    {
        return false;
    }
    return min.x <= other.max.x && other.min.x <= max.x &&  //
           min.y <= other.max.y && other.min.y <= max.y &&  //
           min.z <= other.max.z && other.min.z <= max.z;
}

}  // namespace Geometry
