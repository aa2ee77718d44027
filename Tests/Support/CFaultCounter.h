#pragma once

#include <atomic>
#include <cstddef>

#include "Tests/Support/EFailing.h"

namespace TestSupport
{

/// Counts events of all threads from a moment on and says which of them have to fail.
class CFaultCounter
{
public:
    /// From here on, the event with that number fails, counted from 1.
    void Start(std::size_t number, EFailing failing)
    {
        m_numCounted = 0;
        m_numFailed = 0;
        m_endFailing = failing == EFailing::Once ? number + 1 : static_cast<std::size_t>(-1);
        m_firstFailing = number;
    }

    /// From here on, none fails and none is counted.
    void Stop() { m_firstFailing = 0; }

    /// Counts an event: its number when it has to fail, else 0.
    [[nodiscard]] std::size_t Count()
    {
        const std::size_t first = m_firstFailing;
        if (first == 0)
        {
            return 0;
        }
        const std::size_t number = ++m_numCounted;
        if (number < first || number >= m_endFailing)
        {
            return 0;
        }
        ++m_numFailed;
        return number;
    }

    /// How many have failed since Start().
    [[nodiscard]] std::size_t GetNumFailed() const { return m_numFailed; }

private:
    std::atomic<std::size_t> m_firstFailing = 0;  ///< 0 for none
    std::atomic<std::size_t> m_endFailing = 0;    ///< the first behind it that does not
    std::atomic<std::size_t> m_numCounted = 0;
    std::atomic<std::size_t> m_numFailed = 0;
};

}  // namespace TestSupport
