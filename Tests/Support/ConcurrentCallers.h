#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <exception>
#include <latch>
#include <stdexcept>
#include <string>
#include <thread>
#include <typeinfo>
#include <vector>

/// Several threads that use one object at the same time.
namespace TestSupport
{

inline constexpr std::size_t c_numCallers = 8;

/// Runs \p call with each number below c_numCallers, each on a thread of its own, and returns when
/// all have ended. They start together. \p call must not throw.
template <typename Call>
void RunCallers(const Call& call)
{
    std::latch start(c_numCallers);
    std::vector<std::thread> threads;
    for (std::size_t caller = 0; caller < c_numCallers; ++caller)
    {
        threads.emplace_back([&, caller] {
            start.arrive_and_wait();
            call(caller);
        });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
}

/// What is thrown for one of the callers; its text names that one.
class CCallerFault : public std::runtime_error
{
public:
    explicit CCallerFault(std::size_t caller)
        : std::runtime_error("thrown for caller " + std::to_string(caller))
    {}
};

/// Whether a caller is one of those for which something is thrown: every second one.
inline bool IsThrowingCaller(std::size_t caller)
{
    return caller % 2 == 1;
}

/// How many times each caller of ExpectEverySecondThrows() calls.
inline constexpr std::size_t c_numCallsPerCaller = 4;

/// Expects of each \p call, made by all callers at the same time and several times, that it throws
/// exactly a \p Failure that says \p textOf(caller) where the caller is a throwing one, and else
/// says that its result is right.
template <typename Failure, typename TextOf, typename Call>
void ExpectEverySecondThrows(const TextOf& textOf, const Call& call)
{
    std::vector<std::size_t> numRight(c_numCallers);
    std::vector<std::size_t> numThrown(c_numCallers);
    RunCallers([&](std::size_t caller) {
        for (std::size_t number = 0; number < c_numCallsPerCaller; ++number)
        {
            try
            {
                numRight[caller] += call(caller) ? 1 : 0;
            }
            catch (const std::exception& exception)
            {
                EXPECT_EQ(typeid(exception), typeid(Failure));
                EXPECT_EQ(exception.what(), textOf(caller));
                ++numThrown[caller];
            }
        }
    });
    for (std::size_t caller = 0; caller < c_numCallers; ++caller)
    {
        const bool isThrowing = IsThrowingCaller(caller);
        EXPECT_EQ(numRight[caller], isThrowing ? 0 : c_numCallsPerCaller) << "caller " << caller;
        EXPECT_EQ(numThrown[caller], isThrowing ? c_numCallsPerCaller : 0) << "caller " << caller;
    }
}

/// The same where the callers are thrown a CCallerFault each.
template <typename Call>
void ExpectEverySecondGetsItsFault(const Call& call)
{
    ExpectEverySecondThrows<CCallerFault>(
        [](std::size_t caller) { return std::string(CCallerFault(caller).what()); }, call);
}

}  // namespace TestSupport
