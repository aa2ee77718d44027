#include "Application/Scans/PlyWriter.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "Application/Files/COutputError.h"
#include "DataLayer/Base3D/CTriangulation.h"
#include "Tests/Application/Scans/ScanTestSupport.h"

namespace
{

using Application::SNewScan;
using Application::WritePly;
using ScanTest::Bytes;
using ScanTest::CTemporaryFolder;

const std::vector<LqVector3f> c_positions = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}};
const std::vector<LqVector3f> c_normals = {{0, 0, 1}, {0, 1, 0}, {1, 0, 0}};
const std::vector<std::array<std::uint32_t, 3>> c_triangles = {{2, 0, 1}};

TEST(WritePly, PositionsOnly)
{
    const CTemporaryFolder folder;

    WritePly(folder / "a.ply", {std::span(c_positions).first(1), {}, {}, {"made here"}}, false);

    EXPECT_EQ(ScanTest::ReadAll(folder / "a.ply"),
              "ply\nformat binary_little_endian 1.0\ncomment made here\nelement vertex 1\n"
              "property float x\nproperty float y\nproperty float z\nend_header\n" +
                  Bytes(1.0F) + Bytes(2.0F) + Bytes(3.0F));
}

TEST(WritePly, EverythingComesBack)
{
    const CTemporaryFolder folder;

    WritePly(folder / "a.ply", {c_positions, c_normals, c_triangles, {}}, false);

    const auto scan = Application::CScanFile::Open(folder / "a.ply");
    EXPECT_TRUE(scan.Describe().isMappedInPlace);
    EXPECT_EQ(ScanTest::PositionsOf(scan), c_positions);
    EXPECT_EQ(ScanTest::NormalsOf(scan), c_normals);
    EXPECT_EQ(scan.GetTriangulation()->triangles, c_triangles);
}

TEST(WritePly, ExistingFileNeedsForce)
{
    const CTemporaryFolder folder;
    ScanTest::WriteAll(folder / "a.ply", "old");

    EXPECT_THROW(WritePly(folder / "a.ply", {c_positions, {}, {}, {}}, false),
                 Application::COutputError);
    EXPECT_EQ(ScanTest::ReadAll(folder / "a.ply"), "old");
    WritePly(folder / "a.ply", {c_positions, {}, {}, {}}, true);
    EXPECT_EQ(Application::CScanFile::Open(folder / "a.ply").GetPointCount(), 3U);
}

TEST(WritePly, WhatDoesNotFitIsRefusedBeforeAnythingIsWritten)
{
    const CTemporaryFolder folder;
    const std::vector<std::array<std::uint32_t, 3>> outside = {{0, 1, 3}};

    EXPECT_THROW(
        WritePly(folder / "a.ply", {c_positions, std::span(c_normals).first(2), {}, {}}, false),
        std::invalid_argument);
    EXPECT_THROW(WritePly(folder / "a.ply", {c_positions, {}, outside, {}}, false),
                 std::invalid_argument);
    EXPECT_THROW(WritePly(folder / "a.ply", {c_positions, {}, {}, {"two\nlines"}}, false),
                 std::invalid_argument);
    EXPECT_TRUE(folder.List().empty());
}

}  // namespace
