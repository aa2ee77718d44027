#pragma once

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "Base/Interfaces/SRegionSelectionInfo.h"
#include "DataLayer/Base3D/CTriangulation.h"
#include "DataLayer/DataContainer/CCachedModel.h"
#include "Tests/Support/CMockSurfelCollection.h"
#include "Tests/Support/MockCalls.h"
#include "Tests/Support/Selections.h"

namespace DataLayer
{

/// The selections of these tests have four columns and rows; a surfel on the axis of x lies in row
/// 2, in the column whose middle c_columnMiddle names.
inline constexpr std::uint32_t c_viewSize = 4;
inline constexpr float c_columnMiddle[c_viewSize] = {-0.75F, -0.25F, 0.25F, 0.75F};

/// Paints row 2 of one column. So that the box test never decides, the corners of the mask, which
/// hold no surfels, are painted too.
inline std::shared_ptr<const Base::SRegionSelectionInfo> PaintColumn(std::uint32_t column)
{
    return TestSupport::MakeDeviceSelection(c_viewSize, c_viewSize, {{0, 0}, {3, 3}, {column, 2}});
}

/// Positions in the middles of the given columns.
inline std::vector<LqVector3f> PositionsInColumns(const std::vector<std::uint32_t>& columns)
{
    std::vector<LqVector3f> positions;
    for (const std::uint32_t column : columns)
    {
        positions.push_back({c_columnMiddle[column], -0.25F, 0.5F});
    }
    return positions;
}

inline std::shared_ptr<TestSupport::CMockSurfelCollection> SurfelsInColumns(
    const std::vector<std::uint32_t>& columns)
{
    return std::make_shared<TestSupport::CMockSurfelCollection>(PositionsInColumns(columns));
}

/// A mesh with a vertex in each of the given columns and one triangle per three of them in a row.
inline std::shared_ptr<Geometry::CTriangulation> MeshInColumns(
    const std::vector<std::uint32_t>& columns)
{
    auto mesh = std::make_shared<Geometry::CTriangulation>();
    mesh->vertices = PositionsInColumns(columns);
    for (std::uint32_t index = 0; index + 2 < columns.size(); ++index)
    {
        mesh->triangles.push_back({index, index + 1, index + 2});
    }
    return mesh;
}

inline const CCachedModel::UniqueId c_modelId(L"model 7");

/// A model that can be told what mesh it builds, and counts how often it is asked to.
class CBuildingModel : public CCachedModel
{
public:
    CBuildingModel(std::shared_ptr<const Base::ISurfelCollection> surfels,
                   std::shared_ptr<const Geometry::CTriangulation> builtMesh = nullptr,
                   const LqMatrix4Rd& matrix = c_matIdentityD)
        : CCachedModel(matrix, std::move(surfels), c_modelId), m_builtMesh(std::move(builtMesh))
    {}

    std::shared_ptr<const Geometry::CTriangulation> BuildCTriangulation() override
    {
        TestSupport::OnMockCall();
        ++numBuilds;
        return m_builtMesh;
    }

    unsigned numBuilds = 0;

private:
    std::shared_ptr<const Geometry::CTriangulation> m_builtMesh;
};

inline std::shared_ptr<CBuildingModel> SurfelModel(
    std::shared_ptr<const Base::ISurfelCollection> surfels,
    const LqMatrix4Rd& matrix = c_matIdentityD)
{
    return std::make_shared<CBuildingModel>(std::move(surfels), nullptr, matrix);
}

inline std::shared_ptr<CBuildingModel> MeshModel(
    std::shared_ptr<const Geometry::CTriangulation> mesh,
    const LqMatrix4Rd& matrix = c_matIdentityD)
{
    auto model = std::make_shared<CBuildingModel>(nullptr, nullptr, matrix);
    model->SetTriangulation(std::move(mesh));
    return model;
}

/// The columns in which the surfels of \p collection lie.
inline std::vector<std::uint32_t> ColumnsOf(const std::vector<LqVector3f>& positions)
{
    std::vector<std::uint32_t> columns;
    for (const LqVector3f& position : positions)
    {
        columns.push_back(static_cast<std::uint32_t>((position.x + 1.0F) * 2.0F));
    }
    return columns;
}

inline std::vector<std::uint32_t> ColumnsOf(const Base::ISurfelCollection& collection)
{
    std::vector<LqVector3f> positions;
    for (const ScanAPI::SimpleVec3f& position : collection.GetAllPositions())
    {
        positions.push_back({position.x, position.y, position.z});
    }
    return ColumnsOf(positions);
}

}  // namespace DataLayer
