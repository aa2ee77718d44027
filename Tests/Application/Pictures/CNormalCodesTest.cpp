#include "Application/Pictures/CNormalCodes.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <random>

#include "Application/Pictures/CDepthBuffer.h"
#include "Base/Math/PointTransform.h"

namespace
{

using Application::CDepthBuffer;
using Application::CNormalCodes;

using Codes = std::array<std::uint32_t, CNormalCodes::c_size>;

/// One after the other, as the formula has it.
std::uint32_t FindPlainly(const LqMatrix4Rf& chain, float ownX, float ownY, float ownZ)
{
    const auto normal = TransformHomogeneous(chain, ownX, ownY, ownZ);
    const float length =
        std::sqrt((normal.x * normal.x + normal.y * normal.y) + normal.z * normal.z);
    CDepthBuffer::SNormal found;
    if (length > 0.0F && std::isfinite(length))
    {
        const float scale = (normal.z < 0.0F ? -1.0F : 1.0F) / length;
        found = {normal.x * scale, normal.y * scale, normal.z * scale, true};
    }
    return static_cast<std::uint32_t>(CDepthBuffer::Pack(0.0F, 0, found));
}

LqMatrix4Rf MakeTurn()
{
    LqMatrix4Rf turn(c_matIdentityD);
    turn(0, 0) = 0.36F;
    turn(0, 1) = 0.48F;
    turn(0, 2) = -0.8F;
    turn(1, 0) = -0.8F;
    turn(1, 1) = 0.6F;
    turn(1, 2) = 0.0F;
    turn(2, 0) = 0.48F;
    turn(2, 1) = 0.64F;
    turn(2, 2) = 0.6F;
    return turn;
}

class CNormalCodesTest : public testing::Test
{
protected:
    void set(std::uint32_t index, float x, float y, float z)
    {
        m_normals->x[index] = x;
        m_normals->y[index] = y;
        m_normals->z[index] = z;
    }

    [[nodiscard]] Codes find(const LqMatrix4Rf& chain, std::uint32_t count) const
    {
        Codes codes{};
        CNormalCodes(chain).Find(*m_normals, count, codes);
        return codes;
    }

    std::unique_ptr<CNormalCodes::SNormals> m_normals = std::make_unique<CNormalCodes::SNormals>();
};

TEST_F(CNormalCodesTest, Find_GivesTheBitsOfOneAfterTheOther)
{
    std::mt19937 random(1);
    std::normal_distribution<float> component;
    std::uniform_real_distribution<float> exponent(-60.0F, 60.0F);
    const LqMatrix4Rf turn = MakeTurn();
    for (int round = 0; round < 200; ++round)
    {
        for (std::uint32_t index = 0; index < CNormalCodes::c_size; ++index)
        {
            const float scale = std::exp2(exponent(random));
            set(index, scale * component(random), scale * component(random),
                scale * component(random));
        }
        const Codes codes = find(turn, CNormalCodes::c_size);
        for (std::uint32_t index = 0; index < CNormalCodes::c_size; ++index)
        {
            ASSERT_EQ(codes[index], FindPlainly(turn, m_normals->x[index], m_normals->y[index],
                                                m_normals->z[index]))
                << "round " << round << ", normal " << index;
        }
    }
}

TEST_F(CNormalCodesTest, Find_TurnsNormalsTowardsTheViewer)
{
    set(0, 3.0F, 0.0F, 4.0F);
    set(1, -3.0F, 0.0F, -4.0F);
    const Codes codes = find(LqMatrix4Rf(c_matIdentityD), 2);
    EXPECT_EQ(codes[0], codes[1]);
    const auto normal = CDepthBuffer::NormalOf(codes[1]);
    EXPECT_NEAR(normal.x, 0.6F, 1e-3F);
    EXPECT_NEAR(normal.y, 0.0F, 1e-3F);
    EXPECT_NEAR(normal.z, 0.8F, 1e-3F);
}

TEST_F(CNormalCodesTest, Find_WithoutDirectionThereIsNone)
{
    constexpr float c_nan = std::numeric_limits<float>::quiet_NaN();
    constexpr float c_infinity = std::numeric_limits<float>::infinity();
    set(0, 0.0F, 0.0F, 0.0F);
    set(1, c_nan, 0.0F, 1.0F);
    set(2, 0.0F, 0.0F, c_nan);
    set(3, 0.0F, -c_infinity, 0.0F);
    // Its length is beyond float.
    set(4, 3e38F, 3e38F, 0.0F);
    // Its length is below float.
    set(5, 0.0F, 1e-40F, 0.0F);
    set(6, 0.0F, 0.0F, 1.0F);
    const Codes codes = find(LqMatrix4Rf(c_matIdentityD), 7);
    for (std::uint32_t index = 0; index < 6; ++index)
    {
        EXPECT_EQ(codes[index], CDepthBuffer::c_noNormalCode) << index;
    }
    EXPECT_TRUE(CDepthBuffer::HasNormal(codes[6]));
}

TEST_F(CNormalCodesTest, Find_WritesNoFurtherThanTheNextFour)
{
    Codes codes;
    codes.fill(7);
    CNormalCodes(LqMatrix4Rf(c_matIdentityD)).Find(*m_normals, 5, codes);
    EXPECT_EQ(codes[4], CDepthBuffer::c_noNormalCode);
    for (std::uint32_t index = 8; index < CNormalCodes::c_size; ++index)
    {
        EXPECT_EQ(codes[index], 7U);
    }
}

}  // namespace
