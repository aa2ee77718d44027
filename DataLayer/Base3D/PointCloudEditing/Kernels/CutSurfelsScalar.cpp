#include <cstring>

#include "Base/Math/LqVector3f.h"
#include "DataLayer/Base3D/PointCloudEditing/Kernels/CutSurfels.h"
#include "DataLayer/Base3D/PointCloudEditing/Kernels/PixelProjection.h"

namespace DataLayer
{

namespace
{

float Transform(const float* coefficients, const LqVector3f& point)
{
    return ((point.x * coefficients[0] + point.y * coefficients[1]) + point.z * coefficients[2]) +
           coefficients[3];
}

bool IsOnPaintedPixel(const SCutSurfelsTask& task, const LqVector3f& position)
{
    const SCutMask& mask = *task.mask;
    const float w = Transform(task.clipW, position);
    const float row = DeviceToPixelY(Transform(task.clipY, position) / w, mask.height);
    const float column = DeviceToPixelX(Transform(task.clipX, position) / w, mask.width);
    if (!IsPixelInside(row, mask.endOfRows) || !IsPixelInside(column, mask.endOfColumns))
    {
        return false;
    }
    const std::uint32_t pixel =
        static_cast<std::uint32_t>(row) * mask.bytesPerRow + static_cast<std::uint32_t>(column);
    return mask.bytes[pixel] == 1;
}

}  // namespace

bool CutSurfelsScalar(const SCutSurfelsTask& task, std::uint32_t begin, std::uint32_t end)
{
    bool hasChanged = false;
    for (std::uint32_t index = begin; index < end; ++index)
    {
        LqVector3f position;
        std::memcpy(&position, task.firstPosition + index * task.positionStride, sizeof position);
        std::uint16_t bits = task.oldWords != nullptr ? task.oldWords[index].bits : 0;
        if ((bits & Base::CSurfelBitMask::SurfelFlagCut) == 0 && IsOnPaintedPixel(task, position))
        {
            bits |= Base::CSurfelBitMask::SurfelFlagCut;
            hasChanged = true;
        }
        task.words[index].bits = bits;
    }
    return hasChanged;
}

}  // namespace DataLayer
