#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace FileTest
{

/// What a test program asks of its file systems while an object of this class lives: the calls that
/// write, name and synchronise files, in their order. From them it tells what a power failure could
/// take away. Calls that fail are not noted. One object at a time; calls from any thread.
class CSystemCallLog
{
public:
    enum class Kind
    {
        Write,
        Name,        ///< link or rename: a file gets a name
        SyncFile,    ///< its data and size are on the disk
        SyncFolder,  ///< the names in it are
        SyncAll,     ///< both are, of the whole file system
        Close,
    };

    struct SCall
    {
        Kind kind{};
        std::uint64_t file = 0;    ///< of a file or folder, its number
        std::uint64_t folder = 0;  ///< of a name, the folder's number
        std::string name;
    };

    CSystemCallLog();
    ~CSystemCallLog();
    CSystemCallLog(const CSystemCallLog&) = delete;
    CSystemCallLog& operator=(const CSystemCallLog&) = delete;

    /// From here on calls of that kind do nothing but fail with \p error; those that close a file
    /// do that, as they do where they fail.
    void Fail(Kind kind, int error);

    /// The same once a file got \p name; before, they are made as always.
    void FailOnceNamed(const std::string& name, Kind kind, int error);

    /// Calls \p action once, right after a file got \p name.
    void DoOnceNamed(const std::string& name, std::function<void()> action);

    [[nodiscard]] std::size_t Count(Kind kind) const;

    /// The number of calls before the last one that gave a file \p name.
    /// @throw std::runtime_error when there was none.
    [[nodiscard]] std::size_t FindNaming(const std::string& name) const;

    /// The names given among the first \p numCalls calls that a power failure after them could take
    /// away, or leave with a part of the data; but for those of unfinished files.
    [[nodiscard]] std::vector<std::string> FindLosable(std::size_t numCalls) const;
    [[nodiscard]] std::vector<std::string> FindLosable() const
    {
        return FindLosable(m_calls.size());
    }

    /// The names that were given to files whose data was not on the disk at that moment.
    [[nodiscard]] std::vector<std::string> FindNamedTooEarly() const;

    /// Whether there is an object of this class.
    [[nodiscard]] static bool IsWatched();

    /// What calls of that kind fail with now; 0 when they do not.
    [[nodiscard]] static int FindFailure(Kind kind);

    /// A call has succeeded.
    static void Note(SCall call);

private:
    struct SFailure
    {
        Kind kind{};
        int error = 0;
        std::string name;  ///< given before it begins; empty where it begins at once
    };

    [[nodiscard]] bool hasNamed(const std::string& name) const;

    std::vector<SCall> m_calls;
    std::vector<SFailure> m_failures;
    std::string m_awaited;
    std::function<void()> m_action;
};

}  // namespace FileTest
