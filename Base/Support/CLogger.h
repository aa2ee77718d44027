#pragma once

#include <functional>
#include <string>

#include "Base/Export.h"

namespace Logging
{

/// The levels of a message, as IsLogLevelEnabled() takes them.
inline constexpr int c_levelDebug = 1;
inline constexpr int c_levelInfo = 2;
inline constexpr int c_levelWarn = 3;

/// One message on its way to the sink.
struct SLogRecord
{
    std::wstring category;
    int level = 0;
    std::string file;
    int line = 0;
    std::string function;
    std::wstring message;
};

/// Sets the lowest enabled level for the whole process: 1 Debug, 2 Info, 3 Warn (the default); 0
/// switches every level off. Safe from any thread.
VEKO2_BASE_EXPORT void SetLogLevel(int level);

/// Sets where the messages of the whole process go. An empty \p sink, and the default, is standard
/// error, one line per message in UTF-8.
///
/// Messages of all threads reach the sink one after another. A sink may itself log, but must not
/// wait for other threads that log or set a sink. An exception that it throws reaches the code that
/// logged.
///
/// Safe from any thread: waits for a call of the old sink that another thread is in; once this
/// returns, the old one is not called any more.
VEKO2_BASE_EXPORT void SetLogSink(std::function<void(const SLogRecord&)> sink);

/// A named source of messages.
///
/// Callers test IsLogLevelEnabled() first and evaluate the arguments of a message only then. In a
/// format `%s` takes a wide string. Safe from any number of threads at once.
class VEKO2_BASE_EXPORT CLogger
{
public:
    explicit CLogger(const wchar_t* category);
    ~CLogger();
    CLogger(const CLogger&) = delete;
    CLogger& operator=(const CLogger&) = delete;

    /// True when messages of \p level (1 Debug, 2 Info, 3 Warn) are written.
    [[nodiscard]] bool IsLogLevelEnabled(int level) const;

    /// Writes one message of the level that the name says, unless that level is disabled.
    void Debug(const char* file, int line, const char* function, const wchar_t* format, ...) const;
    void Info(const char* file, int line, const char* function, const wchar_t* format, ...) const;
    void Warn(const char* file, int line, const char* function, const wchar_t* format, ...) const;

private:
    std::wstring m_category;
};

}  // namespace Logging
