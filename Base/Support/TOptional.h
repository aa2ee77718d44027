#pragma once

#include <exception>
#include <optional>
#include <utility>

#include "Base/Export.h"

namespace ScanAPI
{

/// Thrown when the value of an empty TOptional is read.
class VEKO2_BASE_EXPORT BadOptionalAccessException : public std::exception
{
public:
    BadOptionalAccessException() = default;
    BadOptionalAccessException(const BadOptionalAccessException&) = default;
    BadOptionalAccessException& operator=(const BadOptionalAccessException&) = default;
    ~BadOptionalAccessException() override;

    /// "Accessing invalid TOptional value"
    [[nodiscard]] const char* what() const noexcept override;
};

/// Throws BadOptionalAccessException.
[[noreturn]] VEKO2_BASE_EXPORT void ThrowBadOptionalAccess();

/// A value that may be absent. Default-constructed absent.
///
/// Distinct objects may be used from any thread; one object may be read by several at once.
template <typename T>
class TOptional
{
public:
    TOptional() = default;
    TOptional(const T& value) : m_value(value) {}
    TOptional(T&& value) : m_value(std::move(value)) {}

    [[nodiscard]] bool HasValue() const { return m_value.has_value(); }

    /// @throw BadOptionalAccessException when there is no value.
    [[nodiscard]] const T& GetValue() const
    {
        requireValue();
        return *m_value;
    }

    /// @throw BadOptionalAccessException when there is no value.
    [[nodiscard]] T& GetValue()
    {
        requireValue();
        return *m_value;
    }

    /// Replaces what is held by a value built from \p arguments and returns it.
    template <typename... Arguments>
    T& Emplace(Arguments&&... arguments)
    {
        return m_value.emplace(std::forward<Arguments>(arguments)...);
    }

    /// Makes the value absent.
    void Reset() { m_value.reset(); }

private:
    void requireValue() const
    {
        if (!m_value.has_value())
        {
            ThrowBadOptionalAccess();
        }
    }

    std::optional<T> m_value;
};

}  // namespace ScanAPI
