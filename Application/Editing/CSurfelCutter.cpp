#include "Application/Editing/CSurfelCutter.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <utility>

#include "Application/Editing/CRegionCutter.h"
#include "Application/Editing/CStandInCollection.h"
#include "Base/Interfaces/IPointCloudSupport.h"
#include "Base/Interfaces/ISurfelCollection.h"
#include "Base/Support/LargePages.h"
#include "Base/Support/ParallelFor.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"

namespace Application
{

namespace
{

using Surfels = CRegionCutter::Surfels;
using RegionCutters = std::vector<CRegionCutter>;

constexpr std::uint16_t c_cut = Base::CSurfelBitMask::SurfelFlagCut;

/// So many positions and words stay in a core's own cache from one step to the next.
constexpr std::uint64_t c_surfelsPerBlock = 16384;

/// So many behind a block are asked for while it is cut, or more.
constexpr std::uint64_t c_surfelsAhead = 1024;

/// A block's groups are its own.
constexpr std::uint64_t c_groupSize = CKeptPoints::c_groupSize;
static_assert(c_surfelsPerBlock % c_groupSize == 0);

/// Reads a byte here and there of \p size bytes from \p first on. Those of a mapped file come from
/// the page cache in stretches, when the first byte of one is used; and before that, what is asked
/// for ahead of its use does not come at all, so that each stretch would begin with waiting for
/// memory.
void MapPages(const std::byte* first, std::size_t size)
{
    constexpr std::uintptr_t c_stretch = 65536;
    const auto begin = reinterpret_cast<std::uintptr_t>(first);
    for (std::uintptr_t place = begin; place < begin + size; place = (place | (c_stretch - 1)) + 1)
    {
        (void)*reinterpret_cast<const volatile std::byte*>(place);
    }
}

/// How many of these words' surfels stay; they are at most a block's.
std::uint64_t CountKept(std::span<const Base::CSurfelBitMask> words)
{
    // As narrow as a word, and words that are not copied: so the compiler counts many at a time. In
    // four places at once, so that no sum waits for the one before.
    static_assert(c_surfelsPerBlock <= std::numeric_limits<std::uint16_t>::max());
    constexpr std::size_t c_numSums = 4;
    const auto add = [&](std::uint16_t& sum, std::size_t index) {
        sum = static_cast<std::uint16_t>(sum + ((words[index].bits & c_cut) == 0 ? 1 : 0));
    };
    const std::size_t part = words.size() / c_numSums;
    std::uint16_t sums[c_numSums] = {};
    for (std::size_t index = 0; index < part; ++index)
    {
        add(sums[0], index);
        add(sums[1], index + part);
        add(sums[2], index + 2 * part);
        add(sums[3], index + 3 * part);
    }
    for (std::size_t index = c_numSums * part; index < words.size(); ++index)
    {
        add(sums[0], index);
    }
    return std::accumulate(std::begin(sums), std::end(sums), std::uint64_t{0});
}

/// A collection, its flags before a cut, and how to cut it block by block.
class CBlocks
{
public:
    CBlocks(const Surfels& collection, std::span<const Base::CSurfelBitMask> flags,
            CSurfelCutter::Side side)
        : m_collection(collection), m_count(collection->GetCount()), m_flags(flags), m_side(side)
    {}

    /// Cuts what lies under any of the regions of \p cutters, as if they accepted it. \p result has
    /// room for the new words, if they are asked for.
    void Cut(const RegionCutters& cutters, CSurfelCutter::Answer answer,
             CSurfelCutter::SResult& result)
    {
        const auto numBlocks =
            static_cast<std::uint32_t>((m_count + c_surfelsPerBlock - 1) / c_surfelsPerBlock);
        const bool needsKept = answer != CSurfelCutter::Answer::Counts;
        std::vector<std::uint64_t> groups(needsKept ? (m_count + c_groupSize - 1) / c_groupSize
                                                    : 0);
        std::vector<std::uint64_t> numsKept(numBlocks);
        std::vector<std::uint64_t> numsNewlyCut(numBlocks);
        m_boxes.assign(numBlocks, Geometry::CBox3D());
        Base::ParallelFor(numBlocks, [&](std::uint32_t index) {
            const std::uint64_t begin = index * c_surfelsPerBlock;
            const std::uint64_t size = std::min(m_count - begin, c_surfelsPerBlock);
            const auto before =
                m_flags.subspan(m_flags.empty() ? 0 : begin, m_flags.empty() ? 0 : size);
            std::vector<Base::CSurfelBitMask> words(before.begin(), before.end());
            if (!cutters.empty())
            {
                const Surfels block = makeBlock(begin, size);
                for (const CRegionCutter& cutter : cutters)
                {
                    cutter.Cut(block, words);
                }
                // Last: a cut asks for positions ahead of those it works on, and a box does not.
                m_boxes[index] = block->GetPointCloudSupport()->GetBoundingBox().box;
            }
            words.resize(size);
            if (m_side == CSurfelCutter::Side::Unpainted)
            {
                CSurfelCutter::Invert(before, words);
            }
            for (std::uint64_t first = 0; needsKept && first < size; first += c_groupSize)
            {
                groups[(begin + first) / c_groupSize] = CKeptPoints::Gather(
                    std::span(words).subspan(first, std::min(size - first, c_groupSize)));
            }
            if (!result.flags.empty())
            {
                std::copy(words.begin(), words.end(), result.flags.data() + begin);
            }
            numsKept[index] = CountKept(words);
            numsNewlyCut[index] = (before.empty() ? size : CountKept(before)) - numsKept[index];
        });
        if (needsKept)
        {
            result.kept.emplace(std::move(groups), m_count);
        }
        result.numKept = std::accumulate(numsKept.begin(), numsKept.end(), std::uint64_t{0});
        result.numNewlyCut =
            std::accumulate(numsNewlyCut.begin(), numsNewlyCut.end(), std::uint64_t{0});
    }

