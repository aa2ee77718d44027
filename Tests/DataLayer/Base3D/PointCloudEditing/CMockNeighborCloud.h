#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "DataLayer/PointCloud/CSurfelCollectionMinimal.h"
#include "Tests/Support/CMockPointCloudSupport.h"
#include "Tests/Support/MockCalls.h"

namespace TestSupport
{

/// A search that gives the answers it is told to, one after the other, and then the last one again.
/// For one thread.
class CMockNearestNeighborSearch : public INearestNeighborSearch
{
public:
    struct SQuery
    {
        LqVector3f point;
        float bound = 0.0F;
        const void* reserved = nullptr;
    };

    std::vector<std::int32_t> answers;
    mutable std::vector<SQuery> queries;
    std::function<void()> onQuery;

    [[nodiscard]] std::int32_t FindNearestNeighbor(const LqVector3f& point, float bound,
                                                   const void* reserved) const override
    {
        OnMockCall();
        queries.push_back({point, bound, reserved});
        if (onQuery)
        {
            onQuery();
        }
        return answers.at(std::min(queries.size(), answers.size()) - 1);
    }
};

/// A neighbour cloud without surfels whose search is a mock.
class CMockNeighborCloud : public DataLayer::CSurfelCollectionMinimal
{
public:
    explicit CMockNeighborCloud(std::shared_ptr<const INearestNeighborSearch> search)
    {
        m_support->search = std::move(search);
    }

    [[nodiscard]] const std::shared_ptr<CMockPointCloudSupport>& GetSupport() const
    {
        return m_support;
    }

    [[nodiscard]] std::shared_ptr<const Base::IPointCloudSupport> GetPointCloudSupport()
        const override
    {
        return m_support;
    }

private:
    std::shared_ptr<CMockPointCloudSupport> m_support = std::make_shared<CMockPointCloudSupport>();
};

}  // namespace TestSupport
