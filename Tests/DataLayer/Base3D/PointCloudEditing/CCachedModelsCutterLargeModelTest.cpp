#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include "DataLayer/Base3D/PointCloudEditing/CCachedModelsCutter.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/CachedModels.h"

// Models that are worked on by several threads and many surfels at a time.

namespace DataLayer
{

namespace
{

using Columns = std::vector<std::uint32_t>;
using Selections = std::vector<std::shared_ptr<const Base::SRegionSelectionInfo>>;

/// Several blocks of the parallel loops, ending within one and within sixty-four.
constexpr std::size_t c_manySurfels = 3 * 65536 + 1234;

/// Columns 1 to 3 in runs long and short, and one by one.
Columns MakeColumns()
{
    std::mt19937 random(1);
    Columns columns;
    while (columns.size() < c_manySurfels)
    {
        constexpr std::array<std::size_t, 4> c_lengths{1, 7, 64, 1000};
        columns.insert(columns.end(), 1 + random() % c_lengths[random() % 4],
                       static_cast<std::uint32_t>(1 + random() % 3));
    }
    columns.resize(c_manySurfels);
    return columns;
}

Columns WithoutColumns(Columns columns, const Columns& cut)
{
    columns.erase(std::remove_if(columns.begin(), columns.end(),
                                 [&](std::uint32_t column) {
                                     return std::find(cut.begin(), cut.end(), column) != cut.end();
                                 }),
                  columns.end());
    return columns;
}

std::shared_ptr<CBuildingModel> MakeViewModel(const Columns& columns)
{
    const auto positions =
        std::make_shared<const std::vector<LqVector3f>>(PositionsInColumns(columns));
    return SurfelModel(std::make_shared<CSurfelCollectionView>(
        positions, positions->size(), positions->data(), sizeof(LqVector3f)));
}

/// The triangles of MeshInColumns() that are left, from one vertex to the next.
std::vector<std::array<std::uint32_t, 3>> TrianglesWithout(const Columns& columns,
                                                           const Columns& cut)
{
    const auto isCut = [&](std::size_t index) {
        return std::find(cut.begin(), cut.end(), columns[index]) != cut.end();
    };
    std::vector<std::array<std::uint32_t, 3>> triangles;
    std::uint32_t newIndex = 0;
    for (std::size_t index = 0; index + 2 < columns.size(); ++index)
    {
        if (!isCut(index) && !isCut(index + 1) && !isCut(index + 2))
        {
            triangles.push_back({newIndex, newIndex + 1, newIndex + 2});
        }
        newIndex += isCut(index) ? 0 : 1;
    }
    return triangles;
}

TEST(CCachedModelsCutterLargeModel, OneSelectionLeavesOutItsSurfels)
{
    const Columns columns = MakeColumns();
    const auto model = MakeViewModel(columns);
    const auto result = CCachedModelsCutter(model).Apply(PaintColumn(2));
    EXPECT_EQ(ColumnsOf(*result->GetSurfelCollection()), WithoutColumns(columns, {2}));
}

TEST(CCachedModelsCutterLargeModel, ListOfSelectionsLeavesOutTheirUnion)
{
    const Columns columns = MakeColumns();
    const auto model = MakeViewModel(columns);
    Selections selections{PaintColumn(1), PaintColumn(3)};
    const auto result = CCachedModelsCutter(model).Apply(selections);
    EXPECT_EQ(ColumnsOf(*result->GetSurfelCollection()), WithoutColumns(columns, {1, 3}));
}

TEST(CCachedModelsCutterLargeModel, OneSelectionLeavesOutItsVerticesAndTheirTriangles)
{
    const Columns columns = MakeColumns();
    const auto model = MeshModel(MeshInColumns(columns));
    const auto result = CCachedModelsCutter(model).Apply(PaintColumn(2))->GetTriangulation();
    EXPECT_EQ(ColumnsOf(result->vertices), WithoutColumns(columns, {2}));
    EXPECT_EQ(result->triangles, TrianglesWithout(columns, {2}));
}

TEST(CCachedModelsCutterLargeModel, ListOfSelectionsLeavesOutTheirVerticesAndTheirTriangles)
{
    const Columns columns = MakeColumns();
    const auto model = MeshModel(MeshInColumns(columns));
    Selections selections{PaintColumn(1), PaintColumn(3)};
    const auto result = CCachedModelsCutter(model).Apply(selections)->GetTriangulation();
    EXPECT_EQ(ColumnsOf(result->vertices), WithoutColumns(columns, {1, 3}));
    EXPECT_EQ(result->triangles, TrianglesWithout(columns, {1, 3}));
}

}  // namespace

}  // namespace DataLayer
