#include "Application/Projects/CScanEntity.h"

#include <gtest/gtest.h>

#include "Base/Interfaces/ISkeletonEntityTag.h"
#include "Tests/Support/CMockSurfelCollection.h"

namespace
{

using Application::CScanEntity;
using TestSupport::CMockSurfelCollection;

const Base::CEntityID c_id(std::array<std::uint8_t, 16>{7});

std::shared_ptr<const CMockSurfelCollection> MakeCollection()
{
    return std::make_shared<CMockSurfelCollection>(std::vector<LqVector3f>{{1.0F, 2.0F, 3.0F}});
}

TEST(CScanEntityTest, GetSurfelCollection_IsTheSameForBothPurposes)
{
    const auto collection = MakeCollection();
    const CScanEntity entity(c_id, collection, false);
    EXPECT_EQ(entity.GetSurfelCollection(true), collection);
    EXPECT_EQ(entity.GetSurfelCollection(false), collection);
    EXPECT_EQ(entity.GetID(), c_id);
}

TEST(CScanEntityTest, FindTag_OnlyASkeletonHasTheTag)
{
    EXPECT_EQ(CScanEntity(c_id, MakeCollection(), false).FindTag("ISkeletonEntityTag"), nullptr);
    const auto tag = CScanEntity(c_id, MakeCollection(), true).FindTag("ISkeletonEntityTag");
    const auto* const skeleton = dynamic_cast<const Base::ISkeletonEntityTag*>(tag.get());
    ASSERT_NE(skeleton, nullptr);
    EXPECT_NE(skeleton->IsSkeletonEntity(), 0);
}

TEST(CScanEntityTest, FindTag_KnowsNoOtherTag)
{
    EXPECT_EQ(CScanEntity(c_id, MakeCollection(), true).FindTag("IOtherTag"), nullptr);
}

TEST(CScanEntityTest, With_KeepsIdentityAndTag)
{
    const auto other = MakeCollection();
    const auto entity = CScanEntity(c_id, MakeCollection(), true).With(other);
    EXPECT_EQ(entity->GetID(), c_id);
    EXPECT_EQ(entity->GetSurfelCollection(true), other);
    EXPECT_NE(entity->FindTag("ISkeletonEntityTag"), nullptr);
}

}  // namespace
