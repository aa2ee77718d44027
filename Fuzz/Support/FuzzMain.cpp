#include <tbb/global_control.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>

#include "Fuzz/Support/FuzzTarget.h"
#include "Fuzz/Support/GrownInput.h"
#include "Fuzz/Support/InputLimits.h"

namespace Fuzzing
{

namespace
{

/// The size that inputs are grown to, from VEKO2_FUZZ_GROWN_BYTES in the environment; 0 for as they
/// are.
std::size_t GetGrownSize()
{
    static const char* const c_text = std::getenv("VEKO2_FUZZ_GROWN_BYTES");
    static const std::size_t c_size = c_text == nullptr ? 0 : std::strtoull(c_text, nullptr, 10);
    return c_size;
}

double TestWithinMemory(std::span<const std::uint8_t> input)
{
    const CMemoryLimit limit(input.size());
    const double start = GetProcessorTime();
    TestInput(input);
    return GetProcessorTime() - start;
}

/// A second and a third time before an input counts as slow, since the clock also runs for others.
void TestWithinLimits(std::span<const std::uint8_t> input)
{
    constexpr int c_times = 3;
    const double allowed = GetSecondsAllowed(input.size());
    for (int time = 1; TestWithinMemory(input) > allowed; ++time)
    {
        Require(time < c_times, "an input takes at most one second per megabyte");
    }
}

}  // namespace

void Fail(std::string_view rule)
{
    // Without the heap, which may be what fails.
    const auto print = [](std::string_view text) {
        while (!text.empty())
        {
            const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
            text.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : text.size());
        }
    };
    print("Broken rule: ");
    print(rule);
    print("\n");
    std::abort();
}

}  // namespace Fuzzing

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/)
{
    // One thread, so that an input always takes the same way, and what makes a way new is kept.
    static const tbb::global_control control(tbb::global_control::max_allowed_parallelism, 1);
    Fuzzing::CountMemory();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::span<const std::uint8_t> input(data, size);
    const std::size_t grownSize = Fuzzing::GetGrownSize();
    if (grownSize == 0)
    {
        Fuzzing::TestWithinLimits(input);
    }
    else
    {
        Fuzzing::TestWithinLimits(Fuzzing::GrowInput(input, grownSize));
    }
    return 0;
}
