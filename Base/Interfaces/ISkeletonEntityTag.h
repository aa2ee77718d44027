#pragma once

#include <cstdint>

#include "Base/Export.h"
#include "Base/Interfaces/IVekoSerializable.h"

namespace Base
{

/// The tag that says whether an entity is a skeleton entity, which a cut with a painted region
/// leaves whole. It is found under the name "ISkeletonEntityTag".
class VEKO2_BASE_EXPORT ISkeletonEntityTag : public IVekoSerializable
{
public:
    ~ISkeletonEntityTag() override;

    /// Any value but 0, a negative one too, means a skeleton entity. Safe from any thread.
    [[nodiscard]] virtual std::int32_t IsSkeletonEntity() const = 0;
};

}  // namespace Base
