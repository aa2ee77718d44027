#include "Application/Scans/CFlagFile.h"

#include <gtest/gtest.h>

#include <string>

#include "Application/Files/CInputError.h"
#include "Application/Files/COutputError.h"
#include "Tests/Application/Scans/ScanTestSupport.h"

namespace
{

using Application::CFlagFile;
using Base::CSurfelBitMask;
using ScanTest::Bytes;
using ScanTest::CTemporaryFolder;

const std::vector<CSurfelBitMask> c_flags = {{8}, {0}, {0x0102}};

[[nodiscard]] std::string MessageOf(const std::string& content, std::uint64_t pointCount)
{
    try
    {
        (void)CFlagFile::Parse("f.flags", std::as_bytes(std::span(content)), pointCount);
    }
    catch (const Application::CInputError& error)
    {
        return error.what();
    }
    return {};
}

[[nodiscard]] std::string Written(const std::vector<CSurfelBitMask>& flags)
{
    const CTemporaryFolder folder;
    CFlagFile::Write(folder / "f", flags, false);
    return ScanTest::ReadAll(folder / "f");
}

TEST(CFlagFile, Read_GivesBackWhatWasWritten)
{
    const CTemporaryFolder folder;
    std::vector<CSurfelBitMask> flags(5000);
    for (std::size_t index = 0; index < flags.size(); ++index)
    {
        flags[index].bits = static_cast<std::uint16_t>(index * 13);
    }

    CFlagFile::Write(folder / "f", flags, false);

    EXPECT_EQ(CFlagFile::Read(folder / "f", flags.size()), flags);
}

TEST(CFlagFile, Write_LayoutIsTheDocumentedOne)
{
    std::uint64_t checksum = 14695981039346656037U + 3;
    for (const std::uint64_t word : {0x0008U, 0x0000U, 0x0102U})
    {
        checksum = (checksum ^ word) * 1099511628211U;
    }

    EXPECT_EQ(Written(c_flags), "VEKO2FLG" + Bytes(std::uint32_t{1}) + Bytes(std::uint32_t{0}) +
                                    Bytes(std::uint64_t{3}) + Bytes(checksum) +
                                    Bytes(std::uint16_t{8}) + Bytes(std::uint16_t{0}) +
                                    Bytes(std::uint16_t{0x0102}));
}

TEST(CFlagFile, Read_NoPoints)
{
    EXPECT_EQ(MessageOf(Written({}), 0), "");
}

TEST(CFlagFile, Parse_OtherNumberOfPointsIsRefused)
{
    EXPECT_EQ(
        MessageOf(Written(c_flags), 4),
        "f.flags: byte 16: expected flags of 4 points, as the scan has them, found flags of 3");
}

TEST(CFlagFile, Parse_OtherFileIsRefused)
{
    EXPECT_EQ(
        MessageOf("ply\nformat ascii 1.0\n", 3),
        "f.flags: byte 0: expected a flag file, which begins with 'VEKO2FLG', found 'ply?form'");
}

TEST(CFlagFile, Parse_CutHeaderIsRefused)
{
    EXPECT_EQ(MessageOf(Written(c_flags).substr(0, 31), 3),
              "f.flags: byte 31: expected a header of 32 bytes, found the end of the file");
}

TEST(CFlagFile, Parse_OtherVersionIsRefused)
{
    std::string content = Written(c_flags);
    content[8] = 2;

    EXPECT_EQ(MessageOf(content, 3),
              "f.flags: byte 8: expected version 1 of flag files, found version 2");
}

TEST(CFlagFile, Parse_ReservedWordMustBeZero)
{
    std::string content = Written(c_flags);
    content[12] = 5;

    EXPECT_EQ(MessageOf(content, 3), "f.flags: byte 12: expected 0, found 5");
}

TEST(CFlagFile, Parse_MissingAndSurplusBytesAreRefused)
{
    const std::string content = Written(c_flags);

    EXPECT_EQ(MessageOf(content.substr(0, 37), 3),
              "f.flags: byte 32: expected 3 words of 2 bytes, found 5 bytes");
    EXPECT_EQ(MessageOf(content + "12", 3),
              "f.flags: byte 32: expected 3 words of 2 bytes, found 8 bytes");
}

TEST(CFlagFile, Parse_EveryDamagedBitIsNoticed)
{
    const std::string content = Written(c_flags);
    for (std::size_t bit = 0; bit < 8 * content.size(); ++bit)
    {
        std::string damaged = content;
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ 1 << bit % 8);

        EXPECT_NE(MessageOf(damaged, 3), "") << bit;
    }
}

TEST(CFlagFile, Parse_CountBeyondTheFileReservesNothing)
{
    std::string content = Written(c_flags);
    content.replace(16, 8, Bytes(std::uint64_t{1} << 62));

    EXPECT_EQ(MessageOf(content, std::uint64_t{1} << 62),
              "f.flags: byte 32: expected 4611686018427387904 words of 2 bytes, found 6 bytes");
}

TEST(CFlagFile, Write_ExistingFileNeedsForce)
{
    const CTemporaryFolder folder;
    CFlagFile::Write(folder / "f", c_flags, false);

    EXPECT_THROW(CFlagFile::Write(folder / "f", {}, false), Application::COutputError);
    EXPECT_EQ(CFlagFile::Read(folder / "f", 3), c_flags);
    CFlagFile::Write(folder / "f", {}, true);
    EXPECT_EQ(CFlagFile::Read(folder / "f", 0), std::vector<CSurfelBitMask>{});
}

}  // namespace
