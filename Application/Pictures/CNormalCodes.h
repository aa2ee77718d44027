#pragma once

#include <array>
#include <cstdint>

#include "Application/Pictures/Kernels/ProjectSurfels.h"
#include "Base/Math/LqMatrix4R.h"

namespace Application
{

/// What the words of a depth buffer hold of surfels' normals, many at a time. Immutable.
class CNormalCodes
{
public:
    static constexpr std::uint32_t c_size = SSeenSurfels::c_size;

    /// Of any length, each at the same place of all three.
    struct SNormals
    {
        std::array<float, c_size> x;
        std::array<float, c_size> y;
        std::array<float, c_size> z;
    };

    /// \param chain from the normals to the picture axes: its columns are used as
    /// TransformHomogeneous() does.
    explicit CNormalCodes(const LqMatrix4Rf& chain);

    /// The codes of the first \p count normals, up to c_size, each turned towards the viewer;
    /// CDepthBuffer::c_noNormalCode where one has no direction. Those that follow, up to the next
    /// multiple of four, are set to anything.
    void Find(const SNormals& normals, std::uint32_t count,
              std::array<std::uint32_t, c_size>& codes) const;

private:
    LqMatrix4Rf m_chain;
};

}  // namespace Application
