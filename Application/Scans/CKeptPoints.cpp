#include "Application/Scans/CKeptPoints.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <numeric>
#include <utility>

namespace Application
{

namespace
{

constexpr std::uint64_t c_groupSize = CKeptPoints::c_groupSize;

/// Multiplied by eight bytes of 0 or 1, takes the bit of byte i to bit 56 + i; no two meet below.
constexpr std::uint64_t c_gatherBytes =
    std::endian::native == std::endian::little ? 0x0102040810204080U : 0x8040201008040201U;

[[nodiscard]] std::vector<std::uint64_t> GatherAll(std::span<const Base::CSurfelBitMask> flags,
                                                   std::uint16_t dropBits)
{
    std::vector<std::uint64_t> groups;
    groups.reserve((flags.size() + c_groupSize - 1) / c_groupSize);
    for (std::size_t begin = 0; begin < flags.size(); begin += c_groupSize)
    {
        const std::size_t size = std::min<std::size_t>(flags.size() - begin, c_groupSize);
        groups.push_back(CKeptPoints::Gather(flags.subspan(begin, size), dropBits));
    }
    return groups;
}

}  // namespace

CKeptPoints::CKeptPoints(std::span<const Base::CSurfelBitMask> flags, std::uint16_t dropBits)
    : CKeptPoints(GatherAll(flags, dropBits), flags.size())
{}

CKeptPoints::CKeptPoints(std::vector<std::uint64_t> groups, std::uint64_t count)
    : m_groups(std::move(groups)),
      m_count(count),
      m_numKept(std::accumulate(m_groups.begin(), m_groups.end(), std::uint64_t{0},
                                [](std::uint64_t sum, std::uint64_t group) {
                                    return sum + static_cast<std::uint64_t>(std::popcount(group));
                                }))
{}

std::uint64_t CKeptPoints::Gather(std::span<const Base::CSurfelBitMask> flags,
                                  std::uint16_t dropBits)
{
    // A byte for each point first: the compiler fills these many at a time.
    std::array<std::uint8_t, c_groupSize> isKept{};
    for (std::size_t index = 0; index < flags.size(); ++index)
    {
        isKept[index] = (flags[index].bits & dropBits) == 0 ? 1 : 0;
    }
    std::uint64_t kept = 0;
    for (std::uint64_t first = 0; first < c_groupSize; first += 8)
    {
        std::uint64_t bytes = 0;
        std::memcpy(&bytes, isKept.data() + first, sizeof bytes);
        kept |= (bytes * c_gatherBytes >> 56) << first;
    }
    return kept;
}

}  // namespace Application
