#pragma once

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <type_traits>
#include <utility>

/// What a source is given that holds many mistakes, of which the environment says which one is
/// made: compiled once for all of them. An operator is kept and followed by an operand that knows
/// its number, `a < COperator<7>() < b`, so that what binds to what stays as it is. In constants no
/// mistake is made.
namespace Mistakes
{

/// Which mistake is made, and where to leave a file once it has been.
class CMade
{
public:
    CMade()
    {
        const char* const number = std::getenv("VEKO2_MISTAKE");
        m_number = number == nullptr ? -1 : std::atoi(number);
    }
    ~CMade()
    {
        const char* const file = std::getenv("VEKO2_MISTAKE_MADE");
        if (m_isMade && file != nullptr)
        {
            std::fclose(std::fopen(file, "w"));
        }
    }

    [[gnu::always_inline]] bool Is(int number)
    {
        if (m_number != number)
        {
            return false;
        }
        __atomic_store_n(&m_isMade, true, __ATOMIC_RELAXED);
        return true;
    }

private:
    int m_number;
    bool m_isMade = false;
};
[[gnu::init_priority(101)]] static CMade s_made;

[[gnu::always_inline]] constexpr bool Is(int number)
{
    return !std::is_constant_evaluated() && s_made.Is(number);
}

/// Mistake \p number is another operator, \p swapped has the operands the other way round.
template <int number, int swapped = -2>
struct COperator
{};

template <typename Operator, typename A>
struct SLeft
{
    A&& value;
};

template <int number, typename B>
struct SRight
{
    B&& value;
};

#define VEKO2_OPERATOR(sign, other)                                                                \
    template <typename A, int number, int swapped>                                                 \
    [[gnu::always_inline]] constexpr auto operator sign(A&& a, COperator<number, swapped>)         \
        ->SLeft<COperator<number, swapped>, A>                                                     \
    {                                                                                              \
        return {std::forward<A>(a)};                                                               \
    }                                                                                              \
    template <typename A, int number, int swapped, typename B>                                     \
    [[gnu::always_inline]] constexpr auto operator sign(SLeft<COperator<number, swapped>, A> left, \
                                                        B&& b)                                     \
        ->decltype(left.value sign b)                                                              \
    {                                                                                              \
        if constexpr (requires { b sign left.value; })                                             \
        {                                                                                          \
            if (Is(swapped))                                                                       \
            {                                                                                      \
                return static_cast<decltype(left.value sign b)>(std::forward<B>(b)                 \
                                                                    sign left.value);              \
            }                                                                                      \
        }                                                                                          \
        if constexpr (requires { static_cast<decltype(left.value sign b)>(left.value other b); })  \
        {                                                                                          \
            if (Is(number))                                                                        \
            {                                                                                      \
                return static_cast<decltype(left.value sign b)>(left.value other b);               \
            }                                                                                      \
        }                                                                                          \
        return static_cast<decltype(left.value sign b)>(std::forward<A>(left.value)                \
                                                            sign std::forward<B>(b));              \
    }

#define VEKO2_ASSIGNMENT(sign, other)                                                            \
    template <int number, int swapped, typename B>                                               \
    [[gnu::always_inline]] constexpr auto operator sign(COperator<number, swapped>, B&& b)       \
        ->SRight<number, B>                                                                      \
    {                                                                                            \
        return {std::forward<B>(b)};                                                             \
    }                                                                                            \
    template <typename A, int number, typename B>                                                \
    [[gnu::always_inline]] constexpr decltype(auto) operator sign(A& a, SRight<number, B> right) \
    {                                                                                            \
        if constexpr (requires { a other right.value; })                                         \
        {                                                                                        \
            if (Is(number))                                                                      \
            {                                                                                    \
                return a other std::forward<B>(right.value);                                     \
            }                                                                                    \
        }                                                                                        \
        return a sign std::forward<B>(right.value);                                              \
    }

VEKO2_OPERATOR(<, <=)
VEKO2_OPERATOR(<=, <)
VEKO2_OPERATOR(>, >=)
VEKO2_OPERATOR(>=, >)
VEKO2_OPERATOR(==, !=)
VEKO2_OPERATOR(!=, ==)
VEKO2_OPERATOR(+, -)
VEKO2_OPERATOR(-, +)
VEKO2_OPERATOR(<<, >>)
VEKO2_OPERATOR(>>, <<)
VEKO2_OPERATOR(&, |)
VEKO2_OPERATOR(|, &)
VEKO2_OPERATOR(^, |)
VEKO2_ASSIGNMENT(+=, -=)
VEKO2_ASSIGNMENT(-=, +=)
VEKO2_ASSIGNMENT(<<=, >>=)
VEKO2_ASSIGNMENT(>>=, <<=)
VEKO2_ASSIGNMENT(&=, |=)
VEKO2_ASSIGNMENT(|=, &=)
VEKO2_ASSIGNMENT(^=, |=)

#undef VEKO2_OPERATOR
#undef VEKO2_ASSIGNMENT

// Instead of signs before an operand: `CNot<7>() ->* a`, which binds nearly as they do.

template <int number>
struct CNot
{};
template <int number, typename A>
[[gnu::always_inline]] constexpr bool operator->*(CNot<number>, A&& a)
{
    return Is(number) == static_cast<bool>(std::forward<A>(a));
}

template <int number>
struct CIncrement
{};
template <int number, typename A>
[[gnu::always_inline]] constexpr A& operator->*(CIncrement<number>, A& a)
{
    if constexpr (requires { --a; })
    {
        if (Is(number))
        {
            return --a;
        }
    }
    return ++a;
}

template <int number>
struct CDecrement
{};
template <int number, typename A>
[[gnu::always_inline]] constexpr A& operator->*(CDecrement<number>, A& a)
{
    if constexpr (requires { ++a; })
    {
        if (Is(number))
        {
            return ++a;
        }
    }
    return --a;
}

template <int number>
struct CMin
{
    template <typename T>
    static constexpr const T& Of(const T& a, const T& b)
    {
        return Is(number) ? std::max(a, b) : std::min(a, b);
    }
    template <typename T>
    static constexpr T Of(std::initializer_list<T> values)
    {
        return Is(number) ? std::max(values) : std::min(values);
    }
};

template <int number>
struct CMax
{
    template <typename T>
    static constexpr const T& Of(const T& a, const T& b)
    {
        return Is(number) ? std::min(a, b) : std::max(a, b);
    }
    template <typename T>
    static constexpr T Of(std::initializer_list<T> values)
    {
        return Is(number) ? std::min(values) : std::max(values);
    }
};

}  // namespace Mistakes
