#include "Base/Interfaces/CSurfelCollectionMask.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "Base/Interfaces/CStdStreamRead.h"
#include "Base/Interfaces/CStdStreamWrite.h"
#include "Base/Support/VekoException.h"

namespace
{

using Base::CSurfelBitMask;
using Base::CSurfelCollectionMask;

std::vector<CSurfelBitMask> MakeWords(std::size_t count)
{
    std::vector<CSurfelBitMask> words(count);
    for (std::size_t index = 0; index < count; ++index)
    {
        words[index].bits = static_cast<std::uint16_t>(index * 40503);
    }
    return words;
}

std::string Serialized(const CSurfelCollectionMask& mask)
{
    std::ostringstream stream;
    Base::CStdStreamWrite writer(stream);
    mask.Serialize(writer);
    return stream.str();
}

void Deserialize(CSurfelCollectionMask& mask, const std::string& bytes)
{
    std::istringstream stream(bytes);
    Base::CStdStreamRead reader(stream);
    mask.Serialize(reader);
}

std::string MessageOf(const std::string& bytes)
{
    try
    {
        CSurfelCollectionMask mask;
        Deserialize(mask, bytes);
    }
    catch (const VekoException& exception)
    {
        return exception.what();
    }
    return "";
}

TEST(CSurfelBitMask, FlagValues_AreThoseThatFilesAndUsersRelyOn)
{
    EXPECT_EQ(CSurfelBitMask::SurfelFlagsOutlier, 0x0007);
    EXPECT_EQ(CSurfelBitMask::SurfelFlagSmallComponent, 0x0002);
    EXPECT_EQ(CSurfelBitMask::SurfelFlagCut, 0x0008);
    EXPECT_EQ(CSurfelBitMask::SurfelFlagExcluded, 0x0010);
    EXPECT_EQ(CSurfelBitMask::SurfelFlagOutlierFrozen, 0x0100);
}

TEST(CSurfelBitMask, Layout_IsOne16BitWordThatStartsAsZero)
{
    EXPECT_EQ(sizeof(CSurfelBitMask), 2U);
    EXPECT_EQ(CSurfelBitMask().bits, 0);
    EXPECT_TRUE(std::is_trivially_copyable_v<CSurfelBitMask>);
}

TEST(CSurfelCollectionMask, Constructor_TakesTheWordsOverWithoutCopying)
{
    std::vector<CSurfelBitMask> words = MakeWords(100);
    const CSurfelBitMask* const place = words.data();
    const CSurfelCollectionMask mask(std::move(words));
    EXPECT_EQ(mask.GetBitMasks().data(), place);
    EXPECT_EQ(mask.GetBitMasks(), MakeWords(100));
}

TEST(CSurfelCollectionMask, ClassNameAndTypeRecord_NameTheClass)
{
    const CSurfelCollectionMask mask;
    EXPECT_STREQ(mask.GetClassNameW(), L"CSurfelCollectionMask");
    EXPECT_STREQ(mask.GetRTTI().className, L"CSurfelCollectionMask");
    EXPECT_EQ(&mask.GetRTTI(), &CSurfelCollectionMask(MakeWords(1)).GetRTTI());
}

class CSurfelCollectionMaskRoundTripTest : public testing::TestWithParam<std::size_t>
{};

TEST_P(CSurfelCollectionMaskRoundTripTest, Serialize_ReadsBackWhatWasWritten)
{
    const CSurfelCollectionMask written(MakeWords(GetParam()));
    CSurfelCollectionMask read(MakeWords(3));
    Deserialize(read, Serialized(written));
    EXPECT_EQ(read.GetBitMasks(), written.GetBitMasks());
}

// 2^19 words fill one block of the reader; one more needs a second.
INSTANTIATE_TEST_SUITE_P(Counts, CSurfelCollectionMaskRoundTripTest,
                         testing::Values(0U, 1U, 2U, 1000U, 524'287U, 524'288U, 524'289U,
                                         2'000'000U));

TEST(CSurfelCollectionMask, Serialize_SeveralInOneStreamComeBackInOrder)
{
    std::stringstream stream;
    Base::CStdStreamWrite writer(stream);
    CSurfelCollectionMask(MakeWords(5)).Serialize(writer);
    CSurfelCollectionMask(MakeWords(0)).Serialize(writer);
    CSurfelCollectionMask(MakeWords(7)).Serialize(writer);
    Base::CStdStreamRead reader(stream);
    for (const std::size_t count : {5U, 0U, 7U})
    {
        CSurfelCollectionMask mask;
        mask.Serialize(reader);
        EXPECT_EQ(mask.GetBitMasks(), MakeWords(count));
    }
}

TEST(CSurfelCollectionMask, Serialize_FormatIsStable)
{
    // Streams that were written once must be readable for ever.
    const std::string expected(
        "MASK"
        "\x01\0\0\0"
        "\x02\0\0\0\0\0\0\0"
        "\x02\0\0\0\0\0\0\0"
        "\x08\0\x11\x01",
        28);
    std::vector<CSurfelBitMask> words(2);
    words[0].bits = 0x0008;
    words[1].bits = 0x0111;
    const std::string bytes = Serialized(CSurfelCollectionMask(std::move(words)));
    EXPECT_EQ(bytes.substr(0, 28), expected);
    std::uint64_t checksum = 0xCBF29CE484222325ULL;
    for (const char byte : expected)
    {
        checksum = (checksum ^ static_cast<unsigned char>(byte)) * 0x100000001B3ULL;
    }
    ASSERT_EQ(bytes.size(), 28 + sizeof checksum);
    EXPECT_EQ(std::memcmp(bytes.data() + 28, &checksum, sizeof checksum), 0);
}

TEST(CSurfelCollectionMask, Serialize_StreamThatEndsEarlyAnywhereIsRefused)
{
    const std::string bytes = Serialized(CSurfelCollectionMask(MakeWords(20)));
    for (std::size_t length = 0; length < bytes.size(); ++length)
    {
        CSurfelCollectionMask mask(MakeWords(3));
        EXPECT_THROW(Deserialize(mask, bytes.substr(0, length)), VekoException) << length;
        EXPECT_EQ(mask.GetBitMasks(), MakeWords(3)) << "changed by a stream of " << length;
    }
}

TEST(CSurfelCollectionMask, Serialize_AnySingleDamagedByteIsRefused)
{
    const std::string bytes = Serialized(CSurfelCollectionMask(MakeWords(20)));
    for (std::size_t position = 0; position < bytes.size(); ++position)
    {
        for (const int flip : {0x01, 0x80, 0xFF})
        {
            std::string damaged = bytes;
            damaged[position] = static_cast<char>(damaged[position] ^ flip);
            CSurfelCollectionMask mask(MakeWords(3));
            EXPECT_THROW(Deserialize(mask, damaged), VekoException) << position;
            EXPECT_EQ(mask.GetBitMasks(), MakeWords(3)) << "changed by damage at " << position;
        }
    }
}

TEST(CSurfelCollectionMask, Serialize_SaysWhatIsWrong)
{
    const std::string bytes = Serialized(CSurfelCollectionMask(MakeWords(4)));
    const auto with = [&](std::size_t position, char byte) {
        std::string changed = bytes;
        changed[position] = byte;
        return changed;
    };
    EXPECT_EQ(MessageOf(with(0, 'X')), "Damaged stream: it holds another kind of object.");
    EXPECT_EQ(MessageOf(with(4, 9)), "Damaged stream: its format version is not known.");
    EXPECT_EQ(MessageOf(with(8, 4)), "Damaged stream: its elements have another size.");
    EXPECT_EQ(MessageOf(with(23, '\x7F')),
              "Damaged stream: its count of elements is beyond any memory.");
    EXPECT_EQ(MessageOf(with(24, 'X')), "Damaged stream: its checksum does not match.");
    EXPECT_EQ(MessageOf(bytes.substr(0, 10)), "The stream ends at byte 10, 14 bytes too early.");
    EXPECT_EQ(MessageOf(bytes.substr(0, 30)), "The stream ends at byte 30, 2 bytes too early.");
}

class CSurfelCollectionMaskCountTest : public testing::TestWithParam<std::uint64_t>
{};

TEST_P(CSurfelCollectionMaskCountTest, Serialize_AbsurdCountIsRefusedWithoutReservingMemory)
{
    std::string bytes = Serialized(CSurfelCollectionMask(MakeWords(4)));
    const std::uint64_t count = GetParam();
    std::memcpy(bytes.data() + 16, &count, sizeof count);
    CSurfelCollectionMask mask;
    EXPECT_THROW(Deserialize(mask, bytes), VekoException);
}

INSTANTIATE_TEST_SUITE_P(Counts, CSurfelCollectionMaskCountTest,
                         testing::Values(5U, std::uint64_t{1} << 32, std::uint64_t{1} << 48,
                                         (std::uint64_t{1} << 62) - 1, std::uint64_t{1} << 62,
                                         std::uint64_t{1} << 63, UINT64_MAX));

TEST(CStdStreamWrite, Write_ToAFailedStreamThrows)
{
    std::ostringstream stream;
    stream.setstate(std::ios::badbit);
    Base::CStdStreamWrite writer(stream);
    EXPECT_THROW(CSurfelCollectionMask(MakeWords(2)).Serialize(writer), VekoException);
}

TEST(CStdStreamRead, Read_OfNothingAtTheEndIsFine)
{
    std::istringstream stream;
    Base::CStdStreamRead reader(stream);
    char byte = 'x';
    reader.Read(&byte, 0);
    EXPECT_EQ(byte, 'x');
}

TEST(CStdStreamRead, Read_CountsTheBytesOfEarlierReads)
{
    std::istringstream stream("0123456789");
    Base::CStdStreamRead reader(stream);
    char bytes[8];
    reader.Read(bytes, 8);
    try
    {
        reader.Read(bytes, 8);
        FAIL() << "nothing was thrown";
    }
    catch (const VekoException& exception)
    {
        EXPECT_STREQ(exception.what(), "The stream ends at byte 10, 6 bytes too early.");
    }
}

TEST(CStdStreamRead, Read_AfterOneThatFailedNamesTheSameEnd)
{
    std::istringstream stream("abc");
    Base::CStdStreamRead reader(stream);
    char data[10];
    EXPECT_THROW(reader.Read(data, sizeof data), VekoException);
    try
    {
        reader.Read(data, 1);
        FAIL() << "nothing was thrown";
    }
    catch (const VekoException& exception)
    {
        EXPECT_STREQ(exception.what(), "The stream ends at byte 3, 1 bytes too early.");
    }
}

}  // namespace
