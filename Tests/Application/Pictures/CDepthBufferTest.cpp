#include "Application/Pictures/CDepthBuffer.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{

using Application::CDepthBuffer;

constexpr CDepthBuffer::SNormal c_none{};

TEST(CDepthBuffer, Construct_IsEmpty)
{
    const CDepthBuffer buffer(2, 3);
    for (std::size_t index = 0; index < 6; ++index)
    {
        EXPECT_EQ(buffer.Get(index), CDepthBuffer::c_empty);
    }
}

TEST(CDepthBuffer, Clear_ForgetsWhatWasDrawnInTheRows)
{
    CDepthBuffer buffer(3, 40);
    const std::uint64_t word = CDepthBuffer::Pack(1.0F, 0, c_none);
    for (std::size_t index = 0; index < 120; ++index)
    {
        buffer.Draw(index, word);
    }
    buffer.Clear(7, 40);
    for (std::size_t index = 0; index < 120; ++index)
    {
        EXPECT_EQ(buffer.Get(index), index < 21 ? word : CDepthBuffer::c_empty);
    }
}

TEST(CDepthBuffer, MakeUncleared_HasRoomForAllWords)
{
    CDepthBuffer buffer = CDepthBuffer::MakeUncleared(3, 40);
    EXPECT_EQ(buffer.GetWidth(), 3U);
    EXPECT_EQ(buffer.GetHeight(), 40U);
    buffer.Clear(0, 40);
    EXPECT_EQ(buffer.Get(119), CDepthBuffer::c_empty);
}

TEST(CDepthBuffer, Pack_KeepsDepthAndLook)
{
    for (const float depth : {0.0F, 1e-30F, 0.25F, 3.5e7F})
    {
        for (const std::uint32_t look : {0U, 1U, 513U, CDepthBuffer::c_numLooks - 1})
        {
            const std::uint64_t word = CDepthBuffer::Pack(depth, look, c_none);
            EXPECT_EQ(CDepthBuffer::DepthOf(word), depth);
            EXPECT_EQ(CDepthBuffer::LookOf(word), look);
            EXPECT_FALSE(CDepthBuffer::NormalOf(word).isPresent);
        }
    }
}

TEST(CDepthBuffer, Pack_KeepsNormalsToAThousandth)
{
    for (const CDepthBuffer::SNormal& normal : {CDepthBuffer::SNormal{0.0F, 0.0F, 1.0F, true},
                                                CDepthBuffer::SNormal{0.6F, -0.48F, 0.64F, true},
                                                CDepthBuffer::SNormal{-1.0F, 0.0F, 0.0F, true},
                                                CDepthBuffer::SNormal{0.0F, 1.0F, 0.0F, true}})
    {
        const auto read = CDepthBuffer::NormalOf(CDepthBuffer::Pack(1.0F, 1023, normal));
        EXPECT_TRUE(read.isPresent);
        EXPECT_NEAR(read.x, normal.x, 1e-3F);
        EXPECT_NEAR(read.y, normal.y, 1e-3F);
        EXPECT_NEAR(read.z, normal.z, 4e-3F);
    }
}

TEST(CDepthBuffer, WithDepth_ChangesTheDepthOnly)
{
    const std::uint64_t word = CDepthBuffer::Pack(2.0F, 77, {0.6F, 0.0F, 0.8F, true});
    EXPECT_EQ(CDepthBuffer::WithDepth(word, 3.0F),
              CDepthBuffer::Pack(3.0F, 77, {0.6F, 0.0F, 0.8F, true}));
}

TEST(CDepthBuffer, Draw_NearestWinsInAnyOrder)
{
    const std::uint64_t nearWord = CDepthBuffer::Pack(1.0F, 900, c_none);
    const std::uint64_t farWord = CDepthBuffer::Pack(1.5F, 3, c_none);
    for (const bool isNearFirst : {true, false})
    {
        CDepthBuffer buffer(1, 1);
        buffer.Draw(0, isNearFirst ? nearWord : farWord);
        buffer.Draw(0, isNearFirst ? farWord : nearWord);
        EXPECT_EQ(buffer.Get(0), nearWord);
    }
}

TEST(CDepthBuffer, WithNormalCode_ChangesTheNormalOnly)
{
    const auto code =
        static_cast<std::uint32_t>(CDepthBuffer::Pack(0.0F, 0, {0.6F, -0.48F, 0.64F, true}));
    const std::uint64_t word =
        CDepthBuffer::WithNormalCode(CDepthBuffer::Pack(2.0F, 1023, c_none), code);
    EXPECT_EQ(CDepthBuffer::DepthOf(word), 2.0F);
    EXPECT_EQ(CDepthBuffer::LookOf(word), 1023U);
    EXPECT_TRUE(CDepthBuffer::HasNormal(word));
    EXPECT_NEAR(CDepthBuffer::NormalOf(word).x, 0.6F, 1e-3F);
    EXPECT_NEAR(CDepthBuffer::NormalOf(word).y, -0.48F, 1e-3F);
}

TEST(CDepthBuffer, CanWin_EqualDepthMayStillWin)
{
    CDepthBuffer buffer(1, 1);
    EXPECT_TRUE(buffer.CanWin(0, 3.0F));
    buffer.Draw(0, CDepthBuffer::Pack(2.0F, 5, c_none));
    EXPECT_TRUE(buffer.CanWin(0, 2.0F));
    EXPECT_TRUE(buffer.CanWin(0, 1.0F));
    EXPECT_FALSE(buffer.CanWin(0, 2.5F));
}

}  // namespace
