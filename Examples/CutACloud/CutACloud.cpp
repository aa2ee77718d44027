// Cuts a cloud of one's own: the points stay where they are, only their flags come back.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <memory>
#include <vector>

#include "Base/Interfaces/SRegionSelectionInfo.h"
#include "Base/Support/VekoException.h"
#include "DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMask.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"

namespace
{

/// A point as this program keeps it. The library needs to know only where the three floats lie and
/// how many bytes there are from one point to the next.
struct SColoredPoint
{
    std::uint32_t color;
    float x, y, z;
};

/// A sphere of radius 1 around the origin, evenly covered along a spiral.
std::vector<SColoredPoint> MakeSphere(int numPoints)
{
    const double goldenAngle = 2.399963229728653;
    std::vector<SColoredPoint> points;
    for (int index = 0; index < numPoints; ++index)
    {
        const double z = 1.0 - 2.0 * (index + 0.5) / numPoints;
        const double radius = std::sqrt(1.0 - z * z);
        const double angle = goldenAngle * index;
        points.push_back({0xFFC0C0C0, static_cast<float>(radius * std::cos(angle)),
                          static_cast<float>(radius * std::sin(angle)), static_cast<float>(z)});
    }
    return points;
}

/// Looks at the world from (0, 0, 4) along -z, 90 degrees wide and high. Points are row vectors, so
/// the column w holds the distance from the eye, 4 - z, and the column z makes it a depth from 0
/// (one unit before the eye) to 1 (infinitely far away).
LqMatrix4Rf LookAlongMinusZ()
{
    LqMatrix4Rf perspective;
    perspective(0, 0) = 1;
    perspective(1, 1) = 1;
    perspective(2, 2) = -1;
    perspective(2, 3) = -1;
    perspective(3, 2) = 3;
    perspective(3, 3) = 4;
    return perspective;
}

/// What the user painted: a disc in the middle of the view, as one byte per pixel.
std::vector<std::uint8_t> PaintDisc(std::uint32_t width, std::uint32_t height, int radius)
{
    std::vector<std::uint8_t> mask(std::size_t{width} * height, 0);
    for (std::uint32_t row = 0; row < height; ++row)
    {
        for (std::uint32_t column = 0; column < width; ++column)
        {
            const int dx = static_cast<int>(column) - static_cast<int>(width / 2);
            const int dy = static_cast<int>(row) - static_cast<int>(height / 2);
            mask[std::size_t{row} * width + column] = dx * dx + dy * dy <= radius * radius ? 1 : 0;
        }
    }
    return mask;
}

}  // namespace

int main()
{
    try
    {
        const auto points = std::make_shared<const std::vector<SColoredPoint>>(MakeSphere(100'000));

        // A view over the points: nothing is copied, and the shared pointer keeps them alive.
        const auto collection = std::make_shared<const DataLayer::CSurfelCollectionView>(
            points, points->size(), &points->front().x, sizeof(SColoredPoint));

        // The region: the three transforms of the view, which are multiplied from left to right,
        // and the painted pixels.
        const LqMatrix4Rf identity(c_matIdentityD);
        const auto selection = Base::MakeRegionSelection(identity, identity, LookAlongMinusZ(),
                                                         PaintDisc(480, 480, 40), 480, 480);

        // The cut. Several collections could be cut at once, each with its flags so far and its
        // transform to world coordinates.
        const DataLayer::CCutPointCloudWithPixelMask cutter(selection);
        DataLayer::CCutPointCloudWithPixelMask::Results results;
        cutter.Compute({{collection, {}, c_matIdentityD}}, results);

        std::size_t numCut = 0;
        for (const Base::CSurfelBitMask word : results[0].second)
        {
            numCut += (word.bits & Base::CSurfelBitMask::SurfelFlagCut) != 0 ? 1 : 0;
        }
        std::cout << numCut << " of " << points->size() << " points lie under the paint.\n";
        return results[0].first ? 0 : 1;
    }
    catch (const VekoException& exception)
    {
        std::cerr << exception.what() << '\n';
        return 1;
    }
}
