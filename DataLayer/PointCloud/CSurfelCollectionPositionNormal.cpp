#include "DataLayer/PointCloud/CSurfelCollectionPositionNormal.h"

#include "DataLayer/PointCloud/TSurfelCollectionInterleavedDefinitions.h"

namespace DataLayer
{

namespace
{

const LqRTTI c_rtti{L"CSurfelCollectionPositionNormal", nullptr};

}  // namespace

template class TSurfelCollectionInterleaved<CSurfelPositionNormal, Base::IPointCloud>;

CSurfelCollectionPositionNormal::CSurfelCollectionPositionNormal() = default;

CSurfelCollectionPositionNormal::~CSurfelCollectionPositionNormal() = default;

const LqRTTI& CSurfelCollectionPositionNormal::GetRTTI() const
{
    return c_rtti;
}

const wchar_t* CSurfelCollectionPositionNormal::GetClassNameW() const
{
    return c_rtti.className;
}

std::unique_ptr<TSurfelCollectionInterleaved<CSurfelPositionNormal, Base::IPointCloud>>
CSurfelCollectionPositionNormal::createEmpty() const
{
    return std::make_unique<CSurfelCollectionPositionNormal>();
}

}  // namespace DataLayer
