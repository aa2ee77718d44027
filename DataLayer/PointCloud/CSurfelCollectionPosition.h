#pragma once

#include <memory>

#include "Base/Interfaces/IPointCloud.h"
#include "DataLayer/PointCloud/CSurfelPosition.h"
#include "DataLayer/PointCloud/TSurfelCollectionInterleaved.h"

namespace DataLayer
{

extern template class TSurfelCollectionInterleaved<CSurfelPosition, Base::IPointCloud>;

/// The collection of surfels without normals, 12 bytes each. Default-constructed empty. See the
/// base class for what its operations promise; the normals of sources are left out.
class VEKO2_DATALAYER_EXPORT CSurfelCollectionPosition
    : public TSurfelCollectionInterleaved<CSurfelPosition, Base::IPointCloud>
{
public:
    CSurfelCollectionPosition();
    ~CSurfelCollectionPosition() override;

    [[nodiscard]] const LqRTTI& GetRTTI() const override;
    [[nodiscard]] const wchar_t* GetClassNameW() const override;

protected:
    [[nodiscard]] std::unique_ptr<TSurfelCollectionInterleaved<CSurfelPosition, Base::IPointCloud>>
    createEmpty() const override;
};

}  // namespace DataLayer
