#include "Application/Scans/CPlyFlagWriter.h"

#include <gmock/gmock.h>

#include <stdexcept>

#include "Application/Files/CInputError.h"
#include "Tests/Application/Scans/ScanTestSupport.h"

namespace
{

using Application::CInputError;
using Words = std::vector<Base::CSurfelBitMask>;

std::string Flag(const std::string& content, const Words& flags,
                 const std::string& name = "scan.ply")
{
    const ScanTest::CTemporaryFolder folder;
    ScanTest::ParseScan(content, name).WriteFlagged(folder / "out", flags, false);
    return ScanTest::ReadAll(folder / "out");
}

const std::string c_properties = "property float x\nproperty float y\nproperty float z\n";

TEST(CPlyFlagWriterTest, Write_PutsTheFlagsBehindTheOtherPropertiesOfVertices)
{
    const std::string begin =
        "ply\nformat ascii 1.0\nelement camera 1\nproperty int id\nelement vertex 2\n" +
        c_properties + "comment of the vertices\n";
    const std::string end = "element face 1\nproperty list uchar int vertex_indices\nend_header\n";
    EXPECT_EQ(Flag(begin + end + "7\n1 2 3\n\n4 5 6 \n3 0 1 0\ntrailing", {{8}, {65535}}),
              begin + "property ushort veko2_flags\n" + end +
                  "7\n1 2 3 8\n\n4 5 6  65535\n3 0 1 0\ntrailing");
}

TEST(CPlyFlagWriterTest, Write_KeepsTheLineEndsOfTheFile)
{
    const std::string header =
        "ply\r\nformat ascii 1.0\r\nelement vertex 1\r\nproperty float x\r\nproperty float y\r\n"
        "property float z\r\n";
    EXPECT_EQ(Flag(header + "end_header\r\n1 2 3\r\n", {{2}}),
              header + "property ushort veko2_flags\r\nend_header\r\n1 2 3 2\r\n");
}

TEST(CPlyFlagWriterTest, Write_WordsHaveTheByteOrderOfTheFile)
{
    for (const std::endian order : {std::endian::little, std::endian::big})
    {
        const std::string header = std::string("ply\nformat binary_") +
                                   (order == std::endian::little ? "little" : "big") +
                                   "_endian 1.0\nelement vertex 2\n" + c_properties;
        const auto point = [&](float first) {
            return ScanTest::Bytes(first, order) + ScanTest::Bytes(2.0F, order) +
                   ScanTest::Bytes(3.0F, order);
        };
        const auto word = [&](std::uint16_t bits) { return ScanTest::Bytes(bits, order); };
        EXPECT_EQ(Flag(header + "end_header\n" + point(1) + point(4), {{0x0108}, {0x0002}}),
                  header + "property ushort veko2_flags\nend_header\n" + point(1) + word(0x0108) +
                      point(4) + word(0x0002));
    }
}

TEST(CPlyFlagWriterTest, Write_NoFlagsAreWordsOfZero)
{
    const std::string header = "ply\nformat ascii 1.0\nelement vertex 1\n" + c_properties;
    EXPECT_EQ(Flag(header + "end_header\n1 2 3", {}),
              header + "property ushort veko2_flags\nend_header\n1 2 3 0");
}

TEST(CPlyFlagWriterTest, Write_RefusesAFileThatHasTheProperty)
{
    EXPECT_THROW((void)Flag("ply\nformat ascii 1.0\nelement vertex 1\n" + c_properties +
                                "property ushort veko2_flags\nend_header\n1 2 3 4\n",
                            {}),
                 CInputError);
}

TEST(CPlyFlagWriterTest, Write_RefusesOtherFormats)
{
    EXPECT_THROW((void)Flag("1 2 3\n", {}, "scan.xyz"), CInputError);
}

TEST(CPlyFlagWriterTest, Write_RefusesAnotherNumberOfFlags)
{
    EXPECT_THROW((void)Flag("ply\nformat ascii 1.0\nelement vertex 1\n" + c_properties +
                                "end_header\n1 2 3\n",
                            Words(2)),
                 std::invalid_argument);
}

}  // namespace
