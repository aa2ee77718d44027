#include "Application/Pictures/CNormalCodes.h"

#include <cmath>
#include <cstring>
#include <limits>

#include "Application/Pictures/CDepthBuffer.h"
#include "Application/Pictures/Lanes.h"

namespace Application
{

namespace
{

static_assert(CNormalCodes::c_size % c_numLanes == 0);

using Codes = std::int32_t __attribute__((vector_size(sizeof(Lanes))));

/// Each lane as in TransformHomogeneous().
Lanes Transform(const LqMatrix4Rf& matrix, std::size_t column, Lanes x, Lanes y, Lanes z)
{
    return ((x * matrix(0, column) + y * matrix(1, column)) + z * matrix(2, column)) +
           matrix(3, column);
}

Lanes SquareRoot(Lanes lanes)
{
    return Lanes{std::sqrt(lanes[0]), std::sqrt(lanes[1]), std::sqrt(lanes[2]),
                 std::sqrt(lanes[3])};
}

/// A step, to the nearest one or nearly so.
Codes Encode(Lanes components)
{
    return __builtin_convertvector((components + 1.0F) * SSampleWord::c_normalScale + 0.5F, Codes);
}

}  // namespace

CNormalCodes::CNormalCodes(const LqMatrix4Rf& chain) : m_chain(chain) {}

void CNormalCodes::Find(const SNormals& normals, std::uint32_t count,
                        std::array<std::uint32_t, c_size>& codes) const
{
    const Lanes zero{};
    const Lanes one = FillLanes(1.0F);
    const Codes none = Codes() + static_cast<std::int32_t>(CDepthBuffer::c_noNormalCode);
    for (std::uint32_t first = 0; first < count; first += c_numLanes)
    {
        const Lanes ownX = LoadLanes(&normals.x[first]);
        const Lanes ownY = LoadLanes(&normals.y[first]);
        const Lanes ownZ = LoadLanes(&normals.z[first]);
        const Lanes x = Transform(m_chain, 0, ownX, ownY, ownZ);
        const Lanes y = Transform(m_chain, 1, ownX, ownY, ownZ);
        const Lanes z = Transform(m_chain, 2, ownX, ownY, ownZ);
        const Lanes lengths = SquareRoot((x * x + y * y) + z * z);
        // Neither is true of what is no number.
        const auto isPresent =
            (lengths > zero) & (lengths <= FillLanes(std::numeric_limits<float>::max()));
        const Lanes scales = (z < zero ? -one : one) / lengths;
        const Codes found = (Encode(x * scales) << SSampleWord::c_normalBits) | Encode(y * scales);
        const Codes chosen = isPresent ? found : none;
        std::memcpy(&codes[first], &chosen, sizeof chosen);
    }
}

}  // namespace Application
