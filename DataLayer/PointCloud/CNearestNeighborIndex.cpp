#include "DataLayer/PointCloud/CNearestNeighborIndex.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <stdexcept>
#include <string>

#include "Base/Support/LargePages.h"
#include "Base/Support/ParallelFor.h"
#include "DataLayer/PointCloud/CNearestNeighborTreeBuilder.h"
#include "DataLayer/PointCloud/Kernels/NearestNeighborKernels.h"

namespace DataLayer
{

using NearestNeighbor::c_fanOut;
using NearestNeighbor::SNeighbor;
using NearestNeighbor::SRecord;

namespace
{

bool IsFinite(const LqVector3f& point)
{
    return std::isfinite(point.x) && std::isfinite(point.y) && std::isfinite(point.z);
}

NearestNeighbor::FindFunction FindKernel(std::string_view name)
{
    for (const NearestNeighbor::SKernel& kernel : NearestNeighbor::GetKernels())
    {
        if (name.empty() || name == kernel.name)
        {
            return kernel.find;
        }
    }
    throw std::invalid_argument("This processor has no nearest-neighbour kernel " +
                                std::string(name));
}

/// The finite positions of a collection, taken over in blocks that threads share.
class CFinitePositions
{
public:
    CFinitePositions(const SPositionArray& positions)
        : m_positions(positions),
          m_firstOfBlock((positions.count + c_blockSize - 1) / c_blockSize + 1)
    {
        Base::ParallelFor(blockCount(), [this](std::uint32_t block) {
            std::uint64_t finite = 0;
            forEachFinite(block, [&finite](std::uint64_t, const LqVector3f&) { ++finite; });
            m_firstOfBlock[block + 1] = finite;
        });
        std::partial_sum(m_firstOfBlock.begin(), m_firstOfBlock.end(), m_firstOfBlock.begin());
    }

    [[nodiscard]] std::uint64_t GetCount() const { return m_firstOfBlock.back(); }

    void CopyTo(SRecord* records) const
    {
        Base::ParallelFor(blockCount(), [this, records](std::uint32_t block) {
            SRecord* next = records + m_firstOfBlock[block];
            forEachFinite(block, [&next](std::uint64_t index, const LqVector3f& position) {
                *next++ = {{position.x, position.y, position.z}, static_cast<std::uint32_t>(index)};
            });
        });
    }

private:
    static constexpr std::uint64_t c_blockSize = 1U << 15U;

    [[nodiscard]] std::uint32_t blockCount() const
    {
        return static_cast<std::uint32_t>(m_firstOfBlock.size() - 1);
    }

    template <typename Body>
    void forEachFinite(std::uint32_t block, const Body& body) const
    {
        const std::uint64_t first = block * c_blockSize;
        const std::uint64_t end = std::min(first + c_blockSize, m_positions.count);
        for (std::uint64_t index = first; index < end; ++index)
        {
            const LqVector3f position = m_positions[index];
            if (IsFinite(position))
            {
                body(index, position);
            }
        }
    }

    const SPositionArray m_positions;
    std::vector<std::uint64_t> m_firstOfBlock;
};

}  // namespace

CNearestNeighborIndex::CNearestNeighborIndex(const SPositionArray& positions,
                                             std::string_view kernel)
    : m_find(FindKernel(kernel))
{
    if (positions.count > c_maximumCount)
    {
        throw std::length_error("A cloud of more than 2^31 - 1 surfels cannot be searched.");
    }
    const CFinitePositions finite(positions);
    if (finite.GetCount() == 0)
    {
        return;
    }
    Base::ResizeInLargePages(m_leaves, (finite.GetCount() + c_fanOut - 1) / c_fanOut);
    finite.CopyTo(m_leaves.data()->records);
    m_tree = CNearestNeighborTreeBuilder(m_leaves, finite.GetCount(), m_nodes).Build();
}

CNearestNeighborIndex::~CNearestNeighborIndex() = default;

std::int32_t CNearestNeighborIndex::FindNearestNeighbor(const LqVector3f& point, float bound,
                                                        const void* /*reserved*/) const
{
    if (m_leaves.empty() || !IsFinite(point) || !(bound >= 0.0F))
    {
        return -1;
    }
    // A point at the bound itself stands before this limit, since its index does.
    const SNeighbor limit{bound * bound, NearestNeighbor::c_noIndex};
    const float query[3] = {point.x, point.y, point.z};
    const SNeighbor nearest = m_find(m_tree, query, limit);
    return nearest.index == limit.index ? -1 : static_cast<std::int32_t>(nearest.index);
}

std::size_t CNearestNeighborIndex::GetMemorySize() const
{
    return sizeof *this + m_leaves.size() * sizeof(NearestNeighbor::ULeaf) +
           m_nodes.size() * sizeof(NearestNeighbor::SNode);
}

std::vector<std::string_view> CNearestNeighborIndex::GetKernelNames()
{
    std::vector<std::string_view> names;
    for (const NearestNeighbor::SKernel& kernel : NearestNeighbor::GetKernels())
    {
        names.push_back(kernel.name);
    }
    return names;
}

}  // namespace DataLayer
