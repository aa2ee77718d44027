#include "Application/Projects/CMaskChanges.h"

#include <zlib.h>

#include <array>
#include <bit>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>

#include "Application/Files/CInputError.h"
#include "Application/Files/COutputError.h"
#include "Application/Files/CReplacementFile.h"
#include "Application/Files/TextTokens.h"

namespace Application
{

namespace
{

using Base::CSurfelBitMask;

// Numbers and words are stored as they lie in memory.
static_assert(std::endian::native == std::endian::little);

constexpr std::string_view c_magic = "VEKO2EDT";
constexpr std::uint32_t c_version = 1;
constexpr std::size_t c_headerSize = 24;
constexpr std::size_t c_recordHeaderSize = 40;
/// A byte of a zlib stream stands for at most 1032 bytes.
constexpr std::uint64_t c_maxPointsPerByte = 1032 / sizeof(CSurfelBitMask);

template <typename T>
void Append(std::vector<std::byte>& bytes, const T& value)
{
    const auto* const begin = reinterpret_cast<const std::byte*>(&value);
    bytes.insert(bytes.end(), begin, begin + sizeof value);
}

template <typename T>
T Load(std::span<const std::byte> bytes, std::size_t offset)
{
    T value;
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

std::uint32_t Checksum(std::span<const std::byte> bytes)
{
    return static_cast<std::uint32_t>(
        crc32_z(0, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size()));
}

/// The words as stored: one per point.
std::vector<CSurfelBitMask> Fill(std::span<const CSurfelBitMask> words, std::uint64_t points)
{
    std::vector<CSurfelBitMask> filled(words.begin(), words.end());
    filled.resize(points);
    return filled;
}

void FlipBits(std::vector<CSurfelBitMask>& words, const std::vector<CSurfelBitMask>& difference)
{
    for (std::size_t index = 0; index < words.size(); ++index)
    {
        words[index].bits ^= difference[index].bits;
    }
}

std::vector<std::byte> Compress(std::span<const std::byte> bytes, const std::filesystem::path& file)
{
    std::vector<std::byte> compressed(compressBound(bytes.size()));
    uLongf size = compressed.size();
    // Masks are long runs of few values; the fastest level loses little.
    if (compress2(reinterpret_cast<Bytef*>(compressed.data()), &size,
                  reinterpret_cast<const Bytef*>(bytes.data()), bytes.size(), Z_BEST_SPEED) != Z_OK)
    {
        throw COutputError(file, "the changes cannot be compressed");
    }
    compressed.resize(size);
    return compressed;
}

void AppendScan(std::vector<std::byte>& content, const CMaskChanges::SScan& scan,
                const std::filesystem::path& file)
{
    std::vector<CSurfelBitMask> words = Fill(scan.after, scan.points);
    const std::uint32_t checksumAfter = Checksum(std::as_bytes(std::span(words)));
    const std::vector<CSurfelBitMask> before = Fill(scan.before, scan.points);
    FlipBits(words, before);
    const std::vector<std::byte> compressed = Compress(std::as_bytes(std::span(words)), file);
    Append(content, scan.key.GetBytes());
    Append(content, scan.points);
    Append(content, Checksum(std::as_bytes(std::span(before))));
    Append(content, checksumAfter);
    Append(content, std::uint64_t{compressed.size()});
    content.insert(content.end(), compressed.begin(), compressed.end());
}

}  // namespace

std::uint64_t CMaskChanges::Write(const std::filesystem::path& file,
                                  const std::vector<SScan>& scans)
{
    std::vector<std::byte> content;
    for (const SScan& scan : scans)
    {
        AppendScan(content, scan, file);
    }
    std::vector<std::byte> header;
    const auto magic = std::as_bytes(std::span(c_magic));
    header.insert(header.end(), magic.begin(), magic.end());
    Append(header, c_version);
    Append(header, static_cast<std::uint32_t>(scans.size()));
    Append(header, Checksum(content));
    Append(header, std::uint32_t{0});

    CReplacementFile output(file, false);
    output.Write(header);
    output.Write(content);
    output.Commit(CReplacementFile::Permanence::Later);
    return header.size() + content.size();
}

CMaskChanges CMaskChanges::Read(const std::filesystem::path& file)
{
    CMaskChanges changes(CMappedFile::Open(file));
    changes.parse();
    return changes;
}

std::uint32_t CMaskChanges::ComputeChecksum(std::span<const CSurfelBitMask> words,
                                            std::uint64_t points)
{
    if (words.size() == points)
    {
        return Checksum(std::as_bytes(words));
    }
    const std::vector<CSurfelBitMask> filled = Fill(words, points);
    return Checksum(std::as_bytes(std::span(filled)));
}

void CMaskChanges::parse()
{
    const std::filesystem::path& file = m_file->GetPath();
    const std::span<const std::byte> bytes = m_file->GetBytes();
    if (!AsText(bytes).starts_with(c_magic))
    {
        throw CInputError::AtByte(file, 0,
                                  "expected an edit of a project's history, which begins with "
                                  "'VEKO2EDT', found " +
                                      Quote(AsText(bytes).substr(0, c_magic.size())));
    }
    if (bytes.size() < c_headerSize)
    {
        throw CInputError::AtByte(file, bytes.size(),
                                  "expected a header of 24 bytes, found the end of the file");
    }
    const auto version = Load<std::uint32_t>(bytes, 8);
    if (version != c_version)
    {
        throw CInputError::AtByte(
            file, 8, "expected version 1 of edits, found version " + std::to_string(version));
    }
    if (Load<std::uint32_t>(bytes, 16) != Checksum(bytes.subspan(c_headerSize)))
    {
        throw CInputError::AtByte(file, 16,
                                  "expected the checksum of the edit, found another: the file is "
                                  "damaged");
    }
    const auto reserved = Load<std::uint32_t>(bytes, 20);
    if (reserved != 0)
    {
        throw CInputError::AtByte(file, 20, "expected 0, found " + std::to_string(reserved));
    }
    const auto numScans = Load<std::uint32_t>(bytes, 12);
    std::size_t offset = c_headerSize;
    for (std::uint32_t index = 0; index < numScans; ++index)
    {
        const std::size_t room = bytes.size() - offset;
        const auto size = room < c_recordHeaderSize ? std::numeric_limits<std::uint64_t>::max()
                                                    : Load<std::uint64_t>(bytes, offset + 32);
        if (room < c_recordHeaderSize || size > room - c_recordHeaderSize)
        {
            throw CInputError::AtByte(file, offset,
                                      "expected the changes of a scan, found the end of the file");
        }
        SRecord record;
        record.key = Base::CUniqueID(Load<std::array<std::uint8_t, 16>>(bytes, offset));
        record.points = Load<std::uint64_t>(bytes, offset + 16);
        record.checksumBefore = Load<std::uint32_t>(bytes, offset + 24);
        record.checksumAfter = Load<std::uint32_t>(bytes, offset + 28);
        record.compressed = bytes.subspan(offset + c_recordHeaderSize, size);
        if (record.points / c_maxPointsPerByte > size)
        {
            throw CInputError::AtByte(file, offset + 16,
                                      "expected no more points than " + std::to_string(size) +
                                          " bytes can hold, found " +
                                          std::to_string(record.points));
        }
        m_records.push_back(record);
        offset += c_recordHeaderSize + size;
    }
    if (offset != bytes.size())
    {
        throw CInputError::AtByte(file, offset, "expected the end of the file");
    }
}

void CMaskChanges::Apply(const SRecord& record, Direction direction,
                         std::vector<CSurfelBitMask>& words) const
{
    words.resize(record.points);
    const bool isForward = direction == Direction::Forward;
    const auto expect = [&](std::uint32_t checksum, const char* failure) {
        if (Checksum(std::as_bytes(std::span(words))) != checksum)
        {
            throw CInputError(m_file->GetPath(), failure);
        }
    };
    expect(isForward ? record.checksumBefore : record.checksumAfter,
           "the flags of a scan are not those that this edit belongs to");

    std::vector<CSurfelBitMask> difference(record.points);
    const auto room = std::as_writable_bytes(std::span(difference));
    uLongf size = room.size();
    const bool isWhole = uncompress(reinterpret_cast<Bytef*>(room.data()), &size,
                                    reinterpret_cast<const Bytef*>(record.compressed.data()),
                                    record.compressed.size()) == Z_OK &&
                         size == room.size();
    if (!isWhole && !room.empty())
    {
        throw CInputError(m_file->GetPath(),
                          "the changes of a scan cannot be unpacked: the file is damaged");
    }
    FlipBits(words, difference);
    expect(isForward ? record.checksumAfter : record.checksumBefore,
           "the changes of a scan do not lead to the flags they should: the file is damaged");
}

}  // namespace Application
