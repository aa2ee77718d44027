#include "DataLayer/PointCloud/CPointCloudSupport.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "DataLayer/PointCloud/CNearestNeighborIndex.h"
#include "DataLayer/PointCloud/SurfelBlocks.h"

namespace DataLayer
{

namespace
{

Geometry::CBox3D ComputeBlockBox(const SPositionArray& positions, std::uint64_t begin,
                                 std::uint64_t end)
{
    Geometry::CBox3D box;
    for (std::uint64_t index = begin; index < end; ++index)
    {
        const LqVector3f position = positions[index];
        if (std::isfinite(position.x) && std::isfinite(position.y) && std::isfinite(position.z))
        {
            box.min.x = position.x < box.min.x ? position.x : box.min.x;
            box.min.y = position.y < box.min.y ? position.y : box.min.y;
            box.min.z = position.z < box.min.z ? position.z : box.min.z;
            box.max.x = position.x > box.max.x ? position.x : box.max.x;
            box.max.y = position.y > box.max.y ? position.y : box.max.y;
            box.max.z = position.z > box.max.z ? position.z : box.max.z;
        }
    }
    return box;
}

UxBoundingBox3D ComputeBoundingBox(SPositionArray positions)
{
    if (positions.stride == 0)
    {
        positions.count = std::min<std::uint64_t>(positions.count, 1);
    }
    std::vector<Geometry::CBox3D> blockBoxes(CountSurfelBlocks(positions.count));
    ForEachSurfelBlock(positions.count, [&](std::uint64_t begin, std::uint64_t end) {
        blockBoxes[begin / c_surfelBlockSize] = ComputeBlockBox(positions, begin, end);
    });
    UxBoundingBox3D boundingBox;
    for (const Geometry::CBox3D& blockBox : blockBoxes)
    {
        if (!blockBox.IsEmpty())
        {
            boundingBox.box.Extend(blockBox.min);
            boundingBox.box.Extend(blockBox.max);
        }
    }
    return boundingBox;
}

}  // namespace

CPointCloudSupport::CPointCloudSupport(const SPositionArray& positions) : m_positions(positions) {}

CPointCloudSupport::~CPointCloudSupport() = default;

void CPointCloudSupport::BuildAll() const
{
    static_cast<void>(GetNearestNeighborSearch());
    static_cast<void>(GetBoundingBox());
}

const INearestNeighborSearch* CPointCloudSupport::GetNearestNeighborSearch() const
{
    return m_search
        .Get([this] { return std::make_unique<const CNearestNeighborIndex>(m_positions); })
        .get();
}

const UxBoundingBox3D& CPointCloudSupport::GetBoundingBox() const
{
    return m_boundingBox.Get([this] { return ComputeBoundingBox(m_positions); });
}

}  // namespace DataLayer
