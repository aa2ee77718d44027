#pragma once

#include <cstddef>

#include "Tests/Support/EFailing.h"

/// Counts, and where asked to refuses, the memory that this program and the libraries it uses take
/// with `new`. Only for programs that link Veko2_TestAllocations, which replaces `new` for all.
namespace TestSupport
{

/// How many times memory was taken so far.
[[nodiscard]] std::size_t GetAllocationCount();

/// How many of these are not given back yet.
[[nodiscard]] std::size_t GetLiveAllocationCount();

/// Makes allocations of all threads fail while it lives. One at a time.
class CAllocationFaults
{
public:
    /// \p number counts from 1, the next allocation.
    CAllocationFaults(std::size_t number, EFailing failing);
    ~CAllocationFaults();
    CAllocationFaults(const CAllocationFaults&) = delete;
    CAllocationFaults& operator=(const CAllocationFaults&) = delete;

    /// How many have failed so far.
    [[nodiscard]] std::size_t GetNumFailed() const;
};

}  // namespace TestSupport
