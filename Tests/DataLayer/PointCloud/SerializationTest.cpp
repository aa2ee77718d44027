#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>

#include "Base/Interfaces/CStdStreamRead.h"
#include "Base/Interfaces/CStdStreamWrite.h"
#include "Base/Interfaces/IPointCloudSupport.h"
#include "Base/Interfaces/SerializedElements.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"
#include "Tests/DataLayer/PointCloud/SurfelCollections.h"

namespace DataLayerTest
{

namespace
{

using DataLayer::CSurfelCollectionMinimal;
using DataLayer::CSurfelCollectionPosition;
using DataLayer::CSurfelCollectionPositionNormal;
using DataLayer::CSurfelCollectionView;

std::string Write(const Base::IVekoSerializable& object)
{
    std::ostringstream stream;
    Base::CStdStreamWrite writer(stream);
    object.Serialize(writer);
    return stream.str();
}

void Read(Base::IVekoSerializable& object, const std::string& bytes)
{
    std::istringstream stream(bytes);
    Base::CStdStreamRead reader(stream);
    object.Serialize(reader);
}

/// A view over memory that it owns, of the surfels 0 to \p count - 1.
class COwningView : public CSurfelCollectionView
{
public:
    explicit COwningView(std::size_t count = 0) : COwningView(makeRecords(count)) {}

private:
    using Records = std::vector<DataLayer::CSurfelPositionNormal>;

    explicit COwningView(const std::shared_ptr<Records>& records)
        : CSurfelCollectionView(records, records->size(), records->data(), 24,
                                reinterpret_cast<const std::byte*>(records->data()) + 12, 24)
    {}

