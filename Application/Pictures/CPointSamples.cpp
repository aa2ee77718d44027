#include "Application/Pictures/CPointSamples.h"

namespace Application
{

namespace
{

bool HaveMostNormals(const CDepthBuffer& words)
{
    constexpr std::uint32_t c_rowsPerRow = 16;
    constexpr std::size_t c_samplesPerMissing = 16;
    std::size_t numSamples = 0;
    std::size_t numMissing = 0;
    for (std::uint32_t row = 0; row < words.GetHeight(); row += c_rowsPerRow)
    {
        const std::uint64_t* const first = words.GetWords() + words.IndexOf(0, row);
        for (std::uint32_t column = 0; column < words.GetWidth(); ++column)
        {
            const bool isThere = first[column] != CDepthBuffer::c_empty;
            numSamples += isThere ? 1 : 0;
            numMissing += isThere && !CDepthBuffer::HasNormal(first[column]) ? 1 : 0;
        }
    }
    return numMissing * c_samplesPerMissing < numSamples;
}

}  // namespace

CPointSamples::CPointSamples(CDepthBuffer words, std::uint32_t border)
    : m_depths(words, border), m_words(std::move(words)), m_haveNormals(HaveMostNormals(*m_words))
{}

std::uint64_t CPointSamples::Get(std::uint32_t column, std::uint32_t row) const
{
    if (m_words.has_value())
    {
        return m_words->Get(m_words->IndexOf(column, row));
    }
    const float depth = m_depths.GetFirst()[row * m_depths.GetStride() + column];
    return depth == depth ? CDepthBuffer::WithDepth(m_bareWord, depth) : CDepthBuffer::c_empty;
}

}  // namespace Application
