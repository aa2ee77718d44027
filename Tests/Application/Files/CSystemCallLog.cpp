#include "Tests/Application/Files/CSystemCallLog.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <map>
#include <mutex>
#include <set>
#include <stdexcept>
#include <utility>

#include "Application/Files/CReplacementFile.h"

namespace FileTest
{

namespace
{

std::mutex g_mutex;
CSystemCallLog* g_log = nullptr;

[[nodiscard]] std::uint64_t NumberOf(int descriptor)
{
    struct stat status = {};
    return ::fstat(descriptor, &status) == 0 ? status.st_ino : 0;
}

[[nodiscard]] std::uint64_t NumberOf(const std::filesystem::path& file)
{
    struct stat status = {};
    return ::stat(file.empty() ? "." : file.c_str(), &status) == 0 ? status.st_ino : 0;
}

[[nodiscard]] bool IsFolder(int descriptor)
{
    struct stat status = {};
    return ::fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode);
}

/// Makes a call, unless it shall fail, and notes it when it has succeeded.
template <typename Call>
[[nodiscard]] auto Note(CSystemCallLog::SCall entry, const Call& call) -> decltype(call())
{
    const int error = CSystemCallLog::FindFailure(entry.kind);
    if (error != 0)
    {
        errno = error;
        return -1;
    }
    const auto result = call();
    if (result >= 0)
    {
        CSystemCallLog::Note(std::move(entry));
    }
    return result;
}

[[nodiscard]] CSystemCallLog::SCall Naming(const char* from, const char* to)
{
    if (!CSystemCallLog::IsWatched())
    {
        // Takes no memory where a test leaves none.
        return {CSystemCallLog::Kind::Name, 0, 0, {}};
    }
    const std::filesystem::path target(to);
    return {CSystemCallLog::Kind::Name, NumberOf(std::filesystem::path(from)),
            NumberOf(target.parent_path()), target.filename().string()};
}

}  // namespace

CSystemCallLog::CSystemCallLog()
{
    const std::lock_guard lock(g_mutex);
    g_log = this;
}

CSystemCallLog::~CSystemCallLog()
{
    const std::lock_guard lock(g_mutex);
    g_log = nullptr;
}

bool CSystemCallLog::IsWatched()
{
    const std::lock_guard lock(g_mutex);
    return g_log != nullptr;
}

int CSystemCallLog::FindFailure(Kind kind)
{
    const std::lock_guard lock(g_mutex);
    if (g_log != nullptr)
    {
        for (const SFailure& failure : g_log->m_failures)
        {
            if (failure.kind == kind && (failure.name.empty() || g_log->hasNamed(failure.name)))
            {
                return failure.error;
            }
        }
    }
    return 0;
}

void CSystemCallLog::Note(SCall call)
{
    std::function<void()> action;
    {
        const std::lock_guard lock(g_mutex);
        if (g_log == nullptr)
        {
            return;
        }
        if (call.kind == Kind::Name && call.name == g_log->m_awaited)
        {
            action.swap(g_log->m_action);
        }
        g_log->m_calls.push_back(std::move(call));
    }
    if (action)
    {
        action();
    }
}

void CSystemCallLog::DoOnceNamed(const std::string& name, std::function<void()> action)
{
    const std::lock_guard lock(g_mutex);
    m_awaited = name;
    m_action = std::move(action);
}

void CSystemCallLog::Fail(Kind kind, int error)
{
    const std::lock_guard lock(g_mutex);
    m_failures.push_back({kind, error, {}});
}

void CSystemCallLog::FailOnceNamed(const std::string& name, Kind kind, int error)
{
    const std::lock_guard lock(g_mutex);
    m_failures.push_back({kind, error, name});
}

bool CSystemCallLog::hasNamed(const std::string& name) const
{
    return std::any_of(m_calls.begin(), m_calls.end(), [&](const SCall& call) {
        return call.kind == Kind::Name && call.name == name;
    });
}

std::size_t CSystemCallLog::Count(Kind kind) const
{
    return static_cast<std::size_t>(std::count_if(
        m_calls.begin(), m_calls.end(), [&](const SCall& call) { return call.kind == kind; }));
}

std::size_t CSystemCallLog::FindNaming(const std::string& name) const
{
    const auto found = std::find_if(m_calls.rbegin(), m_calls.rend(), [&](const SCall& call) {
        return call.kind == Kind::Name && call.name == name;
    });
    if (found == m_calls.rend())
    {
        throw std::runtime_error("no file was called " + name);
    }
    return static_cast<std::size_t>(m_calls.rend() - found) - 1;
}

