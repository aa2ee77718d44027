#pragma once

#include <memory>

#include "Base/Interfaces/ISurfelCollectionPositionQNormal.h"
#include "DataLayer/PointCloud/CCompactSurfelPositionNormal.h"
#include "DataLayer/PointCloud/TSurfelCollectionInterleaved.h"

namespace DataLayer
{

extern template class TSurfelCollectionInterleaved<CCompactSurfelPositionNormal,
                                                   Base::ISurfelCollectionPositionQNormal>;

/// The collection of 16-byte surfels: a position and a quantised normal each. Default-constructed
/// empty. See the base class for what its operations promise.
///
/// Normals are read through an accessor that decodes them; surfels that are copied unmoved between
/// collections of this class keep their normal codes bit for bit.
class VEKO2_DATALAYER_EXPORT CSurfelCollectionMinimal
    : public TSurfelCollectionInterleaved<CCompactSurfelPositionNormal,
                                          Base::ISurfelCollectionPositionQNormal>
{
public:
    CSurfelCollectionMinimal();
    ~CSurfelCollectionMinimal() override;

    [[nodiscard]] const LqRTTI& GetRTTI() const override;
    [[nodiscard]] const wchar_t* GetClassNameW() const override;

protected:
    [[nodiscard]] std::unique_ptr<TSurfelCollectionInterleaved<
        CCompactSurfelPositionNormal, Base::ISurfelCollectionPositionQNormal>>
    createEmpty() const override;
};

}  // namespace DataLayer
