#pragma once

#include "Base/Export.h"
#include "Base/Support/LqRTTI.h"

/// An object that can tell its class.
class VEKO2_BASE_EXPORT IObject
{
public:
    virtual ~IObject();

    [[nodiscard]] virtual const LqRTTI& GetRTTI() const = 0;
    [[nodiscard]] virtual const wchar_t* GetClassNameW() const = 0;

protected:
    IObject() = default;
    IObject(const IObject&) = default;
    IObject& operator=(const IObject&) = default;
};
