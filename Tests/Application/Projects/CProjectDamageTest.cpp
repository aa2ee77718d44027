#include <gmock/gmock.h>

#include "Application/Files/CInputError.h"
#include "Application/Projects/CProject.h"
#include "Tests/Application/Projects/CProjectTestFixture.h"

// What a project says of files that are missing, damaged or exchanged.

namespace
{

using Application::CInputError;
using Application::CProject;
using Application::SProjectDocument;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class CProjectDamageTest : public ProjectTest::CProjectTest
{
protected:
    void expectOtherFlags(std::size_t scan) const
    {
        try
        {
            (void)read(scan);
            FAIL();
        }
        catch (const CInputError& error)
        {
            const std::string name = scan == 0 ? "'a.ply'" : "'b.ply'";
            EXPECT_THAT(error.what(),
                        AllOf(HasSubstr("the flags of " + name + " cannot be used"),
                              HasSubstr("not those that the history leads to"),
                              HasSubstr("restore"), HasSubstr("without the history")));
        }
    }
};

TEST_F(CProjectDamageTest, Open_NamesAMissingScan)
{
    std::filesystem::remove(m_folder / "b.ply");
    EXPECT_THAT(openMessage(), AllOf(HasSubstr("scans[1].file"), HasSubstr("b.ply' is missing;"),
                                     HasSubstr("put it back")));
}

// To be told that it is missing would send the user to look for a file that is there.
TEST_F(CProjectDamageTest, Open_SaysWhyAScanOrAnEditThatIsThereCannotBeRead)
{
    commit(0, 1);
    std::filesystem::rename(m_folder / "b.ply", m_folder / "aside");
    std::filesystem::create_directory(m_folder / "b.ply");
    EXPECT_THAT(openMessage(), HasSubstr("b.ply' cannot be read: Is a directory;"));
    std::filesystem::remove(m_folder / "b.ply");
    std::filesystem::rename(m_folder / "aside", m_folder / "b.ply");
    std::filesystem::remove(data("1.edit"));
    std::filesystem::create_symlink("1.edit", data("1.edit"));
    EXPECT_THAT(openMessage(), HasSubstr("1.edit' cannot be read: Too many levels"));
}

TEST_F(CProjectDamageTest, Open_NamesAMissingDataFolder)
{
    std::filesystem::remove_all(data(""));
    EXPECT_THAT(openMessage(), AllOf(HasSubstr("p.veko2.data"), HasSubstr("put it back")));
}

TEST_F(CProjectDamageTest, Open_NamesAMissingEdit)
{
    commit(0, 1);
    std::filesystem::remove(data("1.edit"));
    EXPECT_THAT(openMessage(), AllOf(HasSubstr("the history is damaged"), HasSubstr("1.edit"),
                                     HasSubstr("is missing"), HasSubstr("restore it")));
}

TEST_F(CProjectDamageTest, Open_NamesAnEditOfAnotherSize)
{
    commit(0, 1);
    FileTest::WriteAll(data("1.edit"), "short");
    EXPECT_THAT(openMessage(),
                AllOf(HasSubstr("the history is damaged"), HasSubstr("has 5 bytes instead of")));
}

TEST_F(CProjectDamageTest, Open_NamesAnEditWithAChangedBit)
{
    commit(0, 1);
    commit(0, 2);
    const std::string whole = FileTest::ReadAll(data("1.edit"));
    for (const std::size_t index : {std::size_t{20}, std::size_t{30}, whole.size() - 1})
    {
        std::string content = whole;
        content[index] = static_cast<char>(content[index] ^ 1);
        FileTest::WriteAll(data("1.edit"), content);
        for (const Access access : {Access::Read, Access::Edit})
        {
            EXPECT_THAT(openMessage(access),
                        AllOf(HasSubstr("p.veko2.json: the history is damaged"),
                              HasSubstr("1.edit"), HasSubstr("restore it")))
                << index;
        }
    }
}

TEST_F(CProjectDamageTest, Open_NamesAnEditInThePlaceOfAnother)
{
    commit(0, 1);
    commit(0, 2);
    commit(0, 3);
    std::filesystem::copy_file(data("3.edit"), data("2.edit"),
                               std::filesystem::copy_options::overwrite_existing);
    EXPECT_THAT(openMessage(),
                AllOf(HasSubstr("2.edit' does not begin where the edit before it ended")));
}

TEST_F(CProjectDamageTest, Open_NamesAnEditOfAnotherProject)
{
    commit(0, 1);
    const std::string other = FileTest::ReadAll(data("1.edit"));
    create(SProjectDocument::c_defaultHistoryBudget);
    commit(0, 1);
    FileTest::WriteAll(data("1.edit"), other);
    EXPECT_THAT(openMessage(), HasSubstr("1.edit' changed a scan that the project does not have"));
}

TEST_F(CProjectDamageTest, Open_ChecksUndoneEdits)
{
    commit(0, 1);
    commit(0, 2);
    edit().Undo(2);
    EXPECT_EQ(openMessage(), "");
    std::filesystem::remove(data("2.edit"));
    EXPECT_THAT(openMessage(), HasSubstr("2.edit' is missing"));
}

TEST_F(CProjectDamageTest, Open_NamesFlagsOfTheWrongLength)
{
    commit(0, 1);
    const std::string content = FileTest::ReadAll(data("1-0.flags"));
    for (const std::string& damaged : {content + "xx", content.substr(0, 20), std::string()})
    {
        FileTest::WriteAll(data("1-0.flags"), damaged);
        EXPECT_THAT(openMessage(Access::Edit),
                    AllOf(HasSubstr("p.veko2.json: the flags of 'a.ply' cannot be used"),
                          HasSubstr("1-0.flags"), HasSubstr("restore that file")));
    }
    std::filesystem::remove(data("1-0.flags"));
    EXPECT_THAT(openMessage(Access::Edit), HasSubstr("the flags of 'a.ply' cannot be used"));
}

TEST_F(CProjectDamageTest, Open_ToLookFindsEveryDamage)
{
    commit(0, 1);
    commit(1, 2);
    commit(0, 3);
    EXPECT_THAT(CProject::Open(project(), Access::Look).GetDamages(), IsEmpty());
    std::filesystem::remove(m_folder / "b.ply");
    std::filesystem::remove(data("3-0.flags"));
    std::filesystem::remove(data("1.edit"));
    std::filesystem::remove(data("3.edit"));
    EXPECT_THAT(CProject::Open(project(), Access::Look).GetDamages(),
                ElementsAre(HasSubstr("3-0.flags"), HasSubstr("b.ply"), HasSubstr("1.edit"),
                            HasSubstr("3.edit")));
}

TEST_F(CProjectDamageTest, Open_ToLookNamesAMissingDataFolderOnce)
{
    commit(0, 1);
    commit(1, 2);
    std::filesystem::remove(m_folder / "b.ply");
    std::filesystem::remove_all(data(""));
    const CProject open = CProject::Open(project(), Access::Look);
    EXPECT_THAT(open.GetDamages(),
                ElementsAre(AllOf(HasSubstr("p.veko2.data' is missing"), HasSubstr("put it back")),
                            HasSubstr("b.ply")));
    try
    {
        (void)open.ReadFlags(0);
        FAIL();
    }
    catch (const CInputError& error)
    {
        EXPECT_EQ(error.what(), project().string() + ": " + open.GetDamages().front());
    }
    EXPECT_FALSE(std::filesystem::exists(data("")));
}

TEST_F(CProjectDamageTest, ReadFlags_RefusesOthersThanTheHistoryLeadsTo)
{
    commit(0, 1);
    commit(1, 2);
    // The flags of the other scan under the first one's name.
    std::filesystem::copy_file(data("2-1.flags"), data("1-0.flags"),
                               std::filesystem::copy_options::overwrite_existing);
    const auto before = snapshot();
    expectOtherFlags(0);
    EXPECT_EQ(read(1), Words(3, {2}));
    EXPECT_THROW(commit(0, 3), CInputError);
    EXPECT_EQ(snapshot(), before);
}

TEST_F(CProjectDamageTest, ReadFlags_RefusesNoneWhereTheHistoryLeadsToSome)
{
    commit(0, 1);
    std::string content = FileTest::ReadAll(project());
    content.replace(content.find("\"1-0.flags\""), 11, "null");
    FileTest::WriteAll(project(), content);
    expectOtherFlags(0);
}

TEST_F(CProjectDamageTest, ReadFlags_KnowsTheFlagsFromUndoneEdits)
{
    commit(0, 1);
    commit(0, 2);
    commit(1, 3);
    edit().Undo(2);
    EXPECT_EQ(read(0), Words(3, {1}));
    EXPECT_EQ(read(1), Words());
    edit().Undo(1);
    EXPECT_EQ(read(0), Words());
    std::string content = FileTest::ReadAll(project());
    content.replace(content.find("\"done\": 0"), 9, "\"done\": 1");
    FileTest::WriteAll(project(), content);
    expectOtherFlags(0);
}

TEST_F(CProjectDamageTest, ReadFlags_KnowsTheFlagsThatUndoneEditsBeginWith)
{
    commit(0, 1);
    commit(1, 2);
    edit().Undo(1);
    EXPECT_EQ(read(1), Words());
    std::filesystem::copy_file(data("1-0.flags"), data("9-1.flags"));
    std::string content = FileTest::ReadAll(project());
    content.replace(content.rfind("\"flags\": null"), 13, "\"flags\": \"9-1.flags\"");
    FileTest::WriteAll(project(), content);
    expectOtherFlags(1);
}

TEST_F(CProjectDamageTest, ReadFlags_AnswersWhatTheSameObjectWrote)
{
    commit(0, 1);
    CProject open = edit();
    open.Commit("edit", {{0, Words(3, {2})}});
    EXPECT_EQ(open.ReadFlags(0), Words(3, {2}));
    open.Undo(2);
    EXPECT_EQ(open.ReadFlags(0), Words());
    open.Redo(1);
    EXPECT_EQ(open.ReadFlags(0), Words(3, {1}));
}

TEST_F(CProjectDamageTest, Undo_RefusesFlagsThatTheEditDidNotLeave)
{
    commit(0, 1);
    commit(1, 2);
    // The flags of the other scan under the first one's name.
    std::filesystem::copy_file(data("2-1.flags"), data("1-0.flags"),
                               std::filesystem::copy_options::overwrite_existing);
    const auto before = snapshot();
    EXPECT_THROW(edit().Undo(2), CInputError);
    EXPECT_EQ(snapshot(), before);
}

TEST_F(CProjectDamageTest, ReadFlags_NamesScanFileAndWayOut)
{
    commit(0, 1);
    std::string content = FileTest::ReadAll(data("1-0.flags"));
    content.back() = static_cast<char>(content.back() ^ 1);
    FileTest::WriteAll(data("1-0.flags"), content);
    try
    {
        (void)read(0);
        FAIL();
    }
    catch (const CInputError& error)
    {
        EXPECT_THAT(error.what(),
                    AllOf(HasSubstr("p.veko2.json: the flags of 'a.ply' cannot be used"),
                          HasSubstr("1-0.flags"), HasSubstr("restore that file")));
    }
}

}  // namespace
