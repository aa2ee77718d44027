#include "DataLayer/PointCloud/CSurfelCollectionMinimal.h"

#include "DataLayer/PointCloud/TSurfelCollectionInterleavedDefinitions.h"

namespace DataLayer
{

namespace
{

const LqRTTI c_rtti{L"CSurfelCollectionMinimal", nullptr};

}  // namespace

template class TSurfelCollectionInterleaved<CCompactSurfelPositionNormal,
                                            Base::ISurfelCollectionPositionQNormal>;

CSurfelCollectionMinimal::CSurfelCollectionMinimal() = default;

CSurfelCollectionMinimal::~CSurfelCollectionMinimal() = default;

const LqRTTI& CSurfelCollectionMinimal::GetRTTI() const
{
    return c_rtti;
}

const wchar_t* CSurfelCollectionMinimal::GetClassNameW() const
{
    return c_rtti.className;
}

std::unique_ptr<TSurfelCollectionInterleaved<CCompactSurfelPositionNormal,
                                             Base::ISurfelCollectionPositionQNormal>>
CSurfelCollectionMinimal::createEmpty() const
{
    return std::make_unique<CSurfelCollectionMinimal>();
}

}  // namespace DataLayer