    /// The bounding box of all positions that the latest cut read.
    [[nodiscard]] Geometry::CBox3D GetBox() const
    {
        Geometry::CBox3D whole;
        for (const Geometry::CBox3D& box : m_boxes)
        {
            if (!box.IsEmpty())
            {
                whole.Extend(box.min);
                whole.Extend(box.max);
            }
        }
        return whole;
    }

private:
    [[nodiscard]] Surfels makeBlock(std::uint64_t begin, std::uint64_t size) const
    {
        const auto& positions = m_collection->GetReadAccessor<Base::CSCElementDefinitionPosition>();
        const std::size_t stride = positions.GetStrideInBytes();
        const std::uint64_t toBeRead = std::min(m_count - begin, size + c_surfelsAhead);
        MapPages(positions.GetFirstElement() + begin * stride,
                 (toBeRead - 1) * stride + sizeof(LqVector3f));
        return std::make_shared<DataLayer::CSurfelCollectionView>(
            m_collection, size, positions.GetFirstElement() + begin * stride, stride);
    }

    const Surfels& m_collection;
    std::uint64_t m_count;
    std::span<const Base::CSurfelBitMask> m_flags;
    CSurfelCutter::Side m_side;
    std::vector<Geometry::CBox3D> m_boxes;
};

/// Removes the regions that reject \p collection, and says whether there were any.
bool RemoveRejecting(RegionCutters& cutters, const Surfels& collection)
{
    return std::erase_if(cutters, [&](const CRegionCutter& cutter) {
               return !cutter.IsAccepted(collection);
           }) != 0;
}

/// Whether the bounding box of a collection is that of its positions, and takes a pass over them
/// when it is not known yet. Others may have any.
bool IsView(const Base::ISurfelCollection& collection)
{
    return typeid(collection) == typeid(DataLayer::CSurfelCollectionView);
}

}  // namespace

CSurfelCutter::SResult::SResult() = default;
CSurfelCutter::SResult::SResult(SResult&&) noexcept = default;
CSurfelCutter::SResult& CSurfelCutter::SResult::operator=(SResult&&) noexcept = default;
CSurfelCutter::SResult::~SResult() = default;

CSurfelCutter::CSurfelCutter(std::vector<SCutRegion> regions, Reach reach, Side side)
    : m_regions(std::move(regions)), m_reach(reach), m_side(side)
{}

void CSurfelCutter::Invert(std::span<const Base::CSurfelBitMask> before,
                           std::span<Base::CSurfelBitMask> after)
{
    for (std::size_t index = 0; index < after.size(); ++index)
    {
        if (before.empty() || (before[index].bits & c_cut) == 0)
        {
            after[index].bits ^= c_cut;
        }
    }
}

CSurfelCutter::SResult CSurfelCutter::Apply(const Surfels& collection,
                                            std::span<const Base::CSurfelBitMask> flags,
                                            Answer answer) const
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
    RegionCutters cutters;
    for (const SCutRegion& region : m_regions)
    {
        cutters.emplace_back(region, m_reach, collection);
    }
    // Where the box is found on the way, all regions are taken to accept the collection until then.
    const bool isBoxOpen = IsView(*collection);
    if (!isBoxOpen)
    {
        RemoveRejecting(cutters, collection);
    }
    SResult result;
    if (answer == Answer::Flags)
    {
        Base::ResizeInLargePages(result.flags, count);
    }
    CBlocks blocks(collection, flags, m_side);
    blocks.Cut(cutters, answer, result);
    if (isBoxOpen &&
        RemoveRejecting(cutters, std::make_shared<CStandInCollection>(collection, blocks.GetBox())))
    {
        blocks.Cut(cutters, answer, result);
    }
    return result;
}

}  // namespace Application
