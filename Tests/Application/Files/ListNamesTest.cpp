#include "Application/Files/ListNames.h"

#include <gmock/gmock.h>

#include "Tests/Application/Files/FileTestSupport.h"

namespace
{

using Application::ListNames;
using FileTest::CTemporaryFolder;

TEST(ListNames, FilesAndFolders)
{
    const CTemporaryFolder folder;
    FileTest::WriteAll(folder / "a", "");
    FileTest::WriteAll(folder / ".b", "");
    std::filesystem::create_directory(folder / "c");
    std::error_code error;
    EXPECT_THAT(ListNames(folder.GetPath(), error), testing::UnorderedElementsAre("a", ".b", "c"));
    EXPECT_FALSE(error);
}

TEST(ListNames, EmptyFolder)
{
    const CTemporaryFolder folder;
    std::error_code error;
    EXPECT_THAT(ListNames(folder.GetPath(), error), testing::IsEmpty());
    EXPECT_FALSE(error);
}

TEST(ListNames, WhatIsNoFolderIsAnError)
{
    const CTemporaryFolder folder;
    FileTest::WriteAll(folder / "a", "");
    std::error_code error;
    EXPECT_THAT(ListNames(folder / "missing", error), testing::IsEmpty());
    EXPECT_EQ(error, std::errc::no_such_file_or_directory);
    EXPECT_THAT(ListNames(folder / "a", error), testing::IsEmpty());
    EXPECT_EQ(error, std::errc::not_a_directory);
}

}  // namespace
