#include "Base/Interfaces/IGeometricEntity.h"

// Before any other header: whoever implements an entity finds the interface of its tag beside it.
static_assert(sizeof(Base::ISkeletonEntityTag) >= sizeof(void*));

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "Tests/Support/CMockGeometricEntity.h"
#include "Tests/Support/MockTags.h"

namespace Base
{
namespace
{

/// An application's interface that asks for an identity of its own accord.
class IIdentifiedByApplication : public virtual IIdentified
{};

/// An entity that is identified by two ways and still has one identity, since both are virtual.
class CEntityIdentifiedTwice : public TestSupport::CMockGeometricEntity,
                               public IIdentifiedByApplication
{
public:
    using CMockGeometricEntity::CMockGeometricEntity;
};

TEST(IGeometricEntityTest, IdentityInheritedTwice_IsOne)
{
    const auto entity = std::make_shared<CEntityIdentifiedTwice>(nullptr);
    const std::shared_ptr<const IGeometricEntity> asEntity = entity;
    const std::shared_ptr<const IIdentifiedByApplication> asIdentified = entity;
    EXPECT_EQ(&asEntity->GetID(), &asIdentified->GetID());
}

TEST(IGeometricEntityTest, FindTag_AnswersThroughTheVirtualBase)
{
    const auto entity = std::make_shared<TestSupport::CMockGeometricEntity>(nullptr);
    const auto tag = std::make_shared<TestSupport::CMockSkeletonTag>(1);
    entity->tags["ISkeletonEntityTag"] = tag;
    const std::shared_ptr<const ITagged> tagged = entity;
    EXPECT_EQ(tagged->FindTag("ISkeletonEntityTag"), tag);
    EXPECT_EQ(tagged->FindTag("IOtherTag"), nullptr);
}

}  // namespace
}  // namespace Base
