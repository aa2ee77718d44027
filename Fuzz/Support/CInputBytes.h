#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "Base/Math/LqMatrix4R.h"

namespace Fuzzing
{

/// Takes values of any bits from the front of an input; zeros behind its end.
class CInputBytes
{
public:
    explicit CInputBytes(std::span<const std::uint8_t> input) : m_rest(input) {}

    template <typename T>
    [[nodiscard]] T Take()
    {
        T value{};
        const std::span<const std::uint8_t> taken = TakeBytes(sizeof value);
        if (!taken.empty())
        {
            std::memcpy(&value, taken.data(), taken.size());
        }
        return value;
    }

    /// 0 to \p count - 1, from one byte.
    [[nodiscard]] std::uint32_t TakeBelow(std::uint32_t count)
    {
        return Take<std::uint8_t>() % count;
    }

    template <typename Matrix, typename Element>
    [[nodiscard]] Matrix TakeMatrix()
    {
        Matrix matrix;
        for (std::size_t index = 0; index < 16; ++index)
        {
            matrix.data()[index] = Take<Element>();
        }
        return matrix;
    }

    /// As many as there are.
    [[nodiscard]] std::span<const std::uint8_t> TakeBytes(std::size_t count)
    {
        const auto taken = m_rest.first(std::min(count, m_rest.size()));
        m_rest = m_rest.subspan(taken.size());
        return taken;
    }

    [[nodiscard]] bool IsAtEnd() const { return m_rest.empty(); }

private:
    std::span<const std::uint8_t> m_rest;
};

}  // namespace Fuzzing
