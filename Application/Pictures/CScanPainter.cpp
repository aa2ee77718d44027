#include "Application/Pictures/CScanPainter.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "Application/Pictures/Kernels/ProjectSurfelsKernels.h"
#include "Base/Math/PointTransform.h"

namespace Application
{

namespace
{

void setColumn(float (&target)[4], const LqMatrix4Rf& matrix, std::size_t column)
{
    for (std::size_t row = 0; row < 4; ++row)
    {
        target[row] = matrix(row, column);
    }
}

ProjectSurfelsKernel fastestKernel()
{
    static const ProjectSurfelsKernel fastest = GetProjectSurfelsKernels().front().project;
    return fastest;
}

}  // namespace

CScanPainter::CScanPainter(const CPictureProjection& projection,
                           const Base::ISurfelCollection& collection, const LqMatrix4Rd& trafo,
                           std::span<const Base::CSurfelBitMask> flags, std::uint32_t colorIndex,
                           bool hideCut)
    : m_positions(collection.GetReadAccessor<Base::CSCElementDefinitionPosition>()),
      m_normals(collection.HasNormals()
                    ? &collection.GetReadAccessor<Base::CSCElementDefinitionNormal>()
                    : nullptr),
      m_flags(flags),
      m_project(fastestKernel()),
      m_normalChain(projection.MakeNormalChain(trafo)),
      m_hideCut(hideCut),
      m_colorIndex(colorIndex)
{
    const LqMatrix4Rf chain = projection.MakeChain(trafo);
    for (std::size_t column = 0; column < 4; ++column)
    {
        setColumn(m_projection.clip[column], chain, column);
    }
    m_projection.width = projection.GetWidth();
    m_projection.height = projection.GetHeight();
    m_projection.isPerspective = projection.IsPerspective();
    for (std::uint32_t mark = 0; mark < m_bareWords.size(); ++mark)
    {
        m_bareWords[mark] = CDepthBuffer::Pack(0.0F, mark * c_numScanColors + colorIndex, {});
    }
}

void CScanPainter::Paint(std::uint64_t begin, std::uint64_t end, CDepthBuffer& buffer) const
{
    // In batches, because the projection is then free of jumps and the places in the buffer, which
    // are all over the memory, are asked for ahead of their use.
    SSurfelBatch batch{};
    for (std::uint64_t first = begin; first < end; first += SSurfelBatch::c_size)
    {
        batch.count =
            static_cast<std::uint32_t>(std::min<std::uint64_t>(SSurfelBatch::c_size, end - first));
        load(first, batch);
        m_project(m_projection, batch);
        for (std::uint32_t seen = 0; seen < batch.numSeen; ++seen)
        {
            buffer.Prefetch(batch.samples[seen]);
        }
        dropHidden(buffer, batch);
        draw(first, batch, buffer);
    }
}

void CScanPainter::load(std::uint64_t first, SSurfelBatch& batch) const
{
    const std::size_t stride = m_positions.GetStrideInBytes();
    const std::byte* element = m_positions.GetFirstElement() + first * stride;
    for (std::uint32_t index = 0; index < batch.count; ++index)
    {
        // Each by itself: a whole position would take the detour of the stack.
        std::memcpy(&batch.x[index], element, sizeof(float));
        std::memcpy(&batch.y[index], element + sizeof(float), sizeof(float));
        std::memcpy(&batch.z[index], element + 2 * sizeof(float), sizeof(float));
        element += stride;
    }
}

/// Leaves out what lies behind what has been drawn, without a jump that nobody could foresee.
void CScanPainter::dropHidden(CDepthBuffer& buffer, SSurfelBatch& batch)
{
    std::uint32_t numLeft = 0;
    for (std::uint32_t seen = 0; seen < batch.numSeen; ++seen)
    {
        const std::uint32_t sample = batch.samples[seen];
        const float depth = batch.depths[seen];
        batch.indices[numLeft] = batch.indices[seen];
        batch.samples[numLeft] = sample;
        batch.depths[numLeft] = depth;
        numLeft += buffer.CanWin(sample, depth) ? 1 : 0;
    }
    batch.numSeen = numLeft;
}

void CScanPainter::draw(std::uint64_t first, const SSurfelBatch& batch, CDepthBuffer& buffer) const
{
    for (std::uint32_t seen = 0; seen < batch.numSeen; ++seen)
    {
        const std::uint64_t index = first + batch.indices[seen];
        const EMark mark = markOf(index);
        if (m_hideCut && mark == EMark::Cut)
        {
            continue;
        }
        const float depth = batch.depths[seen];
        const auto number = static_cast<std::uint32_t>(mark);
        buffer.Draw(batch.samples[seen],
                    m_normals == nullptr
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