    static std::shared_ptr<Records> makeRecords(std::size_t count)
    {
        auto records = std::make_shared<Records>();
        records->reserve(count + 1);
        for (std::size_t index = 0; index < count; ++index)
        {
            records->push_back(MakeSurfel<CSurfelCollectionPositionNormal>(index));
        }
        return records;
    }
};

template <typename Collection>
class TSerializationTest : public testing::Test
{
public:
    static std::unique_ptr<Collection> Make(std::size_t count)
    {
        if constexpr (std::is_same_v<Collection, COwningView>)
        {
            return std::make_unique<COwningView>(count);
        }
        else
        {
            return MakeCollection<Collection>(count);
        }
    }
};

using Collections = testing::Types<CSurfelCollectionMinimal, CSurfelCollectionPositionNormal,
                                   CSurfelCollectionPosition, COwningView>;
TYPED_TEST_SUITE(TSerializationTest, Collections);

TYPED_TEST(TSerializationTest, RoundTrip_KeepsEveryBit)
{
    const auto written = this->Make(7);
    const auto read = this->Make(2);
    Read(*read, Write(*written));
    EXPECT_EQ(GetBits(*read), GetBits(*written));
    EXPECT_EQ(Write(*read), Write(*written));
}

TYPED_TEST(TSerializationTest, RoundTrip_OfOneSurfelKeepsEveryBit)
{
    const auto written = this->Make(1);
    const auto read = this->Make(2);
    Read(*read, Write(*written));
    EXPECT_EQ(GetBits(*read), GetBits(*written));
}

TYPED_TEST(TSerializationTest, RoundTrip_SupportIsThatOfTheSurfelsRead)
{
    const auto read = this->Make(2);
    static_cast<void>(read->GetPointCloudSupport()->GetBoundingBox());
    Read(*read, Write(*this->Make(7)));
    EXPECT_EQ(read->GetPointCloudSupport()->GetBoundingBox().box.max.x, 6.0F);
    EXPECT_EQ(read->GetPointCloudSupport()->GetNearestNeighborSearch()->FindNearestNeighbor(
                  MakePosition(5), 0.0F, nullptr),
              5);
}

TYPED_TEST(TSerializationTest, RoundTrip_Empty)
{
    const auto read = this->Make(2);
    Read(*read, Write(*this->Make(0)));
    EXPECT_EQ(read->GetCount(), 0U);
    EXPECT_TRUE(read->GetAllPositions().empty());
    EXPECT_TRUE(read->GetPointCloudSupport()->GetBoundingBox().box.IsEmpty());
    EXPECT_EQ(read->HasNormals(), this->Make(0)->HasNormals());
}

TYPED_TEST(TSerializationTest, RoundTrip_SeveralObjectsFollowEachOtherInOneStream)
{
    std::stringstream stream;
    Base::CStdStreamWrite writer(stream);
    this->Make(3)->Serialize(writer);
    this->Make(5)->Serialize(writer);
    Base::CStdStreamRead reader(stream);
    const auto read = this->Make(0);
    read->Serialize(reader);
    EXPECT_EQ(read->GetCount(), 3U);
    read->Serialize(reader);
    EXPECT_EQ(read->GetCount(), 5U);
}

TYPED_TEST(TSerializationTest, DamagedByte_ThrowsAndChangesNothing)
{
    const std::string bytes = Write(*this->Make(3));
    const auto read = this->Make(2);
    const auto expected = GetBits(*read);
    for (std::size_t place = 0; place < bytes.size(); ++place)
    {
        std::string damaged = bytes;
        damaged[place] = static_cast<char>(damaged[place] ^ 0x04);
        EXPECT_NE(GetMessageOf([&] { Read(*read, damaged); }), "") << place;
        ASSERT_EQ(GetBits(*read), expected) << place;
    }
}

TYPED_TEST(TSerializationTest, EarlyEnd_ThrowsAndChangesNothing)
{
    const std::string bytes = Write(*this->Make(3));
    const auto read = this->Make(2);
    const auto expected = GetBits(*read);
    for (std::size_t size = 0; size < bytes.size(); ++size)
    {
        EXPECT_NE(GetMessageOf([&] { Read(*read, bytes.substr(0, size)); }), "") << size;
        ASSERT_EQ(GetBits(*read), expected) << size;
    }
}

TEST(Serialization, OtherKinds_AreRejected)
{
    const std::string minimal = Write(*MakeCollection<CSurfelCollectionMinimal>(3));
    CSurfelCollectionPositionNormal other;
    EXPECT_EQ(GetMessageOf([&] { Read(other, minimal); }),
              "Damaged stream: it holds another kind of object.");
    COwningView view(2);
    EXPECT_EQ(GetMessageOf([&] { Read(view, minimal); }),
              "Damaged stream: it holds another kind of object.");
}

TEST(Serialization, Minimal_SurfelsTakeFourteenBytes)
{
    const auto size = [](std::size_t count) {
        return Write(*MakeCollection<CSurfelCollectionMinimal>(count)).size();
    };
    EXPECT_EQ(size(10) - size(0), 140U);
}

TEST(Serialization, Minimal_EqualSurfelsGiveEqualBytesWhateverTheirPadding)
{
    CSurfelCollectionMinimal::Surfels surfels(1);
    std::memset(static_cast<void*>(surfels.data()), 0xAB, 16);
    surfels[0].position = MakePosition(0);
    surfels[0].normal = MakeSurfel<CSurfelCollectionMinimal>(0).normal;
    CSurfelCollectionMinimal collection;
    collection.SetSurfels(std::move(surfels));
    EXPECT_EQ(Write(collection), Write(*MakeCollection<CSurfelCollectionMinimal>(1)));
}

TEST(Serialization, View_WithoutNormalsComesBackWithoutNormals)
{
    const std::vector<LqVector3f> positions{MakePosition(0), MakePosition(1)};
    const CSurfelCollectionView written(nullptr, 2, positions.data(), sizeof(LqVector3f));
    COwningView read(3);
    Read(read, Write(written));
    EXPECT_FALSE(read.HasNormals());
    EXPECT_EQ(GetBits(read), GetBits(written));
}

TEST(Serialization, View_HeadThatDoesNotSayWhetherThereAreNormalsIsRejected)
{
    for (const std::vector<std::uint32_t>& head :
         {std::vector<std::uint32_t>{2}, std::vector<std::uint32_t>{},
          std::vector<std::uint32_t>{1, 1}})
    {
        std::ostringstream stream;
        Base::CStdStreamWrite writer(stream);
        Base::WriteElements(writer, Base::MakeSerializedTag("VIEW"), head.data(), head.size(),
                            sizeof(std::uint32_t));
        COwningView read(3);
        EXPECT_EQ(GetMessageOf([&] { Read(read, stream.str()); }),
                  "Damaged stream: it does not say whether surfels have normals.");
        EXPECT_EQ(GetCodeLineOf([&] { Read(read, stream.str()); }), 126U);
        EXPECT_EQ(GetBits(read), GetBits(COwningView(3)));
    }
}

TEST(Serialization, View_ThatWasReadOwnsItsMemory)
{
    auto buffer = std::make_shared<std::vector<LqVector3f>>(2);
    const std::weak_ptr<const void> observer = buffer;
    CSurfelCollectionView view(buffer, 2, buffer->data(), sizeof(LqVector3f));
    buffer.reset();
    Read(view, Write(COwningView(4)));
    EXPECT_TRUE(observer.expired());
    EXPECT_EQ(GetBits(view), GetBits(COwningView(4)));
}

}  // namespace

}  // namespace DataLayerTest
