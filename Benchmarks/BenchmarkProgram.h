#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <functional>
#include <string>

/// What all benchmark programs have in common; Benchmarks/README.md states the conventions.
namespace BenchmarkProgram
{

using Body = std::function<void(benchmark::State&)>;

/// Adds the benchmark `PATH/FORM/CASE/SIZE`, unless its size is beyond that of `--max_size`. Add
/// the forms of a size one after the other, so that they meet the same machine. Times are real
/// times.
void Add(const std::string& path, const std::string& form, const std::string& caseName,
         std::int64_t size, Body body);

/// Reads the command line (that of Google Benchmark and `--max_size=COUNT`), lets \p addAll add the
/// benchmarks and runs those asked for.
///
/// \return the exit status of the program; not 0 when a benchmark reported an error (SkipWithError,
///     as for an answer that is not the right one) or none was run.
int Run(int argc, char** argv, const std::function<void()>& addAll);

}  // namespace BenchmarkProgram
