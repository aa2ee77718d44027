#pragma once

#include <memory>

#include "Base/Interfaces/IPointCloudSupport.h"
#include "Tests/Support/MockCalls.h"

namespace TestSupport
{

/// A support that says what it is told to say.
class CMockPointCloudSupport : public Base::IPointCloudSupport
{
public:
    UxBoundingBox3D boundingBox;
    std::shared_ptr<const INearestNeighborSearch> search;

    [[nodiscard]] const INearestNeighborSearch* GetNearestNeighborSearch() const override
    {
        OnMockCall();
        return search.get();
    }
    [[nodiscard]] const UxBoundingBox3D& GetBoundingBox() const override
    {
        OnMockCall();
        return boundingBox;
    }
};

}  // namespace TestSupport
