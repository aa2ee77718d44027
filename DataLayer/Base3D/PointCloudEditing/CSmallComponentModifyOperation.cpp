#include "DataLayer/Base3D/PointCloudEditing/CSmallComponentModifyOperation.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <span>
#include <utility>

#include "Base/Interfaces/CGeometricEntityPacket.h"
#include "Base/Interfaces/IGeometricEntity.h"
#include "Base/Interfaces/IPointCloudSupport.h"
#include "Base/Interfaces/ISurfelCollection.h"
#include "Base/Math/PointTransform.h"
#include "Base/Support/CLogger.h"
#include "Base/Support/LargePages.h"
#include "Base/Support/ParallelFor.h"
#include "DataLayer/Base3D/PointCloudEditing/LogMessage.h"
#include "DataLayer/Base3D/PointCloudEditing/SFuserContent.h"
#include "DataLayer/PointCloud/CCompactSurfelPositionNormal.h"
#include "DataLayer/PointCloud/CDeferredNeighborSearch.h"
#include "DataLayer/PointCloud/CNearestNeighborSplit.h"
#include "DataLayer/PointCloud/CSurfelCollectionMinimal.h"
#include "DataLayer/PointCloud/QNormal.h"

namespace DataLayer
{

namespace
{

const Logging::CLogger c_logger(L"Veko2.CSmallComponentModifyOperation");

constexpr char c_file[] = "DataLayer/Base3D/PointCloudEditing/CSmallComponentModifyOperation";
constexpr char c_maskFunction[] =
    "DataLayer::CSmallComponentModifyOperation::computeMaskModification";

/// How far a fused point may be to count as a surfel's neighbour, in the unit of the fused points.
constexpr float c_searchBound = 2.25F;

using Base::CSurfelBitMask;
using PointBlocks = std::vector<std::shared_ptr<SFuserPointBlock>>;

std::span<const SFuserPointRecord> PointsOf(const SFuserPointBlock* block)
{
    return block != nullptr && block->first != nullptr
               ? std::span<const SFuserPointRecord>(block->first, block->count)
               : std::span<const SFuserPointRecord>();
}

std::uint64_t CountPoints(const PointBlocks& blocks)
{
    std::uint64_t numPoints = 0;
    for (const auto& block : blocks)
    {
        numPoints += PointsOf(block.get()).size();
    }
    return numPoints;
}

/// Where some of a block's points go.
struct SPart
{
    std::span<const SFuserPointRecord> points;
    CCompactSurfelPositionNormal* surfels;
};

/// Appends the points of all blocks, main ones first. Fused points have no normal that the search
/// would ask for; all get the same one.
void AppendPoints(const SFuserContent& content, std::uint64_t numPoints,
                  CSurfelCollectionMinimal& cloud)
{
    CCompactSurfelPositionNormal* next = cloud.AddSurfelsNoReset(numPoints);
    std::vector<SPart> parts;
    for (const PointBlocks* blocks : {&content.mainComponentBlocks, &content.smallComponentBlocks})
    {
        for (const auto& block : *blocks)
        {
            constexpr std::size_t c_partSize = 1U << 16U;
            std::span<const SFuserPointRecord> points = PointsOf(block.get());
            while (!points.empty())
            {
                const std::size_t size = std::min(c_partSize, points.size());
                parts.push_back({points.first(size), next});
                points = points.subspan(size);
                next += size;
            }
        }
    }
    const std::uint16_t normal = EncodeQNormal(0.0F, 0.0F, 1.0F);
    const auto copyPart = [&](std::uint32_t number) {
        CCompactSurfelPositionNormal* surfel = parts[number].surfels;
        for (const SFuserPointRecord& point : parts[number].points)
        {
            *surfel++ = {{point.x, point.y, point.z}, normal};
        }
    };
    Base::ParallelFor(static_cast<std::uint32_t>(parts.size()), copyPart);
}

/// A missing entity is never the same as another, not even as a missing one.
bool IsSameEntity(const Base::IGeometricEntity* a, const Base::IGeometricEntity* b)
{
    return a != nullptr && b != nullptr && a->GetID() == b->GetID();
}

/// The last fused point that counts as one of a main component: the first one behind them, on
/// purpose. Negative when none counts; the comparison is that of signed 32-bit numbers.
std::int32_t LastMainComponentPoint(std::uint64_t numMainComponentPoints)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(numMainComponentPoints));
}

