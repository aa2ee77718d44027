#include "Base/Interfaces/ISurfelCollection.h"

ScanAPI::ISurfelCollectionElementAccess::~ISurfelCollectionElementAccess() = default;

namespace Base
{

AElementAccessBase::~AElementAccessBase() = default;

template class TElementAccessRead<CSCElementDefinitionPosition>;
template class TElementAccessRead<CSCElementDefinitionNormal>;

ISurfelCollection::~ISurfelCollection() = default;

bool ISurfelCollection::GetExplicitCovarianceEllipsoid(CCovarianceEllipsoid& /*ellipsoid*/) const
{
    return false;
}

const TElementAccessRead<CSCElementDefinitionPosition>& ISurfelCollection::GetPositions() const
{
    return GetReadAccessor<CSCElementDefinitionPosition>();
}

const TElementAccessRead<CSCElementDefinitionNormal>& ISurfelCollection::GetNormals() const
{
    return GetReadAccessor<CSCElementDefinitionNormal>();
}

}  // namespace Base
