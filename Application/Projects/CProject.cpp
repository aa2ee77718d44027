#include "Application/Projects/CProject.h"

#include <algorithm>
#include <map>
#include <new>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <type_traits>
#include <utility>

#include "Application/Files/CInputError.h"
#include "Application/Files/COutputError.h"
#include "Application/Files/CReplacementFile.h"
#include "Application/Files/FileBytes.h"
#include "Application/Projects/ProjectJson.h"
#include "Application/Scans/CFlagFile.h"

namespace Application
{

namespace
{

/// Holds projects of ten thousand scans with as many edits.
constexpr std::uint64_t c_maxProjectBytes = std::uint64_t{64} << 20;

constexpr const char* c_historyHelp =
    "; restore it from a copy, or go on without the history by setting \"history\".\"done\" to 0 "
    "and \"edits\" to [] in the project file";

bool IsAnySet(const CProject::Words& words)
{
    return std::any_of(words.begin(), words.end(),
                       [](Base::CSurfelBitMask word) { return word.bits != 0; });
}

std::size_t FindScan(const SProjectDocument& document, const CMaskChanges::SRecord& record)
{
    const auto found =
        std::find_if(document.scans.begin(), document.scans.end(),
                     [&](const SProjectScan& scan) { return scan.key == record.key; });
    return static_cast<std::size_t>(found - document.scans.begin());
}

std::string DescribeFlagDamage(const SProjectScan& scan, const CInputError& error)
{
    return "the flags of '" + scan.file.string() + "' cannot be used: " + error.what() +
           "; restore that file from a copy, or, to begin again without flags and history, set the "
           "scan's \"flags\" to null, \"history\".\"done\" to 0 and \"edits\" to [] in the project "
           "file";
}

std::string DescribeOtherFlags(const SProjectScan& scan)
{
    return "the flags of '" + scan.file.string() +
           "' cannot be used: they are not those that the history leads to" + c_historyHelp;
}

std::string DescribeMissingFolder(const CProjectFolder& folder)
{
    return "the data folder '" + folder.GetPath().string() +
           "' is missing; put it back beside the project file";
}

CProjectFolder OpenFolder(const std::filesystem::path& file, CProject::Access access)
{
    std::error_code error;
    if (access == CProject::Access::Look &&
        !std::filesystem::exists(CProjectFolder::Find(file), error) && !error)
    {
        return CProjectFolder(file);
    }
    return {file, access == CProject::Access::Edit ? CFolderLock::Kind::Exclusive
                                                   : CFolderLock::Kind::Shared};
}

/// The other project, if there is one, that has the data folder of \p file: beside it, and called
/// the same but for ".json".
std::optional<std::filesystem::path> FindTwin(const std::filesystem::path& file)
{
    const std::filesystem::path resolved = CReplacementFile::FollowLinks(file);
    std::filesystem::path twin = resolved;
    resolved.extension() == ".json" ? twin.replace_extension() : twin += ".json";
    const bool isTwin = CReplacementFile::FollowLinks(twin) != resolved &&
                        CProjectFolder::Find(twin) == CProjectFolder::Find(file) &&
                        IsProjectFile(twin);
    return isTwin ? std::optional(std::move(twin)) : std::nullopt;
}

/// Calls \p read, which reads a part of the history; its error also says what the user can do.
template <typename Read>
auto WithHistoryHelp(const std::filesystem::path& project, Read&& read)
{
    try
    {
        return read();
    }
    catch (const CInputError& error)
    {
        throw CInputError(
            project, "the history cannot be used: " + std::string(error.what()) + c_historyHelp);
    }
}

/// @throw std::invalid_argument when the scans of a project cannot have these flags.
void CheckFlags(const SProjectDocument& document, const std::vector<CProject::SNewFlags>& flags)
{
    std::vector<bool> isNamed(document.scans.size());
    for (const CProject::SNewFlags& entry : flags)
    {
        const std::string subject = "flags of scan " + std::to_string(entry.scan) + ": ";
        if (entry.scan >= document.scans.size())
        {
            throw std::invalid_argument(subject + "the project has " +
                                        std::to_string(document.scans.size()) + " scans");
        }
        const std::uint64_t points = document.scans[entry.scan].points;
        if (!entry.words.empty() && entry.words.size() != points)
        {
            throw std::invalid_argument(subject + std::to_string(entry.words.size()) +
                                        " words, but the scan has " + std::to_string(points) +
                                        " points");
        }
        if (isNamed[entry.scan])
        {
            throw std::invalid_argument(subject + "named twice");
        }
        isNamed[entry.scan] = true;
    }
}

/// Takes the oldest edits off until the history fits its budget, but never the newest that is done.
std::size_t DropOldest(SProjectDocument& document)
{
    std::uint64_t total = 0;
    for (const SProjectEdit& edit : document.edits)
    {
        total += edit.bytes;
    }
    std::size_t numDropped = 0;
    while (total > document.historyBudget && document.edits.size() - numDropped > 1)
    {
        total -= document.edits[numDropped].bytes;
        ++numDropped;
    }
    document.edits.erase(document.edits.begin(),
                         document.edits.begin() + static_cast<std::ptrdiff_t>(numDropped));
    document.numDone -= numDropped;
    return numDropped;
}

}  // namespace

CProject::CProject(std::filesystem::path file, CProjectFolder folder)
    : m_file(std::move(file)), m_folder(std::move(folder))
{}

CProject CProject::Open(const std::filesystem::path& file, Access access)
{
    // A file that is no project is told before a folder is looked for that it cannot have.
    (void)ParseProject(ReadFileBytes(file, c_maxProjectBytes), file);
    CProject project(file, OpenFolder(file, access));
    // Again under the lock: another process may have edited it meanwhile.
    project.m_document = ParseProject(ReadFileBytes(file, c_maxProjectBytes), file);
    if (access == Access::Edit)
    {
        CReplacementFile::RemoveStale(CProjectFolder::Find(file).parent_path());
    }
    project.check();
    if (!project.m_damages.empty() && access != Access::Look)
    {
        throw CInputError(file, project.m_damages.front());
    }
    return project;
}

void CProject::CheckCreate(const std::filesystem::path& file, bool force)
{
    std::error_code error;
    const bool exists = std::filesystem::exists(file, error);
    if (exists && !std::filesystem::is_directory(file, error) && !IsProjectFile(file))
    {
        throw COutputError(file,
                           "exists and is not a project; choose another name, or remove that file "
                           "first");
    }
    const CReplacementFile probe(file, force);
    const std::filesystem::path folder = CProjectFolder::Find(file);
    if (const auto twin = FindTwin(file))
    {
        throw COutputError(folder, "is the data folder of the project '" + twin->string() +
                                       "'; choose another name");
    }
    if (!force && !exists && !CProjectFolder::IsFree(folder))
    {
        throw COutputError(folder,
                           "exists already: the flags of a project whose file is gone; put that "
                           "back, or give them up with --force");
    }
}

CProject CProject::Create(const std::filesystem::path& file, SProjectDocument document,
                          const std::vector<SNewFlags>& flags, bool force)
{
    CheckFlags(document, flags);
    CheckCreate(file, force);
    const std::filesystem::path folder = CProjectFolder::Find(file);
    std::error_code error;
    std::filesystem::create_directory(folder, error);
    if (error)
    {
        throw COutputError(folder, "cannot be made: " + error.message());
    }
    CProject project(file, CProjectFolder(file, CFolderLock::Kind::Exclusive));
    // Again under the lock: another process may have made it meanwhile.
    CheckCreate(file, force);
    const bool isNew = CProjectFolder::IsFree(folder);
    try
    {
        if (isNew)
        {
            project.m_folder.Mark();
        }
        document.edits.clear();
        document.numDone = 0;
        const auto names = project.writeFlags(document, project.m_folder.FindFreeNumber(), flags);
        CReplacementFile::MakePermanent(folder, names);
        project.write(std::move(document), force);
        return project;
    }
    catch (...)
    {
        if (isNew)
        {
            project.m_folder.RemoveAllBut({});
            std::filesystem::remove(folder, error);
        }
        throw;
    }
}

std::filesystem::path CProject::GetScanPath(std::size_t scan) const
{
    // An absolute name stands for itself.
    return CProjectFolder::Find(m_file).parent_path() / m_document.scans[scan].file;
}

CProject::Words CProject::ReadFlags(std::size_t scan) const
{
    const SProjectScan& entry = m_document.scans[scan];
    Words words = readFlagFile(entry);
    const auto checksum = m_flagChecksums.find(entry.key);
    if (checksum != m_flagChecksums.end() &&
        checksum->second != CMaskChanges::ComputeChecksum(words, entry.points))
    {
        throw CInputError(m_file, DescribeOtherFlags(entry));
    }
    return words;
}

CProject::Words CProject::readFlagFile(const SProjectScan& entry) const
{
    if (entry.flags.empty())
    {
        return {};
    }
    if (m_folder.IsMissing())
    {
        throw CInputError(m_file, DescribeMissingFolder(m_folder));
    }
    try
    {
        return CFlagFile::Read(m_folder.GetPath(entry.flags), entry.points);
    }
    catch (const CInputError& error)
    {
        throw CInputError(m_file, DescribeFlagDamage(entry, error));
    }
}

std::size_t CProject::Commit(const std::string& command, const std::vector<SNewFlags>& changed)
{
    CheckFlags(m_document, changed);
    SProjectDocument document = m_document;
    const std::uint64_t number = m_folder.FindFreeNumber();
    std::vector<Words> before;
    std::vector<CMaskChanges::SScan> scans;
    for (const SNewFlags& flags : changed)
    {
        const SProjectScan& scan = m_document.scans[flags.scan];
        before.push_back(ReadFlags(flags.scan));
        scans.push_back({scan.key, scan.points, before.back(), flags.words});
    }
    const std::string edit = CProjectFolder::MakeEditFileName(number);
    try
    {
        std::vector<std::string> names = writeFlags(document, number, changed);
        const std::uint64_t bytes = CMaskChanges::Write(m_folder.GetPath(edit), scans);
        names.push_back(edit);
        CReplacementFile::MakePermanent(m_folder.GetPath(), names);
        document.edits.resize(document.numDone);
        document.edits.push_back({edit, command, bytes});
        document.numDone = document.edits.size();
        const std::size_t numDropped = DropOldest(document);
        write(std::move(document), true);
        return numDropped;
    }
    catch (...)
    {
        removeOthers();
        throw;
    }
}

CProject::SStep CProject::Undo(std::size_t count)
{
    return step(CMaskChanges::Direction::Back, count);
}

CProject::SStep CProject::Redo(std::size_t count)
{
    return step(CMaskChanges::Direction::Forward, count);
}

CProject::SStep CProject::PreviewUndo(std::size_t count) const
{
    return compute(CMaskChanges::Direction::Back, count).step;
}

CProject::SStep CProject::PreviewRedo(std::size_t count) const
{
    return compute(CMaskChanges::Direction::Forward, count).step;
}

/// Goes through the edits in memory.
CProject::SOutcome CProject::compute(CMaskChanges::Direction direction, std::size_t count) const
{
    const bool isForward = direction == CMaskChanges::Direction::Forward;
    SOutcome outcome{{}, m_document, {}};
    SStep& step = outcome.step;
    SProjectDocument& document = outcome.document;
    std::map<std::size_t, Words> flags;
    while (step.commands.size() < count &&
           (isForward ? document.numDone < document.edits.size() : document.numDone > 0))
    {
        const SProjectEdit& edit =
            document.edits[isForward ? document.numDone : document.numDone - 1];
        const CMaskChanges changes = WithHistoryHelp(
            m_file, [&] { return CMaskChanges::Read(m_folder.GetPath(edit.file)); });
        for (const CMaskChanges::SRecord& record : changes.GetRecords())
        {
            const std::size_t scan = FindScan(document, record);
            if (scan == document.scans.size() || document.scans[scan].points != record.points)
            {
                throw CInputError(m_folder.GetPath(edit.file),
                                  "the edit changed a scan that the project does not have" +
                                      std::string(c_historyHelp));
            }
            const auto [entry, isFirst] = flags.try_emplace(scan);
            auto& words = entry->second;
            if (isFirst)
            {
                words = ReadFlags(scan);
            }
            WithHistoryHelp(m_file, [&] { changes.Apply(record, direction, words); });
        }
        step.commands.push_back(edit.command);
        document.numDone = isForward ? document.numDone + 1 : document.numDone - 1;
    }
    for (auto& [scan, words] : flags)
    {
        step.scans.push_back(scan);
        outcome.changed.push_back({scan, std::move(words)});
    }
    return outcome;
}

/// Makes the state behind the edits the project's in one go.
CProject::SStep CProject::step(CMaskChanges::Direction direction, std::size_t count)
{
    SOutcome outcome = compute(direction, count);
    if (outcome.step.commands.empty())
    {
        return {};
    }
    try
    {
        CReplacementFile::MakePermanent(
            m_folder.GetPath(),
            writeFlags(outcome.document, m_folder.FindFreeNumber(), outcome.changed));
        write(std::move(outcome.document), true);
    }
    catch (...)
    {
        removeOthers();
        throw;
    }
    return std::move(outcome.step);
}

void CProject::check()
{
    if (m_folder.IsMissing())
    {
        m_damages.push_back(DescribeMissingFolder(m_folder));
    }
    for (std::size_t scan = 0; scan < m_document.scans.size(); ++scan)
    {
        std::error_code error;
        const std::filesystem::path file = GetScanPath(scan);
        (void)std::filesystem::file_size(file, error);
        if (error)
        {
            m_damages.push_back("scans[" + std::to_string(scan) + "].file: the scan '" +
                                file.string() + "'" + DescribeAbsence(error) +
                                "; put it back, or correct the file name in the project file");
        }
        const SProjectScan& entry = m_document.scans[scan];
        try
        {
            if (!entry.flags.empty() && !m_folder.IsMissing())
            {
                CFlagFile::Check(m_folder.GetPath(entry.flags), entry.points);
            }
        }
        catch (const CInputError& failure)
        {
            m_damages.push_back(DescribeFlagDamage(entry, failure));
        }
    }
    if (m_folder.IsMissing())
    {
        // Everything else in it is missing, too.
        return;
    }
    for (const std::string& damage : FindHistoryDamage(m_document, m_folder, m_flagChecksums))
    {
        m_damages.push_back("the history is damaged: " + damage + c_historyHelp);
    }
}

/// Returns the names of the files, which are not permanent yet.
std::vector<std::string> CProject::writeFlags(SProjectDocument& document, std::uint64_t number,
                                              const std::vector<SNewFlags>& flags) const
{
    std::vector<std::string> names;
    for (const SNewFlags& entry : flags)
    {
        std::string& name = document.scans[entry.scan].flags;
        // No flags have no file, so that undoing everything leads back to the very beginning.
        name.clear();
        if (IsAnySet(entry.words))
        {
            name = CProjectFolder::MakeFlagFileName(number, entry.scan);
            CFlagFile::Write(m_folder.GetPath(name), entry.words, false,
                             CReplacementFile::Permanence::Later);
            names.push_back(name);
        }
    }
    return names;
}

/// Whatever it throws, the project file is what it was.
void CProject::write(SProjectDocument document, bool force)
{
    CReplacementFile file(m_file, force);
    file.Write(PrintProject(document, m_file));
    file.Commit();
    for (std::size_t scan = 0; scan < m_document.scans.size(); ++scan)
    {
        if (document.scans[scan].flags != m_document.scans[scan].flags)
        {
            // Just written, and not known to the history as it was checked.
            m_flagChecksums.erase(m_document.scans[scan].key);
        }
    }
    static_assert(std::is_nothrow_move_assignable_v<SProjectDocument>);
    m_document = std::move(document);
    removeOthers();
}

/// Removes the files that no longer count, or leaves them to the next edit.
void CProject::removeOthers() const
{
    try
    {
        std::set<std::string> names;
        for (const SProjectScan& scan : m_document.scans)
        {
            names.insert(scan.flags);
        }
        for (const SProjectEdit& edit : m_document.edits)
        {
            names.insert(edit.file);
        }
        m_folder.RemoveAllBut(names);
    }
    catch (const std::bad_alloc&)
    {
        // The project is what it shall be with or without them.
        return;
    }
}

}  // namespace Application
