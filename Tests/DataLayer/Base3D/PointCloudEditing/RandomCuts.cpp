#include "Tests/DataLayer/Base3D/PointCloudEditing/RandomCuts.h"

#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "Tests/Support/Selections.h"

namespace DataLayer
{

namespace
{

constexpr double c_near = 0.5;
constexpr double c_far = 10.0;

// Every draw is a statement of its own or stands in braces: the order in which a call's arguments
// are evaluated differs between compilers.

}  // namespace

std::uint32_t CRandomCuts::below(std::uint32_t bound)
{
    return static_cast<std::uint32_t>(m_random() % bound);
}

double CRandomCuts::between(double min, double max)
{
    // 53 random bits; the distributions of the standard library may differ from one to the next.
    return min + (max - min) * (static_cast<double>(m_random() >> 11) * 0x1p-53);
}

std::vector<std::uint8_t> CRandomCuts::makeMask(std::uint32_t width, std::uint32_t height)
{
    std::vector<std::uint8_t> mask(std::size_t{width} * height, 0);
    const std::uint32_t kind = below(4);
    for (std::uint8_t& pixel : mask)
    {
        const std::uint32_t value = below(256);
        switch (kind)
        {
            case 0:
                pixel = value < 12 ? 1 : 0;
                break;
            case 1:
                pixel = value < 200 ? 1 : 0;
                break;
            case 2:
                pixel = value < 100 ? 1 : static_cast<std::uint8_t>(value);
                break;
            default:
                pixel = 1;
                break;
        }
    }
    return mask;
}

std::shared_ptr<const Base::SRegionSelectionInfo> CRandomCuts::MakeSelection()
{
    const std::uint32_t sizes[] = {1, 2, 3, 5, 7, 8, 13, 16, 17, 31, 33, 64, 65, 101, 127};
    const std::uint32_t width = oneOf(sizes);
    const std::uint32_t height = oneOf(sizes);
    const std::array<double, 2> shift{between(-1, 1), between(-1, 1)};
    const LqMatrix4Rd world = TestSupport::MakeTranslation(shift[0], shift[1], -5.0);
    const LqMatrix4Rd turn = below(2) == 0 ? TestSupport::MakeRotationY(0.8, 0.6) : c_matIdentityD;
    LqMatrix4Rd lens = TestSupport::MakePerspective(
        between(0.8, 3.0), static_cast<double>(width) / static_cast<double>(height), c_near, c_far);
    if (below(2) == 0)
    {
        const std::array<double, 2> scale{between(0.2, 1.0), between(0.2, 1.0)};
        lens = TestSupport::MakeScale(scale[0], scale[1], -0.1);
    }
    std::vector<std::uint8_t> mask = makeMask(width, height);
    switch (below(4))
    {
        case 0:
            return TestSupport::MakeDeviceSelection(std::move(mask), width, height);
        case 1:
            return Base::MakeRegionSelection(LqMatrix4Rf(world * turn), LqMatrix4Rf(lens),
                                             TestSupport::MakeIdentity(), std::move(mask), width,
                                             height);
        default:
            return Base::MakeRegionSelection(LqMatrix4Rf(turn), LqMatrix4Rf(world),
                                             LqMatrix4Rf(lens), std::move(mask), width, height);
    }
}

LqMatrix4Rd CRandomCuts::makeTrafo()
{
    switch (below(8))
    {
        case 0: {
            const std::array<double, 3> shift{between(-1, 1), between(-1, 1), between(-1, 1)};
            return TestSupport::MakeTranslation(shift[0], shift[1], shift[2]);
        }
        case 1: {
            const std::array<double, 3> scale{between(0.5, 2), between(0.5, 2), between(0.5, 2)};
            return TestSupport::MakeScale(scale[0], scale[1], scale[2]) *
                   TestSupport::MakeRotationY(0.28, 0.96);
        }
        case 2: {
            const std::uint32_t index = below(16);
            LqMatrix4Rd matrix = c_matIdentityD;
            matrix.data()[index] = static_cast<double>(makeExtreme());
            return matrix;
        }
        default:
            return c_matIdentityD;
    }
}

LqVector3f CRandomCuts::makePosition()
{
    return {static_cast<float>(between(-1.3, 1.3)), static_cast<float>(between(-1.3, 1.3)),
            static_cast<float>(between(-0.2, 1.2))};
}

LqVector3f CRandomCuts::makePositionAtPixelBorder(const Base::SRegionSelectionInfo& selection)
{
    const float width = static_cast<float>(selection.maskWidth);
    const float height = static_cast<float>(selection.maskHeight);
    LqVector3f position{2 * static_cast<float>(below(selection.maskWidth + 1)) / width - 1,
                        1 - 2 * static_cast<float>(below(selection.maskHeight + 1)) / height, 0.5F};
    for (float* coordinate : {&position.x, &position.y})
    {
        const float toward = below(2) == 0 ? -2.0F : 2.0F;
        for (std::uint32_t steps = below(4); steps > 0; --steps)
        {
            *coordinate = std::nextafter(*coordinate, toward);
        }
    }
    return position;
}

float CRandomCuts::makeExtreme()
{
    const float values[] = {std::numeric_limits<float>::quiet_NaN(),
                            std::numeric_limits<float>::infinity(),
                            -std::numeric_limits<float>::infinity(),
                            std::numeric_limits<float>::max(),
                            std::numeric_limits<float>::lowest(),
                            std::numeric_limits<float>::denorm_min(),
                            0.0F,
                            -0.0F,
                            0x1p31F,
                            -0x1p31F,
                            0x1p24F,
                            3e9F,
                            1e20F,
                            -1e20F};
    return oneOf(values);
}

std::vector<Base::CSurfelBitMask> CRandomCuts::makeBitMasks(std::size_t count)
{
    const std::uint32_t kind = below(8);
    if (kind < 4)
    {
        return {};
    }
    if (kind == 4)
    {
        count = below(static_cast<std::uint32_t>(count) + 1);
    }
    else if (kind == 5)
    {
        count += below(20);
    }
    std::vector<Base::CSurfelBitMask> bitMasks(count);
    for (Base::CSurfelBitMask& word : bitMasks)
    {
        word.bits = static_cast<std::uint16_t>(below(0x10000));
        // Half of the sets are not cut at all yet, so that a first cut is seen.
        word.bits = static_cast<std::uint16_t>(kind == 6 ? word.bits & ~8U : word.bits);
    }
    return bitMasks;
}

SRandomInput CRandomCuts::makeInput(std::vector<LqVector3f> positions, std::size_t stride,
                                    std::size_t offset)
{
    SRandomInput input;
    input.collection =
        std::make_shared<TestSupport::CMockSurfelCollection>(positions, stride, offset);
    for (std::size_t index = 0; index < positions.size(); ++index)
    {
        positions[index] = input.collection->GetPosition(index);
    }
    input.bitMasks = makeBitMasks(positions.size());
    input.trafo = makeTrafo();
    input.positions = std::move(positions);
    return input;
}

SRandomInput CRandomCuts::MakeInput(const Base::SRegionSelectionInfo& selection)
{
    const std::size_t counts[] = {0,  1,  2,  3,  5,  7,  8,  9,  15, 16,  17,  31, 32,
                                  33, 47, 48, 49, 62, 63, 64, 65, 66, 127, 128, 129};
    const std::size_t strides[] = {0, 4, 8, 12, 12, 12, 13, 15, 16, 16, 17, 20, 24, 28, 32, 100};
    std::vector<LqVector3f> positions(oneOf(counts));
    const std::uint32_t kind = below(3);
    for (LqVector3f& position : positions)
    {
        position = kind == 0 ? makePosition() : makePositionAtPixelBorder(selection);
        if (kind == 2 && below(6) == 0)
        {
            (below(2) == 0 ? position.x : below(2) == 0 ? position.y : position.z) = makeExtreme();
        }
    }
    const std::size_t stride = oneOf(strides);
    const std::size_t offset = below(16);
    SRandomInput input = makeInput(std::move(positions), stride, offset);
    // Without this most collections at pixel borders would be rejected as a whole or not at all.
    if (below(3) == 0)
    {
        input.collection->SetBoundingBox({-2, -2, -1}, {2, 2, 2});
    }
    return input;
}

SRandomInput CRandomCuts::MakeLargeInput(std::size_t count, std::size_t stride)
{
    std::vector<LqVector3f> positions(count);
    for (LqVector3f& position : positions)
    {
        position = makePosition();
    }
    SRandomInput input = makeInput(std::move(positions), stride, 0);
    input.trafo = c_matIdentityD;
    return input;
}

}  // namespace DataLayer