const INearestNeighborSearch& SearchOf(const CSurfelCollectionMinimal& cloud)
{
    // The search stays valid without a hold on the support: both belong to the cloud.
    return *cloud.GetPointCloudSupport()->GetNearestNeighborSearch();
}

std::unique_ptr<const CNearestNeighborSplit> MakeSplit(const CSurfelCollectionMinimal& cloud,
                                                       std::uint64_t numMainComponentPoints)
{
    return CNearestNeighborSplit::Make(
        dynamic_cast<const CDeferredNeighborSearch&>(SearchOf(cloud)),
        LastMainComponentPoint(numMainComponentPoints), c_searchBound);
}

/// The surfels of an entity in the fuser's frame.
struct SScanData
{
    const Base::TElementAccessRead<Base::CSCElementDefinitionPosition>& positions;
    LqMatrix4Rf trafo;

    [[nodiscard]] LqVector3f PlaceOf(std::size_t index) const
    {
        return TransformPoint(trafo, positions.At(index));
    }
};

/// The words of an entity, which are copied only when one of them changes.
class CScanWords
{
public:
    /// The words of \p mask, or \p count empty ones where it has none.
    CScanWords(std::shared_ptr<const Base::CSurfelCollectionMask> mask, std::uint64_t count)
        : m_mask(std::move(mask))
    {
        if (m_mask == nullptr || m_mask->GetBitMasks().empty())
        {
            m_mask = nullptr;
            Base::ResizeInLargePages(m_changed, count);
        }
        m_words = m_mask == nullptr ? m_changed : m_mask->GetBitMasks();
    }

    [[nodiscard]] std::span<const CSurfelBitMask> Get() const { return m_words; }

    /// The words from the last call's end up to \p end, unchanged so far, to be changed in place.
    [[nodiscard]] std::span<CSurfelBitMask> Change(std::size_t end)
    {
        const auto added = m_words.subspan(m_end, end - m_end);
        m_end = end;
        if (m_mask != nullptr)
        {
            Base::ReserveInLargePages(m_changed, m_words.size());
            // Not by insert(), which goes word by word, since words have an initialiser.
            m_changed.resize(end);
            std::copy(added.begin(), added.end(), m_changed.end() - std::ssize(added));
        }
        return std::span(m_changed).subspan(end - added.size(), added.size());
    }

    [[nodiscard]] bool HaveChanged() const { return m_end != 0; }

    [[nodiscard]] std::vector<CSurfelBitMask> TakeChanged()
    {
        static_cast<void>(Change(m_words.size()));
        return std::move(m_changed);
    }

private:
    std::shared_ptr<const Base::CSurfelCollectionMask> m_mask;
    std::vector<CSurfelBitMask> m_changed;
    std::span<const CSurfelBitMask> m_words;
    std::size_t m_end = 0;  ///< Of those that Change() has handed out.
};

bool IsExcluded(CSurfelBitMask word)
{
    return (word.bits & CSurfelBitMask::SurfelFlagExcluded) != 0;
}

/// Asks the search for the neighbour of each of the first \p count surfels in turn.
void FlagByNeighbors(const SScanData& scan, const INearestNeighborSearch& search, std::int32_t last,
                     std::size_t count, CScanWords& words)
{
    for (std::size_t index = 0; index < count; ++index)
    {
        const CSurfelBitMask word = words.Get()[index];
        if (IsExcluded(word))
        {
            continue;
        }
        const std::int32_t neighbor =
            search.FindNearestNeighbor(scan.PlaceOf(index), c_searchBound, nullptr);
        const bool isSmallComponent = neighbor < 0 || neighbor > last;
        const bool wasSmallComponent = (word.bits & CSurfelBitMask::SurfelFlagSmallComponent) != 0;
        if (isSmallComponent != wasSmallComponent)
        {
            words.Change(index + 1).back().bits ^= CSurfelBitMask::SurfelFlagSmallComponent;
        }
    }
}

/// SurfelFlagSmallComponent when \p word has to change for what \p state tells of the surfel's
/// neighbour, else 0.
std::uint16_t ChangeOf(CSurfelBitMask word, std::uint16_t state)
{
    constexpr int c_small = CSurfelBitMask::SurfelFlagSmallComponent;
    constexpr int c_fromSmallToExcluded = 3;
    static_assert(int{NeighborCells::c_notAmong} == c_small);
    static_assert(CSurfelBitMask::SurfelFlagExcluded == c_small << c_fromSmallToExcluded);
    const int changed = (word.bits ^ state) & ~(word.bits >> c_fromSmallToExcluded);
    return static_cast<std::uint16_t>(changed & c_small);
}

