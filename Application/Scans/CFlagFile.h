#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <vector>

#include "Application/Files/CReplacementFile.h"
#include "Base/Interfaces/CSurfelBitMask.h"

namespace Application
{

/// The flag words of a scan's points in a file of their own, so that an edit need not change the
/// scan.
///
/// Layout, little endian: 8 bytes "VEKO2FLG", 32-bit version 1, 32-bit 0, 64-bit number of words,
/// 64-bit checksum of the words, then the 16-bit words, one per point in the scan's order. The
/// checksum is FNV-1a over whole words: it starts with the number of words + 14695981039346656037
/// and for each word is combined with it by exclusive or, then multiplied by 1099511628211, modulo
/// 2^64.
class CFlagFile
{
public:
    /// Reads the words of a scan of \p pointCount points.
    /// @throw CInputError when the file cannot be read, is damaged, is no flag file or one of
    /// another number of points.
    [[nodiscard]] static std::vector<Base::CSurfelBitMask> Read(const std::filesystem::path& file,
                                                                std::uint64_t pointCount);

    /// The same from bytes in memory; \p file names them in messages.
    /// @throw CInputError as above.
    [[nodiscard]] static std::vector<Base::CSurfelBitMask> Parse(const std::filesystem::path& file,
                                                                 std::span<const std::byte> bytes,
                                                                 std::uint64_t pointCount);

    /// Looks at all but the words themselves, and so takes no time.
    /// @throw CInputError when Read() would for another reason than damaged words.
    static void Check(const std::filesystem::path& file, std::uint64_t pointCount);

    /// Writes one word per point. With Permanence::Later, CReplacementFile::MakePermanent() is the
    /// caller's to call.
    /// @throw COutputError when the file exists and not \p force, or cannot be written.
    static void Write(const std::filesystem::path& file,
                      std::span<const Base::CSurfelBitMask> flags, bool force,
                      CReplacementFile::Permanence permanence = CReplacementFile::Permanence::Now);
};

}  // namespace Application
