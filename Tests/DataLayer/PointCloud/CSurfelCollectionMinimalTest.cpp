#include "DataLayer/PointCloud/CSurfelCollectionMinimal.h"

#include <gtest/gtest.h>

#include <string>

#include "DataLayer/PointCloud/CSurfelCollectionPosition.h"
#include "DataLayer/PointCloud/CSurfelCollectionPositionNormal.h"
#include "Tests/DataLayer/PointCloud/SurfelCollections.h"
#include "Tests/Support/Selections.h"

namespace DataLayerTest
{

namespace
{

using DataLayer::CCompactSurfelPositionNormal;
using DataLayer::CSurfelCollectionMinimal;
using DataLayer::CSurfelCollectionPosition;
using DataLayer::CSurfelCollectionPositionNormal;

TEST(CSurfelCollectionMinimal, IsSeenThroughAllItsInterfaces)
{
    const auto collection = MakeCollection<CSurfelCollectionMinimal>(2);
    const Base::ISurfelCollectionPositionQNormal& withNormals = *collection;
    const Base::IPointCloud& cloud = withNormals;
    const Base::ISurfelCollection& surfels = cloud;
    const ScanAPI::ISurfelCollectionElementAccess& elements = surfels;
    EXPECT_EQ(elements.GetCount(), 2U);
    EXPECT_EQ(dynamic_cast<const CSurfelCollectionMinimal*>(&elements), collection.get());
}

TEST(CSurfelCollectionMinimal, NamesItsClass)
{
    EXPECT_EQ(std::wstring(CSurfelCollectionMinimal().GetClassNameW()),
              L"CSurfelCollectionMinimal");
    EXPECT_EQ(CSurfelCollectionMinimal().GetRTTI().className,
              CSurfelCollectionMinimal().GetClassNameW());
}

TEST(CSurfelCollectionMinimal, Accessors_ReadTheRecordsInPlace)
{
    const auto collection = MakeCollection<CSurfelCollectionMinimal>(3);
    const auto& positions = collection->GetReadAccessor<Base::CSCElementDefinitionPosition>();
    EXPECT_EQ(static_cast<const void*>(positions.GetFirstElement()), &collection->GetSurfel(0));
    EXPECT_EQ(positions.GetStrideInBytes(), sizeof(CCompactSurfelPositionNormal));
    const auto& normals = collection->GetReadAccessor<Base::CSCElementDefinitionNormal>();
    EXPECT_EQ(static_cast<const void*>(normals.GetFirstElement()),
              &collection->GetSurfel(0).normal);
    EXPECT_EQ(normals.At(1), DataLayer::DecodeQNormal(collection->GetSurfel(1).normal));
}

TEST(CSurfelCollectionMinimal, GetAllNormals_AreDecodedAndZeroWhereThereIsNone)
{
    const auto collection = MakeCollection<CSurfelCollectionMinimal>(5);
    const auto normals = collection->GetAllNormals();
    ASSERT_EQ(normals.size(), 5U);
    EXPECT_NEAR(normals[1].x, 0.6F, 0.01F);
    EXPECT_NEAR(normals[1].z, -0.8F, 0.01F);
    EXPECT_EQ(normals[3].x, 0.0F);
    EXPECT_EQ(normals[3].y, 0.0F);
    EXPECT_EQ(normals[3].z, 0.0F);
}

TEST(CSurfelCollectionMinimal, Copies_KeepEveryNormalCode)
{
    // Also those that encoding never makes, which a decoded and encoded copy would lose.
    CSurfelCollectionMinimal collection;
    for (std::uint32_t code = 0; code <= 0xFFFF; ++code)
    {
        collection.AddSurfelNoReset({MakePosition(code), static_cast<std::uint16_t>(code)});
    }
    const auto clone = collection.Clone(TestSupport::MakeTranslation(1.0, 0.0, 0.0));
    const auto& moved = dynamic_cast<const CSurfelCollectionMinimal&>(*clone);
    for (std::uint32_t code = 0; code <= 0xFFFF; ++code)
    {
        ASSERT_EQ(moved.GetSurfel(code).normal, code);
    }
}

TEST(CSurfelCollectionMinimal, Clone_RotatesNormalsFromTheirDecodedDirection)
{
    CSurfelCollectionMinimal collection;
    const std::uint16_t code = DataLayer::EncodeQNormal(0.6F, 0.0F, -0.8F);
    collection.AddSurfelNoReset({{1.0F, 2.0F, 3.0F}, code});
    // A quarter turn about y: (x, y, z) becomes (z, y, -x).
    const auto clone = collection.Clone(TestSupport::MakeRotationY(0.0, 1.0));
    const LqVector3f before = DataLayer::DecodeQNormal(code);
    EXPECT_EQ(dynamic_cast<const CSurfelCollectionMinimal&>(*clone).GetSurfel(0).normal,
              DataLayer::EncodeQNormal(before.z, before.y, -before.x));
}

TEST(CSurfelCollectionMinimal, Append_ReadsNormalsOfOtherKinds)
{
    CSurfelCollectionMinimal collection;
    collection.Append(*MakeCollection<CSurfelCollectionPositionNormal>(5), c_matIdentityD);
    const auto expected = MakeCollection<CSurfelCollectionMinimal>(5);
    for (std::size_t index = 0; index < 5; ++index)
    {
        EXPECT_EQ(collection.GetSurfel(index).normal, expected->GetSurfel(index).normal);
    }
}

TEST(CSurfelCollectionMinimal, Append_SourceWithoutNormalsGivesTheInvalidCode)
{
    CSurfelCollectionMinimal collection;
    collection.Append(*MakeCollection<CSurfelCollectionPosition>(1), c_matIdentityD);
    EXPECT_EQ(collection.GetSurfel(0).normal, DataLayer::c_invalidQNormal);
}

TEST(CSurfelCollectionPositionNormal, Append_DecodesQuantisedNormals)
{
    CSurfelCollectionPositionNormal collection;
    const auto source = MakeCollection<CSurfelCollectionMinimal>(5);
    collection.Append(*source, c_matIdentityD);
    EXPECT_EQ(GetBits(collection), GetBits(*source));
}

TEST(CSurfelCollectionPositionNormal, Identity_KeepsNormalsThatHaveNoUnitLength)
{
    CSurfelCollectionPositionNormal collection;
    collection.AddSurfelNoReset({{1.0F, 2.0F, 3.0F}, {0.0F, -0.0F, 5.0F}});
    EXPECT_EQ(GetBits(*collection.Clone(c_matIdentityD)), GetBits(collection));
}

TEST(CSurfelCollectionPositionNormal, NamesItsClass)
{
    const CSurfelCollectionPositionNormal collection;
    EXPECT_EQ(std::wstring(collection.GetClassNameW()), L"CSurfelCollectionPositionNormal");
    EXPECT_EQ(collection.GetRTTI().className, collection.GetClassNameW());
}

TEST(CSurfelCollectionPosition, NamesItsClass)
{
    const CSurfelCollectionPosition collection;
    EXPECT_EQ(std::wstring(collection.GetClassNameW()), L"CSurfelCollectionPosition");
    EXPECT_EQ(collection.GetRTTI().className, collection.GetClassNameW());
}

TEST(CSurfelCollectionPosition, HasNoNormals)
{
    const auto collection = MakeCollection<CSurfelCollectionPosition>(3);
    EXPECT_FALSE(collection->HasNormals());
    EXPECT_TRUE(collection->GetAllNormals().empty());
    EXPECT_THROW(static_cast<void>(collection->GetNormals()), VekoException);
}

}  // namespace

}  // namespace DataLayerTest
