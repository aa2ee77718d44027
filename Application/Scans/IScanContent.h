#pragma once

#include <memory>
#include <span>

#include "Application/Files/CProgress.h"
#include "Application/Scans/SScanDescription.h"
#include "Base/Interfaces/CSurfelBitMask.h"
#include "Base/Math/LqMatrix4R.h"

namespace Base
{
class ISurfelCollection;
}

namespace Geometry
{
struct CTriangulation;
}

namespace Application
{

class CKeptPoints;
class CReplacementFile;

/// A loaded scan file of one format; what CScanFile stands on. Immutable.
class IScanContent
{
public:
    virtual ~IScanContent() = default;
    IScanContent(const IScanContent&) = delete;
    IScanContent& operator=(const IScanContent&) = delete;

    /// One surfel per point or vertex of the file, in the file's order; never null.
    [[nodiscard]] virtual std::shared_ptr<const Base::ISurfelCollection> GetSurfelCollection()
        const = 0;

    /// Moves the surfels' coordinates into the file's.
    [[nodiscard]] virtual LqMatrix4Rd GetTransform() const = 0;

    [[nodiscard]] virtual bool HasTriangles() const = 0;

    /// The faces as triangles over the surfels; null without faces.
    [[nodiscard]] virtual std::shared_ptr<const Geometry::CTriangulation> GetTriangulation()
        const = 0;

    [[nodiscard]] virtual SScanDescription Describe() const = 0;

    /// Writes the file without the points that are not kept. \p kept fits the point count.
    virtual void WriteKept(CReplacementFile& file, const CKeptPoints& kept,
                           const ProgressCallback& progress) const = 0;

    /// Whether WriteFlagged() can write: false in a format that has no such thing.
    /// @throw CInputError when the points have a property of that name already.
    [[nodiscard]] virtual bool CheckFlaggable() const { return false; }

    /// Writes the file with the points' flags, one word each or none, as one more property of
    /// theirs. To be called only where CheckFlaggable() answers true.
    virtual void WriteFlagged(CReplacementFile& /*file*/,
                              std::span<const Base::CSurfelBitMask> /*flags*/,
                              const ProgressCallback& /*progress*/) const
    {}

protected:
    IScanContent() = default;
};

}  // namespace Application
