#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "Base/Interfaces/IPointCloudSupport.h"
#include "DataLayer/Export.h"
#include "DataLayer/PointCloud/Kernels/NearestNeighborTree.h"
#include "DataLayer/PointCloud/SPositionArray.h"
#include "DataLayer/PointCloud/TUninitializedAllocator.h"

namespace DataLayer
{

/// An exact nearest-neighbour index over the positions of a collection.
///
/// Keeps its own copy of the positions: 18 bytes for each finite one, in all. Building takes
/// O(n log n) time and is shared among the platform's worker threads. Answers depend on nothing but
/// the positions, the query and the bound. Queries are safe from any number of threads and allocate
/// nothing.
///
/// Not installed; exported for its tests and benchmark.
class VEKO2_DATALAYER_EXPORT CNearestNeighborIndex final : public INearestNeighborSearch
{
public:
    /// The most positions that signed 32-bit answers can name.
    static constexpr std::uint64_t c_maximumCount = 0x7FFFFFFF;

    /// Indexes \p positions, which are read, from several threads at once, only until the
    /// constructor returns. Positions that are not finite are left out.
    ///
    /// \param kernel one of GetKernelNames(), or an empty name for the fastest.
    /// @throw std::length_error when there are more than c_maximumCount positions.
    /// @throw std::invalid_argument when this processor has no kernel of that name.
    explicit CNearestNeighborIndex(const SPositionArray& positions, std::string_view kernel = {});
    ~CNearestNeighborIndex() override;
    CNearestNeighborIndex(const CNearestNeighborIndex&) = delete;
    CNearestNeighborIndex& operator=(const CNearestNeighborIndex&) = delete;

    /// See INearestNeighborSearch. A bound of 0, also a negative zero, finds only coinciding
    /// positions; one that is negative or NaN finds none. Where a square overflows, the infinite
    /// distance is within a bound whose square is infinite too.
    [[nodiscard]] std::int32_t FindNearestNeighbor(const LqVector3f& point, float bound,
                                                   const void* reserved) const override;

    /// The bytes of the tree, positions included.
    [[nodiscard]] std::size_t GetMemorySize() const;

    /// The names of the search kernels that this processor runs, the fastest first. They give the
    /// same answers.
    [[nodiscard]] static std::vector<std::string_view> GetKernelNames();

private:
    std::vector<NearestNeighbor::ULeaf, TUninitializedAllocator<NearestNeighbor::ULeaf>> m_leaves;
    std::vector<NearestNeighbor::SNode> m_nodes;  ///< All levels, the one above the leaves first.
    NearestNeighbor::STree m_tree{};
    NearestNeighbor::FindFunction m_find = nullptr;
};

}  // namespace DataLayer
