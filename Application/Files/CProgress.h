#pragma once

#include <cstdint>
#include <functional>
#include <utility>

namespace Application
{

/// Told how much of a long operation is done, from 0 to 1, on the thread that runs it; called a few
/// hundred times at most unless the operation says otherwise, and never again after 1. An exception
/// it throws ends the operation with that exception and leaves no partial file, which is how a host
/// cancels. The call with 1 comes when the result is in place; what it throws leaves as well, but
/// takes nothing back.
using ProgressCallback = std::function<void(double)>;

/// Thins the steps of a long operation out to the calls that a ProgressCallback wants; the last
/// one, with 1, is left to whoever runs the operation as a whole.
class CProgress
{
public:
    /// \p total is in the unit of Report(); an empty \p callback is never called.
    CProgress(ProgressCallback callback, std::uint64_t total)
        : m_callback(std::move(callback)), m_total(total), m_step(total / 200 + 1), m_next(m_step)
    {}

    /// \p done of the total is done; cheap enough for every record.
    void Report(std::uint64_t done)
    {
        if (done >= m_next && done < m_total && m_callback)
        {
            m_next = done + m_step;
            m_callback(static_cast<double>(done) / static_cast<double>(m_total));
        }
    }

private:
    ProgressCallback m_callback;
    std::uint64_t m_total;
    std::uint64_t m_step;
    std::uint64_t m_next;
};

}  // namespace Application
