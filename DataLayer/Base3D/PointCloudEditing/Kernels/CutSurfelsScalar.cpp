#include <cstring>

#include "Base/Math/LqVector3f.h"
#include "Base/Math/PointTransform.h"
#include "DataLayer/Base3D/PointCloudEditing/Kernels/CutSurfels.h"
#include "DataLayer/Base3D/PointCloudEditing/Kernels/PixelProjection.h"

namespace DataLayer
{

namespace
{

bool isOnPaintedPixel(const SCutSurfelsTask& task, const LqVector3f& position)
{
    const auto clip = TransformHomogeneous(task.matrix, position.x, position.y, position.z);
    const float row = DeviceToPixelY(clip.y / clip.w, task.height);
    const float column = DeviceToPixelX(clip.x / clip.w, task.width);
    if (!IsPixelInside(row, task.endRow) || !IsPixelInside(column, task.endColumn))
    {
        return false;
    }
    const std::uint32_t pixel =
        static_cast<std::uint32_t>(row) * task.maskWidth + static_cast<std::uint32_t>(column);
    return task.mask[pixel] == 1;
}

}  // namespace

bool CutSurfelsScalar(const SCutSurfelsTask& task, std::uint32_t begin, std::uint32_t end)
{
    bool hasChanged = false;
    for (std::uint32_t index = begin; index < end; ++index)
    {
        LqVector3f position;
        std::memcpy(&position, task.firstPosition + index * task.positionStride, sizeof position);
        if (isOnPaintedPixel(task, position))
        {
            std::uint16_t& bits = task.words[index].bits;
            if ((bits & Base::CSurfelBitMask::SurfelFlagCut) == 0)
            {
                bits |= Base::CSurfelBitMask::SurfelFlagCut;
                hasChanged = true;
            }
        }
    }
    return hasChanged;
}

}  // namespace DataLayer