/// Writes the states of the surfels \p open behind the surfel \p first, but for excluded ones.
void TellOpen(const SScanData& scan, const CNearestNeighborSplit& split, std::size_t first,
              std::span<const std::uint32_t> open, std::span<const CSurfelBitMask> words,
              std::uint16_t* states)
{
    while (!open.empty())
    {
        LqVector3f places[CNearestNeighborSplit::c_mostFetched];
        const auto some = open.first(std::min(open.size(), std::size(places)));
        for (std::size_t number = 0; number < some.size(); ++number)
        {
            places[number] = scan.PlaceOf(first + some[number]);
        }
        split.Fetch(std::span(places, some.size()));
        for (std::size_t number = 0; number < some.size(); ++number)
        {
            if (!IsExcluded(words[some[number]]))
            {
                states[some[number]] = split.IsAmongFirst(places[number])
                                           ? NeighborCells::c_amongFirst
                                           : NeighborCells::c_notAmong;
            }
        }
        open = open.subspan(some.size());
    }
}

/// Looks up what is known around the first \p count surfels, and asks for those that stay open one
/// by one.
void FlagBySplit(const SScanData& scan, const CNearestNeighborSplit& split, std::size_t count,
                 CScanWords& words)
{
    constexpr std::size_t c_blockSize = 1024;
    constexpr std::size_t c_wordsPerLine = 64 / sizeof(CSurfelBitMask);
    std::uint16_t states[c_blockSize];
    // A kernel may write a whole register at the end of the list each time. Across the end of a
    // page that takes long, so there is none near the beginning; few lists get beyond it.
    alignas(512) std::uint32_t open[c_blockSize];
    const NeighborCells::SPlacement placement = split.MakePlacement(scan.trafo);
    const std::size_t stride = scan.positions.GetStrideInBytes();
    for (std::size_t first = 0; first < count; first += c_blockSize)
    {
        const std::size_t size = std::min(c_blockSize, count - first);
        const auto old = words.Get().subspan(first, size);
        // The next ones' are on their way while these surfels are looked up.
        const auto behind = words.Get().subspan(first + size);
        const auto next = behind.first(std::min(c_blockSize, behind.size()));
        for (std::size_t index = 0; index < next.size(); index += c_wordsPerLine)
        {
            __builtin_prefetch(&next[index], 0, 2);
        }
        const std::size_t numOpen =
            split.Look({scan.positions.GetFirstElement() + first * stride, stride, size}, placement,
                       states, open);
        TellOpen(scan, split, first, std::span(open, numOpen), old, states);
        // Plain loops over words, which become vector code; after most updates no word changes.
        if (!words.HaveChanged())
        {
            std::uint16_t changes = 0;
            for (std::size_t index = 0; index < size; ++index)
            {
                changes |= ChangeOf(old[index], states[index]);
            }
            if (changes == 0)
            {
                continue;
            }
        }
        const auto changed = words.Change(first + size).last(size);
        for (std::size_t index = 0; index < size; ++index)
        {
            changed[index].bits ^= ChangeOf(changed[index], states[index]);
        }
    }
}

}  // namespace

CSmallComponentModifyOperation::CSmallComponentModifyOperation(
    std::shared_ptr<const SFuserContent>& fuserContent)
    : m_fuserContent(fuserContent)
{
    computeNNSupportStructures();
}

CSmallComponentModifyOperation::~CSmallComponentModifyOperation() = default;

Base::CEntityMapModifyBatch CSmallComponentModifyOperation::ComputeModifications(
    const Base::CEntityMapSyncBatch& syncBatch) const
{
    Base::CEntityMapModifyBatch batch;
    batch.origin = L"CSmallComponentModifyOperation";
    if (m_fuserContent == nullptr || m_nnCloud == nullptr || m_numMainComponentPoints == 0)
    {
        return batch;
    }
    std::vector<Base::CEntityMapModifyMessage> messages;
    for (const Base::CEntityMapSyncEntry& entry : syncBatch.GetEntries())
    {
        const auto found = m_fuserContent->packets.find(entry.key);
        if (found == m_fuserContent->packets.end())
        {
            return batch;
        }
        const Base::CEntityTrafoMaskPacket& fuserPacket = found->second;
        const Base::CEntityMapValue& value = entry.value.GetValue();
        if (!IsSameEntity(fuserPacket.GetEntity().get(), value.entity.get()))
        {
            return batch;
        }
        // The scan data is examined in the fuser's frame, not in the map's.
        const Base::CGeometricEntityPacket packet(value.entity, fuserPacket.GetTrafo(), value.mask,
                                                  value.optimizationLevel);
        computeMaskModification(entry.key, Base::CEntityTrafoMaskPacket(packet), messages);
    }
    batch.messages = std::move(messages);
    return batch;
}

