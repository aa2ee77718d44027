#include "Application/Scans/CScanFile.h"

#include <algorithm>
#include <cctype>
#include <stdexcept>
#include <string>
#include <utility>

#include "Application/Files/CInputError.h"
#include "Application/Files/CMappedFile.h"
#include "Application/Files/CReplacementFile.h"
#include "Application/Files/TextTokens.h"
#include "Application/Scans/CObjScan.h"
#include "Application/Scans/CPlyScan.h"
#include "Application/Scans/CStlScan.h"
#include "Application/Scans/CXyzScan.h"

namespace Application
{

namespace
{

[[nodiscard]] std::string LowerExtension(const std::filesystem::path& file)
{
    std::string extension = file.extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(), [](char character) {
        return static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
    });
    return extension;
}

[[nodiscard]] bool IsXyzExtension(const std::string& extension)
{
    return extension == ".xyz" || extension == ".txt" || extension == ".csv" || extension == ".asc";
}

[[nodiscard]] std::shared_ptr<const IScanContent> ParseContent(const SScanBytes& bytes,
                                                               const ProgressCallback& progress)
{
    const std::string extension = LowerExtension(bytes.path);
    const std::string_view text = AsText(bytes.bytes);
    if (extension == ".ply" || text.starts_with("ply\n") || text.starts_with("ply\r"))
    {
        return CPlyScan::Parse(bytes, progress);
    }
    if (extension == ".obj")
    {
        return CObjScan::Parse(bytes, progress);
    }
    if (extension == ".stl")
    {
        return CStlScan::Parse(bytes, progress);
    }
    if (IsXyzExtension(extension))
    {
        return CXyzScan::Parse(bytes, progress);
    }
    throw CInputError(bytes.path,
                      "expected a PLY file, or a file named .obj, .stl, .xyz, .txt, .csv or .asc, "
                      "found " +
                          (extension.empty() ? "no extension" : Quote(extension)));
}

}  // namespace

CScanFile CScanFile::Open(const std::filesystem::path& file, const ProgressCallback& progress)
{
    const std::shared_ptr<const CMappedFile> mapped = CMappedFile::Open(file);
    CScanFile scan = Parse({file, mapped->GetBytes(), mapped}, progress);
    scan.m_file = mapped;
    return scan;
}

bool CScanFile::HasScanName(const std::filesystem::path& file)
{
    const std::string extension = LowerExtension(file);
    return extension == ".ply" || extension == ".obj" || extension == ".stl" ||
           IsXyzExtension(extension);
}

CScanFile CScanFile::Parse(const SScanBytes& bytes, const ProgressCallback& progress)
{
    CScanFile scan(bytes.path, ParseContent(bytes, progress));
    if (progress)
    {
        progress(1.0);
    }
    return scan;
}

CScanFile::CScanFile(std::filesystem::path path, std::shared_ptr<const IScanContent> content)
    : m_path(std::move(path)), m_content(std::move(content))
{}

std::uint64_t CScanFile::GetPointCount() const
{
    return GetSurfelCollection()->GetCount();
}

void CScanFile::CheckUnchanged() const
{
    if (m_file)
    {
        m_file->CheckUnchanged();
    }
}

void CScanFile::WriteKept(const std::filesystem::path& target, const CKeptPoints& kept, bool force,
                          const ProgressCallback& progress) const
{
    if (!kept.Fits(GetPointCount()))
    {
        throw std::invalid_argument("CScanFile::WriteKept: " + std::to_string(kept.GetWordCount()) +
                                    " flag words for " + std::to_string(GetPointCount()) +
                                    " points");
    }
    CReplacementFile file(target, force);
    m_content->WriteKept(file, kept, progress);
    CheckUnchanged();
    file.Commit();
    if (progress)
    {
        progress(1.0);
    }
}

void CScanFile::CheckFlaggable() const
{
    if (!m_content->CheckFlaggable())
    {
        throw CInputError(m_path,
                          "expected a PLY file, the only format whose points can get a property "
                          "with their flags");
    }
}

void CScanFile::WriteFlagged(const std::filesystem::path& target,
                             std::span<const Base::CSurfelBitMask> flags, bool force,
                             const ProgressCallback& progress) const
{
    if (!flags.empty() && flags.size() != GetPointCount())
    {
        throw std::invalid_argument("CScanFile::WriteFlagged: " + std::to_string(flags.size()) +
                                    " flag words for " + std::to_string(GetPointCount()) +
                                    " points");
    }
    CheckFlaggable();
    CReplacementFile file(target, force);
    m_content->WriteFlagged(file, flags, progress);
    CheckUnchanged();
    file.Commit();
    if (progress)
    {
        progress(1.0);
    }
}

}  // namespace Application
