#include "Application/Editing/CFrontOfEye.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <utility>

#include "Application/Editing/CStandInCollection.h"
#include "Base/Interfaces/IPointCloudSupport.h"
#include "Base/Interfaces/ISurfelCollection.h"
#include "Base/Interfaces/SRegionSelectionInfo.h"
#include "Base/Math/PointTransform.h"
#include "DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMask.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"

namespace Application
{

namespace
{

constexpr std::uint16_t c_cut = Base::CSurfelBitMask::SurfelFlagCut;
/// How often the stand-in's box doubles, from a rounding step to its centre's distance.
constexpr int c_numGrowthSteps = 24;
/// Small enough that few pieces reach behind the eye, large enough that a piece's box costs little.
constexpr std::size_t c_surfelsPerPiece = 1024;

using Vector = std::array<double, 3>;

/// The painted pixels' bounds, first to last of each axis; empty when nothing is painted.
struct SPaintBounds
{
    std::uint32_t firstColumn = 1;
    std::uint32_t lastColumn = 0;
    std::uint32_t firstRow = 1;
    std::uint32_t lastRow = 0;

    [[nodiscard]] bool IsEmpty() const { return firstColumn > lastColumn; }
};

SPaintBounds BoundPaint(const Base::SRegionSelectionInfo& selection)
{
    SPaintBounds bounds;
    const std::size_t width = selection.maskWidth;
    for (std::uint32_t row = 0; width != 0 && row < selection.maskHeight; ++row)
    {
        const std::uint8_t* const pixels = selection.maskData + row * width;
        const auto* const first = static_cast<const std::uint8_t*>(std::memchr(pixels, 1, width));
        if (first != nullptr)
        {
            const auto* const last = static_cast<const std::uint8_t*>(memrchr(pixels, 1, width));
            const auto firstColumn = static_cast<std::uint32_t>(first - pixels);
            const auto lastColumn = static_cast<std::uint32_t>(last - pixels);
            bounds = bounds.IsEmpty() ? SPaintBounds{firstColumn, lastColumn, row, row}
                                      : SPaintBounds{std::min(bounds.firstColumn, firstColumn),
                                                     std::max(bounds.lastColumn, lastColumn),
                                                     bounds.firstRow, row};
        }
    }
    return bounds;
}

bool HasCut(std::span<const Base::CSurfelBitMask> words)
{
    // As narrow as a word, and no way out of the loop: so the compiler joins many at a time.
    std::uint16_t bits = 0;
    for (const Base::CSurfelBitMask& word : words)
    {
        bits = static_cast<std::uint16_t>(bits | word.bits);
    }
    return (bits & c_cut) != 0;
}

Geometry::CBox3D MakeCube(const LqVector3f& centre, float halfSize)
{
    Geometry::CBox3D cube;
    cube.Extend(centre.x - halfSize, centre.y - halfSize, centre.z - halfSize);
    cube.Extend(centre.x + halfSize, centre.y + halfSize, centre.z + halfSize);
    return cube;
}

double Determinant(const Vector& a, const Vector& b, const Vector& c)
{
    return (a[0] * (b[1] * c[2] - b[2] * c[1]) - a[1] * (b[0] * c[2] - b[2] * c[0])) +
           a[2] * (b[0] * c[1] - b[1] * c[0]);
}

/// The point that \p matrix carries to the given device coordinates, by Cramer's rule; not finite
/// when there is none.
LqVector3f Unproject(const LqMatrix4Rf& matrix, const Vector& device)
{
    // One equation per device coordinate: the point times a column equals it times w.
    std::array<Vector, 4> rows{};
    for (std::size_t row = 0; row < 4; ++row)
    {
        for (std::size_t column = 0; column < 3; ++column)
        {
            rows[row][column] =
                double{matrix(row, column)} - device[column] * double{matrix(row, 3)};
        }
    }
    const double whole = -Determinant(rows[0], rows[1], rows[2]);
    return {static_cast<float>(Determinant(rows[3], rows[1], rows[2]) / whole),
            static_cast<float>(Determinant(rows[0], rows[3], rows[2]) / whole),
            static_cast<float>(Determinant(rows[0], rows[1], rows[3]) / whole)};
}

}  // namespace

CFrontOfEye::CFrontOfEye(const SCutRegion& region,
                         std::shared_ptr<const Base::ISurfelCollection> collection)
    : m_region(region),
      m_collection(std::move(collection)),
      m_combined(LqMatrix4Rf(region.trafo) *
                 ((region.selection->transform1 * region.selection->transform2) *
                  region.selection->transform3))
{}

bool CFrontOfEye::ReachesBehind() const
{
    return reachesBehind(*m_collection);
}

bool CFrontOfEye::reachesBehind(const Base::ISurfelCollection& surfels) const
{
    const Geometry::CBox3D box = surfels.GetPointCloudSupport()->GetBoundingBox().box;
    if (box.IsEmpty())
    {
        return false;
    }
    for (const float x : {box.min.x, box.max.x})
    {
        for (const float y : {box.min.y, box.max.y})
        {
            for (const float z : {box.min.z, box.max.z})
            {
                if (!(TransformHomogeneous(m_combined, x, y, z).w > 0.0F))
                {
                    return true;
                }
            }
        }
    }
    return false;
}

std::shared_ptr<const Base::ISurfelCollection> CFrontOfEye::MakeStandIn(
    const DataLayer::CCutPointCloudWithPixelMask& cutter) const
{
    const Base::SRegionSelectionInfo& selection = *m_region.selection;
    const SPaintBounds bounds = BoundPaint(selection);
    if (bounds.IsEmpty())
    {
        return nullptr;
    }
    const double column = 0.5 * bounds.firstColumn + 0.5 * bounds.lastColumn;
    const double row = 0.5 * bounds.firstRow + 0.5 * bounds.lastRow;
    const LqVector3f centre = Unproject(m_combined, {2.0 * column / selection.maskWidth - 1.0,
                                                     1.0 - 2.0 * row / selection.maskHeight, 0.5});
    // The bounds of a single pixel are a point, which rounding misses; a box that grows reaches it.
    const float size = std::max({std::abs(centre.x), std::abs(centre.y), std::abs(centre.z)});
    for (int step = 0; step <= c_numGrowthSteps; ++step)
    {
        const float halfSize = step == 0 ? 0.0F : std::ldexp(size, step - c_numGrowthSteps);
        auto standIn =
            std::make_shared<CStandInCollection>(m_collection, MakeCube(centre, halfSize));
        if (cutter.IntersectsRegion(m_region.trafo, *standIn))
        {
            return standIn;
        }
    }
    return nullptr;
}

std::shared_ptr<const Base::ISurfelCollection> CFrontOfEye::MakeAcceptable(
    const DataLayer::CCutPointCloudWithPixelMask& cutter) const
{
    if (cutter.IntersectsRegion(m_region.trafo, *m_collection) || !ReachesBehind())
    {
        return m_collection;
    }
    const auto standIn = MakeStandIn(cutter);
    return standIn != nullptr ? standIn : m_collection;
}

void CFrontOfEye::TakeBackBehind(const std::vector<Base::CSurfelBitMask>& before,
                                 std::vector<Base::CSurfelBitMask>& after) const
{
    if (!ReachesBehind())
    {
        return;
    }
    const auto& positions = m_collection->GetReadAccessor<Base::CSCElementDefinitionPosition>();
    const std::size_t stride = positions.GetStrideInBytes();
    for (std::size_t begin = 0; begin < after.size(); begin += c_surfelsPerPiece)
    {
        const std::size_t size = std::min(after.size() - begin, c_surfelsPerPiece);
        if (!HasCut(std::span(after).subspan(begin, size)) ||
            !reachesBehind(DataLayer::CSurfelCollectionView(
                m_collection, size, positions.GetFirstElement() + begin * stride, stride)))
        {
            continue;
        }
        for (std::size_t index = begin; index < begin + size; ++index)
        {
            const bool wasCut = !before.empty() && (before[index].bits & c_cut) != 0;
            if ((after[index].bits & c_cut) == 0 || wasCut)
            {
                continue;
            }
            const LqVector3f position = positions.At(index);
            const float w = TransformHomogeneous(m_combined, position.x, position.y, position.z).w;
            if (!(w > 0.0F))
            {
                after[index].bits = static_cast<std::uint16_t>(after[index].bits & ~c_cut);
            }
        }
    }
}

}  // namespace Application
