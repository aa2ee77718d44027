#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "Application/Files/CProgress.h"
#include "Application/Scans/CKeptPoints.h"
#include "Application/Scans/CKeptRanks.h"
#include "Application/Scans/CPlyRecordReader.h"
#include "Application/Scans/SPlyDocument.h"

namespace Application
{

class CReplacementFile;

/// Writes a PLY file again without some of its vertices. Works through the file's bytes from front
/// to back and keeps two bits per vertex in memory, where vertex numbers change at all.
class CPlyCutWriter
{
public:
    /// Both must live. \p kept fits the number of vertices.
    CPlyCutWriter(const SPlyDocument& document, const CKeptPoints& kept);

    /// @throw COutputError when the file cannot be written.
    /// @throw CInputError when triangle strips, split, get too long for their type, or need
    /// separators where vertex numbers are unsigned.
    void Write(CReplacementFile& file, const ProgressCallback& progress);

private:
    [[nodiscard]] std::uint64_t countKept(std::size_t elementIndex);
    void writeVertices(CReplacementFile& file);
    void writeFixedVertices(CReplacementFile& file);
    void writeReferences(CReplacementFile& file, std::size_t elementIndex,
                         const SPlyReferences& references);
    [[nodiscard]] bool isKept(const CPlyRecordReader& reader,
                              const SPlyReferences& references) const;
    void renumber(const CPlyRecordReader& reader, const SPlyElement& element,
                  const SPlyReferences& references);
    [[nodiscard]] std::size_t renumberStrips(const CPlyRecordReader& reader,
                                             const SPlyProperty& property, std::size_t index);
    [[nodiscard]] std::int64_t getRank(std::int64_t vertex) const;
    void appendBytes(std::size_t begin, std::size_t end);
    void appendNumber(PlyType type, std::int64_t value);
    void copy(CReplacementFile& file, std::size_t begin, std::size_t end);
    void copyMarked(CReplacementFile& file, std::size_t begin, std::size_t recordSize,
                    std::uint64_t marked);

    const SPlyDocument& m_document;
    const CKeptPoints& m_kept;
    std::optional<CKeptRanks> m_ranks;
    std::optional<CProgress> m_progress;
    /// The record that is being renumbered.
    std::vector<std::byte> m_record;
};

}  // namespace Application
