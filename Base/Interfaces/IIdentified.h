#pragma once

#include "Base/Export.h"
#include "Base/Interfaces/CEntityID.h"

namespace Base
{

/// An object with an identity. Inherited virtually, so that an object has one only.
class VEKO2_BASE_EXPORT IIdentified
{
public:
    virtual ~IIdentified();

    /// The identity, which stays the same as long as the object lives. Safe from any thread.
    [[nodiscard]] virtual const CEntityID& GetID() const = 0;

protected:
    IIdentified() = default;
    IIdentified(const IIdentified&) = default;
    IIdentified& operator=(const IIdentified&) = default;
};

}  // namespace Base
