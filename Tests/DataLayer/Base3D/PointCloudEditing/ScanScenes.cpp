#include "Tests/DataLayer/Base3D/PointCloudEditing/ScanScenes.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "Tests/Support/Selections.h"

namespace DataLayer
{

namespace
{

constexpr float c_wildNumbers[] = {std::numeric_limits<float>::quiet_NaN(),
                                   std::numeric_limits<float>::infinity(),
                                   -std::numeric_limits<float>::infinity(),
                                   std::numeric_limits<float>::max(),
                                   std::numeric_limits<float>::lowest(),
                                   std::numeric_limits<float>::denorm_min(),
                                   0.0F,
                                   -0.0F,
                                   1e20F,
                                   -3e9F};

float Add(float number, double difference)
{
    return static_cast<float>(static_cast<double>(number) + difference);
}

}  // namespace

std::uint32_t CScanScenes::Below(std::uint32_t bound)
{
    return static_cast<std::uint32_t>(m_random() % bound);
}

double CScanScenes::Between(double min, double max)
{
    // 53 random bits; the distributions of the standard library may differ from one to the next.
    return min + (max - min) * (static_cast<double>(m_random() >> 11) * 0x1p-53);
}

LqVector3f CScanScenes::makePoint(double radius)
{
    const double x = Between(-radius, radius);
    const double y = Between(-radius, radius);
    const double z = Between(-radius, radius);
    return {static_cast<float>(x), static_cast<float>(y), static_cast<float>(z)};
}

std::vector<LqVector3f> CScanScenes::MakePositions(std::size_t count, bool isNasty)
{
    std::vector<LqVector3f> positions;
    positions.reserve(count + 6000);
    while (positions.size() < count)
    {
        const std::uint32_t length = 1 + Below(6000);
        const std::uint32_t kind = Below(isNasty ? 8 : 4);
        const double spread = Between(0.0, kind == 5 ? 3.0 : 0.03);
        LqVector3f point = makePoint(kind == 6 ? 1e6 : 2.0);
        const LqVector3f step = makePoint(kind == 7 ? 0.0 : 2.0 / length);
        for (std::uint32_t index = 0; index < length; ++index)
        {
            const LqVector3f noise = makePoint(spread);
            positions.push_back(
                {Add(point.x, noise.x), Add(point.y, noise.y), Add(point.z, noise.z)});
            if (kind == 4 && Below(300) == 0)
            {
                positions.back().z = c_wildNumbers[Below(std::size(c_wildNumbers))];
            }
            point = {Add(point.x, step.x), Add(point.y, step.y), Add(point.z, step.z)};
        }
    }
    positions.resize(count);
    return positions;
}

std::vector<std::uint8_t> CScanScenes::makeMask(std::uint32_t width, std::uint32_t height)
{
    std::vector<std::uint8_t> mask(std::size_t{width} * height);
    const std::uint32_t kind = Below(10);
    if (kind == 0)
    {
        std::fill(mask.begin(), mask.end(), std::uint8_t{1});
    }
    else if (kind == 1)
    {
        for (std::uint8_t& pixel : mask)
        {
            pixel = static_cast<std::uint8_t>(Below(3));
        }
    }
    for (std::uint32_t numShapes = kind < 3 ? 0 : 1 + Below(3); numShapes > 0; --numShapes)
    {
        const double centerX = Between(0, width);
        const double centerY = Between(0, height);
        const double radius = Between(0, 0.6) * std::max(width, height);
        const bool isDisk = Below(2) == 0;
        const std::uint8_t paint = Below(5) == 0 ? 2 : 1;
        for (std::uint32_t row = 0; row < height; ++row)
        {
            for (std::uint32_t column = 0; column < width; ++column)
            {
                const double x = column - centerX;
                const double y = row - centerY;
                if (isDisk ? x * x + y * y < radius * radius
                           : std::max(x * x, y * y) < radius * radius)
                {
                    mask[std::size_t{row} * width + column] = paint;
                }
            }
        }
    }
    return mask;
}

std::shared_ptr<const Base::SRegionSelectionInfo> CScanScenes::MakeSelection()
{
    const std::uint32_t sizes[] = {1, 2, 31, 33, 64, 100, 257, 400};
    const std::uint32_t width = sizes[Below(std::size(sizes))];
    const std::uint32_t height = sizes[Below(std::size(sizes))];
    const double shiftX = Between(-1, 1);
    const double shiftY = Between(-1, 1);
    const double distance = Between(-1, 8);
    const LqMatrix4Rd world = TestSupport::MakeTranslation(shiftX, shiftY, -distance);
    const LqMatrix4Rd turn = Below(2) == 0 ? TestSupport::MakeRotationY(0.8, 0.6) : c_matIdentityD;
    LqMatrix4Rd lens =
        TestSupport::MakePerspective(Between(0.8, 3.0), Between(0.5, 2.0), 0.01, 20.0);
    if (Below(4) == 0)
    {
        lens = TestSupport::MakeScale(0.5, 0.7, -0.05);
    }
    std::vector<std::uint8_t> mask = makeMask(width, height);
    return Base::MakeRegionSelection(LqMatrix4Rf(turn), LqMatrix4Rf(world), LqMatrix4Rf(lens),
                                     std::move(mask), width, height);
}

LqMatrix4Rd CScanScenes::MakeTrafo()
{
    LqMatrix4Rd matrix = c_matIdentityD;
    switch (Below(6))
    {
        case 0:
            return TestSupport::MakeRotationY(0.28, 0.96) *
                   TestSupport::MakeTranslation(0.5, -0.25, 1.0);
        case 1:
            return TestSupport::MakeTranslation(0.0, 0.0, 9.0);
        case 2:
            if (Below(3) == 0)
            {
                matrix.data()[Below(16)] =
                    static_cast<double>(c_wildNumbers[Below(std::size(c_wildNumbers))]);
            }
            return matrix;
        default:
            return matrix;
    }
}

std::vector<Base::CSurfelBitMask> CScanScenes::MakeBitMasks(std::size_t count)
{
    const std::uint32_t kind = Below(4);
    if (kind == 0)
    {
        return {};
    }
    std::vector<Base::CSurfelBitMask> words(count);
    for (std::size_t index = 0; index < count; ++index)
    {
        // Whole stretches that have the flag already, or none, or any.
        const std::uint32_t bits = Below(0x10000);
        const std::uint32_t kept = kind == 1 ? bits : (bits & ~8U);
        words[index].bits =
            static_cast<std::uint16_t>(kind == 2 && (index / 5000) % 2 == 0 ? kept | 8U : kept);
    }
    return words;
}

}  // namespace DataLayer
