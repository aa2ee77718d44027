#include "Base/Interfaces/CGeometricEntityPacket.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

#include "Base/Interfaces/CEntityTrafoMaskPacket.h"
#include "Tests/Support/CMockGeometricEntity.h"
#include "Tests/Support/Selections.h"

namespace Base
{
namespace
{

using TestSupport::CMockGeometricEntity;
using TestSupport::MakeTranslation;

// Results that the contract returns by value or reference, constant or not.
template <typename Packet>
using EntityResult = decltype(std::declval<const Packet&>().GetEntity());
template <typename Packet>
using TrafoResult = decltype(std::declval<const Packet&>().GetTrafo());
template <typename Packet>
using MaskResult = decltype(std::declval<const Packet&>().GetSurfelCollectionMask());
static_assert(std::is_same_v<EntityResult<CGeometricEntityPacket>,
                             const std::shared_ptr<const IGeometricEntity>&>);
static_assert(std::is_same_v<TrafoResult<CGeometricEntityPacket>, const LqMatrix4Rd>);
static_assert(std::is_same_v<MaskResult<CGeometricEntityPacket>,
                             const std::shared_ptr<const CSurfelCollectionMask>>);
static_assert(
    std::is_same_v<EntityResult<CEntityTrafoMaskPacket>, std::shared_ptr<const IGeometricEntity>>);
static_assert(std::is_same_v<TrafoResult<CEntityTrafoMaskPacket>, const LqMatrix4Rd&>);
// A map of the smaller packets is filled with pairs of a key and the greater one.
static_assert(std::is_convertible_v<CGeometricEntityPacket, CEntityTrafoMaskPacket>);
static_assert(std::is_same_v<MaskResult<CEntityTrafoMaskPacket>,
                             const std::shared_ptr<const CSurfelCollectionMask>>);
static_assert(std::is_nothrow_move_constructible_v<CGeometricEntityPacket> &&
              std::is_nothrow_move_assignable_v<CGeometricEntityPacket> &&
              std::is_copy_assignable_v<CGeometricEntityPacket>);

std::shared_ptr<const IGeometricEntity> MakeEntity()
{
    return std::make_shared<CMockGeometricEntity>(nullptr);
}

std::shared_ptr<const CSurfelCollectionMask> MakeMask()
{
    return std::make_shared<CSurfelCollectionMask>(std::vector<CSurfelBitMask>{{1}, {2}});
}

bool IsInvalid(const LqMatrix4Rd& matrix)
{
    return std::all_of(matrix.data(), matrix.data() + 16,
                       [](double element) { return std::isnan(element); });
}

TEST(CGeometricEntityPacketTest, FourArguments_AreAllPresent)
{
    const auto entity = MakeEntity();
    const auto mask = MakeMask();
    const CGeometricEntityPacket packet(entity, MakeTranslation(1, 2, 3), mask, -7);
    EXPECT_EQ(packet.GetEntity(), entity);
    EXPECT_TRUE(packet.HasTrafo());
    EXPECT_EQ(packet.GetTrafo(), MakeTranslation(1, 2, 3));
    EXPECT_TRUE(packet.HasSurfelCollectionMask());
    EXPECT_EQ(packet.GetSurfelCollectionMask(), mask);
    EXPECT_EQ(packet.GetOptimizationLevel(), -7);
}

TEST(CGeometricEntityPacketTest, FourArguments_EmptyMaskIsPresent)
{
    const CGeometricEntityPacket packet(MakeEntity(), c_matIdentityD, nullptr, 0);
    EXPECT_TRUE(packet.HasSurfelCollectionMask());
    EXPECT_EQ(packet.GetSurfelCollectionMask(), nullptr);
}

TEST(CGeometricEntityPacketTest, TwoArguments_LeaveTrafoAbsentAndReadAsInvalid)
{
    const CGeometricEntityPacket packet(MakeEntity(), 3);
    EXPECT_FALSE(packet.HasTrafo());
    EXPECT_TRUE(IsInvalid(packet.GetTrafo()));
}

TEST(CGeometricEntityPacketTest, TwoArguments_LeaveMaskAbsentAndReadAsEmpty)
{
    const CGeometricEntityPacket packet(MakeEntity(), 3);
    EXPECT_FALSE(packet.HasSurfelCollectionMask());
    EXPECT_EQ(packet.GetSurfelCollectionMask(), nullptr);
}

TEST(CGeometricEntityPacketTest, TwoArguments_KeepEntityAndOptimizationLevel)
{
    const auto entity = MakeEntity();
    const CGeometricEntityPacket packet(entity, 3);
    EXPECT_EQ(packet.GetEntity(), entity);
    EXPECT_EQ(packet.GetOptimizationLevel(), 3);
}

TEST(CGeometricEntityPacketTest, GetEntityID_IsTheEntitysOwn)
{
    const auto entity = std::make_shared<CMockGeometricEntity>(nullptr);
    const CGeometricEntityPacket packet(entity, 0);
    EXPECT_EQ(&packet.GetEntityID(), &entity->id);
}

TEST(CGeometricEntityPacketTest, GetEntityID_WithoutEntityIsNil)
{
    const CGeometricEntityPacket packet(nullptr, c_matIdentityD, MakeMask(), 0);
    EXPECT_EQ(packet.GetEntityID(), CEntityID::Nil());
}

TEST(CGeometricEntityPacketTest, WithMask_ReplacesTheMaskOnly)
{
    const auto entity = MakeEntity();
    const auto mask = MakeMask();
    const CGeometricEntityPacket packet =
        CGeometricEntityPacket(entity, MakeTranslation(1, 2, 3), MakeMask(), 5).WithMask(mask);
    EXPECT_EQ(packet.GetSurfelCollectionMask(), mask);
    EXPECT_EQ(packet.GetEntity(), entity);
    EXPECT_TRUE(packet.HasTrafo());
    EXPECT_EQ(packet.GetTrafo(), MakeTranslation(1, 2, 3));
    EXPECT_EQ(packet.GetOptimizationLevel(), 5);
}

TEST(CGeometricEntityPacketTest, WithMask_MakesAnAbsentMaskPresent)
{
    const auto mask = MakeMask();
    const CGeometricEntityPacket packet = CGeometricEntityPacket(MakeEntity(), 0).WithMask(mask);
    EXPECT_TRUE(packet.HasSurfelCollectionMask());
    EXPECT_EQ(packet.GetSurfelCollectionMask(), mask);
    EXPECT_FALSE(packet.HasTrafo());
}

TEST(CGeometricEntityPacketTest, WithMask_LeavesThePacketAsItWas)
{
    const auto mask = MakeMask();
    const CGeometricEntityPacket packet(MakeEntity(), c_matIdentityD, mask, 0);
    static_cast<void>(packet.WithMask(MakeMask()));
    EXPECT_EQ(packet.GetSurfelCollectionMask(), mask);
}

TEST(CGeometricEntityPacketTest, WithTrafo_ReplacesTheTrafoOnly)
{
    const auto entity = MakeEntity();
    const auto mask = MakeMask();
    const CGeometricEntityPacket packet =
        CGeometricEntityPacket(entity, c_matIdentityD, mask, 5).WithTrafo(MakeTranslation(4, 5, 6));
    EXPECT_EQ(packet.GetTrafo(), MakeTranslation(4, 5, 6));
    EXPECT_EQ(packet.GetEntity(), entity);
    EXPECT_TRUE(packet.HasSurfelCollectionMask());
    EXPECT_EQ(packet.GetSurfelCollectionMask(), mask);
    EXPECT_EQ(packet.GetOptimizationLevel(), 5);
}

TEST(CGeometricEntityPacketTest, WithTrafo_MakesAnAbsentTrafoPresent)
{
    const CGeometricEntityPacket packet =
        CGeometricEntityPacket(MakeEntity(), 0).WithTrafo(MakeTranslation(4, 5, 6));
    EXPECT_TRUE(packet.HasTrafo());
    EXPECT_EQ(packet.GetTrafo(), MakeTranslation(4, 5, 6));
    EXPECT_FALSE(packet.HasSurfelCollectionMask());
}

TEST(CGeometricEntityPacketTest, Copy_SharesEntityAndMask)
{
    const auto entity = MakeEntity();
    const auto mask = MakeMask();
    const CGeometricEntityPacket packet(entity, MakeTranslation(1, 2, 3), mask, 5);
    CGeometricEntityPacket copy(MakeEntity(), 0);
    copy = packet;
    EXPECT_EQ(copy.GetEntity(), entity);
    EXPECT_EQ(copy.GetSurfelCollectionMask(), mask);
    EXPECT_EQ(copy.GetTrafo(), MakeTranslation(1, 2, 3));
    EXPECT_EQ(copy.GetOptimizationLevel(), 5);
}

TEST(CEntityTrafoMaskPacketTest, Constructor_TakesEntityTrafoAndMask)
{
    const auto entity = MakeEntity();
    const auto mask = MakeMask();
    const CEntityTrafoMaskPacket packet(
        CGeometricEntityPacket(entity, MakeTranslation(1, 2, 3), mask, 5));
    EXPECT_EQ(packet.GetEntity(), entity);
    EXPECT_EQ(packet.GetTrafo(), MakeTranslation(1, 2, 3));
    EXPECT_EQ(packet.GetSurfelCollectionMask(), mask);
}

TEST(CEntityTrafoMaskPacketTest, Constructor_AbsentTrafoAndMaskReadAsInvalidAndEmpty)
{
    const CEntityTrafoMaskPacket packet(CGeometricEntityPacket(MakeEntity(), 5));
    EXPECT_TRUE(IsInvalid(packet.GetTrafo()));
    EXPECT_EQ(packet.GetSurfelCollectionMask(), nullptr);
}

}  // namespace
}  // namespace Base
