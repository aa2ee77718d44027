#include "Benchmarks/BenchmarkProgram.h"

#include <charconv>
#include <cstdlib>
#include <iostream>
#include <limits>
#include <string_view>
#include <utility>
#include <vector>

namespace
{

std::int64_t g_maxSize = std::numeric_limits<std::int64_t>::max();

/// Prints as Google Benchmark does and remembers whether all went well.
class CReporter : public benchmark::ConsoleReporter
{
public:
    CReporter() : ConsoleReporter(OO_None) {}

    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs)
        {
            m_hasFailed = m_hasFailed || run.error_occurred;
        }
        ConsoleReporter::ReportRuns(runs);
    }
    [[nodiscard]] bool HasFailed() const { return m_hasFailed; }

private:
    bool m_hasFailed = false;
};

/// Takes `--max_size=COUNT` from the arguments, which Google Benchmark would not know.
void TakeMaxSize(int& argc, char** argv)
{
    constexpr std::string_view c_option = "--max_size=";
    int numKept = 0;
    for (int index = 0; index < argc; ++index)
    {
        const std::string_view argument = argv[index];
        if (index == 0 || argument.substr(0, c_option.size()) != c_option)
        {
            argv[numKept++] = argv[index];
            continue;
        }
        const std::string_view count = argument.substr(c_option.size());
        const auto [end, error] =
            std::from_chars(count.data(), count.data() + count.size(), g_maxSize);
        if (error != std::errc() || end != count.data() + count.size())
        {
            std::cerr << argument << " is not a size\n";
            std::exit(2);
        }
    }
    argc = numKept;
}

}  // namespace

namespace BenchmarkProgram
{

void Add(const std::string& path, const std::string& form, const std::string& caseName,
         std::int64_t size, Body body)
{
    if (size > g_maxSize)
    {
        return;
    }
    const std::string name = path + "/" + form + "/" + caseName + "/" + std::to_string(size);
    benchmark::RegisterBenchmark(name.c_str(), std::move(body))
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond);
}

int Run(int argc, char** argv, const std::function<void()>& addAll)
{
    TakeMaxSize(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
    {
        return 2;
    }
    addAll();
    CReporter reporter;
    const std::size_t numRun = benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return numRun > 0 && !reporter.HasFailed() ? 0 : 1;
}

}  // namespace BenchmarkProgram