std::vector<std::string> CSystemCallLog::FindLosable(std::size_t numCalls) const
{
    using Place = std::pair<std::uint64_t, std::string>;
    std::map<Place, std::uint64_t> files;
    std::set<std::uint64_t> unwritten;
    std::set<Place> unnamed;
    for (std::size_t index = 0; index < numCalls; ++index)
    {
        const SCall& call = m_calls[index];
        switch (call.kind)
        {
            case Kind::Write:
                unwritten.insert(call.file);
                break;
            case Kind::Name:
                files[{call.folder, call.name}] = call.file;
                unnamed.emplace(call.folder, call.name);
                break;
            case Kind::SyncFile:
                unwritten.erase(call.file);
                break;
            case Kind::SyncFolder:
                std::erase_if(unnamed,
                              [&](const Place& place) { return place.first == call.file; });
                break;
            case Kind::SyncAll:
                unwritten.clear();
                unnamed.clear();
                break;
            case Kind::Close:
                break;
        }
    }
    std::vector<std::string> losable;
    for (const auto& [place, file] : files)
    {
        if (!Application::CReplacementFile::IsUnfinishedName(place.second) &&
            (unwritten.contains(file) || unnamed.contains(place)))
        {
            losable.push_back(place.second);
        }
    }
    return losable;
}

std::vector<std::string> CSystemCallLog::FindNamedTooEarly() const
{
    std::vector<std::string> names;
    std::set<std::uint64_t> unwritten;
    for (const SCall& call : m_calls)
    {
        if (call.kind == Kind::Write)
        {
            unwritten.insert(call.file);
        }
        else if (call.kind == Kind::SyncFile)
        {
            unwritten.erase(call.file);
        }
        else if (call.kind == Kind::SyncAll)
        {
            unwritten.clear();
        }
        else if (call.kind == Kind::Name && unwritten.contains(call.file) &&
                 !Application::CReplacementFile::IsUnfinishedName(call.name))
        {
            names.push_back(call.name);
        }
    }
    return names;
}

}  // namespace FileTest

// The linker leads the program's calls here, as --wrap tells it to; see CMakeLists.txt.
extern "C" {
ssize_t RealWrite(int descriptor, const void* data, size_t size) asm("__real_write");
int RealClose(int descriptor) asm("__real_close");
int RealSync(int descriptor) asm("__real_fsync");
int RealLink(const char* from, const char* to) asm("__real_link");
int RealLinkAt(int fromFolder, const char* from, int toFolder, const char* to,
               int flags) asm("__real_linkat");
int RealRename(const char* from, const char* to) asm("__real_rename");
int RealRenameAt(int fromFolder, const char* from, int toFolder, const char* to,
                 unsigned flags) asm("__real_renameat2");

ssize_t LoggedWrite(int descriptor, const void* data, size_t size) asm("__wrap_write");
int LoggedClose(int descriptor) asm("__wrap_close");
int LoggedSync(int descriptor) asm("__wrap_fsync");
int LoggedSyncAll(int descriptor) asm("__wrap_syncfs");
int LoggedLink(const char* from, const char* to) asm("__wrap_link");
int LoggedLinkAt(int fromFolder, const char* from, int toFolder, const char* to,
                 int flags) asm("__wrap_linkat");
int LoggedRename(const char* from, const char* to) asm("__wrap_rename");
int LoggedRenameAt(int fromFolder, const char* from, int toFolder, const char* to,
                   unsigned flags) asm("__wrap_renameat2");
}

using Log = FileTest::CSystemCallLog;

ssize_t LoggedWrite(int descriptor, const void* data, size_t size)
{
    return FileTest::Note({Log::Kind::Write, FileTest::NumberOf(descriptor), 0, {}},
                          [&] { return RealWrite(descriptor, data, size); });
}

int LoggedClose(int descriptor)
{
    // A failing one closes all the same.
    if (const int error = Log::FindFailure(Log::Kind::Close); error != 0)
    {
        RealClose(descriptor);
        errno = error;
        return -1;
    }
    return FileTest::Note({Log::Kind::Close, FileTest::NumberOf(descriptor), 0, {}},
                          [&] { return RealClose(descriptor); });
}

int LoggedSync(int descriptor)
{
    const auto kind = FileTest::IsFolder(descriptor) ? Log::Kind::SyncFolder : Log::Kind::SyncFile;
    return FileTest::Note({kind, FileTest::NumberOf(descriptor), 0, {}},
                          [&] { return RealSync(descriptor); });
}

int LoggedSyncAll(int descriptor)
{
    // Not made: it would wait for everybody's writes.
    return FileTest::Note({Log::Kind::SyncAll, FileTest::NumberOf(descriptor), 0, {}},
                          [] { return 0; });
}

int LoggedLink(const char* from, const char* to)
{
    return FileTest::Note(FileTest::Naming(from, to), [&] { return RealLink(from, to); });
}

int LoggedLinkAt(int fromFolder, const char* from, int toFolder, const char* to, int flags)
{
    return FileTest::Note(FileTest::Naming(from, to),
                          [&] { return RealLinkAt(fromFolder, from, toFolder, to, flags); });
}

int LoggedRename(const char* from, const char* to)
{
    return FileTest::Note(FileTest::Naming(from, to), [&] { return RealRename(from, to); });
}

int LoggedRenameAt(int fromFolder, const char* from, int toFolder, const char* to, unsigned flags)
{
    return FileTest::Note(FileTest::Naming(from, to),
                          [&] { return RealRenameAt(fromFolder, from, toFolder, to, flags); });
}
