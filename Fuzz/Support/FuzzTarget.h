#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace Fuzzing
{

/// Gives one input to what a target tests; each target defines it. An exception that leaves it is a
/// finding, as are a sanitizer's report and Fail().
void TestInput(std::span<const std::uint8_t> input);

/// Says that \p rule does not hold, and ends the program, which makes libFuzzer keep the input.
[[noreturn]] void Fail(std::string_view rule);

/// Fails unless \p isTrue.
inline void Require(bool isTrue, std::string_view rule)
{
    if (!isTrue)
    {
        Fail(rule);
    }
}

}  // namespace Fuzzing
