#include "Base/Support/CLogger.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <memory>
#include <mutex>
#include <utility>

#include "Base/Support/WideText.h"

namespace Logging
{

namespace
{

using LogSink = std::function<void(const SLogRecord&)>;

std::atomic<int> g_level{c_levelWarn};

const char* LevelName(int level)
{
    return level == c_levelDebug ? "Debug" : level == c_levelInfo ? "Info" : "Warn";
}

void WriteToStandardError(const SLogRecord& record)
{
    const std::string line = Base::WideToUtf8(record.category) + " " + LevelName(record.level) +
                             ": " + Base::WideToUtf8(record.message) + "\n";
    std::fwrite(line.data(), 1, line.size(), stderr);
}

struct SSinkState
{
    // Recursive, since a sink may log.
    std::recursive_mutex mutex;
    // Shared, so that a sink that replaces itself is not destroyed while it runs.
    std::shared_ptr<const LogSink> sink = std::make_shared<const LogSink>(WriteToStandardError);
};

SSinkState& SinkState()
{
    // Never destroyed: loggers of other libraries may still write while the process ends.
    static SSinkState& state = *std::make_unique<SSinkState>().release();
    return state;
}

void Write(const std::wstring& category, int level, const char* file, int line,
           const char* function, const wchar_t* format, std::va_list arguments)
{
    const std::wstring noText;
    const SLogRecord record{category, level,
                            file,     line,
                            function, Base::FormatWideText(format, arguments, noText.max_size())};
    SSinkState& state = SinkState();
    const std::lock_guard lock(state.mutex);
    const std::shared_ptr<const LogSink> sink = state.sink;
    (*sink)(record);
}

/// Ends the use of a variable argument list, also when writing throws.
class CArgumentListEnd
{
public:
    explicit CArgumentListEnd(std::va_list& arguments) : m_arguments(arguments) {}
    ~CArgumentListEnd() { va_end(m_arguments); }
    CArgumentListEnd(const CArgumentListEnd&) = delete;
    CArgumentListEnd& operator=(const CArgumentListEnd&) = delete;

private:
    std::va_list& m_arguments;
};

}  // namespace

void SetLogLevel(int level)
{
    g_level.store(level, std::memory_order_relaxed);
}

void SetLogSink(std::function<void(const SLogRecord&)> sink)
{
    auto newSink = std::make_shared<const LogSink>(sink ? std::move(sink) : WriteToStandardError);
    SSinkState& state = SinkState();
    const std::lock_guard lock(state.mutex);
    state.sink.swap(newSink);
}

CLogger::CLogger(const wchar_t* category) : m_category(category) {}

CLogger::~CLogger() = default;

bool CLogger::IsLogLevelEnabled(int level) const
{
    const int lowest = g_level.load(std::memory_order_relaxed);
    return lowest != 0 && level >= lowest;
}

void CLogger::Debug(const char* file, int line, const char* function, const wchar_t* format,
                    ...) const
{
    if (IsLogLevelEnabled(c_levelDebug))
    {
        std::va_list arguments;
        va_start(arguments, format);
        const CArgumentListEnd end(arguments);
        Write(m_category, c_levelDebug, file, line, function, format, arguments);
    }
}

void CLogger::Info(const char* file, int line, const char* function, const wchar_t* format,
                   ...) const
{
    if (IsLogLevelEnabled(c_levelInfo))
    {
        std::va_list arguments;
        va_start(arguments, format);
        const CArgumentListEnd end(arguments);
        Write(m_category, c_levelInfo, file, line, function, format, arguments);
    }
}

void CLogger::Warn(const char* file, int line, const char* function, const wchar_t* format,
                   ...) const
{
    if (IsLogLevelEnabled(c_levelWarn))
    {
        std::va_list arguments;
        va_start(arguments, format);
        const CArgumentListEnd end(arguments);
        Write(m_category, c_levelWarn, file, line, function, format, arguments);
    }
}

}  // namespace Logging