void CSmallComponentModifyOperation::computeNNSupportStructures()
{
    const std::uint64_t numSmallComponentPoints =
        m_fuserContent == nullptr ? 0 : CountPoints(m_fuserContent->smallComponentBlocks);
    if (numSmallComponentPoints == 0)
    {
        reset();
        return;
    }
    // First, since two clouds may not fit the memory.
    m_split.reset();
    m_nnCloud.reset();
    auto cloud = std::make_unique<CSurfelCollectionMinimal>();
    const std::uint64_t numMainComponentPoints = CountPoints(m_fuserContent->mainComponentBlocks);
    // Room for the main points only, on purpose, although the small components' follow.
    cloud->Reserve(numMainComponentPoints);
    AppendPoints(*m_fuserContent, numMainComponentPoints + numSmallComponentPoints, *cloud);
    // Few surfels, if any, are asked of the index once the space around it is split.
    cloud->ForceUpdateButIndex();
    // Added on purpose to what a former build left.
    m_split = MakeSplit(*cloud, m_numMainComponentPoints + numMainComponentPoints);
    m_nnCloud = std::move(cloud);
    m_numMainComponentPoints += numMainComponentPoints;
}

void CSmallComponentModifyOperation::reset()
{
    m_split.reset();
    m_nnCloud.reset();
    m_numMainComponentPoints = 0;
}

std::shared_ptr<Base::CSurfelCollectionMask>
CSmallComponentModifyOperation::removeSmallComponentsInScanData(
    const Base::CEntityTrafoMaskPacket& packet) const
{
    const INearestNeighborSearch& search = SearchOf(*m_nnCloud);
    const LqMatrix4Rf trafo(packet.GetTrafo());
    const auto collection = packet.GetEntity()->GetSurfelCollection(true);
    CScanWords words(packet.GetSurfelCollectionMask(), collection->GetCount());
    // Surfels are counted modulo 2^32.
    const auto count = static_cast<std::uint32_t>(collection->GetCount());
    const SScanData scan{collection->GetReadAccessor<Base::CSCElementDefinitionPosition>(), trafo};
    const std::size_t end = std::min<std::size_t>(count, words.Get().size());
    if (m_split != nullptr)
    {
        FlagBySplit(scan, *m_split, end, words);
    }
    else
    {
        FlagByNeighbors(scan, search, LastMainComponentPoint(m_numMainComponentPoints), end, words);
    }
    return words.HaveChanged() ? std::make_shared<Base::CSurfelCollectionMask>(words.TakeChanged())
                               : nullptr;
}

void CSmallComponentModifyOperation::computeMaskModification(
    const Base::CUniqueID& key, const Base::CEntityTrafoMaskPacket& packet,
    std::vector<Base::CEntityMapModifyMessage>& messages) const
{
    VEKO2_LOG(c_logger, Info, c_file, 83, c_maskFunction, L"Compute mask modifications.");
    std::shared_ptr<const Base::CSurfelCollectionMask> mask =
        removeSmallComponentsInScanData(packet);
    if (mask == nullptr)
    {
        VEKO2_LOG(c_logger, Debug, c_file, 98, c_maskFunction, L"Nothing to do for update of [%s]",
                  key.AsString().c_str());
        return;
    }
    VEKO2_LOG(c_logger, Debug, c_file, 89, c_maskFunction,
              L"Remove small components after update of [%s]", key.AsString().c_str());
    Base::CEntityMapPartialValue oldState;
    oldState.entity.Emplace(packet.GetEntity());
    Base::CEntityMapPartialValue newState;
    newState.mask.Emplace(std::move(mask));
    newState.flag.Emplace(true);
    messages.emplace_back(key).SetModify(std::move(oldState), std::move(newState));
}

}  // namespace DataLayer
