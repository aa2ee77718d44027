#include "Application/Scans/CFlagFile.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "Application/Files/CInputError.h"
#include "Application/Files/CMappedFile.h"
#include "Application/Files/TextTokens.h"

namespace Application
{

namespace
{

constexpr std::string_view c_magic = "VEKO2FLG";
constexpr std::uint32_t c_version = 1;
constexpr std::size_t c_versionOffset = 8;
constexpr std::size_t c_reservedOffset = 12;
constexpr std::size_t c_countOffset = 16;
constexpr std::size_t c_checksumOffset = 24;
constexpr std::size_t c_headerSize = 32;

[[nodiscard]] std::uint64_t LoadNumber(std::span<const std::byte> bytes)
{
    std::uint64_t value = 0;
    for (std::size_t index = bytes.size(); index > 0; --index)
    {
        value = value << 8 | static_cast<std::uint64_t>(bytes[index - 1]);
    }
    return value;
}

void StoreNumber(std::span<std::byte> bytes, std::uint64_t value)
{
    for (std::byte& byte : bytes)
    {
        byte = static_cast<std::byte>(value);
        value >>= 8;
    }
}

/// 64-bit FNV-1a over words, with the constants of that hash.
[[nodiscard]] std::uint64_t ComputeChecksum(std::span<const Base::CSurfelBitMask> flags)
{
    std::uint64_t hash = flags.size() + 14695981039346656037U;
    for (const Base::CSurfelBitMask word : flags)
    {
        hash = (hash ^ word.bits) * 1099511628211U;
    }
    return hash;
}

void CheckHeader(const std::filesystem::path& file, std::span<const std::byte> bytes,
                 std::uint64_t pointCount)
{
    if (!AsText(bytes).starts_with(c_magic))
    {
        throw CInputError::AtByte(file, 0,
                                  "expected a flag file, which begins with 'VEKO2FLG', found " +
                                      Quote(AsText(bytes).substr(0, c_magic.size())));
    }
    if (bytes.size() < c_headerSize)
    {
        throw CInputError::AtByte(file, bytes.size(),
                                  "expected a header of 32 bytes, found the end of the file");
    }
    const std::uint64_t version = LoadNumber(bytes.subspan(c_versionOffset, 4));
    if (version != c_version)
    {
        throw CInputError::AtByte(
            file, c_versionOffset,
            "expected version 1 of flag files, found version " + std::to_string(version));
    }
    const std::uint64_t reserved = LoadNumber(bytes.subspan(c_reservedOffset, 4));
    if (reserved != 0)
    {
        throw CInputError::AtByte(file, c_reservedOffset,
                                  "expected 0, found " + std::to_string(reserved));
    }
    const std::uint64_t count = LoadNumber(bytes.subspan(c_countOffset, 8));
    if (count != pointCount)
    {
        throw CInputError::AtByte(file, c_countOffset,
                                  "expected flags of " + std::to_string(pointCount) +
                                      " points, as the scan has them, found flags of " +
                                      std::to_string(count));
    }
    const std::size_t room = bytes.size() - c_headerSize;
    if (room % 2 != 0 || room / 2 != count)
    {
        throw CInputError::AtByte(file, c_headerSize,
                                  "expected " + std::to_string(count) +
                                      " words of 2 bytes, found " + std::to_string(room) +
                                      " bytes");
    }
}

}  // namespace

std::vector<Base::CSurfelBitMask> CFlagFile::Read(const std::filesystem::path& file,
                                                  std::uint64_t pointCount)
{
    return Parse(file, CMappedFile::Open(file)->GetBytes(), pointCount);
}

void CFlagFile::Check(const std::filesystem::path& file, std::uint64_t pointCount)
{
    CheckHeader(file, CMappedFile::Open(file)->GetBytes(), pointCount);
}

std::vector<Base::CSurfelBitMask> CFlagFile::Parse(const std::filesystem::path& file,
                                                   std::span<const std::byte> bytes,
                                                   std::uint64_t pointCount)
{
    CheckHeader(file, bytes, pointCount);
    std::vector<Base::CSurfelBitMask> flags(pointCount);
    for (std::size_t index = 0; index < flags.size(); ++index)
    {
        flags[index].bits =
            static_cast<std::uint16_t>(LoadNumber(bytes.subspan(c_headerSize + 2 * index, 2)));
    }
    if (LoadNumber(bytes.subspan(c_checksumOffset, 8)) != ComputeChecksum(flags))
    {
        throw CInputError::AtByte(file, c_checksumOffset,
                                  "expected the checksum of the flags, found another: the file is "
                                  "damaged");
    }
    return flags;
}

void CFlagFile::Write(const std::filesystem::path& file,
                      std::span<const Base::CSurfelBitMask> flags, bool force,
                      CReplacementFile::Permanence permanence)
{
    std::array<std::byte, c_headerSize> header = {};
    const std::span<std::byte> bytes(header);
    std::transform(c_magic.begin(), c_magic.end(), header.begin(),
                   [](char character) { return static_cast<std::byte>(character); });
    StoreNumber(bytes.subspan(c_versionOffset, 4), c_version);
    StoreNumber(bytes.subspan(c_countOffset, 8), flags.size());
    StoreNumber(bytes.subspan(c_checksumOffset, 8), ComputeChecksum(flags));

    CReplacementFile output(file, force);
    output.Write(header);
    std::array<std::byte, 4096> block = {};
    while (!flags.empty())
    {
        const std::size_t count = std::min(flags.size(), block.size() / 2);
        for (std::size_t index = 0; index < count; ++index)
        {
            StoreNumber(std::span(block).subspan(2 * index, 2), flags[index].bits);
        }
        output.Write(std::span(block).first(2 * count));
        flags = flags.subspan(count);
    }
    output.Commit(permanence);
}

}  // namespace Application
