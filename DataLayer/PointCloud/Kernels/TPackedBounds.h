#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

#include "DataLayer/PointCloud/Kernels/PackedBounds.h"

// Included by each kernel's source once. The unnamed namespace keeps what is compiled for one
// instruction set out of the others' code.
namespace DataLayer::PackedBounds
{
namespace
{

/// Three registers hold as many positions as one has floats, the same coordinates in the same lanes
/// each time.
///
/// \tparam Lanes a register of floats, a multiple of four of them
template <typename Lanes>
std::uint64_t Bound(const std::byte* first, std::uint64_t count, SBounds& bounds)
{
    using Four = float __attribute__((vector_size(16)));
    using LaneMask = decltype(Lanes() < Lanes());
    constexpr std::uint64_t c_width = sizeof(Lanes) / sizeof(float);
    constexpr std::size_t c_numParts = 3;
    constexpr float c_infinity = std::numeric_limits<float>::infinity();
    constexpr std::size_t c_numFours = c_numParts * sizeof(Lanes) / sizeof(Four);

    Lanes minima[c_numParts];
    Lanes maxima[c_numParts];
    LaneMask isNaN{};
    for (std::size_t part = 0; part < c_numParts; ++part)
    {
        minima[part] = Lanes() + c_infinity;
        maxima[part] = -minima[part];
    }
    const std::uint64_t numSteps = count / c_width;
    for (std::uint64_t step = 0; step < numSteps; ++step)
    {
        for (std::size_t part = 0; part < c_numParts; ++part)
        {
            Lanes lanes{};
            std::memcpy(&lanes, first, sizeof lanes);
            first += sizeof lanes;
            minima[part] = lanes < minima[part] ? lanes : minima[part];
            maxima[part] = lanes > maxima[part] ? lanes : maxima[part];
            isNaN |= lanes != lanes;
        }
    }
    Four fours[2][c_numFours];
    std::memcpy(fours[0], minima, sizeof minima);
    std::memcpy(fours[1], maxima, sizeof maxima);
    for (std::size_t four = c_numParts; four < c_numFours; ++four)
    {
        Four& minimum = fours[0][four % c_numParts];
        Four& maximum = fours[1][four % c_numParts];
        minimum = fours[0][four] < minimum ? fours[0][four] : minimum;
        maximum = fours[1][four] > maximum ? fours[1][four] : maximum;
    }
    std::memcpy(bounds.minima, fours[0], sizeof bounds.minima);
    std::memcpy(bounds.maxima, fours[1], sizeof bounds.maxima);
    std::uint64_t words[sizeof isNaN / sizeof(std::uint64_t)];
    std::memcpy(words, &isNaN, sizeof isNaN);
    bounds.hasNaN = false;
    for (const std::uint64_t word : words)
    {
        bounds.hasNaN = bounds.hasNaN || word != 0;
    }
    return numSteps * c_width;
}

}  // namespace
}  // namespace DataLayer::PackedBounds
