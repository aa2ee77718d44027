#pragma once

#include <cstdint>
#include <mutex>
#include <vector>

namespace Application
{

/// Passes bands on in their order, whatever the order is in which threads finish them.
///
/// Safe for concurrent use.
class CBandQueue
{
public:
    explicit CBandQueue(std::uint32_t numBands) : m_isFinished(numBands) {}

    /// To be called once for each band. Calls \p pass(numBands), if all bands below that number are
    /// finished and not all have been passed on: one call at a time, by whichever thread. While one
    /// is at it the others do not wait; it passes their bands on, too.
    template <typename Pass>
    void Finish(std::uint32_t band, const Pass& pass)
    {
        std::unique_lock lock(m_mutex);
        m_isFinished[band] = 1;
        if (m_isPassing)
        {
            return;
        }
        m_isPassing = true;
        for (std::uint32_t next = findNext(); next != m_numPassed; next = findNext())
        {
            m_numPassed = next;
            lock.unlock();
            pass(next);
            lock.lock();
        }
        m_isPassing = false;
    }

private:
    /// The first band that is not finished.
    [[nodiscard]] std::uint32_t findNext() const
    {
        std::uint32_t next = m_numPassed;
        while (next < m_isFinished.size() && m_isFinished[next] != 0)
        {
            ++next;
        }
        return next;
    }

    std::mutex m_mutex;
    std::vector<std::uint8_t> m_isFinished;
    std::uint32_t m_numPassed = 0;
    bool m_isPassing = false;
};

}  // namespace Application
