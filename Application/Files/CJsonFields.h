#pragma once

#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <string_view>

namespace Application
{

/// Reads the fields of one JSON object, and remembers where it stands for messages.
///
///     const CJsonFields::Json root = CJsonFields::Parse(text, file, keep);
///     const CJsonFields fields(root, file, "");
///     const std::string name = fields.GetText("name");
///
/// A view of the object and the file's name, which must both live. All operations that read throw a
/// CInputError that names the file and the field when the field is missing or of another kind.
class CJsonFields
{
public:
    using Json = nlohmann::ordered_json;

    /// Parses the text of \p file. \p keep is asked for each part whether the answer is to have it:
    /// what a file has beside what is read then takes no memory, however much there is.
    /// @throw CInputError when it is no JSON document, and what \p keep throws.
    [[nodiscard]] static Json Parse(std::string_view text, const std::filesystem::path& file,
                                    const Json::parser_callback_t& keep);

    /// \p place is the object's own in the document, such as "scans[0]"; empty for the document.
    /// @throw CInputError when \p object is none.
    CJsonFields(const Json& object, const std::filesystem::path& file, std::string place);

    /// Refuses every field that is not among \p known.
    void Allow(std::initializer_list<std::string_view> known) const;

    [[nodiscard]] const Json& Get(const char* name) const;
    [[nodiscard]] const Json& GetArray(const char* name) const;
    [[nodiscard]] std::string GetText(const char* name) const;
    [[nodiscard]] bool GetBool(const char* name) const;
    [[nodiscard]] std::uint64_t GetCount(const char* name) const;
    [[nodiscard]] int GetInt(const char* name) const;
    /// Reads an array of exactly as many numbers as \p numbers has room for.
    void GetNumbers(const char* name, std::span<double> numbers) const;

    /// "expected ..., found ..." at the field \p name, or at the object itself.
    [[noreturn]] void Fail(const std::string& name, const std::string& expected,
                           const Json& found) const;

    /// Says that the field \p name is not known.
    [[noreturn]] void FailUnknown(const std::string& name) const;

private:
    const Json& require(const char* name, bool isRight, const char* expected) const;
    [[nodiscard]] std::string where(const std::string& name) const;

    const Json& m_object;
    const std::filesystem::path& m_file;
    std::string m_place;
};

}  // namespace Application
