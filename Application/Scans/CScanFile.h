#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>

#include "Application/Files/CProgress.h"
#include "Application/Scans/CKeptPoints.h"
#include "Application/Scans/IScanContent.h"
#include "Application/Scans/SScanBytes.h"
#include "Application/Scans/SScanDescription.h"
#include "Base/Interfaces/ISurfelCollection.h"
#include "Base/Math/LqMatrix4R.h"

namespace Application
{

class CMappedFile;

/// A scan read from a file, whatever its format, and the way back into a file of that format.
///
///     const CScanFile scan = CScanFile::Open("scan.ply");
///     std::vector<Base::CSurfelBitMask> flags(scan.GetPointCount());
///     ...  // classify *scan.GetSurfelCollection() under scan.GetTransform()
///     scan.WriteKept("cut.ply", CKeptPoints(flags), force);
///
/// Formats: PLY (ASCII, binary little and big endian), OBJ and STL (ASCII, binary) as meshes, XYZ
/// text as points. PLY is known by its content; the others by the file's extension (.obj, .stl,
/// .xyz, .txt, .csv, .asc).
///
/// Coordinates are single precision around an origin of their own: where the file's are double, or
/// too large for single precision, an offset is subtracted in double precision first and stands in
/// the transform. Everything is in the file's unit. Positions that are not finite are kept as they
/// are. A binary PLY file whose x, y and z lie side by side as floats of this machine's byte order
/// is used where it is mapped, and nothing of it is copied.
///
/// A cheap value: copies share the loaded content, which never changes and may be used from several
/// threads. The file stays mapped as long as a copy or a surfel collection lives.
class CScanFile
{
public:
    /// @throw CInputError when the file cannot be read or is not valid: its message names the file,
    /// the line or byte, what was expected and what was found.
    [[nodiscard]] static CScanFile Open(const std::filesystem::path& file,
                                        const ProgressCallback& progress = {});

    /// The same from bytes in memory.
    /// @throw CInputError as above.
    [[nodiscard]] static CScanFile Parse(const SScanBytes& bytes,
                                         const ProgressCallback& progress = {});

    /// Whether \p file has one of the extensions above, in any case.
    [[nodiscard]] static bool HasScanName(const std::filesystem::path& file);

    [[nodiscard]] const std::filesystem::path& GetPath() const { return m_path; }

    [[nodiscard]] std::uint64_t GetPointCount() const;

    /// One surfel per point or vertex of the file, in the file's order; never null. It has normals
    /// where the file has them.
    [[nodiscard]] std::shared_ptr<const Base::ISurfelCollection> GetSurfelCollection() const
    {
        return m_content->GetSurfelCollection();
    }

    /// The entity transform: file coordinates = surfel coordinates x transform. The identity, or a
    /// pure translation.
    [[nodiscard]] LqMatrix4Rd GetTransform() const { return m_content->GetTransform(); }

    /// True when the file has faces.
    [[nodiscard]] bool HasTriangles() const { return m_content->HasTriangles(); }

    /// The faces, polygons split into fans, over vertices that are the surfels; null without faces.
    /// Of a PLY file it is made anew by each call.
    /// @throw CInputError when a PLY file has more than 4294967295 vertices, or so many corners of
    /// one byte that the triangles would take more than ten times the room of their faces and 8
    /// MiB. Its points can be read and cut all the same.
    [[nodiscard]] std::shared_ptr<const Geometry::CTriangulation> GetTriangulation() const
    {
        return m_content->GetTriangulation();
    }

    /// What the file says about itself.
    [[nodiscard]] SScanDescription Describe() const { return m_content->Describe(); }

    /// Asked before anything that was made from the scan is kept; WriteKept() and WriteFlagged()
    /// ask by themselves.
    /// @throw CInputError when the file was written to in place since it was opened: then it is
    /// unknown what was read. One that was replaced or deleted is still what it was.
    void CheckUnchanged() const;

    /// Writes the file again, in its own format, without the points that are not kept. Everything
    /// else stays byte for byte what it was; faces stay when all their vertices do, and refer to
    /// them by their new numbers. With all points kept the files are equal. The target may be the
    /// scan file itself.
    /// @throw COutputError when the target exists and not \p force, or cannot be written; it is
    /// then what it was.
    /// @throw CInputError when the file has something that cannot be cut, or CheckUnchanged() does.
    /// @throw std::invalid_argument when \p kept has neither one word per point nor none.
    void WriteKept(const std::filesystem::path& target, const CKeptPoints& kept, bool force,
                   const ProgressCallback& progress = {}) const;

    /// Asked before the first of several scans is written; WriteFlagged() asks by itself.
    /// @throw CInputError when the file is no PLY file, or has a property "veko2_flags" already.
    void CheckFlaggable() const;

    /// Writes the file again with all its points and, as one more property "ushort veko2_flags" of
    /// each, its flag word. Everything else stays byte for byte what it was. \p flags has one word
    /// per point, or none, which stands for words of 0. The target may be the scan file itself.
    /// @throw COutputError as WriteKept().
    /// @throw CInputError as CheckFlaggable() and CheckUnchanged().
    /// @throw std::invalid_argument when \p flags has neither one word per point nor none.
    void WriteFlagged(const std::filesystem::path& target,
                      std::span<const Base::CSurfelBitMask> flags, bool force,
                      const ProgressCallback& progress = {}) const;

private:
    CScanFile(std::filesystem::path path, std::shared_ptr<const IScanContent> content);

    std::filesystem::path m_path;
    std::shared_ptr<const IScanContent> m_content;
    std::shared_ptr<const CMappedFile> m_file;  ///< null for bytes in memory
};

}  // namespace Application
