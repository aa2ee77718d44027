#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cmath>
#include <cstdint>
#include <memory>

namespace Application
{

/// What is seen in each sample of a picture: the nearest surfel's depth, look and normal, in one
/// 64-bit word.
///
/// A word holds the bits of the depth, which for numbers that are not negative sort like the
/// numbers, above those of the rest. The smallest word wins, whatever the order of drawing; so a
/// picture does not depend on the number of threads.
class CDepthBuffer
{
public:
    static constexpr std::uint64_t c_empty = ~std::uint64_t{0};
    /// The number of different looks.
    static constexpr std::uint32_t c_numLooks = 1024;

    /// A normal along the picture axes, its z not negative, and of length 1; or none.
    struct SNormal
    {
        float x = 0.0F;
        float y = 0.0F;
        float z = 0.0F;
        bool isPresent = false;
    };

    CDepthBuffer(std::uint32_t width, std::uint32_t height);

    [[nodiscard]] std::uint32_t GetWidth() const { return m_width; }
    [[nodiscard]] std::uint32_t GetHeight() const { return m_height; }

    [[nodiscard]] std::size_t IndexOf(std::uint32_t column, std::uint32_t row) const
    {
        return std::size_t{row} * m_width + column;
    }

    /// A word; only while nobody draws.
    [[nodiscard]] std::uint64_t Get(std::size_t index) const { return m_words[index]; }

    /// Forgets all that has been drawn. Cheaper than a new buffer, whose memory the system clears.
    void Clear();

    // While no other thread draws.

    /// Whether a surfel at \p depth may win over what has been drawn so far.
    [[nodiscard]] bool CanWin(std::size_t index, float depth) const
    {
        return std::bit_cast<std::uint32_t>(depth) <= m_words[index] >> 32U;
    }
    /// Keeps the smaller of \p word and what has been drawn so far, without a jump.
    void Draw(std::size_t index, std::uint64_t word)
    {
        m_words[index] = std::min(m_words[index], word);
    }
    /// As Draw(), while any number of threads draw.
    void DrawShared(std::size_t index, std::uint64_t word)
    {
        const std::atomic_ref<std::uint64_t> stored(m_words[index]);
        std::uint64_t current = stored.load(std::memory_order_relaxed);
        while (word < current &&
               !stored.compare_exchange_weak(current, word, std::memory_order_relaxed))
        {}
    }

    /// \p depth must not be negative, \p look be less than c_numLooks.
    [[nodiscard]] static std::uint64_t Pack(float depth, std::uint32_t look, const SNormal& normal);

    /// \p word with another depth, which must not be negative.
    [[nodiscard]] static std::uint64_t WithDepth(std::uint64_t word, float depth)
    {
        return std::uint64_t{std::bit_cast<std::uint32_t>(depth)} << 32U | (word & 0xFFFFFFFFU);
    }

    /// \p word, which has none, with \p normal, which is present.
    [[nodiscard]] static std::uint64_t WithNormal(std::uint64_t word, const SNormal& normal)
    {
        constexpr std::uint64_t c_bits = (std::uint64_t{1} << 2U * c_normalBits) - 1U;
        return (word & ~c_bits) | std::uint64_t{encode(normal.x)} << c_normalBits |
               encode(normal.y);
    }

    [[nodiscard]] static float DepthOf(std::uint64_t word)
    {
        return std::bit_cast<float>(static_cast<std::uint32_t>(word >> 32U));
    }
    [[nodiscard]] static std::uint32_t LookOf(std::uint64_t word)
    {
        return static_cast<std::uint32_t>(word >> 22U) & (c_numLooks - 1);
    }
    [[nodiscard]] static bool HasNormal(std::uint64_t word)
    {
        return (static_cast<std::uint32_t>(word >> c_normalBits) & c_noNormal) != c_noNormal;
    }
    [[nodiscard]] static SNormal NormalOf(std::uint64_t word)
    {
        if (!HasNormal(word))
        {
            return {};
        }
        const float x = c_components[static_cast<std::uint32_t>(word >> c_normalBits) & c_noNormal];
        const float y = c_components[static_cast<std::uint32_t>(word) & c_noNormal];
        const float squaredZ = 1.0F - x * x - y * y;
        return {x, y, std::sqrt(std::max(squaredZ, 0.0F)), true};
    }

private:
    /// A normal's x and y take so many bits each; the last code stands for no normal.
    static constexpr std::uint32_t c_normalBits = 11;
    static constexpr std::uint32_t c_noNormal = (1U << c_normalBits) - 1U;
    static constexpr float c_normalScale = 1023.0F;
    /// What the codes stand for.
    static constexpr auto c_components = [] {
        std::array<float, c_noNormal + 1> components{};
        for (std::uint32_t code = 0; code != components.size(); ++code)
        {
            components[code] = static_cast<float>(code) / c_normalScale - 1.0F;
        }
        return components;
    }();

    [[nodiscard]] static std::uint32_t encode(float component)
    {
        return static_cast<std::uint32_t>((component + 1.0F) * c_normalScale + 0.5F);
    }

    std::uint32_t m_width;
    std::uint32_t m_height;
    std::unique_ptr<std::uint64_t[]> m_words;
};

}  // namespace Application
