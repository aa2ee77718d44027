#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

#include "Application/Pictures/Kernels/SampleRows.h"
#include "Application/Pictures/LargeArrays.h"

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
    /// The lowest bits of a word without a normal.
    static constexpr std::uint32_t c_noNormalCode =
        SSampleWord::c_noNormal << SSampleWord::c_normalBits | SSampleWord::c_noNormal;
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

    /// One that holds nothing in particular before it is cleared.
    [[nodiscard]] static CDepthBuffer MakeUncleared(std::uint32_t width, std::uint32_t height);

    [[nodiscard]] std::uint32_t GetWidth() const { return m_width; }
    [[nodiscard]] std::uint32_t GetHeight() const { return m_height; }

    [[nodiscard]] std::size_t IndexOf(std::uint32_t column, std::uint32_t row) const
    {
        return std::size_t{row} * m_width + column;
    }

    /// A word; only while nobody draws.
    [[nodiscard]] std::uint64_t Get(std::size_t index) const { return m_words[index]; }

    // The words row by row, for the kernels, and SSampleRows::c_margin more of no meaning.

    [[nodiscard]] const std::uint64_t* GetWords() const { return m_words.get(); }
    [[nodiscard]] std::uint64_t* GetWords() { return m_words.get(); }

    /// Forgets all that has been drawn in the rows \p begin to \p end - 1.
    void Clear(std::uint32_t begin, std::uint32_t end);

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

    /// \p depth must not be negative, \p look be less than c_numLooks.
    [[nodiscard]] static std::uint64_t Pack(float depth, std::uint32_t look, const SNormal& normal);

    /// \p word with another depth, which must not be negative.
    [[nodiscard]] static std::uint64_t WithDepth(std::uint64_t word, float depth)
    {
        return std::uint64_t{std::bit_cast<std::uint32_t>(depth)} << 32U | (word & 0xFFFFFFFFU);
    }

    /// \p word, which has no normal, with the one of \p code.
    [[nodiscard]] static std::uint64_t WithNormalCode(std::uint64_t word, std::uint32_t code)
    {
        return (word & ~std::uint64_t{c_noNormalCode}) | code;
    }

    [[nodiscard]] static constexpr float DepthOf(std::uint64_t word)
    {
        return std::bit_cast<float>(static_cast<std::uint32_t>(word >> 32U));
    }
    [[nodiscard]] static std::uint32_t LookOf(std::uint64_t word)
    {
        return static_cast<std::uint32_t>(word >> 2U * c_normalBits) & (c_numLooks - 1);
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
        const float x = decode(static_cast<std::uint32_t>(word >> c_normalBits) & c_noNormal);
        const float y = decode(static_cast<std::uint32_t>(word) & c_noNormal);
        const float squaredZ = 1.0F - x * x - y * y;
        return {x, y, std::sqrt(std::max(squaredZ, 0.0F)), true};
    }

private:
    CDepthBuffer(std::uint32_t width, std::uint32_t height, LargeArray<std::uint64_t> words);

    static constexpr std::uint32_t c_normalBits = SSampleWord::c_normalBits;
    static constexpr std::uint32_t c_noNormal = SSampleWord::c_noNormal;
    static constexpr float c_normalScale = SSampleWord::c_normalScale;
    [[nodiscard]] static std::uint32_t encode(float component)
    {
        // A step, to the nearest one or nearly so. NOLINTNEXTLINE(bugprone-incorrect-roundings)
        return static_cast<std::uint32_t>((component + 1.0F) * c_normalScale + 0.5F);
    }

    [[nodiscard]] static float decode(std::uint32_t code)
    {
        return static_cast<float>(code) / c_normalScale - 1.0F;
    }

    std::uint32_t m_width;
    std::uint32_t m_height;
    LargeArray<std::uint64_t> m_words;
};

}  // namespace Application
