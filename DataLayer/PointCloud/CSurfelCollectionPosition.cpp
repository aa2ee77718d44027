#include "DataLayer/PointCloud/CSurfelCollectionPosition.h"

#include "DataLayer/PointCloud/TSurfelCollectionInterleavedDefinitions.h"

namespace DataLayer
{

namespace
{

const LqRTTI c_rtti{L"CSurfelCollectionPosition", nullptr};

}  // namespace

template class TSurfelCollectionInterleaved<CSurfelPosition, Base::IPointCloud>;

CSurfelCollectionPosition::CSurfelCollectionPosition() = default;

CSurfelCollectionPosition::~CSurfelCollectionPosition() = default;

const LqRTTI& CSurfelCollectionPosition::GetRTTI() const
{
    return c_rtti;
}

const wchar_t* CSurfelCollectionPosition::GetClassNameW() const
{
    return c_rtti.className;
}

std::unique_ptr<TSurfelCollectionInterleaved<CSurfelPosition, Base::IPointCloud>>
CSurfelCollectionPosition::createEmpty() const
{
    return std::make_unique<CSurfelCollectionPosition>();
}

}  // namespace DataLayer
