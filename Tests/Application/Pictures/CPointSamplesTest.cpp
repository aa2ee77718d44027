#include "Application/Pictures/CPointSamples.h"

#include <gtest/gtest.h>

#include <limits>
#include <utility>

namespace
{

using Application::CDepthBuffer;
using Application::CDepthPlane;
using Application::CPointSamples;

TEST(CPointSamples, Get_IsTheWordOfTheBuffer)
{
    const std::uint64_t word = CDepthBuffer::Pack(2.0F, 77, {0.6F, 0.0F, 0.8F, true});
    CDepthBuffer buffer(4, 3);
    buffer.Draw(buffer.IndexOf(3, 2), word);
    const CPointSamples samples(std::move(buffer), 2);
    EXPECT_EQ(samples.Get(3, 2), word);
    EXPECT_EQ(samples.Get(2, 2), CDepthBuffer::c_empty);
    EXPECT_EQ(samples.FindWords(2)[3], word);
    EXPECT_EQ(samples.GetDepths().GetFirst()[2 * samples.GetDepths().GetStride() + 3], 2.0F);
}

TEST(CPointSamples, HaveNormals_WhereHardlyAnySampleLacksOne)
{
    const auto haveNormals = [](std::size_t numSamples, std::size_t numWithout) {
        CDepthBuffer buffer(64, 2);
        for (std::size_t index = 0; index < numSamples; ++index)
        {
            buffer.Draw(index, CDepthBuffer::Pack(1.0F, 0, {0, 0, 1, index >= numWithout}));
        }
        return CPointSamples(std::move(buffer), 0).HaveNormals();
    };
    EXPECT_FALSE(haveNormals(0, 0));
    EXPECT_TRUE(haveNormals(1, 0));
    EXPECT_FALSE(haveNormals(1, 1));
    EXPECT_TRUE(haveNormals(64, 3));
    EXPECT_FALSE(haveNormals(64, 4));
    EXPECT_FALSE(haveNormals(64, 64));
}

TEST(CPointSamples, Get_IsTheBareWordWithTheDepth)
{
    CDepthPlane plane(4, 3, 2);
    plane.GetFirst()[2 * plane.GetStride() + 3] = 2.0F;
    plane.GetFirst()[0] = std::numeric_limits<float>::infinity();
    const CPointSamples samples(std::move(plane), CDepthBuffer::Pack(0.0F, 77, {}));
    EXPECT_EQ(samples.Get(3, 2), CDepthBuffer::Pack(2.0F, 77, {}));
    EXPECT_EQ(samples.Get(0, 0),
              CDepthBuffer::Pack(std::numeric_limits<float>::infinity(), 77, {}));
    EXPECT_EQ(samples.Get(3, 1), CDepthBuffer::c_empty);
    EXPECT_EQ(samples.FindWords(2), nullptr);
    EXPECT_FALSE(samples.HaveNormals());
    EXPECT_EQ(samples.GetBareWord(), CDepthBuffer::Pack(0.0F, 77, {}));
}

}  // namespace
