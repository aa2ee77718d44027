#pragma once

#include <string>
#include <utility>

namespace ATL
{

/// The system's string of character type \p C.
template <typename C>
using CStringT = std::basic_string<C>;

}  // namespace ATL

/// The system's wide string.
using CString = ATL::CStringT<wchar_t>;

/// An identifier that wraps one value of type \p S, so that it is not mistaken for any other \p S.
template <typename S>
class UxUniqueIdT
{
public:
    UxUniqueIdT() = default;
    explicit UxUniqueIdT(S value) : m_value(std::move(value)) {}

    [[nodiscard]] const S& GetValue() const { return m_value; }

    friend bool operator==(const UxUniqueIdT&, const UxUniqueIdT&) = default;

private:
    S m_value{};
};
