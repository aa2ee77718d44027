#pragma once

#include <cstddef>
#include <cstdint>

namespace Fuzzing
{

/// Begins to count the memory that the program takes. To be called once, first of all.
void CountMemory();

/// While it lives, the program may not take more memory than an input of so many bytes allows: ten
/// times its size and 16 MiB. Fails at the allocation that does.
class CMemoryLimit
{
public:
    explicit CMemoryLimit(std::size_t inputSize);
    ~CMemoryLimit();
    CMemoryLimit(const CMemoryLimit&) = delete;
    CMemoryLimit& operator=(const CMemoryLimit&) = delete;
};

/// The seconds of processor time that an input of so many bytes may take: one for each megabyte,
/// and never less than what a busy machine and the sanitizers may take for the smallest one.
[[nodiscard]] double GetSecondsAllowed(std::size_t inputSize);

/// The processor time of the calling thread, in seconds.
[[nodiscard]] double GetProcessorTime();

}  // namespace Fuzzing
