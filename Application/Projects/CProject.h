#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "Application/Projects/CMaskChanges.h"
#include "Application/Projects/CProjectFolder.h"
#include "Application/Projects/HistoryDamage.h"
#include "Application/Projects/SProjectDocument.h"
#include "Base/Interfaces/CSurfelBitMask.h"

namespace Application
{

/// A project on disk: several scans, their flags, and the history of their edits.
///
///     CProject project = CProject::Open("site.veko2.json", CProject::Access::Edit);
///     ...  // read the flags of scans, change them
///     project.Commit("cut", newFlags);
///     project.Undo(1);
///
/// The scan files are never changed. Every edit writes new flag files and one file of the history;
/// then the project file, which names them, is replaced. That replacement is the one moment at
/// which the edit comes into being: whatever ends the process before leaves the project as it was,
/// and whatever ends it after, as it shall be. Files that no longer count are removed afterwards,
/// or by the next edit.
class CProject
{
public:
    using Words = std::vector<Base::CSurfelBitMask>;

    enum class Access
    {
        Read,  ///< any number of processes at once
        Edit,  ///< no other process
        Look,  ///< as Read, also at a project with damages: see GetDamages()
    };

    /// New flags of a scan: one word per point, or none for no flags.
    struct SNewFlags
    {
        std::size_t scan = 0;
        Words words;
    };

    /// What a step through the history did.
    struct SStep
    {
        /// The edits that were undone or redone, in that order.
        std::vector<std::string> commands;
        /// The scans whose flags changed.
        std::vector<std::size_t> scans;
    };

    /// Opens and checks a project, every byte of its history included. It stays locked as long as
    /// the object lives.
    /// @throw CInputError when it cannot be read, a field is wrong, a scan or a flag file is
    /// missing or of another size, or the history is damaged: the message says which, and what to
    /// do.
    /// @throw COutputError when another process excludes this one.
    [[nodiscard]] static CProject Open(const std::filesystem::path& file, Access access);

    /// Writes a new project with the flags given, and opens it for editing. Its history is empty.
    /// With \p force a project that is there is replaced; its history is given up then. A process
    /// that is killed meanwhile leaves no project, and nothing in the way of the next Create().
    /// @throw std::invalid_argument when \p flags name a scan that \p document does not have, or
    /// one twice, or are not one word per point; COutputError when CheckCreate() does, or it cannot
    /// be written.
    static CProject Create(const std::filesystem::path& file, SProjectDocument document,
                           const std::vector<SNewFlags>& flags, bool force);

    /// Finds out whether Create() could begin.
    /// @throw COutputError when \p file exists and not \p force, is not a project, or cannot be
    /// written, or its data folder is another project's, or holds the flags of a project that is
    /// gone and not \p force.
    static void CheckCreate(const std::filesystem::path& file, bool force);

    [[nodiscard]] const std::filesystem::path& GetPath() const { return m_file; }
    [[nodiscard]] const SProjectDocument& GetDocument() const { return m_document; }

    /// What Open() found that the project cannot be read or edited with.
    [[nodiscard]] const std::vector<std::string>& GetDamages() const { return m_damages; }

    /// Where a scan's file is, from the current folder.
    [[nodiscard]] std::filesystem::path GetScanPath(std::size_t scan) const;

    /// The flags of a scan: one word per point, or none.
    /// @throw CInputError when its flag file is missing, damaged, of another number of points, or
    /// not the one that the history leads to.
    [[nodiscard]] Words ReadFlags(std::size_t scan) const;

    /// Makes \p changed, which must not be empty, the project's flags, as one edit that can be
    /// undone. What was undone before can no longer be redone. Returns how many of the oldest edits
    /// were dropped because the history had grown beyond its budget; the newest is always kept.
    /// @throw std::invalid_argument when \p changed names a scan that there is not, or one twice,
    /// or has flags that are not one word per point; CInputError when ReadFlags() does for one of
    /// these scans; COutputError when it cannot be written. The project is what it was then.
    std::size_t Commit(const std::string& command, const std::vector<SNewFlags>& changed);

    /// Takes the last \p count edits back, or all that there are.
    /// @throw CInputError when the history is damaged, COutputError when it cannot be written; the
    /// project is what it was then.
    SStep Undo(std::size_t count);

    /// Does the next \p count undone edits again, or all that there are.
    /// @throw as Undo().
    SStep Redo(std::size_t count);

    /// What Undo() would do and return now, without doing it.
    /// @throw CInputError as Undo().
    [[nodiscard]] SStep PreviewUndo(std::size_t count) const;

    /// What Redo() would do and return now, without doing it.
    /// @throw CInputError as Undo().
    [[nodiscard]] SStep PreviewRedo(std::size_t count) const;

private:
    /// What a step leads to.
    struct SOutcome
    {
        SStep step;
        SProjectDocument document;  ///< still with the flag files from before
        std::vector<SNewFlags> changed;
    };

    CProject(std::filesystem::path file, CProjectFolder folder);

    void check();
    [[nodiscard]] Words readFlagFile(const SProjectScan& entry) const;
    [[nodiscard]] SOutcome compute(CMaskChanges::Direction direction, std::size_t count) const;
    [[nodiscard]] SStep step(CMaskChanges::Direction direction, std::size_t count);
    [[nodiscard]] std::vector<std::string> writeFlags(SProjectDocument& document,
                                                      std::uint64_t number,
                                                      const std::vector<SNewFlags>& flags) const;
    void write(SProjectDocument document, bool force);
    void removeOthers() const;

    std::filesystem::path m_file;
    CProjectFolder m_folder;
    SProjectDocument m_document;
    std::vector<std::string> m_damages;
    FlagChecksums m_flagChecksums;
};

}  // namespace Application
