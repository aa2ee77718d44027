#include "DataLayer/PointCloud/TSurfelCollectionInterleaved.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <typeindex>

#include "Base/Interfaces/IPointCloudSupport.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"
#include "Tests/DataLayer/PointCloud/CForeignCollection.h"
#include "Tests/DataLayer/PointCloud/SurfelCollections.h"
#include "Tests/Support/Selections.h"

namespace DataLayerTest
{

namespace
{

using IndexPairs = Base::ISurfelCollection::IndexPairs;

/// What all collections that own their surfels promise, whatever their record.
template <typename Collection>
class TSurfelCollectionInterleavedTest : public testing::Test
{
public:
    using Collection_t = Collection;

    static auto Make(std::size_t count) { return MakeCollection<Collection>(count); }
};

using Collections =
    testing::Types<DataLayer::CSurfelCollectionMinimal, DataLayer::CSurfelCollectionPositionNormal,
                   DataLayer::CSurfelCollectionPosition>;
TYPED_TEST_SUITE(TSurfelCollectionInterleavedTest, Collections);

TYPED_TEST(TSurfelCollectionInterleavedTest, Default_IsEmpty)
{
    const TypeParam collection;
    EXPECT_EQ(collection.GetCount(), 0U);
    EXPECT_TRUE(collection.HasPositions());
    EXPECT_TRUE(collection.GetAllPositions().empty());
    EXPECT_TRUE(collection.GetAllNormals().empty());
    EXPECT_TRUE(collection.GetPointCloudSupport()->GetBoundingBox().box.IsEmpty());
}

/// A collection whose accessors anybody may ask for.
template <typename Collection>
class TOpenCollection : public Collection
{
public:
    using Collection::getElementAccess;
};

TYPED_TEST(TSurfelCollectionInterleavedTest, Accessors_AreThoseOfTheElementsThatItHas)
{
    TOpenCollection<TypeParam> collection;
    const auto& constCollection = collection;
    const std::type_index positions = typeid(Base::CSCElementDefinitionPosition);
    EXPECT_EQ(constCollection.getElementAccess(positions), &collection.GetPositions());
    EXPECT_EQ(collection.getElementAccess(positions), &collection.GetPositions());
    const std::type_index normals = typeid(Base::CSCElementDefinitionNormal);
    const auto* const expected = collection.HasNormals() ? &collection.GetNormals() : nullptr;
    EXPECT_EQ(constCollection.getElementAccess(normals), expected);
    EXPECT_EQ(collection.getElementAccess(normals), expected);
    EXPECT_EQ(constCollection.getElementAccess(typeid(TypeParam)), nullptr);
    EXPECT_EQ(collection.getElementAccess(typeid(TypeParam)), nullptr);
}

TYPED_TEST(TSurfelCollectionInterleavedTest, AddSurfelNoReset_AppendsAtTheNextIndex)
{
    TypeParam collection;
    collection.AddSurfelNoReset(MakeSurfel<TypeParam>(7));
    collection.AddSurfelNoReset(MakeSurfel<TypeParam>(3));
    ASSERT_EQ(collection.GetCount(), 2U);
    EXPECT_EQ(collection.GetPositions().At(0), MakePosition(7));
    EXPECT_EQ(collection.GetPositions().At(1), MakePosition(3));
}

TYPED_TEST(TSurfelCollectionInterleavedTest, AddSurfelsNoReset_GivesTheFirstOfThoseBehindItsOwn)
{
    const auto collection = this->Make(2);
    auto* const added = collection->AddSurfelsNoReset(3);
    ASSERT_EQ(collection->GetCount(), 5U);
    EXPECT_EQ(added, &collection->GetSurfel(2));
    for (std::size_t index = 0; index < 3; ++index)
    {
        added[index] = MakeSurfel<TypeParam>(7 + index);
    }
    EXPECT_EQ(GetBits(*collection), GetBitsAt(*this->Make(10), {0, 1, 7, 8, 9}));
}

TYPED_TEST(TSurfelCollectionInterleavedTest, AddSurfelsNoReset_NoneChangesNothing)
{
    const auto collection = this->Make(3);
    const auto* const first = &collection->GetSurfel(0);
    EXPECT_EQ(collection->AddSurfelsNoReset(0), first + 3);
    EXPECT_EQ(GetBits(*collection), GetBits(*this->Make(3)));
}

TYPED_TEST(TSurfelCollectionInterleavedTest, AddSurfelsNoReset_WithinReservedMemoryMovesNothing)
{
    const auto collection = this->Make(3);
    collection->Reserve(100);
    const auto* const first = &collection->GetSurfel(0);
    EXPECT_EQ(collection->AddSurfelsNoReset(97), first + 3);
    EXPECT_EQ(&collection->GetSurfel(0), first);
}

TYPED_TEST(TSurfelCollectionInterleavedTest, AddSurfelsNoReset_BeyondReservedMemoryKeepsItsOwn)
{
    const auto collection = this->Make(3);
    const auto& positions = collection->GetPositions();
    auto* const added = collection->AddSurfelsNoReset(100000);
    std::fill_n(added, 100000, MakeSurfel<TypeParam>(5));
    EXPECT_EQ(positions.GetFirstElement(),
              reinterpret_cast<const std::byte*>(&collection->GetSurfel(0)));
    EXPECT_EQ(positions.At(2), MakePosition(2));
    EXPECT_EQ(positions.At(100002), MakePosition(5));
}

TYPED_TEST(TSurfelCollectionInterleavedTest, AddSurfelsNoReset_ManyTimesGrowsRarely)
{
    TypeParam collection;
    std::size_t numMoves = 0;
    for (std::size_t repetition = 0; repetition < 1000; ++repetition)
    {
        const auto* const before = collection.GetPositions().GetFirstElement();
        std::fill_n(collection.AddSurfelsNoReset(3), 3, MakeSurfel<TypeParam>(repetition));
        numMoves += collection.GetPositions().GetFirstElement() != before ? 1 : 0;
    }
    EXPECT_EQ(collection.GetPositions().At(2999), MakePosition(999));
    EXPECT_LT(numMoves, 20U);
}

TYPED_TEST(TSurfelCollectionInterleavedTest,
           AddSurfelsNoReset_MoreThanThereCanBeThrowAndChangeNothing)
{
    const auto collection = this->Make(3);
    constexpr auto c_mostBytes =
        static_cast<std::uint64_t>(std::numeric_limits<std::ptrdiff_t>::max());
    for (const std::uint64_t count :
         {std::numeric_limits<std::uint64_t>::max(), std::numeric_limits<std::uint64_t>::max() - 2,
          c_mostBytes, c_mostBytes / 12})
    {
        EXPECT_THROW(static_cast<void>(collection->AddSurfelsNoReset(count)), std::length_error)
            << count;
    }
    EXPECT_EQ(GetBits(*collection), GetBits(*this->Make(3)));
}

TYPED_TEST(TSurfelCollectionInterleavedTest, AddSurfelsNoReset_AddedSurfelsHaveASupport)
{
    const auto collection = this->Make(2);
    EXPECT_EQ(collection->GetPointCloudSupport()->GetBoundingBox().box.max.x, 1.0F);
    std::fill_n(collection->AddSurfelsNoReset(3), 3, MakeSurfel<TypeParam>(9));
    collection->ForceUpdate();
    const auto support = collection->GetPointCloudSupport();
    EXPECT_EQ(support->GetBoundingBox().box.max.x, 9.0F);
    EXPECT_EQ(support->GetNearestNeighborSearch()->FindNearestNeighbor(MakePosition(9), 0, nullptr),
              2);
}

TYPED_TEST(TSurfelCollectionInterleavedTest, Reserve_MoreSurfelsThanReservedStillFit)
{
    TypeParam collection;
    collection.Reserve(2);
    for (std::size_t index = 0; index < 100; ++index)
    {
        collection.AddSurfelNoReset(MakeSurfel<TypeParam>(index));
    }
    ASSERT_EQ(collection.GetCount(), 100U);
    EXPECT_EQ(collection.GetPositions().At(99), MakePosition(99));
}

TYPED_TEST(TSurfelCollectionInterleavedTest, Reserve_KeepsSurfelsAndAccessors)
{
    const auto collection = this->Make(5);
    const auto& positions = collection->GetPositions();
    collection->Reserve(100000);
    EXPECT_EQ(collection->GetCount(), 5U);
    EXPECT_EQ(positions.At(4), MakePosition(4));
}

TYPED_TEST(TSurfelCollectionInterleavedTest, Reserve_BeyondAllMemoryIsALengthError)
{
    TypeParam collection;
    EXPECT_THROW(collection.Reserve(std::uint64_t{1} << 62), std::length_error);
}

TYPED_TEST(TSurfelCollectionInterleavedTest, SetSurfels_ReplacesAll)
{
    const auto collection = this->Make(5);
    typename TypeParam::Surfels surfels{MakeSurfel<TypeParam>(9)};
    collection->SetSurfels(std::move(surfels));
    ASSERT_EQ(collection->GetCount(), 1U);
    EXPECT_EQ(collection->GetPositions().At(0), MakePosition(9));
    EXPECT_EQ(collection->GetPointCloudSupport()->GetBoundingBox().box.min.x, 9.0F);
}

TYPED_TEST(TSurfelCollectionInterleavedTest, Accessors_StayTheSameObjectsWhileSurfelsAreAdded)
{
    TypeParam collection;
    const auto* const positions = &collection.GetPositions();
    collection.AddSurfelNoReset(MakeSurfel<TypeParam>(0));
    EXPECT_EQ(&collection.GetPositions(), positions);
    EXPECT_EQ(positions->At(0), MakePosition(0));
}

TYPED_TEST(TSurfelCollectionInterleavedTest, GetAllPositions_OfManySurfels)
{
    const auto collection = this->Make(c_manySurfels);
    const auto positions = collection->GetAllPositions();
    ASSERT_EQ(positions.size(), c_manySurfels);
    for (const std::size_t index :
         {std::size_t{0}, std::size_t{65535}, std::size_t{65536}, c_manySurfels - 1})
    {
        EXPECT_EQ(positions[index].x, MakePosition(index).x);
        EXPECT_EQ(positions[index].z, MakePosition(index).z);
    }
}

TYPED_TEST(TSurfelCollectionInterleavedTest, Clone_IdentityChangesNoBit)
{
    const auto collection = this->Make(5);
    auto odd = MakeSurfel<TypeParam>(2);
    odd.position = {-0.0F, c_infinity, c_nan};
    collection->AddSurfelNoReset(std::move(odd));
    EXPECT_EQ(GetBits(*collection->Clone(c_matIdentityD)), GetBits(*collection));
}

TYPED_TEST(TSurfelCollectionInterleavedTest, Clone_OfManySurfels)
{
    const auto collection = this->Make(c_manySurfels);
    EXPECT_EQ(GetBits(*collection->Clone(c_matIdentityD)), GetBits(*collection));
    const auto moved = collection->Clone(TestSupport::MakeTranslation(1.0, 2.0, 4.0));
    ASSERT_EQ(moved->GetCount(), c_manySurfels);
    const LqVector3f position = MakePosition(c_manySurfels - 1);
    EXPECT_EQ(moved->GetPositions().At(c_manySurfels - 1),
              (LqVector3f{position.x + 1.0F, position.y + 2.0F, position.z + 4.0F}));
}

TYPED_TEST(TSurfelCollectionInterleavedTest, CloneFromCollection_JoinsTheSourcesWithoutItsOwn)
{
    const auto collection = this->Make(3);
    const auto first = this->Make(2);
    const auto second = this->Make(4);
    const auto clone = collection->CloneFromCollection(
        {first.get(), second.get()}, {c_matIdentityD, TestSupport::MakeTranslation(10, 0, 0)});
    ASSERT_EQ(clone->GetCount(), 6U);
    EXPECT_EQ(clone->GetPositions().At(1), MakePosition(1));
    EXPECT_EQ(clone->GetPositions().At(2).x, 10.0F);
    EXPECT_EQ(clone->GetPositions().At(5).x, 13.0F);
    EXPECT_EQ(&clone->GetRTTI(), &collection->GetRTTI());
}

TYPED_TEST(TSurfelCollectionInterleavedTest, CloneFromCollection_NoSourcesGiveAnEmptyCollection)
{
    EXPECT_EQ(this->Make(3)->CloneFromCollection({}, {})->GetCount(), 0U);
}

TYPED_TEST(TSurfelCollectionInterleavedTest, CloneFromCollection_ListsOfOtherLengthsThrow)
{
    const auto collection = this->Make(3);
    EXPECT_EQ(GetMessageOf([&] {
                  static_cast<void>(collection->CloneFromCollection({collection.get()}, {}));
              }),
              "1 collections were given with 0 transforms.");
}

TYPED_TEST(TSurfelCollectionInterleavedTest, CloneFromCollection_NullSourceThrows)
{
    const auto collection = this->Make(3);
    EXPECT_EQ(GetMessageOf([&] {
                  static_cast<void>(collection->CloneFromCollection(
                      {collection.get(), nullptr}, {c_matIdentityD, c_matIdentityD}));
              }),
              "Collection 1 of the list is null.");
}

TYPED_TEST(TSurfelCollectionInterleavedTest, Append_AddsMovedSurfelsBehindItsOwn)
{
    const auto collection = this->Make(2);
    collection->Append(*this->Make(3), TestSupport::MakeTranslation(10, 0, 0));
    ASSERT_EQ(collection->GetCount(), 5U);
    EXPECT_EQ(collection->GetPositions().At(1), MakePosition(1));
    EXPECT_EQ(collection->GetPositions().At(2).x, 10.0F);
    EXPECT_EQ(collection->GetPositions().At(4).x, 12.0F);
}

TYPED_TEST(TSurfelCollectionInterleavedTest, Append_ItselfDoublesIt)
{
    const auto collection = this->Make(3);
    const auto expected = GetBitsAt(*collection, {0, 1, 2, 0, 1, 2});
    collection->Append(*collection, c_matIdentityD);
    EXPECT_EQ(GetBits(*collection), expected);
}

TYPED_TEST(TSurfelCollectionInterleavedTest, Append_ItselfWithinReservedMemory)
{
    const auto collection = this->Make(3);
    collection->Reserve(100);
    const auto expected = GetBitsAt(*collection, {0, 1, 2, 0, 1, 2});
    collection->Append(*collection, c_matIdentityD);
    EXPECT_EQ(GetBits(*collection), expected);
}

TYPED_TEST(TSurfelCollectionInterleavedTest, Append_ManyTimesGrowsRarely)
{
    TypeParam collection;
    const auto piece = this->Make(3);
    std::size_t numMoves = 0;
    for (int repetition = 0; repetition < 1000; ++repetition)
    {
        const auto* const before = collection.GetPositions().GetFirstElement();
        collection.Append(*piece, c_matIdentityD);
        numMoves += collection.GetPositions().GetFirstElement() != before ? 1 : 0;
    }
    EXPECT_EQ(collection.GetCount(), 3000U);
    EXPECT_EQ(collection.GetPositions().At(2999), MakePosition(2));
    EXPECT_LT(numMoves, 20U);
}

TYPED_TEST(TSurfelCollectionInterleavedTest, Append_AViewOfItsOwnMemory)
{
    const auto collection = this->Make(3);
    const auto& positions = collection->GetPositions();
    const DataLayer::CSurfelCollectionView view(nullptr, 3, positions.GetFirstElement(),
                                                positions.GetStrideInBytes());
    collection->Append(view, c_matIdentityD);
    ASSERT_EQ(collection->GetCount(), 6U);
    EXPECT_EQ(collection->GetPositions().At(5), MakePosition(2));
}

TYPED_TEST(TSurfelCollectionInterleavedTest, Append_EmptySourceChangesNothing)
{
    const auto collection = this->Make(3);
    const auto expected = GetBits(*collection);
    collection->Append(TypeParam(), c_matIdentityD);
    EXPECT_EQ(GetBits(*collection), expected);
}

TYPED_TEST(TSurfelCollectionInterleavedTest, Append_ForeignSourceWithNormals)
{
    const CForeignCollection foreign({MakePosition(1), MakePosition(2)},
                                     {MakeNormal(1), MakeNormal(2)});
    TypeParam collection;
    collection.Append(foreign, c_matIdentityD);
    EXPECT_EQ(GetBits(collection), GetBitsAt(*this->Make(3), {1, 2}));
}

TYPED_TEST(TSurfelCollectionInterleavedTest, Append_ForeignSourceWithoutNormalsGivesNone)
{
    const TestSupport::CMockSurfelCollection foreign({MakePosition(1)}, 17, 3);
    const auto collection = this->Make(1);
    collection->Append(foreign, TestSupport::MakeRotationY(0.6, 0.8));
    EXPECT_EQ(collection->GetCount(), 2U);
    if (collection->HasNormals())
    {
        EXPECT_EQ(collection->GetNormals().At(1), LqVector3f());
    }
}

TYPED_TEST(TSurfelCollectionInterleavedTest, Append_SourceWithoutPositionsThrowsAndChangesNothing)
{
    TestSupport::CMockSurfelCollection foreign({MakePosition(1)});
    foreign.SetPositionAccess(nullptr);
    const auto collection = this->Make(3);
    const auto expected = GetBits(*collection);
    EXPECT_EQ(GetMessageOf([&] { collection->Append(foreign, c_matIdentityD); }),
              "Nicht verfuegbare ElementAccessor-Definition angefordert.");
    EXPECT_EQ(GetBits(*collection), expected);
    EXPECT_THROW(static_cast<void>(collection->CloneFromCollection({&foreign}, {c_matIdentityD})),
                 VekoException);
    EXPECT_THROW(collection->ScatterCopy(foreign, {{0, 0}}, c_matIdentityD), VekoException);
}

TYPED_TEST(TSurfelCollectionInterleavedTest, Append_SourceOfAbsurdCountIsALengthError)
{
    TestSupport::CMockSurfelCollection foreign({MakePosition(1)});
    foreign.SetCount(std::numeric_limits<std::uint64_t>::max());
    const auto collection = this->Make(3);
    EXPECT_THROW(collection->Append(foreign, c_matIdentityD), std::length_error);
    EXPECT_EQ(collection->GetCount(), 3U);
}

TYPED_TEST(TSurfelCollectionInterleavedTest,
           CloneFromCollection_CountsThatAddUpToNoneAreALengthError)
{
    // Their sum is 2^64.
    TestSupport::CMockSurfelCollection one({MakePosition(1)});
    TestSupport::CMockSurfelCollection other({MakePosition(1)});
    one.SetCount((std::uint64_t{1} << 62) + 1);
    other.SetCount(std::numeric_limits<std::uint64_t>::max() - (std::uint64_t{1} << 62));
    try
    {
        static_cast<void>(
            this->Make(0)->CloneFromCollection({&one, &other}, {c_matIdentityD, c_matIdentityD}));
        FAIL();
    }
    catch (const std::length_error& error)
    {
        EXPECT_STREQ(error.what(), "There cannot be so many surfels in one collection.");
    }
}

TYPED_TEST(TSurfelCollectionInterleavedTest, ScatterCopy_OverwritesTheNamedSurfels)
{
    const auto collection = this->Make(4);
    const auto source = this->Make(9);
    const auto expected = GetBitsAt(*source, {8, 1, 2, 7});
    collection->ScatterCopy(*source, {{7, 3}, {8, 0}}, c_matIdentityD);
    EXPECT_EQ(GetBits(*collection), expected);
}

TYPED_TEST(TSurfelCollectionInterleavedTest, ScatterCopy_LaterPairsWin)
{
    const auto collection = this->Make(2);
    collection->ScatterCopy(*this->Make(9), {{7, 1}, {8, 1}}, c_matIdentityD);
    EXPECT_EQ(collection->GetPositions().At(1), MakePosition(8));
}

TYPED_TEST(TSurfelCollectionInterleavedTest, ScatterCopy_MovesTheSurfels)
{
    const auto collection = this->Make(2);
    collection->ScatterCopy(*this->Make(9), {{7, 1}}, TestSupport::MakeTranslation(10, 0, 0));
    EXPECT_EQ(collection->GetPositions().At(1).x, 17.0F);
}

TYPED_TEST(TSurfelCollectionInterleavedTest, ScatterCopy_OfItselfReadsWhatWasThereBefore)
{
    const auto collection = this->Make(3);
    const auto expected = GetBitsAt(*collection, {1, 0, 1});
    collection->ScatterCopy(*collection, {{0, 1}, {1, 0}, {1, 2}}, c_matIdentityD);
    EXPECT_EQ(GetBits(*collection), expected);
}

TYPED_TEST(TSurfelCollectionInterleavedTest, ScatterCopy_IndexOutOfRangeThrowsAndChangesNothing)
{
    const auto collection = this->Make(3);
    const auto source = this->Make(5);
    const auto expected = GetBits(*collection);
    EXPECT_EQ(GetMessageOf([&] {
                  collection->ScatterCopy(*source, {{4, 0}, {5, 1}}, c_matIdentityD);
              }),
              "Pair 1 copies surfel 5 of 5 to place 1 of 3; there is no such.");
    EXPECT_EQ(GetMessageOf([&] {
                  collection->ScatterCopy(*source, {{4, 0}, {4, 3}}, c_matIdentityD);
              }),
              "Pair 1 copies surfel 4 of 5 to place 3 of 3; there is no such.");
    EXPECT_EQ(GetBits(*collection), expected);
}

TYPED_TEST(TSurfelCollectionInterleavedTest, ScatterCopy_NoPairsChangeNothing)
{
    const auto collection = this->Make(3);
    const auto expected = GetBits(*collection);
    collection->ScatterCopy(*this->Make(5), {}, c_matIdentityD);
    EXPECT_EQ(GetBits(*collection), expected);
}

TYPED_TEST(TSurfelCollectionInterleavedTest, Support_FollowsEveryChange)
{
    const auto maxX = [](const TypeParam& collection) {
        return collection.GetPointCloudSupport()->GetBoundingBox().box.max.x;
    };
    const auto nearest = [](const TypeParam& collection, const LqVector3f& point) {
        return collection.GetPointCloudSupport()->GetNearestNeighborSearch()->FindNearestNeighbor(
            point, 0.0F, nullptr);
    };
    TypeParam collection;
    EXPECT_EQ(nearest(collection, MakePosition(4)), -1);
    collection.AddSurfelNoReset(MakeSurfel<TypeParam>(4));
    EXPECT_EQ(maxX(collection), 4.0F);
    EXPECT_EQ(nearest(collection, MakePosition(4)), 0);
    collection.AddSurfelNoReset(MakeSurfel<TypeParam>(6));
    collection.ForceUpdate();
    EXPECT_EQ(maxX(collection), 6.0F);
    EXPECT_EQ(nearest(collection, MakePosition(6)), 1);
    collection.ScatterCopy(*this->Make(20), {{9, 0}}, c_matIdentityD);
    EXPECT_EQ(maxX(collection), 9.0F);
    EXPECT_EQ(nearest(collection, MakePosition(9)), 0);
    collection.Append(*this->Make(20), c_matIdentityD);
    EXPECT_EQ(maxX(collection), 19.0F);
    EXPECT_EQ(nearest(collection, MakePosition(19)), 21);
}

TYPED_TEST(TSurfelCollectionInterleavedTest, Support_IsTheSameObjectWhileNothingChanges)
{
    const auto collection = this->Make(3);
    EXPECT_EQ(collection->GetPointCloudSupport(), collection->GetPointCloudSupport());
}

TYPED_TEST(TSurfelCollectionInterleavedTest, GetReadAccessor_OtherDefinitionsThrow)
{
    const auto collection = this->Make(3);
    EXPECT_THROW(static_cast<void>(collection->template GetReadAccessor<int>()), VekoException);
}

}  // namespace

}  // namespace DataLayerTest
