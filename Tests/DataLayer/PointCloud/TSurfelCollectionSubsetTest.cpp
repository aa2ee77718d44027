#include <gtest/gtest.h>

#include <cstdint>
#include <numeric>
#include <random>
#include <vector>

#include "DataLayer/PointCloud/TSurfelCollectionInterleaved.h"
#include "Tests/DataLayer/PointCloud/SurfelCollections.h"

namespace DataLayerTest
{

namespace
{

using Base::CSurfelBitMask;

/// The subsets that all collections copy which own their surfels, whatever their record.
template <typename Collection>
class TSurfelCollectionSubsetTest : public testing::Test
{
public:
    static auto Make(std::size_t count) { return MakeCollection<Collection>(count); }
};

using Collections =
    testing::Types<DataLayer::CSurfelCollectionMinimal, DataLayer::CSurfelCollectionPositionNormal,
                   DataLayer::CSurfelCollectionPosition>;
TYPED_TEST_SUITE(TSurfelCollectionSubsetTest, Collections);

std::vector<std::size_t> MakeIndices(std::size_t begin, std::size_t end)
{
    std::vector<std::size_t> indices(end - begin);
    std::iota(indices.begin(), indices.end(), begin);
    return indices;
}

std::vector<bool> MakeRandomMask(std::size_t count)
{
    std::mt19937 random(1);
    std::vector<bool> mask(count);
    for (std::size_t index = 0; index < count; ++index)
    {
        // Long runs and single entries.
        mask[index] = (index / 5000) % 2 == 0 ? random() % 2 == 0 : (index / 10000) % 2 == 0;
    }
    return mask;
}

TYPED_TEST(TSurfelCollectionSubsetTest, SubsetByIndex_KeepFollowsTheListAndRepeats)
{
    const auto collection = this->Make(6);
    const std::vector<std::size_t> indices{4, 0, 4, 5};
    const auto subset = collection->GetSubsetCopyByIndex(indices, c_keep);
    EXPECT_EQ(GetBits(*subset), GetBitsAt(*collection, indices));
}

TYPED_TEST(TSurfelCollectionSubsetTest, SubsetByIndex_DropKeepsTheOthersInTheirOrder)
{
    const auto collection = this->Make(6);
    const auto subset = collection->GetSubsetCopyByIndex({4, 0, 4}, c_drop);
    EXPECT_EQ(GetBits(*subset), GetBitsAt(*collection, {1, 2, 3, 5}));
}

TYPED_TEST(TSurfelCollectionSubsetTest, SubsetByIndex_EmptyListKeepsNothingOrDropsNothing)
{
    const auto collection = this->Make(3);
    EXPECT_EQ(collection->GetSubsetCopyByIndex({}, c_keep)->GetCount(), 0U);
    EXPECT_EQ(GetBits(*collection->GetSubsetCopyByIndex({}, c_drop)), GetBits(*collection));
}

TYPED_TEST(TSurfelCollectionSubsetTest, SubsetByIndex_IndexOutOfRangeThrows)
{
    const auto collection = this->Make(3);
    for (const auto mode : {c_keep, c_drop})
    {
        EXPECT_EQ(GetMessageOf([&] {
                      static_cast<void>(collection->GetSubsetCopyByIndex({0, 3}, mode));
                  }),
                  "Index 1 of the list is 3, but there are only 3 surfels.");
        EXPECT_NO_THROW(static_cast<void>(collection->GetSubsetCopyByIndex({0, 2}, mode)));
    }
}

TYPED_TEST(TSurfelCollectionSubsetTest, SubsetByIndex_OfManySurfels)
{
    const auto collection = this->Make(c_manySurfels);
    const auto indices = MakeIndices(100, c_manySurfels - 100);
    EXPECT_EQ(GetBits(*collection->GetSubsetCopyByIndex(indices, c_keep)),
              GetBitsAt(*collection, indices));
}

TYPED_TEST(TSurfelCollectionSubsetTest, SubsetByIndex_DropOfManySurfels)
{
    const auto collection = this->Make(c_manySurfels);
    const std::vector<bool> mask = MakeRandomMask(c_manySurfels);
    std::vector<std::size_t> listed;
    std::vector<std::size_t> others;
    for (std::size_t index = 0; index < mask.size(); ++index)
    {
        (mask[index] ? listed : others).push_back(index);
    }
    EXPECT_EQ(GetBits(*collection->GetSubsetCopyByIndex(listed, c_drop)),
              GetBitsAt(*collection, others));
}

TYPED_TEST(TSurfelCollectionSubsetTest, SubsetByBools_KeepsOrDropsTheMarked)
{
    const auto collection = this->Make(4);
    const std::vector<bool> mask{true, false, false, true};
    EXPECT_EQ(GetBits(*collection->GetSubsetCopyByMask(mask, c_keepMarked)),
              GetBitsAt(*collection, {0, 3}));
    EXPECT_EQ(GetBits(*collection->GetSubsetCopyByMask(mask, c_dropMarked)),
              GetBitsAt(*collection, {1, 2}));
}

TYPED_TEST(TSurfelCollectionSubsetTest, SubsetByBools_OtherSizeThrows)
{
    const auto collection = this->Make(4);
    for (const std::size_t size : {std::size_t{0}, std::size_t{3}, std::size_t{5}})
    {
        EXPECT_THROW(static_cast<void>(collection->GetSubsetCopyByMask(
                         std::vector<bool>(size, true), c_keepMarked)),
                     VekoException)
            << size;
    }
    EXPECT_EQ(GetMessageOf([&] {
                  static_cast<void>(
                      collection->GetSubsetCopyByMask(std::vector<bool>(5, true), c_keepMarked));
              }),
              "The mask has 5 entries, but there are 4 surfels.");
}

TYPED_TEST(TSurfelCollectionSubsetTest, SubsetByBools_OfManySurfels)
{
    const auto collection = this->Make(c_manySurfels);
    const std::vector<bool> mask = MakeRandomMask(c_manySurfels);
    std::vector<std::size_t> marked;
    std::vector<std::size_t> others;
    for (std::size_t index = 0; index < mask.size(); ++index)
    {
        (mask[index] ? marked : others).push_back(index);
    }
    EXPECT_EQ(GetBits(*collection->GetSubsetCopyByMask(mask, c_keepMarked)),
              GetBitsAt(*collection, marked));
    EXPECT_EQ(GetBits(*collection->GetSubsetCopyByMask(mask, c_dropMarked)),
              GetBitsAt(*collection, others));
}

TYPED_TEST(TSurfelCollectionSubsetTest, SubsetByBits_AnyAskedBitMarks)
{
    const auto collection = this->Make(4);
    const std::vector<CSurfelBitMask> words{{0x0008}, {0x0100}, {0x000C}, {0x0000}};
    const CSurfelBitMask asked{0x000C};
    EXPECT_EQ(GetBits(*collection->GetSubsetCopyByMask(words, asked, c_keepMarked)),
              GetBitsAt(*collection, {0, 2}));
    EXPECT_EQ(GetBits(*collection->GetSubsetCopyByMask(words, asked, c_dropMarked)),
              GetBitsAt(*collection, {1, 3}));
}

TYPED_TEST(TSurfelCollectionSubsetTest, SubsetByBits_NoWordsStandForNoBits)
{
    const auto collection = this->Make(4);
    const CSurfelBitMask asked{0xFFFF};
    EXPECT_EQ(collection->GetSubsetCopyByMask({}, asked, c_keepMarked)->GetCount(), 0U);
    EXPECT_EQ(GetBits(*collection->GetSubsetCopyByMask({}, asked, c_dropMarked)),
              GetBits(*collection));
}

TYPED_TEST(TSurfelCollectionSubsetTest, SubsetByBits_OtherSizeThrows)
{
    const auto collection = this->Make(4);
    const std::vector<CSurfelBitMask> words(3);
    EXPECT_THROW(static_cast<void>(collection->GetSubsetCopyByMask(words, {1}, c_dropMarked)),
                 VekoException);
}

TYPED_TEST(TSurfelCollectionSubsetTest, SubsetByBits_OfManySurfels)
{
    const auto collection = this->Make(c_manySurfels);
    const std::vector<bool> mask = MakeRandomMask(c_manySurfels);
    const CSurfelBitMask asked{0x8001};
    std::vector<CSurfelBitMask> words(c_manySurfels);
    std::vector<std::size_t> marked;
    std::vector<std::size_t> others;
    for (std::size_t index = 0; index < mask.size(); ++index)
    {
        words[index].bits = mask[index] ? (index % 3 == 0 ? 0x8000 : 0x0003) : 0x7FFE;
        (mask[index] ? marked : others).push_back(index);
    }
    EXPECT_EQ(GetBits(*collection->GetSubsetCopyByMask(words, asked, c_keepMarked)),
              GetBitsAt(*collection, marked));
    EXPECT_EQ(GetBits(*collection->GetSubsetCopyByMask(words, asked, c_dropMarked)),
              GetBitsAt(*collection, others));
}

TYPED_TEST(TSurfelCollectionSubsetTest, Subsets_AreOfTheSameKind)
{
    const auto collection = this->Make(4);
    const auto subset = collection->GetSubsetCopyByIndex({1}, c_keep);
    EXPECT_NE(dynamic_cast<const TypeParam*>(subset.get()), nullptr);
    EXPECT_EQ(&subset->GetRTTI(), &collection->GetRTTI());
}

TYPED_TEST(TSurfelCollectionSubsetTest, Subsets_ShareNothingWithTheirSource)
{
    const auto collection = this->Make(4);
    const auto subset = collection->GetSubsetCopyByIndex({0, 1, 2, 3}, c_keep);
    const auto expected = GetBits(*subset);
    collection->ScatterCopy(*this->Make(9), {{8, 0}}, c_matIdentityD);
    EXPECT_EQ(GetBits(*subset), expected);
}

TEST(SurfelSubsets, Exceptions_NameTheirPlaces)
{
    const auto collection = MakeCollection<DataLayer::CSurfelCollectionMinimal>(3);
    EXPECT_EQ(
        GetCodeLineOf([&] { static_cast<void>(collection->GetSubsetCopyByIndex({3}, c_keep)); }),
        23U);
    EXPECT_EQ(
        GetCodeLineOf([&] {
            static_cast<void>(collection->GetSubsetCopyByMask(std::vector<bool>(2), c_keepMarked));
        }),
        34U);
    EXPECT_EQ(GetCodeLineOf([&] {
                  collection->ScatterCopy(*collection, {{3, 0}}, c_matIdentityD);
              }),
              49U);
    EXPECT_EQ(GetCodeLineOf([&] {
                  static_cast<void>(collection->CloneFromCollection({collection.get()}, {}));
              }),
              63U);
    EXPECT_EQ(GetCodeLineOf([&] {
                  static_cast<void>(collection->CloneFromCollection({nullptr}, {c_matIdentityD}));
              }),
              71U);
}

}  // namespace

}  // namespace DataLayerTest
