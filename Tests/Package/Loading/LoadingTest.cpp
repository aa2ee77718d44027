#include <dlfcn.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "Tests/Package/Loading/CutPlugin.h"
#include "Tests/Support/TestRounds.h"

// This program itself is not linked with the libraries: whatever it loads, it can unload again.

namespace
{

constexpr unsigned c_shortForm = 200;
/// What the loader keeps, however often it loads.
constexpr std::size_t c_constant = 1024;
/// What the scheduler keeps of a worker, once, and a bit: 3120 bytes were seen.
constexpr std::size_t c_keptOfAWorker = 4096;

std::size_t CountThreads()
{
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return static_cast<std::size_t>(std::distance(begin(tasks), end(tasks)));
}

/// How many parts of the project's libraries are in memory.
std::size_t CountMappings()
{
    std::ifstream maps("/proc/self/maps");
    std::size_t count = 0;
    for (std::string line; std::getline(maps, line);)
    {
        count += line.find("libVeko2_") != std::string::npos ? 1 : 0;
    }
    return count;
}

std::size_t CountBytes()
{
    return mallinfo2().uordblks;
}

/// Loads a library, lets \p use use it, and unloads it.
template <typename Use>
void LoadAndUnload(const char* path, const Use& use)
{
    void* const library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    use(library);
    ASSERT_EQ(dlclose(library), 0) << dlerror();
}

TEST(LoadingTest, LoadedAndUnloadedOften_LeavesNothing)
{
    const auto loadOnce = [] {
        LoadAndUnload(VEKO2_LIBRARY, [](void*) { EXPECT_GT(CountMappings(), 0U); });
        ASSERT_EQ(CountMappings(), 0U);
    };
    for (int round = 0; round < 20; ++round)
    {
        loadOnce();
    }
    const std::size_t numThreads = CountThreads();
    const std::size_t numBytes = CountBytes();
    for (unsigned round = 0; round < TestSupport::GetTestRounds(c_shortForm); ++round)
    {
        loadOnce();
    }
    EXPECT_EQ(CountThreads(), numThreads);
    EXPECT_LE(CountBytes(), numBytes + c_constant);
}

TEST(LoadingTest, UsedAndUnloadedOften_LeavesNothing)
{
    const auto useOnce = [] {
        LoadAndUnload(VEKO2_CUT_PLUGIN, [](void* library) {
            const auto cut =
                reinterpret_cast<decltype(&CutSomeSurfels)>(dlsym(library, "CutSomeSurfels"));
            ASSERT_NE(cut, nullptr);
            EXPECT_EQ(cut(), 150000U);
        });
        ASSERT_EQ(CountMappings(), 0U);
    };
    for (int round = 0; round < 10; ++round)
    {
        useOnce();
    }
    const std::size_t numBytes = CountBytes();
    for (unsigned round = 0; round < TestSupport::GetTestRounds(c_shortForm) / 2; ++round)
    {
        useOnce();
    }
    // Each worker that there is took part for the first time in whichever round.
    const std::size_t numWorkers = CountThreads() - 1;
    EXPECT_LE(CountBytes(), numBytes + c_constant + numWorkers * c_keptOfAWorker);
    // The scheduler's workers wait for whoever uses it next.
    EXPECT_LE(CountThreads(), std::thread::hardware_concurrency());
}

}  // namespace
