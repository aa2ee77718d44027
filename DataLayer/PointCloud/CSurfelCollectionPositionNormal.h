#pragma once

#include <memory>

#include "Base/Interfaces/IPointCloud.h"
#include "DataLayer/PointCloud/CSurfelPositionNormal.h"
#include "DataLayer/PointCloud/TSurfelCollectionInterleaved.h"

namespace DataLayer
{

extern template class TSurfelCollectionInterleaved<CSurfelPositionNormal, Base::IPointCloud>;

/// The collection of surfels whose normals are kept in full precision. Default-constructed empty.
/// See the base class for what its operations promise.
class VEKO2_DATALAYER_EXPORT CSurfelCollectionPositionNormal
    : public TSurfelCollectionInterleaved<CSurfelPositionNormal, Base::IPointCloud>
{
public:
    CSurfelCollectionPositionNormal();
    ~CSurfelCollectionPositionNormal() override;

    [[nodiscard]] const LqRTTI& GetRTTI() const override;
    [[nodiscard]] const wchar_t* GetClassNameW() const override;

protected:
    [[nodiscard]] std::unique_ptr<
        TSurfelCollectionInterleaved<CSurfelPositionNormal, Base::IPointCloud>>
    createEmpty() const override;
};

}  // namespace DataLayer
