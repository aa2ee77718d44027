#include "DataLayer/PointCloud/CSurfelCollectionView.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <limits>
#include <string>
#include <typeindex>

#include "Base/Interfaces/IPointCloudSupport.h"
#include "Tests/DataLayer/PointCloud/CForeignCollection.h"
#include "Tests/DataLayer/PointCloud/SurfelCollections.h"
#include "Tests/Support/Selections.h"

namespace DataLayerTest
{

namespace
{

using DataLayer::CSurfelCollectionPosition;
using DataLayer::CSurfelCollectionPositionNormal;
using DataLayer::CSurfelCollectionView;

/// A record as a scanner's driver may define it.
struct SScannerPoint
{
    double time = 0.0;
    LqVector3f position;
    std::array<std::uint8_t, 4> color{};
    LqVector3f normal;
};

std::vector<SScannerPoint> MakePoints(std::size_t count)
{
    std::vector<SScannerPoint> points(count);
    for (std::size_t index = 0; index < count; ++index)
    {
        points[index].position = MakePosition(index);
        points[index].normal = MakeNormal(index);
    }
    return points;
}

CSurfelCollectionView MakeView(const std::vector<SScannerPoint>& points)
{
    return CSurfelCollectionView(nullptr, points.size(), &points.front().position,
                                 sizeof(SScannerPoint), &points.front().normal,
                                 sizeof(SScannerPoint));
}

TEST(CSurfelCollectionView, ReadsTheCallersRecordsInPlace)
{
    const auto points = MakePoints(5);
    const CSurfelCollectionView view = MakeView(points);
    EXPECT_EQ(view.GetCount(), 5U);
    EXPECT_EQ(static_cast<const void*>(view.GetPositions().GetFirstElement()),
              &points.front().position);
    EXPECT_EQ(GetBits(view), GetBits(*MakeCollection<CSurfelCollectionPositionNormal>(5)));
}

TEST(CSurfelCollectionView, KeepsTheOwnerAlive)
{
    auto owner = std::make_shared<std::vector<SScannerPoint>>(MakePoints(2));
    const std::weak_ptr<const void> observer = owner;
    {
        const CSurfelCollectionView view(owner, 2, &owner->front().position, sizeof(SScannerPoint));
        owner.reset();
        EXPECT_FALSE(observer.expired());
        EXPECT_EQ(view.GetPositions().At(1), MakePosition(1));
    }
    EXPECT_TRUE(observer.expired());
}

TEST(CSurfelCollectionView, StrideZero_AllSurfelsShareOneElement)
{
    const LqVector3f position{1.0F, 2.0F, 3.0F};
    const LqVector3f normal{0.0F, 0.0F, 1.0F};
    const CSurfelCollectionView view(nullptr, 3, &position, 0, &normal, 0);
    EXPECT_EQ(view.GetPositions().At(2), position);
    EXPECT_EQ(view.GetAllPositions().size(), 3U);
    EXPECT_EQ(view.GetNormals().At(2), normal);
    EXPECT_EQ(view.GetSubsetCopyByIndex({2, 1}, c_keep)->GetPositions().At(1), position);
    EXPECT_EQ(view.GetPointCloudSupport()->GetBoundingBox().box.max, position);
    EXPECT_EQ(view.GetPointCloudSupport()->GetNearestNeighborSearch()->FindNearestNeighbor(
                  position, 0.0F, nullptr),
              0);
}

TEST(CSurfelCollectionView, UnalignedElements_AreReadWhole)
{
    for (const std::size_t stride : {std::size_t{12}, std::size_t{13}, std::size_t{27}})
    {
        for (const std::size_t offset : {std::size_t{1}, std::size_t{2}, std::size_t{3}})
        {
            std::vector<std::byte> bytes(offset + 10 * stride + 12);
            for (std::size_t index = 0; index < 10; ++index)
            {
                const LqVector3f position = MakePosition(index);
                std::memcpy(bytes.data() + offset + index * stride, &position, sizeof position);
            }
            const CSurfelCollectionView view(nullptr, 10, bytes.data() + offset, stride,
                                             bytes.data() + offset, stride);
            const auto positions = view.GetAllPositions();
            EXPECT_EQ(positions[9].x, 9.0F);
            EXPECT_EQ(view.GetNormals().At(9), MakePosition(9));
            EXPECT_EQ(GetBits(*view.Clone(c_matIdentityD)), GetBits(view));
            EXPECT_EQ(view.GetPointCloudSupport()->GetBoundingBox().box.max.x, 9.0F);
            EXPECT_EQ(view.GetPointCloudSupport()->GetNearestNeighborSearch()->FindNearestNeighbor(
                          MakePosition(7), 0.0F, nullptr),
                      7);
        }
    }
}

TEST(CSurfelCollectionView, OverlappingElements_AreReadAsTheyLie)
{
    const std::array<float, 5> values{1.0F, 2.0F, 3.0F, 4.0F, 5.0F};
    const CSurfelCollectionView view(nullptr, 3, values.data(), sizeof(float));
    EXPECT_EQ(view.GetPositions().At(2), (LqVector3f{3.0F, 4.0F, 5.0F}));
}

TEST(CSurfelCollectionView, WithoutNormals_HasNone)
{
    const auto points = MakePoints(3);
    const CSurfelCollectionView view(nullptr, 3, &points.front().position, sizeof(SScannerPoint));
    EXPECT_TRUE(view.HasPositions());
    EXPECT_FALSE(view.HasNormals());
    EXPECT_TRUE(view.GetAllNormals().empty());
    EXPECT_THROW(static_cast<void>(view.GetNormals()), VekoException);
}

TEST(CSurfelCollectionView, Empty_NeedsNoMemory)
{
    const CSurfelCollectionView view(nullptr, 0, nullptr, 12);
    EXPECT_EQ(view.GetCount(), 0U);
    EXPECT_TRUE(view.GetPointCloudSupport()->GetBoundingBox().box.IsEmpty());
    EXPECT_EQ(view.Clone(c_matIdentityD)->GetCount(), 0U);
}

TEST(CSurfelCollectionView, SurfelsWithoutPositionsThrow)
{
    EXPECT_EQ(GetMessageOf([] { const CSurfelCollectionView view(nullptr, 2, nullptr, 12); }),
              "2 surfels were given without positions.");
}

TEST(CSurfelCollectionView, NormalWithoutAStrideIsThatOfAllSurfels)
{
    const auto points = MakePoints(3);
    const LqVector3f normal{0.0F, 0.0F, 1.0F};
    const CSurfelCollectionView view(nullptr, 3, &points.front().position, sizeof(SScannerPoint),
                                     &normal);
    EXPECT_EQ(view.GetNormals().At(2), normal);
}

TEST(CSurfelCollectionView, ArrayBeyondTheAddressSpaceThrows)
{
    const LqVector3f position;
    const std::size_t most = std::numeric_limits<std::size_t>::max();
    EXPECT_THROW(CSurfelCollectionView(nullptr, 2, &position, most), VekoException);
    EXPECT_THROW(CSurfelCollectionView(nullptr, most, &position, 12), VekoException);
    EXPECT_THROW(CSurfelCollectionView(nullptr, 2, &position, 12, &position, most), VekoException);
    EXPECT_NO_THROW(CSurfelCollectionView(nullptr, 1, &position, most));
    // Where there is room for the last one and where there is none for one more.
    EXPECT_NO_THROW(CSurfelCollectionView(nullptr, 4, &position, most / 4));
    EXPECT_THROW(CSurfelCollectionView(nullptr, 5, &position, most / 4), VekoException);
    const std::size_t lastOffset =
        most - sizeof position - reinterpret_cast<std::uintptr_t>(&position);
    EXPECT_NO_THROW(CSurfelCollectionView(nullptr, lastOffset + 1, &position, 1));
    EXPECT_THROW(CSurfelCollectionView(nullptr, lastOffset + 2, &position, 1), VekoException);
}

TEST(CSurfelCollectionView, TooManySurfelsToSearchIsALengthError)
{
    const LqVector3f position;
    const std::uint64_t most = std::numeric_limits<std::int32_t>::max();
    const CSurfelCollectionView view(nullptr, most + 1, &position, 0);
    EXPECT_THROW(static_cast<void>(view.GetPointCloudSupport()->GetNearestNeighborSearch()),
                 std::length_error);
    EXPECT_EQ(view.GetPointCloudSupport()->GetBoundingBox().box.min, position);
}

TEST(CSurfelCollectionView, AppendAndScatterCopy_ThrowSinceMemoryIsBorrowed)
{
    const auto points = MakePoints(3);
    CSurfelCollectionView view = MakeView(points);
    const std::string message =
        "The surfels of a view lie in borrowed memory, which is only read; change a clone.";
    EXPECT_EQ(GetMessageOf([&] { view.Append(view, c_matIdentityD); }), message);
    EXPECT_EQ(GetMessageOf([&] { view.ScatterCopy(view, {}, c_matIdentityD); }), message);
    EXPECT_EQ(view.GetCount(), 3U);
}

TEST(CSurfelCollectionView, Exceptions_NameTheirPlaces)
{
    const LqVector3f position;
    const std::size_t most = std::numeric_limits<std::size_t>::max();
    CSurfelCollectionView view(nullptr, 1, &position, 12);
    EXPECT_EQ(GetCodeLineOf([] { const CSurfelCollectionView none(nullptr, 2, nullptr, 12); }),
              38U);
    EXPECT_EQ(GetCodeLineOf([&] { const CSurfelCollectionView far(nullptr, 2, &position, most); }),
              44U);
    EXPECT_EQ(GetCodeLineOf([&] { view.Append(view, c_matIdentityD); }), 198U);
    EXPECT_EQ(GetCodeLineOf([&] { view.ScatterCopy(view, {}, c_matIdentityD); }), 204U);
}

TEST(CSurfelCollectionView, Copies_KeepNormalsToTheBitAndOwnTheirSurfels)
{
    auto points = MakePoints(4);
    points[2].normal = {0.123456F, 7.0F, -0.0F};
    const CSurfelCollectionView view = MakeView(points);
    const auto expected = GetBitsAt(view, {2, 3});
    const auto byIndex = view.GetSubsetCopyByIndex({2, 3}, c_keep);
    const auto byBools = view.GetSubsetCopyByMask({true, true, false, false}, c_dropMarked);
    const auto byBits = view.GetSubsetCopyByMask({{0}, {1}, {2}, {2}}, {2}, c_keepMarked);
    points.assign(4, SScannerPoint());
    for (const auto& copy : {byIndex, byBools, byBits})
    {
        EXPECT_NE(dynamic_cast<const CSurfelCollectionPositionNormal*>(copy.get()), nullptr);
        EXPECT_EQ(GetBits(*copy), expected);
    }
}

TEST(CSurfelCollectionView, Copies_CanBeChanged)
{
    const auto points = MakePoints(4);
    const auto copy = MakeView(points).GetSubsetCopyByIndex({0}, c_keep);
    copy->Append(MakeView(points), c_matIdentityD);
    EXPECT_EQ(copy->GetCount(), 5U);
}

TEST(CSurfelCollectionView, Copies_OfAViewWithoutNormalsHaveNone)
{
    const auto points = MakePoints(4);
    const CSurfelCollectionView view(nullptr, 4, &points.front().position, sizeof(SScannerPoint));
    for (const auto& copy : {view.GetSubsetCopyByIndex({1, 3}, c_keep),
                             view.GetSubsetCopyByMask({false, true, false, true}, c_keepMarked),
                             view.GetSubsetCopyByMask({{1}, {2}, {4}, {3}}, {2}, c_keepMarked)})
    {
        EXPECT_NE(dynamic_cast<const CSurfelCollectionPosition*>(copy.get()), nullptr);
        EXPECT_EQ(GetBits(*copy), GetBitsAt(view, {1, 3}));
    }
}

TEST(CSurfelCollectionView, Copies_OfManySurfels)
{
    const auto points = MakePoints(c_manySurfels);
    const CSurfelCollectionView view = MakeView(points);
    std::vector<bool> mask(c_manySurfels);
    std::vector<std::size_t> indices;
    for (std::size_t index = 0; index < c_manySurfels; index += 3)
    {
        mask[index] = true;
        indices.push_back(index);
    }
    EXPECT_EQ(GetBits(*view.GetSubsetCopyByMask(mask, c_keepMarked)), GetBitsAt(view, indices));
}

TEST(CSurfelCollectionView, Copies_WrongSizesAndIndicesThrow)
{
    const auto points = MakePoints(4);
    const CSurfelCollectionView view = MakeView(points);
    EXPECT_THROW(static_cast<void>(view.GetSubsetCopyByIndex({4}, c_keep)), VekoException);
    EXPECT_THROW(static_cast<void>(view.GetSubsetCopyByMask({true}, c_keepMarked)), VekoException);
    EXPECT_THROW(static_cast<void>(view.GetSubsetCopyByMask({{1}}, {1}, c_keepMarked)),
                 VekoException);
    EXPECT_THROW(static_cast<void>(view.CloneFromCollection({nullptr}, {c_matIdentityD})),
                 VekoException);
}

TEST(CSurfelCollectionView, Clone_MovesPositionsAndNormals)
{
    const auto points = MakePoints(3);
    const auto clone = MakeView(points).Clone(TestSupport::MakeRotationY(0.0, 1.0));
    EXPECT_EQ(clone->GetPositions().At(2), (LqVector3f{-2.0F, 2.0F, -2.0F}));
    EXPECT_EQ(clone->GetNormals().At(1), (LqVector3f{-0.8F, 0.0F, -0.6F}));
}

TEST(CSurfelCollectionView, CloneFromCollection_KeepsNormalsOfAnySource)
{
    const auto points = MakePoints(3);
    const CSurfelCollectionView bare(nullptr, 3, &points.front().position, sizeof(SScannerPoint));
    const CForeignCollection foreign({MakePosition(7)}, {{0.0F, 1.0F, 0.0F}});
    const auto clone =
        bare.CloneFromCollection({&bare, &foreign}, {c_matIdentityD, c_matIdentityD});
    ASSERT_EQ(clone->GetCount(), 4U);
    EXPECT_EQ(clone->GetNormals().At(0), LqVector3f());
    EXPECT_EQ(clone->GetNormals().At(3), (LqVector3f{0.0F, 1.0F, 0.0F}));
    EXPECT_FALSE(bare.CloneFromCollection({&bare}, {c_matIdentityD})->HasNormals());
}

/// A view whose accessors anybody may ask for.
class COpenView : public CSurfelCollectionView
{
public:
    using CSurfelCollectionView::CSurfelCollectionView;
    using CSurfelCollectionView::getElementAccess;
};

TEST(CSurfelCollectionView, Accessors_AreThoseOfTheElementsThatItHas)
{
    const auto points = MakePoints(3);
    for (const bool hasNormals : {true, false})
    {
        COpenView view(nullptr, 3, &points.front().position, sizeof(SScannerPoint),
                       hasNormals ? &points.front().normal : nullptr, sizeof(SScannerPoint));
        const COpenView& constView = view;
        const std::type_index positions = typeid(Base::CSCElementDefinitionPosition);
        EXPECT_EQ(constView.getElementAccess(positions), &view.GetPositions());
        EXPECT_EQ(view.getElementAccess(positions), &view.GetPositions());
        const std::type_index normals = typeid(Base::CSCElementDefinitionNormal);
        EXPECT_EQ(constView.getElementAccess(normals), hasNormals ? &view.GetNormals() : nullptr);
        EXPECT_EQ(view.getElementAccess(normals), hasNormals ? &view.GetNormals() : nullptr);
        EXPECT_EQ(constView.getElementAccess(typeid(SScannerPoint)), nullptr);
        EXPECT_EQ(view.getElementAccess(typeid(SScannerPoint)), nullptr);
    }
}

TEST(CSurfelCollectionView, NamesItsClass)
{
    const CSurfelCollectionView view(nullptr, 0, nullptr, 0);
    EXPECT_EQ(std::wstring(view.GetClassNameW()), L"CSurfelCollectionView");
    EXPECT_EQ(view.GetRTTI().className, view.GetClassNameW());
}

}  // namespace

}  // namespace DataLayerTest
