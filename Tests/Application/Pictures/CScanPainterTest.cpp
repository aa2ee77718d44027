#include "Application/Pictures/CScanPainter.h"

#include <gtest/gtest.h>
#include <tbb/global_control.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <span>
#include <utility>
#include <vector>

#include "Application/View/CCamera.h"
#include "Base/Math/PointTransform.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"
#include "Tests/Support/CLastBytes.h"

namespace
{

using Application::CCamera;
using Application::CDepthBuffer;
using Application::CDepthPlane;
using Application::CPictureProjection;
using Application::CPointSamples;
using Application::CScanPainter;
using Base::CSurfelBitMask;

/// A picture that is no whole number of registers wide, seen from -y.
CPictureProjection MakeProjection(CCamera::Projection projection)
{
    CCamera::SParameters parameters;
    parameters.eye = {0.1, -3.0, 0.2};
    parameters.projection = projection;
    parameters.orthographicHeight = 2.0;
    parameters.nearDistance = 2.0;
    parameters.farDistance = 5.0;
    parameters.width = 45;
    parameters.height = 31;
    return CPictureProjection(CCamera(parameters).MakeView(), 1);
}

/// Surfels in and around what is seen, some of them without a place, some where another one is.
std::vector<LqVector3f> StrewPoints(std::size_t count)
{
    std::mt19937 generator(17);
    const auto next = [&] { return static_cast<float>(generator()) * 0x1p-32F * 8.0F - 4.0F; };
    constexpr float c_infinity = std::numeric_limits<float>::infinity();
    constexpr float c_noNumber = std::numeric_limits<float>::quiet_NaN();
    std::vector<LqVector3f> points;
    for (std::size_t index = 0; index < count; ++index)
    {
        LqVector3f point{next(), next(), next()};
        switch (index % 16)
        {
            case 3:
                point = points[generator() % index];
                break;
            case 5:
                point.x = c_noNumber;
                break;
            case 6:
                point.z = -c_infinity;
                break;
            case 7:
                point = {0.1F, -3.0F, 0.2F};
                break;
            default:
                break;
        }
        points.push_back(point);
    }
    return points;
}

std::shared_ptr<const Base::ISurfelCollection> MakeCollection(const std::vector<LqVector3f>& points,
                                                              std::size_t stride)
{
    const auto bytes = std::make_shared<std::vector<std::byte>>(points.size() * stride);
    for (std::size_t index = 0; index < points.size(); ++index)
    {
        std::memcpy(bytes->data() + index * stride, &points[index], sizeof points[index]);
    }
    return std::make_shared<DataLayer::CSurfelCollectionView>(bytes, points.size(), bytes->data(),
                                                              stride);
}

/// Along the picture axes, towards the viewer.
CDepthBuffer::SNormal TurnNormal(const CPictureProjection& projection, const LqVector3f& own)
{
    const auto normal =
        TransformHomogeneous(projection.MakeNormalChain(c_matIdentityD), own.x, own.y, own.z);
    const float length =
        std::sqrt((normal.x * normal.x + normal.y * normal.y) + normal.z * normal.z);
    if (length == 0.0F)
    {
        return {};
    }
    const float scale = (normal.z < 0.0F ? -1.0F : 1.0F) / length;
    return {normal.x * scale, normal.y * scale, normal.z * scale, true};
}

/// One surfel after the other, straight from what a depth buffer means.
/// \param normals none, or one per surfel.
std::vector<std::uint64_t> PaintPlainly(const CPictureProjection& projection,
                                        const std::vector<LqVector3f>& points,
                                        const std::vector<CSurfelBitMask>& flags,
                                        std::uint32_t color, bool hideCut,
                                        const std::vector<LqVector3f>& normals = {})
{
    const LqMatrix4Rf chain = projection.MakeChain(c_matIdentityD);
    const auto width = static_cast<float>(projection.GetWidth());
    const auto height = static_cast<float>(projection.GetHeight());
    std::vector<std::uint64_t> words(std::size_t{projection.GetWidth()} * projection.GetHeight(),
                                     CDepthBuffer::c_empty);
    for (std::size_t index = 0; index < points.size(); ++index)
    {
        const auto clip =
            TransformHomogeneous(chain, points[index].x, points[index].y, points[index].z);
        const float perW = 1.0F / clip.w;
        const float z = clip.z * perW;
        const float x = (clip.x * perW + 1.0F) * (0.5F * width);
        const float y = (1.0F - clip.y * perW) * (0.5F * height);
        const bool isVisible = clip.w > 0.0F && z >= 0.0F && z <= 1.0F && x >= 0.0F && x < width &&
                               y >= 0.0F && y < height;
        const std::uint16_t bits = flags.empty() ? std::uint16_t{0} : flags[index].bits;
        const bool isCut = (bits & CSurfelBitMask::SurfelFlagCut) != 0;
        if (!isVisible || (isCut && hideCut))
        {
            continue;
        }
        const bool isSmall = (bits & CSurfelBitMask::SurfelFlagSmallComponent) != 0;
        const std::uint32_t mark = isCut ? 2 : (isSmall ? 1 : 0);
        std::uint64_t& word = words[static_cast<std::size_t>(y) * projection.GetWidth() +
                                    static_cast<std::size_t>(x)];
        const CDepthBuffer::SNormal normal =
            normals.empty() ? CDepthBuffer::SNormal() : TurnNormal(projection, normals[index]);
        word = std::min(word, CDepthBuffer::Pack(projection.IsPerspective() ? clip.w : z,
                                                 mark * 256 + color, normal));
    }
    return words;
}

std::vector<std::uint64_t> ReadAll(const CDepthBuffer& buffer)
{
    std::vector<std::uint64_t> words(std::size_t{buffer.GetWidth()} * buffer.GetHeight());
    for (std::size_t index = 0; index < words.size(); ++index)
    {
        words[index] = buffer.Get(index);
    }
    return words;
}

CDepthPlane MakePlane(const CPictureProjection& projection)
{
    return CDepthPlane(projection.GetWidth(), projection.GetHeight(), 5);
}

std::vector<std::uint64_t> ReadAll(const CPointSamples& samples,
                                   const CPictureProjection& projection)
{
    std::vector<std::uint64_t> words;
    for (std::uint32_t row = 0; row < projection.GetHeight(); ++row)
    {
        for (std::uint32_t column = 0; column < projection.GetWidth(); ++column)
        {
            words.push_back(samples.Get(column, row));
        }
    }
    return words;
}

/// With the words of that colour.
std::vector<std::uint64_t> ReadAll(CDepthPlane plane, const CPictureProjection& projection,
                                   std::uint32_t colorIndex)
{
    return ReadAll(CPointSamples(std::move(plane), CDepthBuffer::Pack(0.0F, colorIndex, {})),
                   projection);
}

TEST(CScanPainter, Paint_GivesThePicturesOfThePlainLoopToTheBit)
{
    for (const auto kind : {CCamera::Projection::Perspective, CCamera::Projection::Orthographic})
    {
        const CPictureProjection projection = MakeProjection(kind);
        for (const std::size_t count : {1U, 3U, 4U, 5U, 255U, 256U, 257U, 20000U})
        {
            const std::vector<LqVector3f> points = StrewPoints(count);
            const auto expected = PaintPlainly(projection, points, {}, 7, false);
            for (const std::size_t stride : {12U, 15U, 16U, 27U})
            {
                const auto collection = MakeCollection(points, stride);
                const CScanPainter painter(projection, *collection, c_matIdentityD, {}, 7, false);
                CDepthBuffer buffer(projection.GetWidth(), projection.GetHeight());
                painter.Paint(0, count, buffer);
                ASSERT_EQ(ReadAll(buffer), expected) << count << ' ' << stride;
                CDepthPlane plane = MakePlane(projection);
                painter.Paint(0, count, plane);
                ASSERT_EQ(ReadAll(std::move(plane), projection, 7), expected)
                    << count << ' ' << stride;
            }
        }
        EXPECT_NE(PaintPlainly(projection, StrewPoints(20000), {}, 7, false),
                  ReadAll(CDepthBuffer(projection.GetWidth(), projection.GetHeight())));
    }
}

TEST(CScanPainter, Paint_MarksAndHidesByTheFlags)
{
    const CPictureProjection projection = MakeProjection(CCamera::Projection::Perspective);
    const std::vector<LqVector3f> points = StrewPoints(5000);
    std::vector<CSurfelBitMask> flags(points.size());
    std::mt19937 generator(5);
    for (CSurfelBitMask& word : flags)
    {
        word.bits = static_cast<std::uint16_t>(generator() & generator());
    }
    const auto collection = MakeCollection(points, 12);
    for (const bool hideCut : {false, true})
    {
        CDepthBuffer buffer(projection.GetWidth(), projection.GetHeight());
        CScanPainter(projection, *collection, c_matIdentityD, flags, 255, hideCut)
            .Paint(0, points.size(), buffer);
        EXPECT_EQ(ReadAll(buffer), PaintPlainly(projection, points, flags, 255, hideCut));
    }
}

TEST(CScanPainter, Paint_GivesEachSurfelItsOwnNormal)
{
    // More surfels than are drawn at a time.
    const std::vector<LqVector3f> points = StrewPoints(40000);
    std::vector<LqVector3f> normals;
    std::vector<CSurfelBitMask> flags(points.size());
    std::mt19937 random(3);
    std::normal_distribution<float> component;
    for (std::size_t index = 0; index < points.size(); ++index)
    {
        const bool isMissing = index % 10 == 0;
        normals.push_back(
            isMissing ? LqVector3f{}
                      : LqVector3f{component(random), component(random), component(random)});
        flags[index].bits = static_cast<std::uint16_t>(random() & random());
    }
    const auto data = std::make_shared<std::vector<LqVector3f>>(points);
    data->insert(data->end(), normals.begin(), normals.end());
    const DataLayer::CSurfelCollectionView collection(data, points.size(), data->data(), 12,
                                                      data->data() + points.size(), 12);
    for (const auto kind : {CCamera::Projection::Perspective, CCamera::Projection::Orthographic})
    {
        const CPictureProjection projection = MakeProjection(kind);
        for (const bool hideCut : {false, true})
        {
            const CScanPainter painter(projection, collection, c_matIdentityD, flags, 9, hideCut);
            const auto expected = PaintPlainly(projection, points, flags, 9, hideCut, normals);
            CDepthBuffer buffer(projection.GetWidth(), projection.GetHeight());
            painter.Paint(0, points.size(), buffer);
            EXPECT_EQ(ReadAll(buffer), expected);
            CDepthBuffer inParts(projection.GetWidth(), projection.GetHeight());
            painter.Paint(1001, points.size(), inParts);
            painter.Paint(0, 7, inParts);
            painter.Paint(7, 1001, inParts);
            EXPECT_EQ(ReadAll(inParts), expected);
        }
    }
}

TEST(CScanPainter, Paint_RangesGiveThePictureOfTheWhole)
{
    const CPictureProjection projection = MakeProjection(CCamera::Projection::Perspective);
    const std::vector<LqVector3f> points = StrewPoints(3000);
    const auto collection = MakeCollection(points, 12);
    const CScanPainter painter(projection, *collection, c_matIdentityD, {}, 0, false);
    CDepthBuffer buffer(projection.GetWidth(), projection.GetHeight());
    CDepthPlane plane = MakePlane(projection);
    for (const auto& [begin, end] :
         std::vector<std::pair<std::uint64_t, std::uint64_t>>{{1001, 3000}, {0, 7}, {7, 1001}})
    {
        painter.Paint(begin, end, buffer);
        painter.Paint(begin, end, plane);
    }
    const std::vector<std::uint64_t> expected = PaintPlainly(projection, points, {}, 0, false);
    EXPECT_EQ(ReadAll(buffer), expected);
    EXPECT_EQ(ReadAll(std::move(plane), projection, 0), expected);
}

TEST(CScanPainter, Paint_PositionsAtOnePlaceAreOneSample)
{
    const CPictureProjection projection = MakeProjection(CCamera::Projection::Perspective);
    const auto place = std::make_shared<const LqVector3f>(LqVector3f{0.1F, 0.2F, 0.3F});
    const DataLayer::CSurfelCollectionView collection(place, 9, place.get(), 0);
    CDepthBuffer buffer(projection.GetWidth(), projection.GetHeight());
    CScanPainter(projection, collection, c_matIdentityD, {}, 0, false).Paint(0, 9, buffer);
    EXPECT_EQ(ReadAll(buffer), PaintPlainly(projection, {*place}, {}, 0, false));
}

TEST(CScanPainter, Paint_ReadsNothingBehindTheLastPosition)
{
    const CPictureProjection projection = MakeProjection(CCamera::Projection::Perspective);
    const auto isEmpty = [](std::uint64_t word) { return word == CDepthBuffer::c_empty; };
    for (const std::size_t count : {255U, 256U, 257U, 512U})
    {
        for (const std::size_t stride : {0U, 4U, 8U, 12U, 13U, 16U})
        {
            const TestSupport::CLastBytes memory((count - 1) * stride + sizeof(LqVector3f));
            std::byte* const bytes = memory.Get().data();
            // Near enough to be seen, and where they overlap what the later ones leave of them.
            std::vector<LqVector3f> points = StrewPoints(count);
            for (std::size_t index = 0; index < count; ++index)
            {
                LqVector3f& point = points[index];
                point = {0.1F * point.x, 0.1F * point.y, 0.1F * point.z};
                std::memcpy(bytes + index * stride, &point, sizeof point);
            }
            for (std::size_t index = 0; index < count; ++index)
            {
                std::memcpy(&points[index], bytes + index * stride, sizeof points[index]);
            }
            const auto expected = PaintPlainly(projection, points, {}, 7, false);
            ASSERT_FALSE(std::all_of(expected.begin(), expected.end(), isEmpty));
            const DataLayer::CSurfelCollectionView collection(nullptr, count, bytes, stride);
            const CScanPainter painter(projection, collection, c_matIdentityD, {}, 7, false);
            for (const std::size_t split : {count, count - 1})
            {
                CDepthBuffer buffer(projection.GetWidth(), projection.GetHeight());
                painter.Paint(0, split, buffer);
                painter.Paint(split, count, buffer);
                ASSERT_EQ(ReadAll(buffer), expected) << count << ' ' << stride << ' ' << split;
                CDepthPlane plane = MakePlane(projection);
                painter.Paint(0, split, plane);
                painter.Paint(split, count, plane);
                ASSERT_EQ(ReadAll(std::move(plane), projection, 7), expected)
                    << count << ' ' << stride << ' ' << split;
            }
        }
    }
}

TEST(CScanPainter, PaintAll_DrawsAllSurfelsOfAllScans)
{
    const CPictureProjection projection = MakeProjection(CCamera::Projection::Perspective);
    const std::vector<LqVector3f> points = StrewPoints(600000);
    const std::vector<LqVector3f> firstPoints(points.begin(), points.begin() + 350000);
    const std::vector<LqVector3f> otherPoints(points.begin() + 350000, points.end());
    std::vector<LqVector3f> normals;
    for (const LqVector3f& point : firstPoints)
    {
        normals.push_back({point.y, point.z, 1.0F});
    }
    const DataLayer::CSurfelCollectionView first(nullptr, firstPoints.size(), firstPoints.data(),
                                                 12, normals.data(), 12);
    const auto other = MakeCollection(otherPoints, 16);
    std::vector<CScanPainter> painters;
    painters.emplace_back(projection, first, c_matIdentityD, std::span<const CSurfelBitMask>(), 3,
                          false);
    painters.emplace_back(projection, *other, c_matIdentityD, std::span<const CSurfelBitMask>(), 4,
                          false);
    const std::vector<std::uint64_t> others = PaintPlainly(projection, otherPoints, {}, 4, false);
    std::vector<std::uint64_t> expected =
        PaintPlainly(projection, firstPoints, {}, 3, false, normals);
    for (std::size_t index = 0; index < expected.size(); ++index)
    {
        expected[index] = std::min(expected[index], others[index]);
    }
    // Several times, since it is the threads that decide who draws what.
    for (const std::size_t numThreads : {1U, 2U, 7U, 2U, 7U, 2U, 7U, 2U, 7U})
    {
        const tbb::global_control control(tbb::global_control::max_allowed_parallelism, numThreads);
        EXPECT_EQ(ReadAll(CScanPainter::PaintAll(painters, projection, 3).samples, projection),
                  expected);
    }
}

TEST(CScanPainter, PaintAll_SurfelsThatAllLookTheSameNeedNoWords)
{
    const CPictureProjection projection = MakeProjection(CCamera::Projection::Perspective);
    const std::vector<LqVector3f> points = StrewPoints(20000);
    const auto collection = MakeCollection(points, 12);
    const std::vector<CSurfelBitMask> flags(points.size());
    const auto paint = [&](std::span<const CSurfelBitMask> ownFlags, std::uint32_t otherColor) {
        std::vector<CScanPainter> painters;
        painters.emplace_back(projection, *collection, c_matIdentityD, ownFlags, 9, false);
        painters.emplace_back(projection, *collection, c_matIdentityD,
                              std::span<const CSurfelBitMask>(), otherColor, false);
        return CScanPainter::PaintAll(painters, projection, 3);
    };
    const std::vector<std::uint64_t> expected = PaintPlainly(projection, points, {}, 9, false);
    for (const std::size_t numThreads : {1U, 2U, 7U, 2U, 7U})
    {
        const tbb::global_control control(tbb::global_control::max_allowed_parallelism, numThreads);
        const CScanPainter::SPainting painting = paint({}, 9);
        EXPECT_EQ(painting.samples.FindWords(0), nullptr);
        EXPECT_EQ(ReadAll(painting.samples, projection), expected);
    }
    // Flags and another colour make a difference, though not here.
    EXPECT_NE(paint(flags, 9).samples.FindWords(0), nullptr);
    EXPECT_NE(paint({}, 10).samples.FindWords(0), nullptr);
    EXPECT_EQ(ReadAll(paint({}, 10).samples, projection), expected);
}

TEST(CScanPainter, PaintAll_SurfelsWithNormalsNeedWords)
{
    const CPictureProjection projection = MakeProjection(CCamera::Projection::Perspective);
    const auto places = std::make_shared<const std::array<LqVector3f, 2>>(
        std::array<LqVector3f, 2>{{{0.1F, 0.2F, 0.3F}, {0.0F, -1.0F, 0.0F}}});
    const DataLayer::CSurfelCollectionView collection(places, 1, places->data(), 12,
                                                      places->data() + 1, 12);
    std::vector<CScanPainter> painters;
    painters.emplace_back(projection, collection, c_matIdentityD, std::span<const CSurfelBitMask>(),
                          0, false);
    const CScanPainter::SPainting painting = CScanPainter::PaintAll(painters, projection, 0);
    EXPECT_NE(painting.samples.FindWords(0), nullptr);
    const std::vector<std::uint64_t> words = ReadAll(painting.samples, projection);
    EXPECT_EQ(std::count_if(words.begin(), words.end(),
                            [](std::uint64_t word) { return CDepthBuffer::HasNormal(word); }),
              1);
}

TEST(CScanPainter, PaintAll_NothingIsEmpty)
{
    const CPictureProjection projection = MakeProjection(CCamera::Projection::Perspective);
    EXPECT_EQ(ReadAll(CScanPainter::PaintAll({}, projection, 3).samples, projection),
              ReadAll(CDepthBuffer(projection.GetWidth(), projection.GetHeight())));
}

}  // namespace
