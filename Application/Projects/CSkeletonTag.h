#pragma once

#include <cstdint>

#include "Base/Interfaces/ISkeletonEntityTag.h"

namespace Application
{

/// Marks a scan that cuts leave whole. Its presence is all it says.
class CSkeletonTag : public Base::ISkeletonEntityTag
{
public:
    [[nodiscard]] std::int32_t IsSkeletonEntity() const override { return 1; }

    [[nodiscard]] const LqRTTI& GetRTTI() const override;
    [[nodiscard]] const wchar_t* GetClassNameW() const override;
    void Serialize(Base::IVekoStreamWrite& stream) const override;
    void Serialize(Base::IVekoStreamRead& stream) override;
};

}  // namespace Application
