#pragma once

#include <cstdlib>
#include <string>

namespace TestSupport
{

/// How many rounds a test runs: \p shortForm, or what VEKO2_TEST_ROUNDS says, which asks for the
/// long form of all tests that have one.
[[nodiscard]] inline unsigned GetTestRounds(unsigned shortForm)
{
    const char* const asked = std::getenv("VEKO2_TEST_ROUNDS");
    return asked != nullptr ? static_cast<unsigned>(std::stoul(asked)) : shortForm;
}

/// Whether tests that take seconds, or gigabytes of address space, run as well.
[[nodiscard]] inline bool IsLongForm()
{
    return std::getenv("VEKO2_TEST_ROUNDS") != nullptr;
}

}  // namespace TestSupport
