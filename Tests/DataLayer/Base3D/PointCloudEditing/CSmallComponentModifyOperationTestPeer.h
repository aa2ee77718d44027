#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "DataLayer/Base3D/PointCloudEditing/CSmallComponentModifyOperation.h"
#include "DataLayer/PointCloud/CNearestNeighborSplit.h"
#include "DataLayer/PointCloud/CSurfelCollectionMinimal.h"

namespace DataLayer
{

/// Shows the operation's private parts to its tests.
class CSmallComponentModifyOperationTestPeer
{
public:
    using Operation = CSmallComponentModifyOperation;

    static void ComputeNNSupportStructures(Operation& operation)
    {
        operation.computeNNSupportStructures();
    }

    static void Reset(Operation& operation) { operation.reset(); }

    [[nodiscard]] static std::shared_ptr<Base::CSurfelCollectionMask> RemoveSmallComponents(
        const Operation& operation, const Base::CEntityTrafoMaskPacket& packet)
    {
        return operation.removeSmallComponentsInScanData(packet);
    }

    static void ComputeMaskModification(const Operation& operation, const Base::CUniqueID& key,
                                        const Base::CEntityTrafoMaskPacket& packet,
                                        std::vector<Base::CEntityMapModifyMessage>& messages)
    {
        operation.computeMaskModification(key, packet, messages);
    }

    [[nodiscard]] static const CSurfelCollectionMinimal* GetCloud(const Operation& operation)
    {
        return operation.m_nnCloud.get();
    }
    [[nodiscard]] static std::uint64_t GetCount(const Operation& operation)
    {
        return operation.m_numMainComponentPoints;
    }

    /// Puts another cloud in place of the one that was built.
    static void SetCloud(Operation& operation, std::unique_ptr<CSurfelCollectionMinimal> cloud,
                         std::uint64_t numMainComponentPoints)
    {
        operation.m_split.reset();
        operation.m_nnCloud = std::move(cloud);
        operation.m_numMainComponentPoints = numMainComponentPoints;
    }

    /// What the passes ask instead of the search; null where they ask the search.
    [[nodiscard]] static const CNearestNeighborSplit* GetSplit(const Operation& operation)
    {
        return operation.m_split.get();
    }

    static void SetSplit(Operation& operation, std::unique_ptr<const CNearestNeighborSplit> split)
    {
        operation.m_split = std::move(split);
    }

    static void SetContent(Operation& operation, std::shared_ptr<const SFuserContent> content)
    {
        operation.m_fuserContent = std::move(content);
    }

    /// Where the members lie, in bytes from the start of the object, in the order of the contract.
    struct SOffsets
    {
        std::ptrdiff_t fuserContent;
        std::ptrdiff_t nnCloud;
        std::ptrdiff_t numMainComponentPoints;
    };
    [[nodiscard]] static SOffsets GetOffsets(const Operation& operation)
    {
        const auto offset = [&](const auto& member) {
            return reinterpret_cast<const char*>(&member) -
                   reinterpret_cast<const char*>(&operation);
        };
        return {offset(operation.m_fuserContent), offset(operation.m_nnCloud),
                offset(operation.m_numMainComponentPoints)};
    }
};

}  // namespace DataLayer
