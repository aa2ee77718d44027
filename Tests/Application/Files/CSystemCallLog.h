#pragma once

#include <cstddef>
#include <cstdint>
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

    /// From here on calls of that kind do nothing but fail with \p error.
    void Fail(Kind kind, int error);

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

    /// What calls of that kind fail with now; 0 when they do not.
    [[nodiscard]] static int FindFailure(Kind kind);

    /// A call has succeeded.
    static void Note(SCall call);

private:
    std::vector<SCall> m_calls;
    std::vector<std::pair<Kind, int>> m_failures;
};

}  // namespace FileTest
