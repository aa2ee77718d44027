#pragma once

#include "Base/Export.h"
#include "Base/Support/CString.h"
#include "Base/Support/IException.h"
#include "Base/Support/IObject.h"

/// The base of the system's exceptions: where it was thrown, by which thread, and the message.
class VEKO2_BASE_EXPORT LqException : public IException, public IObject
{
public:
    /// \p file and \p function are kept as pointers and must have static lifetime; \p message is
    /// copied, and a null one is empty.
    LqException(const char* file, unsigned int line, const char* function, const wchar_t* message);
    LqException(const LqException&) = default;
    LqException& operator=(const LqException&) = default;
    ~LqException() override;

    [[nodiscard]] std::unique_ptr<IException> Clone() const override;
    [[nodiscard]] const char* GetFilename() const override { return m_file; }
    [[nodiscard]] unsigned int GetCodeLine() const override { return m_line; }
    [[nodiscard]] const char* GetFunctionName() const override { return m_function; }
    [[nodiscard]] unsigned int GetThreadID() const override { return m_threadID; }

    [[nodiscard]] const LqRTTI& GetRTTI() const override;
    [[nodiscard]] const wchar_t* GetClassNameW() const override;

    /// The message as it was given.
    [[nodiscard]] const CString& GetMessageText() const { return m_message; }

private:
    const char* m_file;
    const char* m_function;
    CString m_message;
    unsigned int m_line;
    unsigned int m_threadID;
};
