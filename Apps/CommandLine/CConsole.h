#pragma once

#include <mutex>
#include <string>
#include <string_view>

namespace CommandLine
{

/// The program's two output streams: results on standard output, everything else on standard error.
///
/// Messages may come from any thread. Colour is used only on a terminal, and not at all when
/// NO_COLOR is set; a progress bar is drawn only on a terminal. Control characters in messages
/// (file names may hold any byte) are shown as `\xNN` and never reach the terminal.
class CConsole
{
public:
    /// To be made before any file is opened: none gets the number of a stream that is closed.
    CConsole();
    /// Takes a progress bar that still stands off the screen.
    ~CConsole();
    CConsole(const CConsole&) = delete;
    CConsole& operator=(const CConsole&) = delete;

    /// Writes \p text to standard output as it is.
    /// @throw Application::COutputError when not all of it can be written.
    void PrintResult(std::string_view text);

    /// Writes "veko2: warning: TEXT" to standard error.
    void Warn(std::string_view text);

    /// Writes "veko2: TEXT" to standard error.
    void Error(std::string_view text);

    /// Draws the progress bar of the step \p label, \p fraction of which (0 to 1) is done.
    void ShowProgress(std::string_view label, double fraction);

    /// Takes the progress bar off the screen.
    void ClearProgress();

private:
    void writeMessage(std::string_view color, std::string_view kind, std::string_view text);
    void eraseProgress();

    std::mutex m_mutex;
    bool m_isTerminal;
    bool m_isColored;
    std::string m_shownProgress;
};

/// \p text with every byte of a control character but the line feed shown as `\xNN`.
[[nodiscard]] std::string EscapeControlCharacters(std::string_view text);

/// The number of columns of the terminal behind the file descriptor, or \p otherwise.
[[nodiscard]] int GetTerminalColumns(int fileDescriptor, int otherwise);

}  // namespace CommandLine
