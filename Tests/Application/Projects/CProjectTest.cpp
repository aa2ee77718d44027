#include "Application/Projects/CProject.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <optional>

#include "Application/Files/CInputError.h"
#include "Application/Files/COutputError.h"
#include "Tests/Application/Files/FileTestSupport.h"

namespace
{

using Application::CInputError;
using Application::COutputError;
using Application::CProject;
using Application::SProjectDocument;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Access = CProject::Access;
using Words = CProject::Words;

constexpr std::array<std::uint16_t, 4> c_values{1, 2, 3, 4};

class CProjectTest : public testing::Test
{
protected:
    CProjectTest()
    {
        FileTest::WriteAll(m_folder / "a.ply", "a");
        FileTest::WriteAll(m_folder / "b.ply", "b");
        create(SProjectDocument::c_defaultHistoryBudget);
    }

    void create(std::uint64_t historyBudget)
    {
        SProjectDocument document;
        document.historyBudget = historyBudget;
        for (const char* const name : {"a.ply", "b.ply"})
        {
            document.scans.emplace_back().file = name;
            document.scans.back().key = Base::CUniqueID();
            document.scans.back().points = 3;
        }
        CProject::Create(project(), document, {}, true);
    }

    [[nodiscard]] std::filesystem::path project() const { return m_folder / "p.veko2.json"; }
    [[nodiscard]] std::filesystem::path data(const std::string& name) const
    {
        return m_folder.GetPath() / "p.veko2.data" / name;
    }

    [[nodiscard]] CProject edit() const { return CProject::Open(project(), Access::Edit); }

    /// Makes every word of the scan \p value.
    std::size_t commit(std::size_t scan, std::uint16_t value) const
    {
        return edit().Commit("edit " + std::to_string(value), {{scan, Words(3, {value})}});
    }

    [[nodiscard]] Words read(std::size_t scan) const
    {
        return CProject::Open(project(), Access::Read).ReadFlags(scan);
    }

    [[nodiscard]] std::string openMessage(Access access = Access::Read) const
    {
        try
        {
            (void)CProject::Open(project(), access);
        }
        catch (const std::runtime_error& error)
        {
            return error.what();
        }
        return "";
    }

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

