#include "Application/Projects/TransformList.h"

#include <charconv>
#include <set>

#include "Application/Files/CInputError.h"
#include "Application/Files/CLineReader.h"
#include "Application/Files/COutputError.h"
#include "Application/Files/FileBytes.h"
#include "Application/Files/TextTokens.h"
#include "Application/Projects/Placement.h"

namespace Application
{

namespace
{

constexpr std::uint64_t c_maxListBytes = std::uint64_t{64} << 20;
constexpr std::size_t c_numbers = 16;

/// Takes the last word off \p rest and the blanks around it.
std::string_view TakeLastToken(std::string_view& rest)
{
    const auto trim = [&rest] {
        while (!rest.empty() && IsBlank(rest.back()))
        {
            rest.remove_suffix(1);
        }
    };
    trim();
    std::size_t begin = rest.size();
    while (begin > 0 && !IsBlank(rest[begin - 1]))
    {
        --begin;
    }
    const std::string_view token = rest.substr(begin);
    rest = rest.substr(0, begin);
    trim();
    return token;
}

SListedTransform ParseLine(const std::filesystem::path& file, const CLineReader& lines)
{
    std::string_view rest = lines.GetLine();
    SListedTransform entry;
    for (std::size_t index = c_numbers; index > 0; --index)
    {
        const std::string_view token = TakeLastToken(rest);
        const auto number = ParseReal(token);
        if (!number)
        {
            throw CInputError::AtLine(file, lines.GetNumber(),
                                      "expected a file name and 16 numbers, found " + Quote(token) +
                                          " as number " + std::to_string(index));
        }
        entry.transform.data()[index - 1] = *number;
    }
    while (!rest.empty() && IsBlank(rest.front()))
    {
        rest.remove_prefix(1);
    }
    // The system takes a name to end in front of a zero.
    if (rest.empty() || rest.find('\0') != std::string_view::npos)
    {
        throw CInputError::AtLine(file, lines.GetNumber(),
                                  "expected a file name before the 16 numbers, found " +
                                      (rest.empty() ? "none" : Quote(rest)));
    }
    if (!IsPlacement(entry.transform))
    {
        throw CInputError::AtLine(file, lines.GetNumber(),
                                  "expected a transform of finite numbers with an inverse, the "
                                  "translation at 12, 13, 14 and 0, 0, 0, 1 at 3, 7, 11, 15; found "
                                  "another order of numbers, or no such transform");
    }
    entry.file = rest;
    return entry;
}

}  // namespace

std::vector<SListedTransform> ReadTransformList(const std::filesystem::path& file)
{
    const std::string text = ReadFileBytes(file, c_maxListBytes);
    std::vector<SListedTransform> list;
    std::set<std::string> names;
    CLineReader lines(WithoutByteOrderMark(text));
    while (lines.Next())
    {
        std::string_view rest = lines.GetLine();
        const std::string_view first = TakeToken(rest);
        if (first.empty() || first.front() == '#')
        {
            continue;
        }
        list.push_back(ParseLine(file, lines));
        if (!names.insert(list.back().file).second)
        {
            throw CInputError::AtLine(
                file, lines.GetNumber(),
                "expected one line per scan, found another for " + Quote(list.back().file));
        }
    }
    if (list.empty())
    {
        throw CInputError(file, "expected a line per scan, found none");
    }
    return list;
}

std::string PrintTransformList(const std::vector<SListedTransform>& list,
                               const std::filesystem::path& file)
{
    std::string text;
    for (const SListedTransform& entry : list)
    {
        const std::string& name = entry.file;
        if (name.empty() || IsBlank(name.back()) || name.find('\n') != std::string::npos)
        {
            throw COutputError(file, "a line cannot hold the scan's name " + Quote(name) +
                                         ", which has a line end or ends with a blank; rename "
                                         "the scan");
        }
        // A byte order mark is none of the first name's when it is read.
        const bool isMisread = name.front() == '#' || IsBlank(name.front()) ||
                               WithoutByteOrderMark(name).size() < name.size();
        text += (isMisread ? "./" : "") + name;
        for (std::size_t index = 0; index < c_numbers; ++index)
        {
            char digits[32];
            const auto end =
                std::to_chars(digits, digits + sizeof digits, entry.transform.data()[index]);
            text += ' ' + std::string(digits, end.ptr);
        }
        text += '\n';
    }
    return text;
}

}  // namespace Application
