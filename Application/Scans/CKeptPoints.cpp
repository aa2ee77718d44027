#include "Application/Scans/CKeptPoints.h"

#include <algorithm>
#include <array>

namespace Application
{

std::uint64_t CKeptPoints::CountKept(std::uint64_t pointCount) const
{
    if (m_flags.empty())
    {
        return pointCount;
    }
    // Few enough for 16 bits, of which a register has more than of wider ones.
    constexpr std::size_t c_blockSize = 32768;
    const std::size_t numBlocks = (m_flags.size() + c_blockSize - 1) / c_blockSize;
    std::uint64_t count = 0;
    for (std::size_t block = 0; block < numBlocks; ++block)
    {
        const std::size_t begin = block * c_blockSize;
        std::uint16_t kept = 0;
        for (const Base::CSurfelBitMask word :
             m_flags.subspan(begin, std::min(m_flags.size() - begin, c_blockSize)))
        {
            kept = static_cast<std::uint16_t>(kept + ((word.bits & m_dropBits) == 0 ? 1 : 0));
        }
        count += kept;
    }
    return count;
}

std::uint64_t CKeptPoints::GatherKept(std::uint64_t begin, std::uint64_t count) const
{
    const std::uint64_t all =
        count < c_groupSize ? (std::uint64_t{1} << count) - 1 : ~std::uint64_t{0};
    if (m_flags.empty())
    {
        return all;
    }
    // A byte for each point first: the compiler fills these many at a time.
    std::array<std::uint8_t, c_groupSize> isKept{};
    const Base::CSurfelBitMask* const words = m_flags.data() + begin;
    for (std::uint64_t index = 0; index < count; ++index)
    {
        isKept[index] = (words[index].bits & m_dropBits) == 0 ? 1 : 0;
    }
    std::uint64_t kept = 0;
    for (std::uint64_t first = 0; first < c_groupSize; first += 8)
    {
        std::uint64_t bytes = 0;
        for (std::uint64_t index = 0; index < 8; ++index)
        {
            bytes |= std::uint64_t{isKept[first + index]} << 8 * index;
        }
        // Byte i's bit comes to lie at bit 56 + i; no two meet below.
        kept |= (bytes * 0x0102040810204080U >> 56) << first;
    }
    return kept;
}

}  // namespace Application
