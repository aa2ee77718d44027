#include "Application/Editing/CSurfelCutter.h"

#include <algorithm>
#include <atomic>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>

#include "Application/Editing/CFrontOfEye.h"
#include "Base/Interfaces/ISurfelCollection.h"
#include "Base/Support/LargePages.h"
#include "Base/Support/ParallelFor.h"
#include "DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMask.h"

namespace Application
{

namespace
{

using Words = std::vector<Base::CSurfelBitMask>;

constexpr std::uint16_t c_cut = Base::CSurfelBitMask::SurfelFlagCut;
constexpr std::uint32_t c_wordsPerBlock = 65536;

/// Calls \p body(begin, end) for blocks of the indices below \p count and returns the sum of its
/// answers. The library has refused larger counts before.
template <typename Body>
std::uint64_t SumOverBlocks(std::size_t count, const Body& body)
{
    const auto numBlocks =
        static_cast<std::uint32_t>((count + c_wordsPerBlock - 1) / c_wordsPerBlock);
    std::atomic<std::uint64_t> sum = 0;
    Base::ParallelFor(numBlocks, [&](std::uint32_t block) {
        const std::size_t begin = std::size_t{block} * c_wordsPerBlock;
        const std::size_t end = std::min<std::size_t>(begin + c_wordsPerBlock, count);
        sum.fetch_add(body(static_cast<std::uint32_t>(begin), static_cast<std::uint32_t>(end)),
                      std::memory_order_relaxed);
    });
    return sum.load();
}

std::uint64_t CountNewlyCut(const Words& before, const Words& after, std::uint32_t begin,
                            std::uint32_t end)
{
    const Base::CSurfelBitMask* const words = after.data();
    std::uint32_t count = 0;
    if (before.empty())
    {
        for (std::uint32_t index = begin; index < end; ++index)
        {
            count += (words[index].bits & c_cut) != 0 ? 1 : 0;
        }
        return count;
    }
    const Base::CSurfelBitMask* const oldWords = before.data();
    for (std::uint32_t index = begin; index < end; ++index)
    {
        count += (words[index].bits & ~oldWords[index].bits & c_cut) != 0 ? 1 : 0;
    }
    return count;
}

/// Which surfels have SurfelFlagCut, one bit each, so that an edit's own cuts can be told apart
/// from older ones without a second copy of the words.
class CCutBits
{
public:
    explicit CCutBits(const Words& words) : m_bits((words.size() + 63) / 64)
    {
        // A block's bits fill whole entries of its own.
        static_assert(c_wordsPerBlock % 64 == 0);
        (void)SumOverBlocks(words.size(), [&](std::uint32_t begin, std::uint32_t end) {
            for (std::uint32_t index = begin; index < end; ++index)
            {
                const std::uint64_t isCut = (words[index].bits & c_cut) != 0 ? 1 : 0;
                m_bits[index / 64] |= isCut << (index % 64);
            }
            return std::uint64_t{0};
        });
    }

    [[nodiscard]] bool IsCut(std::uint32_t index) const
    {
        return !m_bits.empty() && (m_bits[index / 64] >> (index % 64) & 1) != 0;
    }

private:
    std::vector<std::uint64_t> m_bits;
};

/// Cuts what lies under one region and returns how many surfels that were.
std::uint64_t CutRegion(const SCutRegion& region, CSurfelCutter::Reach reach,
                        const std::shared_ptr<const Base::ISurfelCollection>& collection,
                        Words& flags)
{
    const DataLayer::CCutPointCloudWithPixelMask cutter(region.selection);
    const CFrontOfEye front(region, collection);
    const bool isFrontOnly = reach == CSurfelCutter::Reach::FrontOfEye;

    std::vector<DataLayer::CCutPointCloudWithPixelMask::SInputData> inputs(1);
    inputs[0].collection = isFrontOnly ? front.MakeAcceptable(cutter) : collection;
    inputs[0].bitMasks = std::move(flags);
    inputs[0].trafo = region.trafo;
    // Words of the right number are only written, not made first.
    DataLayer::CCutPointCloudWithPixelMask::Results results(1);
    Base::ResizeInLargePages(results[0].second, collection->GetCount());
    cutter.Compute(inputs, results);

    const Words& before = inputs[0].bitMasks;
    Words& after = results[0].second;
    std::uint64_t numCut = 0;
    if (results[0].first)
    {
        const bool takesBack = isFrontOnly && front.ReachesBehind();
        numCut = SumOverBlocks(after.size(), [&](std::uint32_t begin, std::uint32_t end) {
            return takesBack ? front.TakeBackBehind(before, after, begin, end)
                             : CountNewlyCut(before, after, begin, end);
        });
    }
    flags = std::move(after);
    return numCut;
}

/// Exchanges what this edit cut and what it left; what was cut before stays cut.
std::uint64_t Invert(const CCutBits& cutBefore, Words& flags)
{
    return SumOverBlocks(flags.size(), [&](std::uint32_t begin, std::uint32_t end) {
        std::uint64_t count = 0;
        for (std::uint32_t index = begin; index < end; ++index)
        {
            if (!cutBefore.IsCut(index))
            {
                flags[index].bits ^= c_cut;
                count += (flags[index].bits & c_cut) != 0 ? 1 : 0;
            }
        }
        return count;
    });
}

}  // namespace

CSurfelCutter::CSurfelCutter(std::vector<SCutRegion> regions, Reach reach, Side side)
    : m_regions(std::move(regions)), m_reach(reach), m_side(side)
{}

std::uint64_t CSurfelCutter::Apply(const std::shared_ptr<const Base::ISurfelCollection>& collection,
                                   Words& flags) const
{
    const std::uint64_t count = collection->GetCount();
    if (!flags.empty() && flags.size() != count)
    {
        throw std::invalid_argument("A scan of " + std::to_string(count) + " points came with " +
                                    std::to_string(flags.size()) + " flag words.");
    }
    if (count > std::numeric_limits<std::uint32_t>::max())
    {
        throw std::length_error("A cut takes at most 4294967295 points, but the scan has " +
                                std::to_string(count) + ".");
    }
    const CCutBits cutBefore(m_side == Side::Unpainted ? flags : Words());
    std::uint64_t numCut = 0;
    for (const SCutRegion& region : m_regions)
    {
        numCut += CutRegion(region, m_reach, collection, flags);
    }
    flags.resize(count);
    return m_side == Side::Unpainted ? Invert(cutBefore, flags) : numCut;
}

}  // namespace Application
