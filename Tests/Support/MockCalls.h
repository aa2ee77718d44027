#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>

#include "Tests/Support/EFailing.h"

/// Interferes with the calls that the tested code makes to what it was given: collections,
/// supports, searches, entities, tags, models and the log's sink.
namespace TestSupport
{

/// What a call that fails throws. Its text names the call's number.
class CCallFault : public std::runtime_error
{
public:
    explicit CCallFault(std::size_t number);

    [[nodiscard]] std::size_t GetNumber() const { return m_number; }

private:
    std::size_t m_number;
};

/// Called first by every operation of a mock, from any thread.
void OnMockCall();

/// Makes calls of all threads throw a CCallFault while it lives. One at a time.
class CCallFaults
{
public:
    /// \p number counts from 1, the next call.
    CCallFaults(std::size_t number, EFailing failing);
    ~CCallFaults();
    CCallFaults(const CCallFaults&) = delete;
    CCallFaults& operator=(const CCallFaults&) = delete;

    /// How many have failed so far.
    [[nodiscard]] std::size_t GetNumFailed() const;
};

/// Makes calls of all threads take up to a tenth of a millisecond while it lives, some of them. One
/// at a time.
class CCallDelays
{
public:
    explicit CCallDelays(std::uint64_t seed);
    ~CCallDelays();
    CCallDelays(const CCallDelays&) = delete;
    CCallDelays& operator=(const CCallDelays&) = delete;
};

}  // namespace TestSupport
