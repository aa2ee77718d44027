#include "Application/Files/CMappedFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <future>
#include <memory>
#include <new>
#include <span>
#include <string>

#include "Application/Files/CFileDescriptor.h"
#include "Application/Files/CInputError.h"
#include "Application/Files/TextTokens.h"
#include "Tests/Application/Files/CHeldUpWrite.h"
#include "Tests/Application/Files/FileTestSupport.h"
#include "Tests/Support/Allocations.h"

namespace
{

using Application::CMappedFile;
using FileTest::CTemporaryFolder;

[[nodiscard]] std::string MessageOf(const std::filesystem::path& file)
{
    try
    {
        (void)CMappedFile::Open(file);
    }
    catch (const Application::CInputError& error)
    {
        return error.what();
    }
    return {};
}

TEST(CMappedFile, Open_GivesTheBytes)
{
    const CTemporaryFolder folder;
    FileTest::WriteAll(folder / "a", std::string("one\0two", 7));

    const auto file = CMappedFile::Open(folder / "a");

    EXPECT_EQ(Application::AsText(file->GetBytes()), std::string("one\0two", 7));
    EXPECT_EQ(file->GetPath(), folder / "a");
}

TEST(CMappedFile, Open_BytesOutliveTheFile)
{
    const CTemporaryFolder folder;
    FileTest::WriteAll(folder / "a", "content");
    const auto file = CMappedFile::Open(folder / "a");

    std::filesystem::remove(folder / "a");

    EXPECT_EQ(Application::AsText(file->GetBytes()), "content");
}

TEST(CMappedFile, Open_MissingFile)
{
    const CTemporaryFolder folder;

    EXPECT_EQ(MessageOf(folder / "a"),
              (folder / "a").string() + ": cannot be read: No such file or directory");
}

TEST(CMappedFile, Open_Folder)
{
    const CTemporaryFolder folder;

    EXPECT_EQ(MessageOf(folder.GetPath()),
              folder.GetPath().string() + ": expected a file, found a directory");
}

TEST(CMappedFile, Open_EmptyFile)
{
    const CTemporaryFolder folder;
    FileTest::WriteAll(folder / "a", "");

    EXPECT_EQ(MessageOf(folder / "a"),
              (folder / "a").string() + ": expected data, found an empty file");
}

TEST(CMappedFile, Open_PipeDoesNotWait)
{
    const CTemporaryFolder folder;
    ASSERT_EQ(::mkfifo((folder / "a").c_str(), 0600), 0);

    EXPECT_EQ(MessageOf(folder / "a"),
              (folder / "a").string() + ": expected a regular file, found a device or pipe");
}

TEST(CMappedFile, Open_FileThatMayNotBeRead)
{
    if (::geteuid() == 0)
    {
        GTEST_SKIP() << "root may read everything";
    }
    const CTemporaryFolder folder;
    FileTest::WriteAll(folder / "a", "content");
    std::filesystem::permissions(folder / "a", std::filesystem::perms::none);

    EXPECT_EQ(MessageOf(folder / "a"),
              (folder / "a").string() + ": cannot be read: Permission denied");
}

/// What CheckUnchanged() says; empty when it is content.
[[nodiscard]] std::string ChangeOf(const CMappedFile& file)
{
    try
    {
        file.CheckUnchanged();
    }
    catch (const Application::CInputError& error)
    {
        return error.what();
    }
    return {};
}

/// A file that was written long ago, as far as the system's clock for files can tell.
void WriteLongAgo(const std::filesystem::path& file, std::string_view content)
{
    FileTest::WriteAll(file, content);
    std::filesystem::last_write_time(
        file, std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
}

TEST(CMappedFile, CheckUnchanged_AFileThatIsLeftAlone)
{
    const CTemporaryFolder folder;
    WriteLongAgo(folder / "a", "content");
    const auto file = CMappedFile::Open(folder / "a");
    (void)FileTest::ReadAll(folder / "a");
    std::filesystem::permissions(folder / "a", std::filesystem::perms::owner_read);

    EXPECT_EQ(ChangeOf(*file), "");
}

TEST(CMappedFile, CheckUnchanged_AFileThatIsOverwritten)
{
    const CTemporaryFolder folder;
    WriteLongAgo(folder / "a", "content");
    const auto file = CMappedFile::Open(folder / "a");
    FileTest::WriteAll(folder / "a", "another");

    EXPECT_EQ(ChangeOf(*file), (folder / "a").string() +
                                   ": was written to by another program while it was being read; "
                                   "try again when that has ended");
}

// Behind the new end there are zeros up to the end of its page, without any signal.
TEST(CMappedFile, CheckUnchanged_AFileThatLosesItsLastByte)
{
    const CTemporaryFolder folder;
    WriteLongAgo(folder / "a", "content");
    const auto changed = std::filesystem::last_write_time(folder / "a");
    const auto file = CMappedFile::Open(folder / "a");
    std::filesystem::resize_file(folder / "a", 6);
    std::filesystem::last_write_time(folder / "a", changed);

    EXPECT_EQ(Application::AsText(file->GetBytes()), std::string("conten\0", 7));
    EXPECT_NE(ChangeOf(*file), "");
}

TEST(CMappedFile, CheckUnchanged_AFileThatIsReplacedOrRemovedIsStillWhatItWas)
{
    const CTemporaryFolder folder;
    WriteLongAgo(folder / "a", "content");
    FileTest::WriteAll(folder / "b", "another");
    const auto file = CMappedFile::Open(folder / "a");

    std::filesystem::rename(folder / "b", folder / "a");
    EXPECT_EQ(ChangeOf(*file), "");
    std::filesystem::remove(folder / "a");
    EXPECT_EQ(ChangeOf(*file), "");
    EXPECT_EQ(Application::AsText(file->GetBytes()), "content");
}

// The system dates a write when it begins: the rest of one that goes on cannot be told from the
// file.
TEST(CMappedFile, Open_WaitsForAWriteThatHasBegun)
{
    const CTemporaryFolder folder;
    WriteLongAgo(folder / "a", std::string(FileTest::CHeldUpWrite::GetSize(), 'o'));
    FileTest::CHeldUpWrite write(folder / "a", 'n');
    if (!write.HasBegun())
    {
        GTEST_SKIP() << "the system lets this process hold up no write";
    }
    std::string bytes;
    auto opening = std::async(std::launch::async, [&] {
        const auto file = CMappedFile::Open(folder / "a");
        bytes = Application::AsText(file->GetBytes());
        return file;
    });
    // In this time an opening that does not wait has read the old bytes.
    (void)opening.wait_for(std::chrono::milliseconds(200));
    write.Finish();

    const auto file = opening.get();
    EXPECT_TRUE(bytes == std::string(FileTest::CHeldUpWrite::GetSize(), 'n'));
    EXPECT_EQ(ChangeOf(*file), "");
}

TEST(CMappedFile, Open_WaitsForAWriteThatMakesTheFileLonger)
{
    const CTemporaryFolder folder;
    WriteLongAgo(folder / "a", "o");
    FileTest::CHeldUpWrite write(folder / "a", 'n');
    if (!write.HasBegun())
    {
        GTEST_SKIP() << "the system lets this process hold up no write";
    }
    auto opening = std::async(std::launch::async, [&] { return CMappedFile::Open(folder / "a"); });
    (void)opening.wait_for(std::chrono::milliseconds(200));
    write.Finish();

    const auto file = opening.get();
    EXPECT_TRUE(Application::AsText(file->GetBytes()) ==
                std::string(FileTest::CHeldUpWrite::GetSize(), 'n'));
    EXPECT_EQ(ChangeOf(*file), "");
}

TEST(CMappedFile, Open_FileThatSomebodyHoldsOpenForWriting)
{
    const CTemporaryFolder folder;
    WriteLongAgo(folder / "a", "content");
    const Application::CFileDescriptor held(::open((folder / "a").c_str(), O_WRONLY));

    const auto file = CMappedFile::Open(folder / "a");

    EXPECT_EQ(Application::AsText(file->GetBytes()), "content");
    EXPECT_EQ(ChangeOf(*file), "");
}

/// What this process has mapped at present, a file a line.
[[nodiscard]] std::string ListMappings()
{
    return FileTest::ReadAll("/proc/self/maps");
}

TEST(CMappedFile, Open_WithoutMemoryLeavesNothingMapped)
{
    const CTemporaryFolder folder;
    // Too long for a string that needs no memory.
    const std::string name = "a file with a name that takes memory";
    FileTest::WriteAll(folder / name, "content");
    const std::filesystem::path path = folder / name;
    bool isOpened = false;
    std::size_t number = 1;
    for (; !isOpened; ++number)
    {
        try
        {
            const TestSupport::CAllocationFaults faults(number, TestSupport::EFailing::Once);
            isOpened = CMappedFile::Open(path) != nullptr;
        }
        catch (const std::bad_alloc&)
        {
            EXPECT_EQ(ListMappings().find(name), std::string::npos) << number;
        }
    }
    EXPECT_GT(number, 2U);
}

TEST(CMappedFile, Destructor_GivesBackItsOwnMappingAndNoOther)
{
    const CTemporaryFolder folder;
    const auto name = std::filesystem::canonical(folder.GetPath()) / "large";
    FileTest::WriteAll(name, "x");
    std::filesystem::resize_file(name, (std::size_t{1} << 20) + 5);
    auto file = CMappedFile::Open(name);
    const auto other = CMappedFile::Open(name);
    const std::byte* const begin = file->GetBytes().data();
    const std::byte* const last = begin + file->GetBytes().size() - 1;
    std::array<char, 4096> room{};
    ASSERT_EQ(CMappedFile::FindName(begin, room), name.string());
    ASSERT_EQ(CMappedFile::FindName(last, room), name.string());

    file.reset();
    EXPECT_NE(CMappedFile::FindName(begin, room), name.string());
    EXPECT_NE(CMappedFile::FindName(last, room), name.string());
    EXPECT_EQ(CMappedFile::FindName(other->GetBytes().data(), room), name.string());
    EXPECT_EQ(other->GetBytes().front(), std::byte{'x'});
    EXPECT_EQ(other->GetBytes().back(), std::byte{0});
}

TEST(CMappedFile, FindName_TellsWhichFileIsThere)
{
    const CTemporaryFolder folder;
    const auto name = std::filesystem::canonical(folder.GetPath()) / "a file with blanks";
    FileTest::WriteAll(name, std::string(10000, 'x'));
    const auto file = CMappedFile::Open(name);
    const std::span<const std::byte> bytes = file->GetBytes();

    std::array<char, 4096> room{};
    EXPECT_EQ(CMappedFile::FindName(bytes.data(), room), name.string());
    EXPECT_EQ(CMappedFile::FindName(bytes.data() + bytes.size() - 1, room), name.string());
    EXPECT_EQ(CMappedFile::FindName(bytes.data(), std::span(room).first(5)),
              name.string().substr(0, 5));
}

TEST(CMappedFile, FindName_MemoryOfNoFileHasNone)
{
    std::array<char, 4096> room{};
    const auto onHeap = std::make_unique<int>();
    EXPECT_EQ(CMappedFile::FindName(nullptr, room), "");
    EXPECT_EQ(CMappedFile::FindName(room.data(), room), "");
    EXPECT_EQ(CMappedFile::FindName(onHeap.get(), room), "");
}

}  // namespace
