#pragma once

#include <memory>

#include "Base/Export.h"

/// What every exception of the system can tell about the place it was thrown from.
class VEKO2_BASE_EXPORT IException
{
public:
    virtual ~IException();

    [[nodiscard]] virtual std::unique_ptr<IException> Clone() const = 0;
    /// The place's fixed name, together with GetCodeLine(): both stay the same between versions, so
    /// that reports can be compared; not necessarily today's file and line.
    [[nodiscard]] virtual const char* GetFilename() const = 0;
    /// The number in the place's fixed name; see GetFilename().
    [[nodiscard]] virtual unsigned int GetCodeLine() const = 0;
    /// The function that threw it, in full.
    [[nodiscard]] virtual const char* GetFunctionName() const = 0;
    /// The operating system's identifier of the thread that constructed the exception.
    [[nodiscard]] virtual unsigned int GetThreadID() const = 0;

protected:
    IException() = default;
    IException(const IException&) = default;
    IException& operator=(const IException&) = default;
};
