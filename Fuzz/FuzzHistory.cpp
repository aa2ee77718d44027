#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Application/Files/CInputError.h"
#include "Application/Projects/CProject.h"
#include "Fuzz/Support/CInputBytes.h"
#include "Fuzz/Support/CScratchFolder.h"
#include "Fuzz/Support/FuzzTarget.h"

namespace Fuzzing
{

namespace
{

using Application::CProject;
using Access = CProject::Access;
using Words = CProject::Words;

constexpr std::size_t c_numScans = 2;
constexpr std::uint64_t c_pointsOfScan[c_numScans] = {5, 40};
constexpr int c_mostSteps = 12;

/// The words of all scans; none are as good as words of 0.
using State = std::array<Words, c_numScans>;

State MakeEmptyState()
{
    return {Words(c_pointsOfScan[0]), Words(c_pointsOfScan[1])};
}

CProject CreateProject(const std::filesystem::path& file, std::uint64_t budget)
{
    Application::SProjectDocument document;
    document.historyBudget = budget;
    for (std::size_t scan = 0; scan < c_numScans; ++scan)
    {
        Application::SProjectScan& made = document.scans.emplace_back();
        // Any file that there is.
        made.file = file;
        made.key = Base::CUniqueID(std::array<std::uint8_t, 16>{static_cast<std::uint8_t>(scan)});
        made.points = c_pointsOfScan[scan];
    }
    return CProject::Create(file, document, {}, true);
}

State ReadState(const CProject& project)
{
    State state;
    for (std::size_t scan = 0; scan < c_numScans; ++scan)
    {
        state[scan] = project.ReadFlags(scan);
        state[scan].resize(c_pointsOfScan[scan]);
    }
    return state;
}

/// New flags of some scans: words of the input, repeated.
std::vector<CProject::SNewFlags> TakeFlags(CInputBytes& bytes)
{
    const std::uint32_t which = 1 + bytes.TakeBelow(3);
    const auto pattern = bytes.TakeBytes(1 + bytes.TakeBelow(24));
    std::vector<CProject::SNewFlags> flags;
    for (std::size_t scan = 0; scan < c_numScans; ++scan)
    {
        if ((which >> scan & 1U) == 0)
        {
            continue;
        }
        Words words(c_pointsOfScan[scan]);
        for (std::size_t index = 0; !pattern.empty() && index < words.size(); ++index)
        {
            words[index].bits = static_cast<std::uint16_t>(pattern[index % pattern.size()] *
                                                           (index % 3 == 0 ? 0x101U : 1U));
        }
        flags.push_back({scan, std::move(words)});
    }
    return flags;
}

/// A sequence of edits and steps through them, and what the flags have to be behind each.
void TestSteps(CInputBytes& bytes, const std::filesystem::path& file)
{
    // Room for a few edits, or for all.
    CProject project = CreateProject(file, bytes.TakeBelow(2) == 0 ? 400 : 1U << 20U);
    std::vector<State> states{MakeEmptyState()};
    std::size_t now = 0;
    for (int step = 0; step < c_mostSteps && !bytes.IsAtEnd(); ++step)
    {
        const std::uint32_t kind = bytes.TakeBelow(6);
        const std::size_t count = bytes.TakeBelow(4);
        if (kind == 0)
        {
            const std::size_t numUndone = std::min(count, now);
            Require(project.Undo(count).commands.size() == numUndone, "undo goes back as told");
            now -= numUndone;
        }
        else if (kind == 1)
        {
            const std::size_t numRedone = std::min(count, states.size() - 1 - now);
            Require(project.Redo(count).commands.size() == numRedone, "redo goes on as told");
            now += numRedone;
        }
        else
        {
            const auto flags = TakeFlags(bytes);
            State state = states[now];
            for (const CProject::SNewFlags& changed : flags)
            {
                state[changed.scan] = changed.words;
            }
            const std::size_t numDropped = project.Commit("edit", flags);
            states.resize(now + 1);
            states.push_back(std::move(state));
            Require(numDropped + 1 < states.size(), "the newest edit is always kept");
            states.erase(states.begin(), states.begin() + static_cast<std::ptrdiff_t>(numDropped));
            now = states.size() - 1;
        }
        Require(ReadState(project) == states[now], "the flags are those of the step");
    }
    const std::size_t numDone = project.GetDocument().numDone;
    {
        // It has to be let go first.
        const CProject closed = std::move(project);
    }
    const CProject again = CProject::Open(file, Access::Look);
    Require(again.GetDamages().empty(), "a history that was written has no damage");
    Require(ReadState(again) == states[now] && again.GetDocument().numDone == numDone,
            "a project that is opened again is as it was left");
}

/// Gives an edit's file the checksum that its bytes should have.
void SetEditChecksum(std::vector<std::uint8_t>& content)
{
    constexpr std::size_t c_headerSize = 24;
    constexpr std::size_t c_checksumOffset = 16;
    if (content.size() >= c_headerSize)
    {
        const auto checksum = static_cast<std::uint32_t>(
            crc32_z(0, content.data() + c_headerSize, content.size() - c_headerSize));
        std::memcpy(content.data() + c_checksumOffset, &checksum, sizeof checksum);
    }
}

/// Puts the size of an edit's file into the project's file, which would be refused at once.
void SetEditSize(const std::filesystem::path& file, const std::string& edit, std::size_t size)
{
    std::string text = ReadFile(file);
    constexpr std::string_view c_field = "\"bytes\": ";
    const std::size_t begin = text.find(c_field, text.find(edit)) + c_field.size();
    text.replace(begin, text.find_first_not_of("0123456789", begin) - begin, std::to_string(size));
    WriteFile(file, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

/// Goes through a history that may be damaged, in every way that there is.
void UseProject(const std::filesystem::path& file)
{
    try
    {
        const CProject looked = CProject::Open(file, Access::Look);
        static_cast<void>(ReadState(looked));
    }
    catch (const Application::CInputError&)
    {}
    try
    {
        CProject project = CProject::Open(file, Access::Edit);
        const State before = ReadState(project);
        const std::size_t numUndone = project.Undo(8).commands.size();
        Require(
            project.Redo(numUndone).commands.size() == numUndone && ReadState(project) == before,
            "what was undone and redone is what it was");
        static_cast<void>(project.Commit("edit", {{0, Words(c_pointsOfScan[0], {8})}}));
    }
    catch (const Application::CInputError&)
    {}
}

/// An edit, flags or a project file whose content is the input's.
void TestDamage(CInputBytes& bytes, const CScratchFolder& folder, const std::filesystem::path& file)
{
    {
        CProject project = CreateProject(file, 1U << 20U);
        State state = MakeEmptyState();
        for (std::size_t edit = 0; edit < 2; ++edit)
        {
            for (std::size_t scan = 0; scan < c_numScans; ++scan)
            {
                state[scan][edit].bits = 8;
            }
            project.Commit("edit", {{0, state[0]}, {1, state[1]}});
        }
    }
    const std::string names[] = {"1.edit", "2.edit", "2-0.flags"};
    const std::string& name = names[bytes.TakeBelow(std::size(names))];
    const bool isChecksumSet = bytes.TakeBelow(4) != 0;
    const auto rest = bytes.TakeBytes(std::string::npos);
    std::vector<std::uint8_t> content(rest.begin(), rest.end());
    if (isChecksumSet)
    {
        SetEditChecksum(content);
    }
    WriteFile(folder / "project.veko2.data" / name, content);
    if (name.ends_with(".edit"))
    {
        SetEditSize(file, name, content.size());
    }
    UseProject(file);
}

}  // namespace

/// The history of a project: edits as the library makes them, or one as the input has it.
void TestInput(std::span<const std::uint8_t> input)
{
    CInputBytes bytes(input);
    const CScratchFolder folder;
    const std::filesystem::path file = folder / "project.veko2.json";
    if (bytes.TakeBelow(2) == 0)
    {
        TestSteps(bytes, file);
    }
    else
    {
        TestDamage(bytes, folder, file);
    }
}

}  // namespace Fuzzing
