#include "Application/Projects/CSkeletonTag.h"

#include "Base/Support/LqRTTI.h"

namespace Application
{

namespace
{

const LqRTTI c_rtti{L"CSkeletonTag", nullptr};

}  // namespace

const LqRTTI& CSkeletonTag::GetRTTI() const
{
    return c_rtti;
}

const wchar_t* CSkeletonTag::GetClassNameW() const
{
    return c_rtti.className;
}

void CSkeletonTag::Serialize(Base::IVekoStreamWrite& /*stream*/) const {}

void CSkeletonTag::Serialize(Base::IVekoStreamRead& /*stream*/) {}

}  // namespace Application
