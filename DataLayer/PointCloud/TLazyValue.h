#pragma once

#include <atomic>
#include <mutex>
#include <optional>

namespace DataLayer
{

/// A value that is made when it is first asked for. Safe for concurrent use; when making it fails,
/// the next caller tries again.
template <typename T>
class TLazyValue
{
public:
    /// The value, made by \p make if there is none yet.
    template <typename Make>
    [[nodiscard]] const T& Get(const Make& make) const
    {
        if (!m_isMade.load(std::memory_order_acquire))
        {
            const std::lock_guard lock(m_mutex);
            if (!m_value.has_value())
            {
                m_value.emplace(make());
                m_isMade.store(true, std::memory_order_release);
            }
        }
        return *m_value;
    }

private:
    mutable std::mutex m_mutex;
    mutable std::optional<T> m_value;
    mutable std::atomic<bool> m_isMade = false;
};

}  // namespace DataLayer
