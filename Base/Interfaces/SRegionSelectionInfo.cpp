#include "Base/Interfaces/SRegionSelectionInfo.h"

#include <utility>

#include "Base/Support/VekoException.h"

namespace Base
{

namespace
{

struct SOwningRegionSelection
{
    SRegionSelectionInfo info;
    std::vector<std::uint8_t> mask;
};

}  // namespace

std::shared_ptr<const SRegionSelectionInfo> MakeRegionSelection(
    const LqMatrix4Rf& transform1, const LqMatrix4Rf& transform2, const LqMatrix4Rf& transform3,
    std::vector<std::uint8_t> mask, std::uint32_t width, std::uint32_t height)
{
    const std::uint64_t numPixels = std::uint64_t{width} * height;
    if (mask.size() != numPixels)
    {
        ThrowVekoException("Base/Interfaces/SRegionSelectionInfo", 32, "Base::MakeRegionSelection",
                           L"A mask of %u x %u pixels needs %llu bytes, but has %zu.", width,
                           height, static_cast<unsigned long long>(numPixels), mask.size());
    }
    const auto selection = std::make_shared<SOwningRegionSelection>();
    selection->mask = std::move(mask);
    selection->info.transform1 = transform1;
    selection->info.transform2 = transform2;
    selection->info.transform3 = transform3;
    selection->info.maskData = selection->mask.data();
    selection->info.maskWidth = width;
    selection->info.maskHeight = height;
    return {selection, &selection->info};
}

}  // namespace Base
