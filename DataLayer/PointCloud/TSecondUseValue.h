#pragma once

#include <atomic>
#include <memory>
#include <new>

namespace DataLayer
{

/// A value that pays for itself only when it is used again, and is therefore made when it is asked
/// for the second time. Safe for concurrent use; nobody ever waits.
template <typename T>
class TSecondUseValue
{
public:
    /// The value, or null: the first time, while another thread makes it, and when there was no
    /// memory to make it, after which the next caller tries again. The second call makes it by
    /// \p make; any other exception of that leaves, and the next caller tries again as well.
    template <typename Make>
    [[nodiscard]] const T* Find(const Make& make) const
    {
        if (const T* const value = m_published.load(std::memory_order_acquire))
        {
            return value;
        }
        EState unused = EState::Unused;
        EState wanted = EState::Wanted;
        if (m_state.compare_exchange_strong(unused, EState::Wanted, std::memory_order_acq_rel) ||
            !m_state.compare_exchange_strong(wanted, EState::BeingMade, std::memory_order_acq_rel))
        {
            return nullptr;
        }
        try
        {
            m_value = std::make_unique<const T>(make());
        }
        catch (const std::bad_alloc&)
        {
            m_state.store(EState::Wanted, std::memory_order_release);
            return nullptr;
        }
        catch (...)
        {
            m_state.store(EState::Wanted, std::memory_order_release);
            throw;
        }
        m_published.store(m_value.get(), std::memory_order_release);
        return m_value.get();
    }

private:
    enum class EState
    {
        Unused,
        Wanted,     ///< Was asked for, or could not be made.
        BeingMade,  ///< Or made.
    };

    mutable std::atomic<const T*> m_published = nullptr;
    mutable std::atomic<EState> m_state = EState::Unused;
    mutable std::unique_ptr<const T> m_value;  ///< Written only by the thread that makes it.
};

}  // namespace DataLayer
