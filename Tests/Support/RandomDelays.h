#pragma once

#include <cstddef>
#include <cstdint>

/// Makes threads meet one another at other moments each time. CCallDelays switches it on and off.
namespace TestSupport
{

/// From here on, until StopRandomDelays(), some calls of DelayRandomly() take up to a tenth of a
/// millisecond.
void StartRandomDelays(std::uint64_t seed);
void StopRandomDelays();

/// From any thread.
void DelayRandomly();

/// How many calls of DelayRandomly() there were while it was switched on.
[[nodiscard]] std::size_t GetDelayCount();

}  // namespace TestSupport
