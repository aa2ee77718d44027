#include "Application/Files/CUnfinishedFile.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "Application/Files/CReplacementFile.h"

namespace
{

using Application::CReplacementFile;
using Application::CUnfinishedFile;

/// A folder of its own, removed with its content.
class CUnfinishedFileTest : public testing::Test
{
protected:
    CUnfinishedFileTest()
    {
        std::string name = testing::TempDir() + "veko2-unfinished-XXXXXX";
        m_folder = mkdtemp(name.data());
    }
    ~CUnfinishedFileTest() override { std::filesystem::remove_all(m_folder); }

    [[nodiscard]] std::size_t countFiles() const
    {
        std::size_t count = 0;
        for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(m_folder))
        {
            ++count;
        }
        return count;
    }

    std::filesystem::path m_folder;
};

TEST_F(CUnfinishedFileTest, RemoveAll_RemovesAReplacementThatIsNotCommitted)
{
    CReplacementFile file(m_folder / "target", false, CReplacementFile::Naming::FromTheStart);
    file.Write("text");
    ASSERT_EQ(countFiles(), 1U);
    CUnfinishedFile::RemoveAll();
    EXPECT_EQ(countFiles(), 0U);
}

TEST_F(CUnfinishedFileTest, RemoveAll_LeavesACommittedFile)
{
    CReplacementFile file(m_folder / "target", false, CReplacementFile::Naming::FromTheStart);
    file.Write("text");
    file.Commit();
    CUnfinishedFile::RemoveAll();
    EXPECT_TRUE(std::filesystem::exists(m_folder / "target"));
}

TEST_F(CUnfinishedFileTest, RemoveAll_LeavesWhatIsNoLongerRemembered)
{
    {
        CReplacementFile file(m_folder / "target", false);
        file.Commit();
        const CUnfinishedFile forgotten(m_folder / "target");
    }
    CUnfinishedFile::RemoveAll();
    EXPECT_TRUE(std::filesystem::exists(m_folder / "target"));
}

TEST_F(CUnfinishedFileTest, Constructor_MoreFilesThanSlotsAreNotRemembered)
{
    std::vector<std::unique_ptr<CReplacementFile>> files;
    for (int index = 0; index < 20; ++index)
    {
        files.push_back(std::make_unique<CReplacementFile>(m_folder / std::to_string(index), false,
                                                           CReplacementFile::Naming::FromTheStart));
    }
    CUnfinishedFile::RemoveAll();
    EXPECT_EQ(countFiles(), 4U);
}

TEST_F(CUnfinishedFileTest, Constructor_NameBeyondTheSystemsLimitIsNotRemembered)
{
    const CUnfinishedFile file(std::string(5000, 'x'));
    CUnfinishedFile::RemoveAll();
}

}  // namespace
