#include "Application/Scans/CPlyFlagWriter.h"

#include <array>

#include "Application/Files/CInputError.h"
#include "Application/Files/CLineReader.h"
#include "Application/Files/CReplacementFile.h"
#include "Application/Files/TextTokens.h"
#include "Application/Scans/CPlyRecordReader.h"

namespace Application
{

namespace
{

std::string_view FirstWord(std::string_view line)
{
    return TakeToken(line);
}

}  // namespace

void CPlyFlagWriter::Check(const SPlyDocument& document)
{
    if (document.GetVertices().FindProperty(c_propertyName))
    {
        throw CInputError(document.source.path, "the vertices have a property '" +
                                                    std::string(c_propertyName) +
                                                    "' already; start from a file without it");
    }
}

CPlyFlagWriter::CPlyFlagWriter(const SPlyDocument& document,
                               std::span<const Base::CSurfelBitMask> flags)
    : m_document(document), m_flags(flags)
{}

void CPlyFlagWriter::Write(CReplacementFile& file, const ProgressCallback& progress) const
{
    const auto bytes = m_document.source.bytes;
    CProgress steps(progress, bytes.size());
    const std::size_t begin = m_document.tables[m_document.vertexElement].begin;
    const std::size_t end = m_document.tables[m_document.vertexElement + 1].begin;
    file.Write(makeHeader());
    file.Write(bytes.subspan(m_document.header.GetSize(), begin - m_document.header.GetSize()));
    writeVertices(file, steps);
    file.Write(bytes.subspan(end));
}

/// The property goes behind the last line that belongs to the vertices, comments included.
std::string CPlyFlagWriter::makeHeader() const
{
    const std::string_view text =
        AsText(m_document.source.bytes.first(m_document.header.GetSize()));
    CLineReader lines(text);
    std::size_t numElements = 0;
    while (lines.Next())
    {
        const std::string_view word = FirstWord(lines.GetLine());
        if (word == "end_header" ||
            (word == "element" && numElements++ == m_document.vertexElement + 1))
        {
            break;
        }
    }
    const std::string_view lineEnd = text.find("\r\n") != std::string_view::npos ? "\r\n" : "\n";
    return std::string(text.substr(0, lines.GetBegin())) + "property ushort " +
           std::string(c_propertyName) + std::string(lineEnd) +
           std::string(text.substr(lines.GetBegin()));
}

void CPlyFlagWriter::writeVertices(CReplacementFile& file, CProgress& progress) const
{
    const bool isBigEndian = m_document.header.GetFormat() == PlyFormat::BinaryBigEndian;
    CPlyRecordReader reader(m_document, m_document.vertexElement);
    std::size_t done = reader.GetEnd();
    for (std::size_t index = 0; reader.Next(); ++index)
    {
        const std::uint16_t bits = m_flags.empty() ? std::uint16_t{0} : m_flags[index].bits;
        const auto bytes = m_document.source.bytes.subspan(done, reader.GetEnd() - done);
        done = reader.GetEnd();
        if (m_document.IsText())
        {
            const std::string_view text = AsText(bytes);
            const std::size_t length = text.find_last_not_of("\r\n") + 1;
            file.Write(text.substr(0, length));
            file.Write(' ' + std::to_string(bits));
            file.Write(text.substr(length));
        }
        else
        {
            const std::array<std::byte, 2> word{
                static_cast<std::byte>(isBigEndian ? bits >> 8 : bits & 0xFF),
                static_cast<std::byte>(isBigEndian ? bits & 0xFF : bits >> 8)};
            file.Write(bytes);
            file.Write(word);
        }
        progress.Report(done);
    }
}

}  // namespace Application
