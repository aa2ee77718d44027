#include "Base/Interfaces/CUniqueID.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <set>
#include <type_traits>
#include <unordered_set>
#include <vector>

namespace Base
{
namespace
{

using Bytes = std::array<std::uint8_t, 16>;

static_assert(std::is_trivially_copyable_v<CUniqueID>, "copied as sixteen raw bytes");
static_assert(std::is_base_of_v<CUniqueID, CEntityID>);
static_assert(!std::is_convertible_v<Bytes, CUniqueID>);

constexpr Bytes c_countedBytes{0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77,
                               0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};

/// \p bytes with one bit changed.
Bytes FlipBit(Bytes bytes, std::size_t bit)
{
    bytes.at(bit / 8) = static_cast<std::uint8_t>(bytes.at(bit / 8) ^ (1U << (bit % 8)));
    return bytes;
}

TEST(CUniqueIDTest, DefaultConstructor_DrawsAnotherIdentifierEachTime)
{
    std::set<Bytes> drawn;
    for (int draw = 0; draw < 1000; ++draw)
    {
        drawn.insert(CUniqueID().GetBytes());
    }
    EXPECT_EQ(drawn.size(), 1000U);
}

TEST(CUniqueIDTest, DefaultConstructor_MarksVersionFourAndItsVariant)
{
    for (int draw = 0; draw < 100; ++draw)
    {
        const CUniqueID id;
        EXPECT_EQ(id.GetBytes()[6] & 0xF0, 0x40);
        EXPECT_EQ(id.GetBytes()[8] & 0xC0, 0x80);
    }
}

TEST(CUniqueIDTest, DefaultConstructor_DrawsEveryOtherBit)
{
    Bytes everSet{};
    Bytes everClear{};
    for (int draw = 0; draw < 200; ++draw)
    {
        const CUniqueID id;
        for (std::size_t index = 0; index < 16; ++index)
        {
            everSet.at(index) = static_cast<std::uint8_t>(everSet.at(index) | id.GetBytes()[index]);
            everClear.at(index) =
                static_cast<std::uint8_t>(everClear.at(index) | ~id.GetBytes()[index]);
        }
    }
    for (std::size_t index = 0; index < 16; ++index)
    {
        const int drawnBits = index == 6 ? 0x0F : index == 8 ? 0x3F : 0xFF;
        EXPECT_EQ(everSet.at(index) & everClear.at(index), drawnBits) << "byte " << index;
    }
}

TEST(CUniqueIDTest, BytesConstructor_KeepsThem)
{
    EXPECT_EQ(CUniqueID(c_countedBytes).GetBytes(), c_countedBytes);
}

TEST(CUniqueIDTest, Nil_HasOnlyZeroBytes)
{
    EXPECT_EQ(CUniqueID::Nil().GetBytes(), Bytes{});
}

TEST(CUniqueIDTest, Equality_ComparesEveryBit)
{
    const CUniqueID id(c_countedBytes);
    EXPECT_EQ(id, CUniqueID(c_countedBytes));
    for (std::size_t bit = 0; bit < 128; ++bit)
    {
        EXPECT_NE(id, CUniqueID(FlipBit(c_countedBytes, bit))) << "bit " << bit;
    }
}

TEST(CUniqueIDTest, AsString_GroupsTheBytesInTheirOrder)
{
    EXPECT_EQ(CUniqueID(c_countedBytes).AsString(), L"00112233-4455-6677-8899-aabbccddeeff");
}

TEST(CUniqueIDTest, Hash_DependsOnEveryBit)
{
    const std::hash<CUniqueID> hash;
    const std::size_t whole = hash(CUniqueID(c_countedBytes));
    for (std::size_t bit = 0; bit < 128; ++bit)
    {
        EXPECT_NE(whole, hash(CUniqueID(FlipBit(c_countedBytes, bit)))) << "bit " << bit;
    }
}

TEST(CUniqueIDTest, Hash_SpreadsCountedIdentifiersWhereverTheCounterStands)
{
    const std::hash<CUniqueID> hash;
    for (std::size_t lowByte = 0; lowByte < 15; ++lowByte)
    {
        std::vector<unsigned> bucketSizes(256);
        for (unsigned counter = 0; counter < 65536; ++counter)
        {
            Bytes bytes{};
            bytes.at(lowByte) = static_cast<std::uint8_t>(counter);
            bytes.at(lowByte + 1) = static_cast<std::uint8_t>(counter >> 8);
            ++bucketSizes.at(hash(CUniqueID(bytes)) % 256);
        }
        for (const unsigned size : bucketSizes)
        {
            // 256 on average; eight standard deviations to both sides.
            EXPECT_NEAR(size, 256.0, 128.0) << "low byte " << lowByte;
        }
    }
}

TEST(CEntityIDTest, DefaultConstructor_DrawsAnIdentity)
{
    EXPECT_NE(CEntityID(), CEntityID());
}

TEST(CEntityIDTest, IdentifierConstructor_KeepsItsBytes)
{
    EXPECT_EQ(CEntityID(CUniqueID(c_countedBytes)).GetBytes(), c_countedBytes);
}

TEST(CEntityIDTest, BytesConstructor_KeepsThem)
{
    EXPECT_EQ(CEntityID(c_countedBytes).GetBytes(), c_countedBytes);
}

TEST(CEntityIDTest, Nil_HasOnlyZeroBytes)
{
    EXPECT_EQ(CEntityID::Nil().GetBytes(), Bytes{});
}

TEST(CEntityIDTest, Hash_IsThatOfTheIdentifier)
{
    EXPECT_EQ(std::hash<CEntityID>()(CEntityID(c_countedBytes)),
              std::hash<CUniqueID>()(CUniqueID(c_countedBytes)));
}

}  // namespace
}  // namespace Base
