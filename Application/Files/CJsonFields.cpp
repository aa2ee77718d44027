#include "Application/Files/CJsonFields.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "Application/Files/CInputError.h"

namespace Application
{

namespace
{

using Json = CJsonFields::Json;

/// As much of a file's own text as a message can do with.
std::string Shorten(std::string_view text, std::size_t maxLength)
{
    return std::string(text.substr(0, maxLength)) + (text.size() > maxLength ? "..." : "");
}

/// The value itself, shortened; of containers in containers only the kind, since they may be nested
/// so deep that printing them would exhaust the stack.
std::string Describe(const Json& value)
{
    constexpr std::size_t c_maxLength = 60;
    const auto isContainer = [](const Json& element) { return element.is_structured(); };
    if (value.is_structured() && std::any_of(value.begin(), value.end(), isContainer))
    {
        return value.type_name();
    }
    // Of a text no more than is shown: printed, it may take several times its room.
    const Json shown = value.is_string()
                           ? Json(value.get_ref<const std::string&>().substr(0, c_maxLength))
                           : value;
    return Shorten(shown.dump(-1, ' ', true, Json::error_handler_t::replace), c_maxLength);
}

/// The message of an exception of the JSON parser without the library's own mark in front, such as
/// "[json.exception.parse_error.101] ", and shortened, since it has all of the text or number that
/// it is about.
std::string DescribeError(const Json::exception& error)
{
    constexpr std::size_t c_maxLength = 200;
    const std::string_view what = error.what();
    const std::size_t end = what.starts_with('[') ? what.find("] ") : std::string_view::npos;
    return Shorten(end == std::string_view::npos ? what : what.substr(end + 2), c_maxLength);
}

}  // namespace

Json CJsonFields::Parse(std::string_view text, const std::filesystem::path& file,
                        const Json::parser_callback_t& keep)
{
    try
    {
        return Json::parse(text, keep);
    }
    catch (const Json::parse_error& error)
    {
        throw CInputError::AtByte(file, error.byte,
                                  "expected a JSON document: " + DescribeError(error));
    }
    catch (const Json::exception& error)
    {
        throw CInputError(file, DescribeError(error));
    }
}

CJsonFields::CJsonFields(const Json& object, const std::filesystem::path& file, std::string place)
    : m_object(object), m_file(file), m_place(std::move(place))
{
    if (!object.is_object())
    {
        Fail("", "an object", object);
    }
}

void CJsonFields::Allow(std::initializer_list<std::string_view> known) const
{
    for (const auto& [name, value] : m_object.items())
    {
        if (std::find(known.begin(), known.end(), name) == known.end())
        {
            FailUnknown(name);
        }
    }
}

const Json& CJsonFields::Get(const char* name) const
{
    const auto found = m_object.find(name);
    if (found == m_object.end())
    {
        throw CInputError(m_file, where(name) + ": the field is missing");
    }
    return *found;
}

const Json& CJsonFields::GetArray(const char* name) const
{
    return require(name, Get(name).is_array(), "an array");
}

std::string CJsonFields::GetText(const char* name) const
{
    return require(name, Get(name).is_string(), "a text").get<std::string>();
}

bool CJsonFields::GetBool(const char* name) const
{
    return require(name, Get(name).is_boolean(), "true or false").get<bool>();
}

std::uint64_t CJsonFields::GetCount(const char* name) const
{
    return require(name, Get(name).is_number_unsigned(), "a whole number, not negative")
        .get<std::uint64_t>();
}

int CJsonFields::GetInt(const char* name) const
{
    const Json& value = Get(name);
    const bool isHeld = value.is_number_unsigned()
                            ? value.get<std::uint64_t>() <= std::numeric_limits<int>::max()
                            : value.is_number_integer() &&
                                  value.get<std::int64_t>() >= std::numeric_limits<int>::min();
    return require(name, isHeld, "a whole number of 32 bits").get<int>();
}

void CJsonFields::GetNumbers(const char* name, std::span<double> numbers) const
{
    const Json& value = Get(name);
    if (!value.is_array() || value.size() != numbers.size())
    {
        Fail(name, "an array of " + std::to_string(numbers.size()) + " numbers", value);
    }
    for (std::size_t index = 0; index < numbers.size(); ++index)
    {
        if (!value[index].is_number())
        {
            Fail(std::string(name) + "[" + std::to_string(index) + "]", "a number", value[index]);
        }
        numbers[index] = value[index].get<double>();
    }
}

void CJsonFields::Fail(const std::string& name, const std::string& expected,
                       const Json& found) const
{
    throw CInputError(m_file,
                      where(name) + ": expected " + expected + ", found " + Describe(found));
}

void CJsonFields::FailUnknown(const std::string& name) const
{
    constexpr std::size_t c_maxLength = 60;
    throw CInputError(m_file, where(Shorten(name, c_maxLength)) +
                                  ": the field is not known; take it out, or use the version of "
                                  "veko2 that wrote it");
}

const Json& CJsonFields::require(const char* name, bool isRight, const char* expected) const
{
    const Json& value = Get(name);
    if (!isRight)
    {
        Fail(name, expected, value);
    }
    return value;
}

std::string CJsonFields::where(const std::string& name) const
{
    if (m_place.empty())
    {
        return name.empty() ? "document" : name;
    }
    return name.empty() ? m_place : m_place + "." + name;
}

}  // namespace Application
