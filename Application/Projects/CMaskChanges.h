#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <vector>

#include "Application/Files/CMappedFile.h"
#include "Base/Interfaces/CSurfelBitMask.h"
#include "Base/Interfaces/CUniqueID.h"

namespace Application
{

/// What one edit changed in the flags of scans, as a file that leads from the state before to the
/// state after, and back.
///
/// Layout, little endian: 8 bytes "VEKO2EDT", 32-bit version 1, 32-bit number of scans, 32-bit
/// CRC-32 of everything behind the header, 32-bit 0. Then for each scan: the 16 bytes of its key,
/// 64-bit number of points, the CRC-32 of its flag words before and after the edit (32 bits each),
/// 64-bit number of bytes, and so many bytes: a zlib stream of 16-bit words, one per point, whose
/// bits are 1 where those before and after the edit differ. Flags that a scan does not have yet
/// count as 0.
class CMaskChanges
{
public:
    /// The flags of one scan before and after. Either may be empty: no flags.
    struct SScan
    {
        Base::CUniqueID key = Base::CUniqueID::Nil();
        std::uint64_t points = 0;
        std::span<const Base::CSurfelBitMask> before;
        std::span<const Base::CSurfelBitMask> after;
    };

    /// One scan's part of the file.
    struct SRecord
    {
        Base::CUniqueID key = Base::CUniqueID::Nil();
        std::uint64_t points = 0;
        std::uint32_t checksumBefore = 0;
        std::uint32_t checksumAfter = 0;
        std::span<const std::byte> compressed;
    };

    enum class Direction
    {
        Forward,  ///< from before the edit to after it
        Back,     ///< from after the edit to before it
    };

    /// Writes \p file and returns its size. To make it permanent is left to
    /// CReplacementFile::MakePermanent().
    /// @throw COutputError when it exists or cannot be written.
    static std::uint64_t Write(const std::filesystem::path& file, const std::vector<SScan>& scans);

    /// Checks every byte, and holds the file mapped.
    /// @throw CInputError when the file cannot be read or is damaged.
    [[nodiscard]] static CMaskChanges Read(const std::filesystem::path& file);

    /// The checksum of a record for a state of a scan: \p words are one per point, or none.
    [[nodiscard]] static std::uint32_t ComputeChecksum(std::span<const Base::CSurfelBitMask> words,
                                                       std::uint64_t points);

    [[nodiscard]] const std::vector<SRecord>& GetRecords() const { return m_records; }

    /// Leads \p words, which are empty or one per point of \p record, to the other side of the
    /// edit.
    /// @throw CInputError when they are not those of this side, or the file is damaged; \p words
    /// are in an unspecified state then.
    void Apply(const SRecord& record, Direction direction,
               std::vector<Base::CSurfelBitMask>& words) const;

private:
    explicit CMaskChanges(std::shared_ptr<const CMappedFile> file) : m_file(std::move(file)) {}

    void parse();

    std::shared_ptr<const CMappedFile> m_file;
    std::vector<SRecord> m_records;
};

}  // namespace Application
