#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>

#include "Application/Files/CJsonFields.h"
#include "Application/Projects/SProjectDocument.h"
#include "Base/Interfaces/CUniqueID.h"

namespace Application
{

/// Reads the text of a project file while it is parsed: each scan, box and edit as soon as it is
/// whole, so that no more than one of them is in memory as JSON. Of anything else only as much is
/// kept as is needed to say what is wrong with it, however much there is.
///
/// Made for one text.
class CProjectReader
{
public:
    /// \p name stands for the file in errors, and must live.
    explicit CProjectReader(const std::filesystem::path& name) : m_name(name) {}

    /// To be called once.
    /// @throw CInputError as ParseProject().
    [[nodiscard]] SProjectDocument Read(std::string_view json);

private:
    using Json = CJsonFields::Json;

    /// How deep a number in an edit or in a scan's transform is, and one more to see a surplus.
    static constexpr int c_depths = 6;
    /// One more than any object has fields, or any array but the lists has elements, so that a
    /// surplus shows. No more, since the parser goes through all of them for each object that is
    /// not kept.
    static constexpr std::size_t c_mostParts = 17;
    /// Bounds what the parser itself needs for each level.
    static constexpr int c_deepest = 1 << 19;

    /// What the parser asks for each part: whether it is to be kept.
    [[nodiscard]] bool take(int depth, Json::parse_event_t event, const Json& part);
    [[nodiscard]] bool takeName(int depth, const std::string& name);
    [[nodiscard]] bool beginContainer(int depth, bool isArray);
    [[nodiscard]] bool takeValue(int depth, const Json& value);
    /// Whether to keep one more part of its container. For the value of a field that was decided
    /// when its name was read.
    [[nodiscard]] bool isNeeded(int depth);
    /// Whether the part that begins there is an element of one of the document's lists.
    [[nodiscard]] bool isListed(int depth) const;
    /// A list that comes twice counts as it comes last.
    void clearList();
    void readListed(const Json& part);

    const std::filesystem::path& m_name;
    SProjectDocument m_document;
    std::unordered_set<Base::CUniqueID> m_keys;
    /// The names read last of the document's and of the history's fields.
    std::string m_field;
    std::string m_historyField;
    /// The first field of the document itself that is not known.
    std::optional<std::string> m_unknownName;
    /// Of the container around each depth: whether it is an array, and how much of it was kept.
    bool m_areElements[c_depths] = {};
    std::size_t m_numParts[c_depths] = {};
};

}  // namespace Application
