#include "Application/Projects/HistoryDamage.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "Application/Files/CInputError.h"
#include "Application/Projects/CMaskChanges.h"
#include "Base/Support/ParallelFor.h"

namespace Application
{

namespace
{

/// The two sides of an edit, at one scan.
struct SLink
{
    Base::CUniqueID key = Base::CUniqueID::Nil();
    std::uint64_t points = 0;
    std::uint32_t checksumBefore = 0;
    std::uint32_t checksumAfter = 0;
};

struct SCheckedEdit
{
    std::string damage;
    std::vector<SLink> links;
};

std::string Name(const std::filesystem::path& file)
{
    std::string name(1, '\'');
    name += file.string();
    name += '\'';
    return name;
}

/// What is left of an edit when its file, which may be large, is closed again.
SCheckedEdit CheckEdit(const SProjectEdit& edit, const std::filesystem::path& file)
{
    SCheckedEdit result;
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(file, error);
    if (error)
    {
        result.damage = Name(file) + DescribeAbsence(error);
        return result;
    }
    if (size != edit.bytes)
    {
        result.damage = Name(file) + " has " + std::to_string(size) + " bytes instead of " +
                        std::to_string(edit.bytes);
        return result;
    }
    try
    {
        const CMaskChanges changes = CMaskChanges::Read(file);
        for (const CMaskChanges::SRecord& record : changes.GetRecords())
        {
            result.links.push_back(
                {record.key, record.points, record.checksumBefore, record.checksumAfter});
        }
    }
    catch (const CInputError& failure)
    {
        result.damage = failure.what();
    }
    return result;
}

/// The state that each scan is known to be in behind the edits so far.
class CScanStates
{
public:
    explicit CScanStates(const SProjectDocument& document)
    {
        for (const SProjectScan& scan : document.scans)
        {
            m_points.emplace(scan.key, scan.points);
        }
    }

    /// Goes on from before an edit to behind it, and says what is wrong with it.
    [[nodiscard]] std::string Follow(const std::vector<SLink>& links)
    {
        std::string damage;
        for (const SLink& link : links)
        {
            const auto points = m_points.find(link.key);
            if (points == m_points.end() || points->second != link.points)
            {
                return "changed a scan that the project does not have";
            }
            const auto [state, isFirst] = m_checksums.try_emplace(link.key, link.checksumAfter);
            if (!isFirst && std::exchange(state->second, link.checksumAfter) != link.checksumBefore)
            {
                damage = "does not begin where the edit before it ended";
            }
        }
        return damage;
    }

    /// A file that cannot be read leads to states that are not known.
    void Forget() { m_checksums.clear(); }

private:
    std::unordered_map<Base::CUniqueID, std::uint64_t> m_points;
    FlagChecksums m_checksums;
};

/// The state of each scan between the edits that are done and those that are undone.
FlagChecksums CollectChecksums(const std::vector<SCheckedEdit>& edits, std::size_t numDone)
{
    FlagChecksums checksums;
    for (std::size_t index = 0; index < edits.size(); ++index)
    {
        for (const SLink& link : edits[index].links)
        {
            if (index < numDone)
            {
                checksums.insert_or_assign(link.key, link.checksumAfter);
            }
            else
            {
                checksums.try_emplace(link.key, link.checksumBefore);
            }
        }
    }
    return checksums;
}

}  // namespace

std::string DescribeAbsence(const std::error_code& error)
{
    return error == std::errc::no_such_file_or_directory ? " is missing"
                                                         : " cannot be read: " + error.message();
}

std::vector<std::string> FindHistoryDamage(const SProjectDocument& document,
                                           const CProjectFolder& folder, FlagChecksums& checksums)
{
    std::vector<SCheckedEdit> edits(document.edits.size());
    Base::ParallelFor(static_cast<std::uint32_t>(edits.size()), [&](std::uint32_t index) {
        const SProjectEdit& edit = document.edits[index];
        edits[index] = CheckEdit(edit, folder.GetPath(edit.file));
    });
    std::vector<std::string> damages;
    CScanStates states(document);
    for (std::size_t index = 0; index < edits.size(); ++index)
    {
        std::string damage = edits[index].damage;
        if (!damage.empty())
        {
            states.Forget();
        }
        else if (damage = states.Follow(edits[index].links); !damage.empty())
        {
            damage = Name(folder.GetPath(document.edits[index].file)) + " " + damage;
        }
        if (!damage.empty())
        {
            damages.push_back(std::move(damage));
        }
    }
    checksums = damages.empty() ? CollectChecksums(edits, document.numDone) : FlagChecksums();
    return damages;
}

}  // namespace Application