    [[nodiscard]] std::vector<std::string> listData() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(data("")))
        {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    /// Everything that makes the project up.
    [[nodiscard]] std::vector<std::string> snapshot() const
    {
        std::vector<std::string> content{FileTest::ReadAll(project())};
        for (const std::string& name : listData())
        {
            content.push_back(name + FileTest::ReadAll(data(name)));
        }
        return content;
    }

    FileTest::CTemporaryFolder m_folder;
};

TEST_F(CProjectTest, Create_StartsWithoutFlagsAndHistory)
{
    EXPECT_TRUE(read(0).empty());
    EXPECT_THAT(listData(), IsEmpty());
}

TEST_F(CProjectTest, Create_WritesTheFlagsGiven)
{
    SProjectDocument document = edit().GetDocument();
    CProject::Create(project(), document, {{1, Words{{1}, {2}, {3}}}}, true);
    EXPECT_TRUE(read(0).empty());
    EXPECT_EQ(read(1), (Words{{1}, {2}, {3}}));
}

TEST_F(CProjectTest, Create_ReplacesOnlyWhenForced)
{
    const auto before = snapshot();
    const SProjectDocument document = edit().GetDocument();
    EXPECT_THROW(CProject::Create(project(), document, {}, false), COutputError);
    EXPECT_EQ(snapshot(), before);
}

TEST_F(CProjectTest, Create_RefusesTheFolderOfALostProject)
{
    commit(0, 8);
    const SProjectDocument document = edit().GetDocument();
    std::filesystem::remove(project());
    EXPECT_THROW(CProject::Create(project(), document, {}, false), COutputError);
    EXPECT_THAT(listData(), testing::SizeIs(2));
}

TEST_F(CProjectTest, Create_RefusesToReplaceWhatIsNoProject)
{
    const SProjectDocument document = edit().GetDocument();
    for (const bool force : {false, true})
    {
        EXPECT_THROW(CProject::Create(m_folder / "a.ply", document, {}, force), COutputError);
        EXPECT_THROW(CProject::CheckCreate(m_folder / "a.ply", force), COutputError);
    }
    EXPECT_EQ(FileTest::ReadAll(m_folder / "a.ply"), "a");
    EXPECT_FALSE(std::filesystem::exists(m_folder / "a.ply.data"));
}

TEST_F(CProjectTest, Create_TakesTheFolderThatAKilledOneLeft)
{
    const SProjectDocument document = edit().GetDocument();
    std::filesystem::remove(project());
    // It was killed when the folder was made,
    CProject::Create(project(), document, {}, false);
    std::filesystem::remove(project());
    // or when the first flags were written.
    FileTest::WriteAll(data(".veko2-new-project.part"), "");
    FileTest::WriteAll(data("1-0.flags"), "x");
    CProject::Create(project(), document, {{1, Words{{1}, {2}, {3}}}}, false);
    EXPECT_THAT(listData(), ElementsAre("2-1.flags"));
    EXPECT_EQ(read(1), (Words{{1}, {2}, {3}}));
}

TEST_F(CProjectTest, Create_RefusesAFolderOfOtherThings)
{
    const SProjectDocument document = edit().GetDocument();
    std::filesystem::remove(project());
    FileTest::WriteAll(data("notes.txt"), "x");
    EXPECT_THROW(CProject::Create(project(), document, {}, false), COutputError);
    EXPECT_THAT(listData(), ElementsAre("notes.txt"));
}

TEST_F(CProjectTest, Create_AFailureTakesItsFolderBack)
{
    SProjectDocument document = edit().GetDocument();
    // No JSON text can hold this name.
    document.scans[0].file = "\xff.ply";
    EXPECT_THROW(CProject::Create(m_folder / "q.json", document, {{1, Words(3, {1})}}, false),
                 COutputError);
    EXPECT_FALSE(std::filesystem::exists(m_folder / "q.data"));
    EXPECT_FALSE(std::filesystem::exists(m_folder / "q.json"));
}

TEST_F(CProjectTest, Create_AFailureLeavesTheFlagsOfALostProject)
{
    commit(0, 8);
    SProjectDocument document = edit().GetDocument();
    std::filesystem::remove(project());
    document.scans[0].file = "\xff.ply";
    EXPECT_THROW(CProject::Create(project(), document, {}, true), COutputError);
    EXPECT_THAT(listData(), testing::IsSupersetOf({"1-0.flags", "1.edit"}));
}

TEST_F(CProjectTest, Create_GivesTheOldHistoryUp)
{
    commit(0, 8);
    create(100);
    EXPECT_TRUE(read(0).empty());
    EXPECT_THAT(listData(), IsEmpty());
}

TEST_F(CProjectTest, GetScanPath_StartsAtTheProject)
{
    EXPECT_EQ(edit().GetScanPath(1), m_folder / "b.ply");
}

TEST_F(CProjectTest, Commit_ChangesOnlyTheScansGiven)
{
    commit(1, 8);
    EXPECT_TRUE(read(0).empty());
    EXPECT_EQ(read(1), Words(3, {8}));
}

TEST_F(CProjectTest, UndoAndRedo_GoThroughEveryEdit)
{
    for (const std::uint16_t value : c_values)
    {
        commit(0, value);
    }
    for (const std::uint16_t value : {c_values[2], c_values[1], c_values[0]})
    {
        EXPECT_EQ(edit().Undo(1).commands.size(), 1U);
        EXPECT_EQ(read(0), Words(3, {value}));
    }
    edit().Undo(1);
    EXPECT_TRUE(read(0).empty());
    for (const std::uint16_t value : c_values)
    {
        EXPECT_EQ(edit().Redo(1).commands.size(), 1U);
        EXPECT_EQ(read(0), Words(3, {value}));
    }
}

TEST_F(CProjectTest, Undo_SeveralAtOnceNameTheEditsFromTheLast)
{
    commit(0, 1);
    commit(1, 2);
    commit(0, 3);
    const CProject::SStep step = edit().Undo(2);
    EXPECT_THAT(step.commands, ElementsAre("edit 3", "edit 2"));
    EXPECT_THAT(step.scans, ElementsAre(0, 1));
    EXPECT_EQ(read(0), Words(3, {1}));
    EXPECT_TRUE(read(1).empty());
}

TEST_F(CProjectTest, Undo_MoreThanThereIsTakesAllBack)
{
    commit(0, 1);
    commit(0, 2);
    EXPECT_EQ(edit().Undo(100).commands.size(), 2U);
    EXPECT_TRUE(read(0).empty());
}

TEST_F(CProjectTest, UndoAndRedo_WithNothingToDoChangeNothing)
{
    const auto before = snapshot();
    EXPECT_THAT(edit().Undo(1).commands, IsEmpty());
    EXPECT_THAT(edit().Redo(1).commands, IsEmpty());
    EXPECT_EQ(snapshot(), before);
}

TEST_F(CProjectTest, Commit_EndsWhatCouldBeRedone)
{
    commit(0, 1);
    commit(0, 2);
    edit().Undo(1);
    commit(0, 3);
    EXPECT_THAT(edit().Redo(1).commands, IsEmpty());
    EXPECT_THAT(edit().Undo(2).commands, ElementsAre("edit 3", "edit 1"));
}

TEST_F(CProjectTest, Commit_LeavesOnlyTheFilesThatCount)
{
    commit(0, 1);
    commit(0, 2);
    EXPECT_THAT(listData(), ElementsAre("1.edit", "2-0.flags", "2.edit"));
}

TEST_F(CProjectTest, Commit_RemovesWhatAKilledProcessLeft)
{
    FileTest::WriteAll(data("9-0.flags"), "x");
    FileTest::WriteAll(data("9.edit"), "x");
    FileTest::WriteAll(data(".veko2-0123456789abcdef.part"), "x");
    commit(0, 1);
    EXPECT_THAT(listData(), ElementsAre("10-0.flags", "10.edit"));
}

TEST_F(CProjectTest, Open_RemovesWhatAKilledProcessLeftBesideTheProject)
{
    const auto stale = m_folder / ".veko2-0123456789abcdef.part";
    FileTest::WriteAll(stale, "x");
    (void)CProject::Open(project(), Access::Read);
    EXPECT_TRUE(std::filesystem::exists(stale));
    (void)edit();
    EXPECT_FALSE(std::filesystem::exists(stale));
}

TEST_F(CProjectTest, Commit_NumbersNeverBeginAgain)
{
    // The largest number that 64 bits hold is not one of ours.
    FileTest::WriteAll(data("18446744073709551615.edit"), "x");
    commit(0, 1);
    EXPECT_THAT(listData(), ElementsAre("1-0.flags", "1.edit", "18446744073709551615.edit"));
    FileTest::WriteAll(data("999999999999999999.edit"), "x");
    const auto before = snapshot();
    EXPECT_THROW(commit(0, 2), COutputError);
    EXPECT_EQ(snapshot(), before);
}

TEST_F(CProjectTest, Commit_LeavesFilesOfOtherNamesAlone)
{
    for (const char* const name :
         {"notes.txt", "1.edit.bak", "x-1.flags", "01.edit", "1-2-3.flags"})
    {
        FileTest::WriteAll(data(name), "x");
    }
    commit(0, 1);
    EXPECT_THAT(listData(), testing::IsSupersetOf({"notes.txt", "1.edit.bak", "x-1.flags",
                                                   "01.edit", "1-2-3.flags"}));
}

TEST_F(CProjectTest, Commit_DropsTheOldestEditsBeyondTheBudget)
{
    commit(0, 1);
    const std::uint64_t bytes = edit().GetDocument().edits[0].bytes;
    create(2 * bytes);
    EXPECT_EQ(commit(0, 1), 0U);
    EXPECT_EQ(commit(0, 2), 0U);
    EXPECT_EQ(commit(0, 3), 1U);
    EXPECT_THAT(edit().Undo(9).commands, ElementsAre("edit 3", "edit 2"));
    EXPECT_EQ(read(0), Words(3, {1}));
}

TEST_F(CProjectTest, Commit_KeepsTheNewestEditWhateverTheBudget)
{
    create(0);
    EXPECT_EQ(commit(0, 1), 0U);
    EXPECT_EQ(commit(0, 2), 1U);
    EXPECT_THAT(edit().Undo(9).commands, ElementsAre("edit 2"));
}

TEST_F(CProjectTest, Commit_AFailureLeavesTheProjectAsItWas)
{
    commit(0, 1);
    const auto before = snapshot();
    CProject open = edit();
    // A folder in the place of the project file cannot be replaced by a file.
    std::filesystem::rename(project(), m_folder / "aside");
    std::filesystem::create_directory(project());
    EXPECT_THROW(open.Commit("edit", {{0, Words(3, {2})}}), COutputError);
    EXPECT_THROW(open.Undo(1), COutputError);
    std::filesystem::remove(project());
    std::filesystem::rename(m_folder / "aside", project());
    EXPECT_EQ(snapshot(), before);
}

TEST_F(CProjectTest, Open_EditorsExcludeOthers)
{
    std::optional<CProject> open = edit();
    EXPECT_THAT(openMessage(Access::Read), HasSubstr("in use by another veko2"));
    EXPECT_THAT(openMessage(Access::Edit), HasSubstr("in use by another veko2"));
    open.reset();
    EXPECT_EQ(openMessage(Access::Edit), "");
}

TEST_F(CProjectTest, Open_ReadersExcludeOnlyEditors)
{
    const CProject open = CProject::Open(project(), Access::Read);
    EXPECT_EQ(openMessage(Access::Read), "");
    EXPECT_THAT(openMessage(Access::Edit), HasSubstr("in use by another veko2"));
}

TEST_F(CProjectTest, Open_NamesAMissingScan)
{
    std::filesystem::remove(m_folder / "b.ply");
    EXPECT_THAT(openMessage(),
                AllOf(HasSubstr("scans[1].file"), HasSubstr("b.ply"), HasSubstr("put it back")));
}

TEST_F(CProjectTest, Open_NamesAMissingDataFolder)
{
    std::filesystem::remove_all(data(""));
    EXPECT_THAT(openMessage(), AllOf(HasSubstr("p.veko2.data"), HasSubstr("put it back")));
}

TEST_F(CProjectTest, Open_NamesAMissingEdit)
{
    commit(0, 1);
    std::filesystem::remove(data("1.edit"));
    EXPECT_THAT(openMessage(), AllOf(HasSubstr("the history is damaged"), HasSubstr("1.edit"),
                                     HasSubstr("is missing"), HasSubstr("restore it")));
}

TEST_F(CProjectTest, Open_NamesAnEditOfAnotherSize)
{
    commit(0, 1);
    FileTest::WriteAll(data("1.edit"), "short");
    EXPECT_THAT(openMessage(),
                AllOf(HasSubstr("the history is damaged"), HasSubstr("has 5 bytes instead of")));
}

TEST_F(CProjectTest, Open_NamesAnEditWithAChangedBit)
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

TEST_F(CProjectTest, Open_NamesAnEditInThePlaceOfAnother)
{
    commit(0, 1);
    commit(0, 2);
    commit(0, 3);
    std::filesystem::copy_file(data("3.edit"), data("2.edit"),
                               std::filesystem::copy_options::overwrite_existing);
    EXPECT_THAT(openMessage(),
                AllOf(HasSubstr("2.edit' does not begin where the edit before it ended")));
}

TEST_F(CProjectTest, Open_NamesAnEditOfAnotherProject)
{
    commit(0, 1);
    const std::string other = FileTest::ReadAll(data("1.edit"));
    create(SProjectDocument::c_defaultHistoryBudget);
    commit(0, 1);
    FileTest::WriteAll(data("1.edit"), other);
    EXPECT_THAT(openMessage(), HasSubstr("1.edit' changed a scan that the project does not have"));
}

TEST_F(CProjectTest, Open_ChecksUndoneEdits)
{
    commit(0, 1);
    commit(0, 2);
    edit().Undo(2);
    EXPECT_EQ(openMessage(), "");
    std::filesystem::remove(data("2.edit"));
    EXPECT_THAT(openMessage(), HasSubstr("2.edit' is missing"));
}

TEST_F(CProjectTest, Open_NamesFlagsOfTheWrongLength)
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

TEST_F(CProjectTest, Open_ToLookFindsEveryDamage)
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

TEST_F(CProjectTest, Open_ToLookNamesAMissingDataFolderOnce)
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

TEST_F(CProjectTest, ReadFlags_RefusesOthersThanTheHistoryLeadsTo)
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

TEST_F(CProjectTest, ReadFlags_RefusesNoneWhereTheHistoryLeadsToSome)
{
    commit(0, 1);
    std::string content = FileTest::ReadAll(project());
    content.replace(content.find("\"1-0.flags\""), 11, "null");
    FileTest::WriteAll(project(), content);
    expectOtherFlags(0);
}

TEST_F(CProjectTest, ReadFlags_KnowsTheFlagsFromUndoneEdits)
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

TEST_F(CProjectTest, ReadFlags_KnowsTheFlagsThatUndoneEditsBeginWith)
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

TEST_F(CProjectTest, ReadFlags_AnswersWhatTheSameObjectWrote)
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

TEST_F(CProjectTest, Undo_RefusesFlagsThatTheEditDidNotLeave)
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

TEST_F(CProjectTest, ReadFlags_NamesScanFileAndWayOut)
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

TEST_F(CProjectTest, Commit_ThroughASymbolicLinkChangesTheProjectBehindIt)
{
    std::filesystem::create_directory(m_folder / "links");
    std::filesystem::create_symlink(project(), m_folder / "links" / "link.json");
    CProject::Open(m_folder / "links" / "link.json", Access::Edit)
        .Commit("edit", {{0, Words(3, {5})}});
    EXPECT_EQ(read(0), Words(3, {5}));
    EXPECT_TRUE(std::filesystem::is_symlink(m_folder / "links" / "link.json"));
}

}  // namespace
