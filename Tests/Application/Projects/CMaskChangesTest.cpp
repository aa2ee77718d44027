#include "Application/Projects/CMaskChanges.h"

#include <gmock/gmock.h>
#include <zlib.h>

#include <cstring>

#include "Application/Files/CInputError.h"
#include "Application/Files/COutputError.h"
#include "Tests/Application/Files/FileTestSupport.h"

namespace
{

using Application::CInputError;
using Application::CMaskChanges;
using Words = std::vector<Base::CSurfelBitMask>;
using Direction = CMaskChanges::Direction;

const Base::CUniqueID c_first(std::array<std::uint8_t, 16>{1});
const Base::CUniqueID c_second(std::array<std::uint8_t, 16>{2});

constexpr std::size_t c_headerSize = 24;

/// Makes the checksum of an edit's file right again.
void SetChecksum(std::string& content)
{
    constexpr std::size_t c_checksumOffset = 16;
    const auto checksum = static_cast<std::uint32_t>(
        crc32_z(0, reinterpret_cast<const Bytef*>(content.data() + c_headerSize),
                content.size() - c_headerSize));
    std::memcpy(content.data() + c_checksumOffset, &checksum, sizeof checksum);
}

class CMaskChangesTest : public testing::Test
{
protected:
    CMaskChangesTest()
    {
        m_size = CMaskChanges::Write(
            m_folder / "edit", {{c_first, 3, m_before, m_after}, {c_second, 2, {}, m_otherAfter}});
    }

