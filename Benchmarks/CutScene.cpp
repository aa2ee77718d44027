#include "Benchmarks/CutScene.h"

#include <algorithm>
#include <random>

#include "Base/Math/LqVector3f.h"
#include "Benchmarks/BenchmarkScene.h"

std::string SCutScene::GetName() const
{
    return "Stride" + std::to_string(stride) + (isShuffled ? ",Shuffled" : "") + ",Painted" +
           std::to_string(percentPainted);
}

const std::vector<std::byte>& SCutScene::GetPositions() const
{
    static std::vector<std::byte> positions;
    static SCutScene last{};
    if (last.count != count || last.stride != stride || last.isShuffled != isShuffled)
    {
        positions = BenchmarkScene::MakePositions(count, stride, BenchmarkScene::PointOfScan);
        if (isShuffled)
        {
            std::mt19937_64 random(1);
            for (std::size_t index = count; index > 1; --index)
            {
                std::byte* const other = positions.data() + random() % index * stride;
                std::swap_ranges(other, other + sizeof(LqVector3f),
                                 positions.data() + (index - 1) * stride);
            }
        }
        last = *this;
    }
    return positions;
}

std::shared_ptr<const Base::SRegionSelectionInfo> SCutScene::MakeSelection() const
{
    return BenchmarkScene::MakeSelection(
        BenchmarkScene::PaintPolygon(BenchmarkScene::MakeLasso(percentPainted / 100.0)));
}
