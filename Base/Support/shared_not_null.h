#pragma once

#include <memory>
#include <type_traits>
#include <utility>

#include "Base/Support/VekoException.h"

namespace ScanAPI
{

/// A shared pointer that is never empty. A plain value with the thread safety of std::shared_ptr.
template <typename T>
class shared_not_null
{
public:
    /// @throw VekoException when \p pointer is empty.
    shared_not_null(std::shared_ptr<T> pointer) : m_pointer(std::move(pointer))
    {
        if (m_pointer == nullptr)
        {
            ThrowVekoException("Base/Support/shared_not_null", 24,
                               "ScanAPI::shared_not_null::shared_not_null",
                               L"An empty pointer was given where an object is required.");
        }
    }

    /// Takes what std::shared_ptr itself would convert: a pointer to a less constant or derived
    /// object.
    /// @throw VekoException when \p pointer is empty.
    template <typename U>
    requires(std::is_convertible_v<std::shared_ptr<U>, std::shared_ptr<T>>)
        shared_not_null(std::shared_ptr<U> pointer)
        : shared_not_null(std::shared_ptr<T>(std::move(pointer)))
    {}

    /// The same of one that is known not to be empty.
    template <typename U>
    requires(std::is_convertible_v<std::shared_ptr<U>, std::shared_ptr<T>>)
        shared_not_null(const shared_not_null<U>& other)
        : m_pointer(other.get_shared())
    {}

    // Copied when moved from as well, so that no object is ever left empty.
    shared_not_null(const shared_not_null&) = default;
    shared_not_null& operator=(const shared_not_null&) = default;

    /// The wrapped pointer.
    [[nodiscard]] const std::shared_ptr<T>& get_shared() const { return m_pointer; }

    [[nodiscard]] T& operator*() const { return *m_pointer; }
    [[nodiscard]] T* operator->() const { return m_pointer.get(); }

private:
    std::shared_ptr<T> m_pointer;
};

}  // namespace ScanAPI
