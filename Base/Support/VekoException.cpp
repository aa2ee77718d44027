#include "Base/Support/VekoException.h"

#include <unistd.h>

#include <cstdarg>
#include <cstddef>
#include <cwchar>

#include "Base/Support/WideText.h"

IObject::~IObject() = default;
IException::~IException() = default;
LqException::~LqException() = default;
VekoException::~VekoException() = default;

namespace
{

constexpr std::size_t c_maxFormattedLength = 8191;

const LqRTTI c_lqExceptionRTTI{L"LqException", nullptr};

}  // namespace

LqException::LqException(const char* file, unsigned int line, const char* function,
                         const wchar_t* message)
    : m_file(file),
      m_function(function),
      m_message(message != nullptr ? message : L""),
      m_line(line),
      m_threadID(static_cast<unsigned int>(gettid()))
{}

std::unique_ptr<IException> LqException::Clone() const
{
    return std::make_unique<LqException>(*this);
}

const LqRTTI& LqException::GetRTTI() const
{
    return c_lqExceptionRTTI;
}

const wchar_t* LqException::GetClassNameW() const
{
    return c_lqExceptionRTTI.className;
}

VekoException::VekoException(const char* file, unsigned int line, const char* function,
                             const wchar_t* message)
    : LqException(file, line, function, message),
      m_message(message != nullptr ? message : L""),
      m_narrowMessage(Base::WideToUtf8(m_message))
{}

const char* VekoException::what() const noexcept
{
    return m_narrowMessage.empty() ? "Unknown exception" : m_narrowMessage.c_str();
}

void ThrowVekoException(const char* file, int line, const char* function, const wchar_t* format,
                        ...)
{
    if (std::wcschr(format, L'%') == nullptr)
    {
        throw VekoException(file, static_cast<unsigned int>(line), function, format);
    }
    std::va_list arguments;
    va_start(arguments, format);
    CString message;
    try
    {
        message = Base::FormatWideText(format, arguments, c_maxFormattedLength);
    }
    catch (...)
    {
        va_end(arguments);
        throw;
    }
    va_end(arguments);
    throw VekoException(file, static_cast<unsigned int>(line), function, message.c_str());
}
