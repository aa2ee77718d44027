#pragma once

#include <cstdint>
#include <vector>

#include "Base/Export.h"
#include "Base/Math/SimpleVec3f.h"

namespace ScanAPI
{

/// The part of a surfel collection that hands out whole element arrays.
///
/// All operations are const and safe for concurrent readers.
class VEKO2_BASE_EXPORT ISurfelCollectionElementAccess
{
public:
    virtual ~ISurfelCollectionElementAccess();

    /// The number of surfels.
    [[nodiscard]] virtual std::uint64_t GetCount() const = 0;

    [[nodiscard]] virtual bool HasPositions() const = 0;
    /// One position per surfel, in the collection's own coordinates; empty without positions.
    [[nodiscard]] virtual std::vector<SimpleVec3f> GetAllPositions() const = 0;

    [[nodiscard]] virtual bool HasNormals() const = 0;
    /// One normal per surfel, (0, 0, 0) where a surfel has none; empty without normals.
    [[nodiscard]] virtual std::vector<SimpleVec3f> GetAllNormals() const = 0;

protected:
    ISurfelCollectionElementAccess() = default;
    ISurfelCollectionElementAccess(const ISurfelCollectionElementAccess&) = default;
    ISurfelCollectionElementAccess& operator=(const ISurfelCollectionElementAccess&) = default;
};

}  // namespace ScanAPI
