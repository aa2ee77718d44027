#include "DataLayer/Base3D/PointCloudEditing/CCachedModelsCutter.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <type_traits>

#include "Base/Support/VekoException.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/CachedModels.h"

namespace DataLayer
{

namespace
{

TEST(CCachedModelsCutter, DoesNotKeepItsModelAlive)
{
    auto model = SurfelModel(SurfelsInColumns({1}));
    const std::weak_ptr<CCachedModel> observer = model;
    const CCachedModelsCutter cutter(std::move(model));
    EXPECT_TRUE(observer.expired());
}

TEST(CCachedModelsCutter, CopyCutsTheSameModel)
{
    const auto model = SurfelModel(SurfelsInColumns({1}));
    auto source = std::make_optional<CCachedModelsCutter>(model);
    const CCachedModelsCutter copy(*source);
    source.reset();
    EXPECT_EQ(copy.Apply(PaintColumn(2)), model);
    EXPECT_EQ(model.use_count(), 1);
}

TEST(CCachedModelsCutter, AssignmentTakesTheModelOver)
{
    const auto model = SurfelModel(SurfelsInColumns({1}));
    const CCachedModelsCutter source(model);
    CCachedModelsCutter target(nullptr);
    target = source;
    EXPECT_EQ(target.Apply(PaintColumn(2)), model);
}

TEST(CCachedModelsCutter, AssignmentToItselfSurvives)
{
    const auto model = SurfelModel(SurfelsInColumns({1}));
    CCachedModelsCutter cutter(model);
    const CCachedModelsCutter& alias = cutter;
    cutter = alias;
    EXPECT_EQ(cutter.Apply(PaintColumn(2)), model);
}

TEST(CCachedModelsCutter, AppliesAnyNumberOfTimes)
{
    const auto model = SurfelModel(SurfelsInColumns({1, 2}));
    const CCachedModelsCutter cutter(model);
    const auto first = cutter.Apply(PaintColumn(1));
    const auto second = cutter.Apply(PaintColumn(1));
    ASSERT_NE(first, second);
    EXPECT_EQ(ColumnsOf(*first->GetSurfelCollection()), ColumnsOf(*second->GetSurfelCollection()));
}

TEST(CCachedModelsCutterLayout, HoldsItsWeakReferenceBehindTheTable)
{
    EXPECT_EQ(sizeof(CCachedModelsCutter), sizeof(void*) + sizeof(std::weak_ptr<CCachedModel>));
    EXPECT_TRUE(std::has_virtual_destructor_v<CCachedModelsCutter>);
}

}  // namespace

}  // namespace DataLayer
