#include "Application/Pictures/CScanPainter.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "Application/Pictures/Lanes.h"
#include "Base/Math/PointTransform.h"

namespace Application
{

namespace
{

constexpr std::uint32_t c_batchSize = 256;
static_assert(c_batchSize % c_numLanes == 0);

/// One coordinate of several positions times a column of a matrix; each lane as in
/// TransformHomogeneous().
class CColumn
{
public:
    CColumn(const LqMatrix4Rf& matrix, std::size_t column)
        : m_x(FillLanes(matrix(0, column))),
          m_y(FillLanes(matrix(1, column))),
          m_z(FillLanes(matrix(2, column))),
          m_one(FillLanes(matrix(3, column)))
    {}

    [[nodiscard]] Lanes Transform(Lanes x, Lanes y, Lanes z) const
    {
        return ((x * m_x + y * m_y) + z * m_z) + m_one;
    }

private:
    Lanes m_x;
    Lanes m_y;
    Lanes m_z;
    Lanes m_one;
};

}  // namespace

/// Surfels on their way into the picture. In batches, because the projection is then free of jumps
/// and the places in the buffer, which are all over the memory, are asked for ahead of their use.
struct CScanPainter::SBatch
{
    std::uint32_t count = 0;
    std::array<float, c_batchSize> x{};
    std::array<float, c_batchSize> y{};
    std::array<float, c_batchSize> z{};
    /// Those that are seen: which of the batch they are, where, and how far.
    std::uint32_t numSeen = 0;
    std::array<std::uint32_t, c_batchSize> indices;
    std::array<std::uint32_t, c_batchSize> samples;
    std::array<float, c_batchSize> depths;
};

CScanPainter::CScanPainter(const CPictureProjection& projection,
                           const Base::ISurfelCollection& collection, const LqMatrix4Rd& trafo,
                           std::span<const Base::CSurfelBitMask> flags, std::uint32_t colorIndex,
                           bool hideCut)
    : m_positions(collection.GetReadAccessor<Base::CSCElementDefinitionPosition>()),
      m_normals(collection.HasNormals()
                    ? &collection.GetReadAccessor<Base::CSCElementDefinitionNormal>()
                    : nullptr),
      m_flags(flags),
      m_chain(projection.MakeChain(trafo)),
      m_normalChain(projection.MakeNormalChain(trafo)),
      m_width(projection.GetWidth()),
      m_height(projection.GetHeight()),
      m_isPerspective(projection.IsPerspective()),
      m_hideCut(hideCut),
      m_colorIndex(colorIndex)
{
    for (std::uint32_t mark = 0; mark < m_bareWords.size(); ++mark)
    {
        m_bareWords[mark] = CDepthBuffer::Pack(0.0F, mark * c_numScanColors + colorIndex, {});
    }
}

void CScanPainter::Paint(std::uint64_t begin, std::uint64_t end, CDepthBuffer& buffer) const
{
    SBatch batch;
    for (std::uint64_t first = begin; first < end; first += c_batchSize)
    {
        batch.count = static_cast<std::uint32_t>(std::min<std::uint64_t>(c_batchSize, end - first));
        load(first, batch);
        project(batch);
        for (std::uint32_t seen = 0; seen < batch.numSeen; ++seen)
        {
            buffer.Prefetch(batch.samples[seen]);
        }
        draw(first, batch, buffer);
    }
}

void CScanPainter::load(std::uint64_t first, SBatch& batch) const
{
    const std::size_t stride = m_positions.GetStrideInBytes();
    const std::byte* element = m_positions.GetFirstElement() + first * stride;
    for (std::uint32_t index = 0; index < batch.count; ++index)
    {
        float position[3];
        std::memcpy(position, element, sizeof position);
        batch.x[index] = position[0];
        batch.y[index] = position[1];
        batch.z[index] = position[2];
        element += stride;
    }
}

void CScanPainter::project(SBatch& batch) const
{
    using Integers = std::int32_t __attribute__((vector_size(sizeof(Lanes))));
    const CColumn clipX(m_chain, 0);
    const CColumn clipY(m_chain, 1);
    const CColumn clipZ(m_chain, 2);
    const CColumn clipW(m_chain, 3);
    const Lanes zero{};
    const Lanes one = FillLanes(1.0F);
    const Lanes width = FillLanes(static_cast<float>(m_width));
    const Lanes height = FillLanes(static_cast<float>(m_height));
    const Lanes halfWidth = FillLanes(0.5F) * width;
    const Lanes halfHeight = FillLanes(0.5F) * height;
    batch.numSeen = 0;
    // Behind the last surfel the batch holds older ones, which are not looked at.
    for (std::uint32_t first = 0; first < batch.count; first += c_numLanes)
    {
        const Lanes positionX = LoadLanes(&batch.x[first]);
        const Lanes positionY = LoadLanes(&batch.y[first]);
        const Lanes positionZ = LoadLanes(&batch.z[first]);
        const Lanes w = clipW.Transform(positionX, positionY, positionZ);
        const Lanes perW = one / w;
        const Lanes z = clipZ.Transform(positionX, positionY, positionZ) * perW;
        const Lanes x = (clipX.Transform(positionX, positionY, positionZ) * perW + one) * halfWidth;
        const Lanes y =
            (one - clipY.Transform(positionX, positionY, positionZ) * perW) * halfHeight;
        // Also false for what is not a number.
        const LaneMask isVisible = (w > zero) & (z >= zero) & (z <= one) & (x >= zero) &
                                   (x < width) & (y >= zero) & (y < height);
        const Integers columns = __builtin_convertvector(isVisible ? x : zero, Integers);
        const Integers rows = __builtin_convertvector(isVisible ? y : zero, Integers);
        // Adding 0 turns the negative zero, whose bits would sort last, into the positive one.
        const Lanes depths = (m_isPerspective ? w : z) + zero;
        const std::uint32_t numLanes = std::min(c_numLanes, batch.count - first);
        for (std::uint32_t lane = 0; lane < numLanes; ++lane)
        {
            batch.indices[batch.numSeen] = first + lane;
            batch.samples[batch.numSeen] = static_cast<std::uint32_t>(rows[lane]) * m_width +
                                           static_cast<std::uint32_t>(columns[lane]);
            batch.depths[batch.numSeen] = depths[lane];
            batch.numSeen += isVisible[lane] != 0 ? 1 : 0;
        }
    }
}

void CScanPainter::draw(std::uint64_t first, SBatch& batch, CDepthBuffer& buffer) const
{
    for (std::uint32_t seen = 0; seen < batch.numSeen; ++seen)
    {
        const std::uint32_t sample = batch.samples[seen];
        const float depth = batch.depths[seen];
        if (!buffer.CanWin(sample, depth))
        {
            continue;
        }
        const std::uint64_t index = first + batch.indices[seen];
        const EMark mark = markOf(index);
        if (m_hideCut && mark == EMark::Cut)
        {
            continue;
        }
        const auto number = static_cast<std::uint32_t>(mark);
        buffer.Draw(sample, m_normals == nullptr
                                ? CDepthBuffer::WithDepth(m_bareWords[number], depth)
                                : CDepthBuffer::Pack(depth, number * c_numScanColors + m_colorIndex,
                                                     makeNormal(index)));
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

/// The normal along the picture axes, turned towards the viewer.
CDepthBuffer::SNormal CScanPainter::makeNormal(std::uint64_t index) const
{
    const LqVector3f own = m_normals->At(index);
    const auto normal = TransformHomogeneous(m_normalChain, own.x, own.y, own.z);
    const float length =
        std::sqrt((normal.x * normal.x + normal.y * normal.y) + normal.z * normal.z);
    if (!(length > 0.0F && std::isfinite(length)))
    {
        return {};
    }
    const float scale = (normal.z < 0.0F ? -1.0F : 1.0F) / length;
    return {normal.x * scale, normal.y * scale, normal.z * scale, true};
}

}  // namespace Application
