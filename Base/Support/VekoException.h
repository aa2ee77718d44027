#pragma once

#include <exception>
#include <string>

#include "Base/Export.h"
#include "Base/Support/CString.h"
#include "Base/Support/IException.h"
#include "Base/Support/IObject.h"
#include "Base/Support/LqException.h"
#include "Base/Support/LqRTTI.h"

/// The exception that reports a broken precondition.
///
/// It can be caught as VekoException, LqException, IException, IObject or std::exception. It
/// overrides nothing of its LqException base: a clone is an LqException, and the class name and
/// type record are the base's.
class VEKO2_BASE_EXPORT VekoException : public LqException, public std::exception
{
public:
    /// \p file and \p function must have static lifetime; \p message is copied.
    VekoException(const char* file, unsigned int line, const char* function,
                  const wchar_t* message);
    VekoException(const VekoException&) = default;
    VekoException& operator=(const VekoException&) = default;
    ~VekoException() override;

    /// The message in UTF-8, whatever the locale; "Unknown exception" when there is none.
    [[nodiscard]] const char* what() const noexcept override;

    /// The message as it was given.
    [[nodiscard]] const CString& GetMessageText() const { return m_message; }

private:
    CString m_message;
    std::string m_narrowMessage;
};

/// Throws a VekoException; the way in which the libraries report a broken precondition.
///
/// \p file and \p line are the place's fixed name: it stays the same between versions, so that
/// reports can be compared; not necessarily today's file and line.
///
/// A \p format without `%` is the message itself, whatever its length. Otherwise the message is the
/// formatted text, cut after 8191 characters; `%s` takes a wide string. \p file and \p function
/// must have static lifetime. Safe from any number of threads at once.
[[noreturn]] VEKO2_BASE_EXPORT void ThrowVekoException(const char* file, int line,
                                                       const char* function, const wchar_t* format,
                                                       ...);
