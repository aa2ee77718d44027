#pragma once

#include <memory>

#include "Base/Export.h"

/// What every exception of the system can tell about the place it was thrown from.
class VEKO2_BASE_EXPORT IException
{
public:
    virtual ~IException();

    [[nodiscard]] virtual std::unique_ptr<IException> Clone() const = 0;
    [[nodiscard]] virtual const char* GetFilename() const = 0;
    [[nodiscard]] virtual unsigned int GetCodeLine() const = 0;
    [[nodiscard]] virtual const char* GetFunctionName() const = 0;
    /// The operating system's identifier of the thread that constructed the exception.
    [[nodiscard]] virtual unsigned int GetThreadID() const = 0;

protected:
    IException() = default;
    IException(const IException&) = default;
    IException& operator=(const IException&) = default;
};
