#include "Benchmarks/PlainCut.h"

#include <cstdint>

#include "Base/Math/PointTransform.h"

bool CutPlainly(const Base::SRegionSelectionInfo& selection,
                const Base::ISurfelCollection& collection, std::vector<Base::CSurfelBitMask>& words)
{
    const LqMatrix4Rf matrix = selection.transform1 * selection.transform2 * selection.transform3;
    const auto& positions = collection.GetPositions();
    const float width = static_cast<float>(selection.maskWidth);
    const float height = static_cast<float>(selection.maskHeight);
    bool hasChanged = false;
    for (std::uint32_t index = 0; index < words.size(); ++index)
    {
        const LqVector3f device = TransformPoint(matrix, positions.At(index));
        const float x = ((device.x + 1.0F) * width) * 0.5F;
        const float y = ((1.0F - device.y) * height) * 0.5F;
        if (y >= 1.0F && y < height && x >= 1.0F && x < width)
        {
            const auto pixel =
                static_cast<std::uint32_t>(y) * selection.maskWidth + static_cast<std::uint32_t>(x);
            std::uint16_t& bits = words[index].bits;
            if (selection.maskData[pixel] == 1 && (bits & Base::CSurfelBitMask::SurfelFlagCut) == 0)
            {
                bits |= Base::CSurfelBitMask::SurfelFlagCut;
                hasChanged = true;
            }
        }
    }
    return hasChanged;
}