    FileTest::CTemporaryFolder m_folder;
    const Words m_before{{0x0001}, {0x0008}, {0}};
    const Words m_after{{0x0101}, {0}, {0xFFFF}};
    const Words m_otherAfter{{0}, {8}};
    std::uint64_t m_size = 0;
};

TEST_F(CMaskChangesTest, Write_AnswersTheSizeOfTheFile)
{
    EXPECT_EQ(FileTest::ReadAll(m_folder / "edit").size(), m_size);
}

TEST_F(CMaskChangesTest, Write_NeverReplaces)
{
    const std::string before = FileTest::ReadAll(m_folder / "edit");
    EXPECT_THROW((void)CMaskChanges::Write(m_folder / "edit", {{c_first, 2, {}, m_otherAfter}}),
                 Application::COutputError);
    EXPECT_EQ(FileTest::ReadAll(m_folder / "edit"), before);
}

TEST_F(CMaskChangesTest, Read_FindsEveryScan)
{
    const CMaskChanges changes = CMaskChanges::Read(m_folder / "edit");
    ASSERT_EQ(changes.GetRecords().size(), 2U);
    EXPECT_EQ(changes.GetRecords()[0].key, c_first);
    EXPECT_EQ(changes.GetRecords()[1].key, c_second);
    EXPECT_EQ(changes.GetRecords()[0].points, 3U);
    EXPECT_EQ(changes.GetRecords()[1].points, 2U);
}

TEST_F(CMaskChangesTest, Apply_GoesForwardAndBack)
{
    const CMaskChanges changes = CMaskChanges::Read(m_folder / "edit");
    Words words = m_before;
    changes.Apply(changes.GetRecords()[0], Direction::Forward, words);
    EXPECT_EQ(words, m_after);
    changes.Apply(changes.GetRecords()[0], Direction::Back, words);
    EXPECT_EQ(words, m_before);
}

TEST_F(CMaskChangesTest, Apply_NoWordsCountAsZero)
{
    const CMaskChanges changes = CMaskChanges::Read(m_folder / "edit");
    Words words;
    changes.Apply(changes.GetRecords()[1], Direction::Forward, words);
    EXPECT_EQ(words, m_otherAfter);
    changes.Apply(changes.GetRecords()[1], Direction::Back, words);
    EXPECT_EQ(words, Words(2));
}

TEST_F(CMaskChangesTest, Apply_RefusesTheFlagsOfTheOtherSide)
{
    const CMaskChanges changes = CMaskChanges::Read(m_folder / "edit");
    Words words = m_after;
    EXPECT_THROW(changes.Apply(changes.GetRecords()[0], Direction::Forward, words), CInputError);
    words = m_before;
    EXPECT_THROW(changes.Apply(changes.GetRecords()[0], Direction::Back, words), CInputError);
}

TEST_F(CMaskChangesTest, Read_RefusesEveryShorterFile)
{
    const std::string whole = FileTest::ReadAll(m_folder / "edit");
    for (std::size_t size = 0; size < whole.size(); ++size)
    {
        FileTest::WriteAll(m_folder / "short", whole.substr(0, size));
        EXPECT_THROW((void)CMaskChanges::Read(m_folder / "short"), CInputError) << size;
    }
}

TEST_F(CMaskChangesTest, Read_TellsAnotherFileFromACutOne)
{
    const auto messageOf = [&](const std::string& content) -> std::string {
        FileTest::WriteAll(m_folder / "other", content);
        try
        {
            (void)CMaskChanges::Read(m_folder / "other");
        }
        catch (const CInputError& error)
        {
            return error.what();
        }
        return {};
    };
    const std::string whole = FileTest::ReadAll(m_folder / "edit");
    for (const std::size_t size : {std::size_t{8}, c_headerSize - 1})
    {
        EXPECT_THAT(
            messageOf(whole.substr(0, size)),
            testing::EndsWith("byte " + std::to_string(size) +
                              ": expected a header of 24 bytes, found the end of the file"));
    }
    EXPECT_THAT(messageOf(whole.substr(0, 7)), testing::HasSubstr("found 'VEKO2ED'"));
    EXPECT_THAT(messageOf("VEKO2FLG" + std::string(40, 'x')),
                testing::HasSubstr("begins with 'VEKO2EDT', found 'VEKO2FLG'"));
}

TEST_F(CMaskChangesTest, Read_RefusesAnyChangedByte)
{
    const std::string whole = FileTest::ReadAll(m_folder / "edit");
    for (std::size_t index = 0; index < whole.size(); ++index)
    {
        std::string damaged = whole;
        damaged[index] = static_cast<char>(damaged[index] ^ 0x10);
        FileTest::WriteAll(m_folder / "damaged", damaged);
        EXPECT_THROW((void)CMaskChanges::Read(m_folder / "damaged"), CInputError) << index;
    }
}

TEST_F(CMaskChangesTest, Read_RefusesMorePointsThanItsBytesCanHold)
{
    std::string content = FileTest::ReadAll(m_folder / "edit");
    constexpr std::size_t c_highestByteOfPoints = c_headerSize + 23;
    content[c_highestByteOfPoints] = 0x40;
    SetChecksum(content);
    FileTest::WriteAll(m_folder / "large", content);
    EXPECT_THROW((void)CMaskChanges::Read(m_folder / "large"), CInputError);
}

TEST_F(CMaskChangesTest, Read_RefusesALongerFile)
{
    FileTest::WriteAll(m_folder / "long", FileTest::ReadAll(m_folder / "edit") + "x");
    EXPECT_THROW((void)CMaskChanges::Read(m_folder / "long"), CInputError);
}

TEST_F(CMaskChangesTest, Read_RefusesALongerFileWhoseChecksumIsRight)
{
    std::string content = FileTest::ReadAll(m_folder / "edit") + "x";
    SetChecksum(content);
    FileTest::WriteAll(m_folder / "long", content);
    EXPECT_THROW((void)CMaskChanges::Read(m_folder / "long"), CInputError);
}

TEST(CMaskChangesSizeTest, Write_PacksAMillionEqualWords)
{
    const FileTest::CTemporaryFolder folder;
    const Words after(1000000, Base::CSurfelBitMask{8});
    EXPECT_LT(CMaskChanges::Write(folder / "edit", {{c_first, after.size(), {}, after}}), 20000U);
}

}  // namespace
