#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>

#include "Application/Pictures/CDepthBuffer.h"
#include "Application/Pictures/CDepthPlane.h"

namespace Application
{

/// The nearest surfel of each sample: its depth by itself, and its word.
///
/// Where all surfels look the same and none has a normal, one word without a depth stands for all.
/// Half of the memory is then needed to find the nearest. Immutable.
class CPointSamples
{
public:
    /// \p border: of the plane of depths.
    CPointSamples(CDepthBuffer words, std::uint32_t border);
    CPointSamples(CDepthPlane depths, std::uint64_t bareWord)
        : m_depths(std::move(depths)), m_bareWord(bareWord)
    {}

    [[nodiscard]] const CDepthPlane& GetDepths() const { return m_depths; }

    /// The words of a row; null where there is but one.
    [[nodiscard]] const std::uint64_t* FindWords(std::uint32_t row) const
    {
        return m_words.has_value() ? m_words->GetWords() + m_words->IndexOf(0, row) : nullptr;
    }
    /// The one, its depth 0.
    [[nodiscard]] std::uint64_t GetBareWord() const { return m_bareWord; }

    /// Whether there are samples and hardly any lacks a normal, from a part of the picture's rows.
    [[nodiscard]] bool HaveNormals() const { return m_haveNormals; }

    /// A sample's word with its depth; CDepthBuffer::c_empty where nothing is seen.
    [[nodiscard]] std::uint64_t Get(std::uint32_t column, std::uint32_t row) const;

private:
    CDepthPlane m_depths;
    std::optional<CDepthBuffer> m_words;
    std::uint64_t m_bareWord = 0;
    bool m_haveNormals = false;
};

}  // namespace Application
