#pragma once

#include <gtest/gtest.h>
#include <tbb/global_control.h>
#include <tbb/task_arena.h>

#include <cstddef>
#include <functional>
#include <new>
#include <string>

#include "Base/Support/CLogger.h"
#include "Base/Support/ParallelFor.h"
#include "Tests/Support/Allocations.h"

namespace TestSupport
{

/// One operation, on objects of its own that its functions share, and what may be seen of them.
struct SFaultScene
{
    std::function<void()> operate;
    /// The bytes of what the operation gave; the same whenever it succeeds.
    std::function<std::string()> describeResult;
    /// The bytes of all that an operation that fails must leave alone.
    std::function<std::string()> describeInputs;
};

/// Fails each allocation of an operation in turn, once and from there on, with one thread and with
/// several, until it needs none that fails. Each time only std::bad_alloc may leave, and then the
/// inputs are what they were and the operation works when it is called again; or the operation did
/// without the memory and gives what it gives with it. Nothing is lost.
///
/// Messages of all levels are made and dropped. \p makeScene makes a scene anew for each attempt.
/// \return how many allocations have failed in all.
template <typename MakeScene>
std::size_t ExpectEveryAllocationMayFail(const MakeScene& makeScene)
{
    Logging::SetLogSink([](const Logging::SLogRecord&) {});
    Logging::SetLogLevel(Logging::c_levelDebug);
    std::size_t numFailed = 0;
    for (const int numThreads : {1, 8})
    {
        const tbb::global_control control(tbb::global_control::max_allowed_parallelism,
                                          static_cast<std::size_t>(numThreads));
        tbb::task_arena arena(numThreads);
        std::string expected;
        arena.execute([&] {
            // Starting up for the first time, the scheduler waits for ever for memory that it does
            // not get; that is not ours to test. The scene's own first time makes what it keeps for
            // good, such as a constant text.
            Base::ParallelFor(1000, [](std::uint32_t) {});
            const SFaultScene scene = makeScene();
            scene.operate();
            expected = scene.describeResult();
        });
        for (const EFailing failing : {EFailing::Once, EFailing::FromThereOn})
        {
            for (std::size_t number = 1, numFailedNow = 1; numFailedNow != 0; ++number)
            {
                const std::size_t numLive = GetLiveAllocationCount();
                {
                    const SFaultScene scene = makeScene();
                    const std::string inputs = scene.describeInputs();
                    bool hasFailed = false;
                    {
                        const CAllocationFaults faults(number, failing);
                        try
                        {
                            arena.execute([&] { scene.operate(); });
                        }
                        catch (const std::bad_alloc&)
                        {
                            hasFailed = true;
                        }
                        numFailedNow = faults.GetNumFailed();
                    }
                    if (hasFailed)
                    {
                        EXPECT_EQ(scene.describeInputs(), inputs) << "allocation " << number;
                        arena.execute([&] { scene.operate(); });
                    }
                    EXPECT_EQ(scene.describeResult(), expected) << "allocation " << number;
                }
                EXPECT_EQ(GetLiveAllocationCount(), numLive) << "allocation " << number;
                numFailed += numFailedNow;
                if (testing::Test::HasFailure())
                {
                    return numFailed;
                }
            }
        }
    }
    Logging::SetLogLevel(Logging::c_levelWarn);
    Logging::SetLogSink({});
    return numFailed;
}

/// Collects the bytes of values that have no padding.
class CBytes
{
public:
    template <typename T>
    CBytes& Add(const T& value)
    {
        static_assert(std::has_unique_object_representations_v<T> || std::is_floating_point_v<T>);
        m_bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
        return *this;
    }

    /// The elements and how many they are.
    template <typename Elements>
    CBytes& AddAll(const Elements& elements)
    {
        Add(elements.size());
        for (const auto& element : elements)
        {
            Add(element);
        }
        return *this;
    }

    CBytes& AddBytes(const void* data, std::size_t size)
    {
        m_bytes.append(static_cast<const char*>(data), size);
        return *this;
    }

    [[nodiscard]] const std::string& Get() const { return m_bytes; }

private:
    std::string m_bytes;
};

}  // namespace TestSupport
