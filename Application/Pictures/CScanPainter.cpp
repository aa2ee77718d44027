#include "Application/Pictures/CScanPainter.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <optional>
#include <utility>

#include "Application/Pictures/RowBands.h"
#include "Base/Support/ParallelFor.h"

namespace Application
{

namespace
{

void SetColumn(float (&target)[4], const LqMatrix4Rf& matrix, std::size_t column)
{
    for (std::size_t row = 0; row < 4; ++row)
    {
        target[row] = matrix(row, column);
    }
}

/// Surfels in a row mostly lie side by side in the picture, too: who draws many of them in a row
/// finds their samples in the cache.
constexpr std::uint64_t c_chunkSurfels = 131072;
/// Few enough for their samples to stay in a core's own cache, wherever these lie in the picture.
constexpr std::uint64_t c_runSurfels = 8192;
/// More threads would wait for the memory.
constexpr std::uint64_t c_maxPainters = 8;
/// Of all buffers together, a gigabyte; two of them are needed for any picture.
constexpr std::uint64_t c_maxSamples = std::uint64_t{1} << 27U;
constexpr std::size_t c_leastBuffers = 2;

/// Some of a scan's surfels.
struct SChunk
{
    const CScanPainter* painter;
    std::uint64_t begin;
    std::uint64_t end;
};

/// All that \p buffers have of the picture's rows \p begin to \p end - 1 comes into the first.
void JoinRows(std::vector<CDepthBuffer>& buffers, std::uint32_t begin, std::uint32_t end)
{
    CDepthBuffer& nearest = buffers.front();
    for (std::size_t buffer = 1; buffer < buffers.size(); ++buffer)
    {
        for (std::size_t index = nearest.IndexOf(0, begin); index < nearest.IndexOf(0, end);
             ++index)
        {
            nearest.Draw(index, buffers[buffer].Get(index));
        }
    }
}

void JoinRows(std::vector<CDepthPlane>& planes, std::uint32_t begin, std::uint32_t end)
{
    for (std::size_t plane = 1; plane < planes.size(); ++plane)
    {
        planes.front().Join(planes[plane], begin, end);
    }
}

/// Copies of some positions: behind a scan's last one there may be nothing to read.
class CCopiedPositions
{
public:
    /// Of at most SSeenSurfels::c_size \p positions; they last until the next call.
    [[nodiscard]] SSurfelPositions Copy(const SSurfelPositions& positions)
    {
        constexpr std::size_t c_positionBytes = 3 * sizeof(float);
        auto* const bytes = reinterpret_cast<std::byte*>(m_copies.data());
        for (std::size_t index = 0; index < positions.count; ++index)
        {
            std::memcpy(bytes + index * c_positionBytes, positions.first + index * positions.stride,
                        c_positionBytes);
        }
        return {bytes, c_positionBytes, positions.count};
    }

private:
    static_assert(SSeenSurfels::c_size % SSurfelPositions::c_multiple == 0);
    /// With room for what is read behind the last one.
    std::array<float, 3 * SSeenSurfels::c_size + 1> m_copies{};
};

const SProjectSurfelsKernels& FastestKernels()
{
    static const SProjectSurfelsKernels fastest = GetProjectSurfelsKernels().front();
    return fastest;
}

}  // namespace

CScanPainter::CScanPainter(const CPictureProjection& projection,
                           const Base::ISurfelCollection& collection, const LqMatrix4Rd& trafo,
                           std::span<const Base::CSurfelBitMask> flags, std::uint32_t colorIndex,
                           bool hideCut)
    : m_count(collection.GetCount()),
      m_positions(collection.GetReadAccessor<Base::CSCElementDefinitionPosition>()),
      m_normals(collection.HasNormals()
                    ? &collection.GetReadAccessor<Base::CSCElementDefinitionNormal>()
                    : nullptr),
      m_flags(flags),
      m_kernels(FastestKernels()),
      m_normalCodes(projection.MakeNormalChain(trafo)),
      m_hideCut(hideCut),
      m_colorIndex(colorIndex)
{
    const LqMatrix4Rf chain = projection.MakeChain(trafo);
    for (std::size_t column = 0; column < 4; ++column)
    {
        SetColumn(m_projection.clip[column], chain, column);
    }
    m_projection.width = projection.GetWidth();
    m_projection.height = projection.GetHeight();
    m_projection.isPerspective = projection.IsPerspective();
    for (std::uint32_t mark = 0; mark < m_bareWords.size(); ++mark)
    {
        m_bareWords[mark] = CDepthBuffer::Pack(0.0F, mark * c_numScanColors + colorIndex, {});
    }
}

CScanPainter::SPainting CScanPainter::PaintAll(const std::vector<CScanPainter>& painters,
                                               const CPictureProjection& projection,
                                               std::uint32_t border)
{
    const std::uint32_t width = projection.GetWidth();
    const std::uint32_t height = projection.GetHeight();
    const bool isBare =
        std::all_of(painters.begin(), painters.end(), [&](const CScanPainter& painter) {
            return painter.m_normals == nullptr && painter.m_flags.empty() &&
                   painter.m_colorIndex == painters.front().m_colorIndex;
        });
    if (isBare)
    {
        const std::uint64_t word = painters.empty() ? 0 : painters.front().m_bareWords.front();
        std::vector<CDepthPlane> planes =
            paintAll(painters, height, width, [&] { return CDepthPlane(width, height, border); });
        return {CPointSamples(std::move(planes.front()), word), std::nullopt};
    }
    std::vector<CDepthBuffer> buffers =
        paintAll(painters, height, width, [&] { return CDepthBuffer(width, height); });
    std::optional<CDepthBuffer> spare;
    for (; buffers.size() > 1; buffers.pop_back())
    {
        spare = std::move(buffers.back());
    }
    return {CPointSamples(std::move(buffers.front()), border), std::move(spare)};
}

template <typename MakeBuffer>
std::vector<std::invoke_result_t<MakeBuffer>> CScanPainter::paintAll(
    const std::vector<CScanPainter>& painters, std::uint32_t height, std::uint32_t width,
    const MakeBuffer& makeBuffer)
{
    using Buffer = std::invoke_result_t<MakeBuffer>;
    std::vector<SChunk> chunks;
    std::uint64_t numSurfels = 0;
    for (const CScanPainter& painter : painters)
    {
        numSurfels += painter.m_count;
        for (std::uint64_t begin = 0; begin < painter.m_count; begin += c_chunkSurfels)
        {
            chunks.push_back({&painter, begin, std::min(painter.m_count, begin + c_chunkSurfels)});
        }
    }
    // Each thread draws into a buffer of its own, because one for all of them would have to be
    // locked for every surfel. Since the nearest wins, it does not matter who draws what.
    // For fewer surfels than samples, clearing and joining them takes longer than drawing.
    const std::uint64_t numSamples = std::uint64_t{width} * height;
    const std::uint64_t mostBuffers =
        std::clamp<std::uint64_t>(c_maxSamples / numSamples, c_leastBuffers, c_maxPainters);
    const std::uint64_t numBuffers =
        std::clamp<std::uint64_t>(numSurfels / numSamples, 1, mostBuffers);
    std::array<std::optional<Buffer>, c_maxPainters> buffers;
    std::atomic<std::size_t> numTaken = 0;
    Base::ParallelFor(static_cast<std::uint32_t>(numBuffers), [&](std::uint32_t buffer) {
        for (std::size_t next = numTaken++; next < chunks.size(); next = numTaken++)
        {
            if (!buffers[buffer].has_value())
            {
                buffers[buffer].emplace(makeBuffer());
            }
            const SChunk& chunk = chunks[next];
            chunk.painter->Paint(chunk.begin, chunk.end, *buffers[buffer]);
        }
    });
    std::vector<Buffer> drawn;
    for (std::optional<Buffer>& buffer : buffers)
    {
        if (buffer.has_value())
        {
            drawn.push_back(*std::move(buffer));
        }
    }
    if (drawn.empty())
    {
        drawn.push_back(makeBuffer());
    }
    ForEachBand(height,
                [&](std::uint32_t begin, std::uint32_t end) { JoinRows(drawn, begin, end); });
    return drawn;
}

void CScanPainter::Paint(std::uint64_t begin, std::uint64_t end, CDepthBuffer& buffer) const
{
    if (m_normals == nullptr)
    {
        forEachBatch(begin, end, buffer.GetWidth(),
                     [&](std::uint64_t first, const SSeenSurfels& batch) {
                         drawBare(first, batch, buffer);
                     });
        return;
    }
    const std::uint64_t mostSeen = std::min(end - begin, c_runSurfels);
    const auto seen = std::make_unique_for_overwrite<SSeen[]>(mostSeen);
    for (std::uint64_t first = begin; first < end; first += c_runSurfels)
    {
        drawWithNormals(first, std::min(end, first + c_runSurfels), {seen.get(), mostSeen}, buffer);
    }
}

void CScanPainter::Paint(std::uint64_t begin, std::uint64_t end, CDepthPlane& plane) const
{
    // Drawing uses what a plane has behind its rows.
    static_assert(SSampleRows::c_margin >= SSeenSurfels::c_margin);
    SSurfelProjection projection = m_projection;
    projection.stride = static_cast<std::uint32_t>(plane.GetStride());
    const std::uint64_t endInPlace = begin + countInPlace(begin, end);
    for (std::uint64_t first = begin; first < endInPlace; first += c_chunkSurfels)
    {
        const std::uint64_t count = std::min(c_chunkSurfels, endInPlace - first);
        m_kernels.draw(projection, positionsOf(first, count), plane.GetFirst());
    }
    CCopiedPositions copies;
    for (std::uint64_t first = endInPlace; first < end; first += SSeenSurfels::c_size)
    {
        const std::uint64_t count = std::min<std::uint64_t>(SSeenSurfels::c_size, end - first);
        m_kernels.draw(projection, copies.Copy(positionsOf(first, count)), plane.GetFirst());
    }
}

template <typename Draw>
void CScanPainter::forEachBatch(std::uint64_t begin, std::uint64_t end, std::size_t stride,
                                const Draw& draw) const
{
    SSurfelProjection projection = m_projection;
    projection.stride = static_cast<std::uint32_t>(stride);
    // In batches, because projection and drawing are then free of jumps.
    SSeenSurfels seen;
    CCopiedPositions copies;
    const std::uint64_t endInPlace = begin + countInPlace(begin, end);
    for (std::uint64_t first = begin; first < end; first += SSeenSurfels::c_size)
    {
        const std::uint64_t count = std::min<std::uint64_t>(SSeenSurfels::c_size, end - first);
        const SSurfelPositions positions = positionsOf(first, count);
        m_kernels.project(projection, first < endInPlace ? positions : copies.Copy(positions),
                          seen);
        draw(first, seen);
    }
}

std::uint64_t CScanPainter::countInPlace(std::uint64_t begin, std::uint64_t end) const
{
    // Four bytes behind a position are somebody's where another one follows; below a stride of four
    // bytes more than one position must.
    const std::uint64_t last = std::min(end, m_count - 1);
    return m_positions.GetStrideInBytes() < sizeof(float) || last < begin
               ? 0
               : (last - begin) / SSeenSurfels::c_size * SSeenSurfels::c_size;
}

SSurfelPositions CScanPainter::positionsOf(std::uint64_t first, std::uint64_t count) const
{
    const std::size_t stride = m_positions.GetStrideInBytes();
    return {m_positions.GetFirstElement() + first * stride, stride,
            static_cast<std::uint32_t>(count)};
}

void CScanPainter::drawBare(std::uint64_t first, const SSeenSurfels& batch,
                            CDepthBuffer& buffer) const
{
    for (std::uint32_t seen = 0; seen < batch.count; ++seen)
    {
        const EMark mark = m_flags.empty() ? EMark::None : markOf(first + batch.indices[seen]);
        if (m_hideCut && mark == EMark::Cut)
        {
            continue;
        }
        buffer.Draw(batch.samples[seen],
                    CDepthBuffer::WithDepth(m_bareWords[static_cast<std::uint32_t>(mark)],
                                            batch.depths[seen]));
    }
}

void CScanPainter::drawWithNormals(std::uint64_t begin, std::uint64_t end, std::span<SSeen> seen,
                                   CDepthBuffer& buffer) const
{
    // First the depths of all, since most surfels lie behind others of the run where a scan is
    // dense: nobody asks for their normals then. Below a depth comes the largest word: that of the
    // surfel there, which is among those that may win, is smaller and replaces it.
    std::size_t numSeen = 0;
    forEachBatch(
        begin, end, buffer.GetWidth(), [&](std::uint64_t first, const SSeenSurfels& batch) {
            for (std::uint32_t each = 0; each < batch.count; ++each)
            {
                const std::uint64_t index = first + batch.indices[each];
                if (m_hideCut && markOf(index) == EMark::Cut)
                {
                    continue;
                }
                seen[numSeen++] = {static_cast<std::uint32_t>(index - begin), batch.samples[each],
                                   batch.depths[each]};
                buffer.Draw(batch.samples[each],
                            CDepthBuffer::WithDepth(CDepthBuffer::c_empty, batch.depths[each]));
            }
        });
    std::size_t numNearest = 0;
    for (std::size_t each = 0; each < numSeen; ++each)
    {
        const SSeen surfel = seen[each];
        seen[numNearest] = surfel;
        numNearest += buffer.CanWin(surfel.sample, surfel.depth) ? 1 : 0;
    }
    for (std::size_t first = 0; first < numNearest; first += CNormalCodes::c_size)
    {
        drawNormals(
            begin,
            seen.subspan(first, std::min<std::size_t>(CNormalCodes::c_size, numNearest - first)),
            buffer);
    }
}

void CScanPainter::drawNormals(std::uint64_t first, std::span<const SSeen> seen,
                               CDepthBuffer& buffer) const
{
    CNormalCodes::SNormals normals{};
    for (std::size_t each = 0; each < seen.size(); ++each)
    {
        const LqVector3f normal = m_normals->At(first + seen[each].index);
        normals.x[each] = normal.x;
        normals.y[each] = normal.y;
        normals.z[each] = normal.z;
    }
    std::array<std::uint32_t, CNormalCodes::c_size> codes;
    m_normalCodes.Find(normals, static_cast<std::uint32_t>(seen.size()), codes);
    for (std::size_t each = 0; each < seen.size(); ++each)
    {
        const auto& [index, sample, depth] = seen[each];
        const auto mark = static_cast<std::uint32_t>(markOf(first + index));
        const std::uint64_t word = CDepthBuffer::WithDepth(m_bareWords[mark], depth);
        buffer.Draw(sample, CDepthBuffer::WithNormalCode(word, codes[each]));
    }
}

CScanPainter::EMark CScanPainter::markOf(std::uint64_t index) const
{
    if (index >= m_flags.size())
    {
        return EMark::None;
    }
    const std::uint16_t bits = m_flags[index].bits;
    if ((bits & Base::CSurfelBitMask::SurfelFlagCut) != 0)
    {
        return EMark::Cut;
    }
    return (bits & Base::CSurfelBitMask::SurfelFlagSmallComponent) != 0 ? EMark::SmallComponent
                                                                        : EMark::None;
}

}  // namespace Application
