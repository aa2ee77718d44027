#include "Apps/CommandLine/CConsole.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Application/Files/COutputError.h"
#include "Application/Files/TextTokens.h"

namespace CommandLine
{

namespace
{

/// True when the variable is set to anything but the empty text.
bool IsSet(const char* variable)
{
    const char* const value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

/// Whether standard error is a terminal that understands control sequences.
bool IsCapableTerminal()
{
    const char* const kind = std::getenv("TERM");
    return isatty(STDERR_FILENO) != 0 && kind != nullptr && std::strcmp(kind, "dumb") != 0;
}

void WriteToStandardError(std::string_view text)
{
    // There is nowhere left to report a failure to.
    std::fwrite(text.data(), 1, text.size(), stderr);
    std::fflush(stderr);
}

/// Gives the numbers of streams that the program was started without to a file that nothing can be
/// written to. An output that got one of them would receive messages.
void OccupyStandardStreams()
{
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    {
        if (::fcntl(stream, F_GETFD) < 0)
        {
            // The lowest number that is free, which is this one.
            (void)::open("/dev/null", O_RDONLY);
        }
    }
}

std::string MakeProgressLine(std::string_view label, double fraction, int columns)
{
    constexpr int c_barCells = 30;
    const int percent = static_cast<int>(std::floor(std::clamp(fraction, 0.0, 1.0) * 100));
    std::string line = std::string(label) + ' ';
    // The last column stays free: a terminal may wrap when it is written.
    if (static_cast<int>(label.size()) + c_barCells + 8 < columns)
    {
        const auto filled = static_cast<std::size_t>(percent * c_barCells / 100);
        line += '[' + std::string(filled, '#') + std::string(c_barCells - filled, '.') + "] ";
    }
    return line + std::to_string(percent) + '%';
}

}  // namespace

CConsole::CConsole()
    : m_isTerminal(IsCapableTerminal()), m_isColored(m_isTerminal && !IsSet("NO_COLOR"))
{
    OccupyStandardStreams();
}

CConsole::~CConsole()
{
    ClearProgress();
}

void CConsole::PrintResult(std::string_view text)
{
    ClearProgress();
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
    {
        throw Application::COutputError("standard output", std::strerror(errno));
    }
}

void CConsole::Warn(std::string_view text)
{
    writeMessage("\x1b[33m", "warning: ", text);
}

void CConsole::Error(std::string_view text)
{
    writeMessage("\x1b[31m", "", text);
}

void CConsole::ShowProgress(std::string_view label, double fraction)
{
    if (!m_isTerminal)
    {
        return;
    }
    std::string line = MakeProgressLine(label, fraction, GetTerminalColumns(STDERR_FILENO, 80));
    const std::lock_guard lock(m_mutex);
    if (line != m_shownProgress)
    {
        WriteToStandardError("\r\x1b[K" + line);
        m_shownProgress = std::move(line);
    }
}

void CConsole::ClearProgress()
{
    const std::lock_guard lock(m_mutex);
    eraseProgress();
}

void CConsole::writeMessage(std::string_view color, std::string_view kind, std::string_view text)
{
    std::string line = "veko2: " + std::string(kind);
    if (m_isColored)
    {
        line = std::string(color) + line + "\x1b[0m";
    }
    line += EscapeControlCharacters(text) + '\n';
    const std::lock_guard lock(m_mutex);
    eraseProgress();
    WriteToStandardError(line);
}

void CConsole::eraseProgress()
{
    if (!m_shownProgress.empty())
    {
        WriteToStandardError("\r\x1b[K");
        m_shownProgress.clear();
    }
}

std::string EscapeControlCharacters(std::string_view text)
{
    std::string escaped;
    escaped.reserve(text.size());
    while (!text.empty())
    {
        const std::size_t length =
            text.front() == '\n' ? 0 : Application::MeasureControlCharacter(text);
        for (const char character : text.substr(0, length))
        {
            constexpr const char* c_digits = "0123456789abcdef";
            const auto byte = static_cast<unsigned char>(character);
            escaped += "\\x";
            escaped += c_digits[byte >> 4];
            escaped += c_digits[byte & 0xF];
        }
        if (length == 0)
        {
            escaped += text.front();
        }
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return escaped;
}

int GetTerminalColumns(int fileDescriptor, int otherwise)
{
    winsize size{};
    if (ioctl(fileDescriptor, TIOCGWINSZ, &size) != 0 || size.ws_col == 0)
    {
        return otherwise;
    }
    return size.ws_col;
}

}  // namespace CommandLine
