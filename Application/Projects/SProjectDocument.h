#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "Base/Interfaces/CUniqueID.h"
#include "Base/Math/LqMatrix4R.h"

namespace Application
{

/// One scan of a project, as the project file tells it.
struct SProjectScan
{
    /// Relative to the project file's folder, unless it is absolute.
    std::filesystem::path file;
    /// Names the scan in the history, however its file is called.
    Base::CUniqueID key = Base::CUniqueID::Nil();
    /// From file coordinates to the world.
    LqMatrix4Rd transform = c_matIdentityD;
    /// The number of points that the file had when it was added; a file of another number is not
    /// the scan that the flags belong to.
    std::uint64_t points = 0;
    /// The flag file, a bare name within the project's data folder; empty while no flag is set.
    std::string flags;
    int optimizationLevel = 0;
    /// A skeleton scan is left whole by cuts.
    bool isSkeleton = false;
};

/// A box in world coordinates, its faces included.
struct SWorldBox
{
    std::array<double, 3> min{};
    std::array<double, 3> max{};
};

/// One edit that can be undone or redone.
struct SProjectEdit
{
    /// The file of its changed masks, a bare name within the project's data folder.
    std::string file;
    /// What the user did, such as "cut".
    std::string command;
    /// The size of the file.
    std::uint64_t bytes = 0;
};

/// The content of a project file.
struct SProjectDocument
{
    /// What the file says that it is.
    static constexpr const char* c_format = "veko2-project";
    static constexpr std::uint64_t c_version = 1;

    /// What the files of the history may take together, unless the user says otherwise: 1 GiB.
    static constexpr std::uint64_t c_defaultHistoryBudget = std::uint64_t{1} << 30;

    std::vector<SProjectScan> scans;
    /// Surfels within any of them were excluded from the removal of small components when the
    /// project was made.
    std::vector<SWorldBox> excluded;
    std::uint64_t historyBudget = c_defaultHistoryBudget;
    /// From the oldest on.
    std::vector<SProjectEdit> edits;
    /// How many of the edits are done; those behind can be redone.
    std::size_t numDone = 0;
};

}  // namespace Application
