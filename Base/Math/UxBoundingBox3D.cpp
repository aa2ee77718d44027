#include "Base/Math/UxBoundingBox3D.h"

#include "Base/Math/PointTransform.h"

void UxBoundingBox3D::Transform(const LqMatrix4Rf& matrix)
{
    Geometry::CBox3D transformed;
    if (!box.IsEmpty())
    {
        for (const float x : {box.min.x, box.max.x})
        {
            for (const float y : {box.min.y, box.max.y})
            {
                for (const float z : {box.min.z, box.max.z})
                {
                    transformed.Extend(TransformPoint(matrix, {x, y, z}));
                }
            }
        }
    }
    box = transformed;
}
