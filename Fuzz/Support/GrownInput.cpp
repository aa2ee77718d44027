#include "Fuzz/Support/GrownInput.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace Fuzzing
{

namespace
{

/// Numbers that depend on every byte of an input.
class CChoice
{
public:
    explicit CChoice(std::span<const std::uint8_t> input)
    {
        for (const std::uint8_t byte : input)
        {
            m_state = (m_state ^ byte) * 1099511628211U;
        }
    }

    /// 0 to \p count - 1.
    [[nodiscard]] std::size_t Below(std::size_t count)
    {
        m_state = (m_state ^ m_state >> 29) * 0xBF58476D1CE4E5B9U + 1;
        return count == 0 ? 0 : static_cast<std::size_t>(m_state >> 32) % count;
    }

private:
    std::uint64_t m_state = 14695981039346656037U;
};

/// The first position from \p position on that follows one of \p ends; \p position without ends.
std::size_t MoveBehind(std::span<const std::uint8_t> input, std::size_t position,
                       std::string_view ends)
{
    if (ends.empty())
    {
        return position;
    }
    while (position > 0 && position < input.size() &&
           ends.find(static_cast<char>(input[position - 1])) == std::string_view::npos)
    {
        ++position;
    }
    return position;
}

bool IsDigit(std::uint8_t byte)
{
    return byte >= '0' && byte <= '9';
}

/// \p piece with \p number in place of each number, so that its names differ from time to time.
std::vector<std::uint8_t> Number(std::span<const std::uint8_t> piece, std::size_t number)
{
    const std::string digits = std::to_string(number);
    std::vector<std::uint8_t> numbered;
    for (std::size_t index = 0; index < piece.size(); ++index)
    {
        if (!IsDigit(piece[index]))
        {
            numbered.push_back(piece[index]);
        }
        else if (index == 0 || !IsDigit(piece[index - 1]))
        {
            numbered.insert(numbered.end(), digits.begin(), digits.end());
        }
    }
    return numbered;
}

}  // namespace

std::vector<std::uint8_t> GrowInput(std::span<const std::uint8_t> input, std::size_t size)
{
    CChoice choice(input);
    constexpr std::string_view c_ends[] = {"\n", "\n", " ,\n", ""};
    const std::string_view ends = c_ends[choice.Below(std::size(c_ends))];
    const std::size_t first = MoveBehind(input, choice.Below(input.size()), ends);
    const std::size_t behind = MoveBehind(
        input, std::min(input.size(), first + 1 + choice.Below(input.size() - first)), ends);
    const std::span<const std::uint8_t> piece = input.subspan(first, behind - first);
    const std::span<const std::uint8_t> rest = input.subspan(behind);
    const bool isNumbered = choice.Below(2) == 0;
    std::vector<std::uint8_t> grown(input.begin(), rest.begin());
    grown.reserve(std::max(size, input.size()));
    for (std::size_t number = 0; !piece.empty(); ++number)
    {
        const std::vector<std::uint8_t> next =
            isNumbered ? Number(piece, number)
                       : std::vector<std::uint8_t>(piece.begin(), piece.end());
        if (grown.size() + next.size() + rest.size() > size)
        {
            break;
        }
        grown.insert(grown.end(), next.begin(), next.end());
    }
    grown.insert(grown.end(), rest.begin(), rest.end());
    return grown;
}

}  // namespace Fuzzing
