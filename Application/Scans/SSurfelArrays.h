#pragma once

#include <memory>
#include <vector>

#include "Base/Interfaces/ISurfelCollection.h"
#include "Base/Math/LqVector3f.h"

namespace Application
{

/// Positions and normals that had to be converted from a file's own numbers.
struct SSurfelArrays
{
    std::vector<LqVector3f> positions;
    /// One per position, or none.
    std::vector<LqVector3f> normals;
};

/// A surfel collection that owns the arrays.
[[nodiscard]] std::shared_ptr<const Base::ISurfelCollection> MakeSurfelCollection(
    SSurfelArrays arrays);

}  // namespace Application
