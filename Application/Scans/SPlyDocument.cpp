#include "Application/Scans/SPlyDocument.h"

namespace Application
{

std::optional<SPlyReferences> FindVertexReferences(const SPlyElement& element)
{
    if (element.name == "vertex")
    {
        return std::nullopt;
    }
    SPlyReferences references;
    references.isStrips = element.name == "tristrips";
    for (std::size_t index = 0; index < element.properties.size(); ++index)
    {
        const SPlyProperty& property = element.properties[index];
        const bool isCorners = property.IsList() && (property.name == "vertex_indices" ||
                                                     property.name == "vertex_index");
        const bool isEnd = element.name == "edge" && !property.IsList() &&
                           (property.name == "vertex1" || property.name == "vertex2");
        if (isCorners || isEnd)
        {
            references.properties.push_back(index);
        }
    }
    return references.properties.empty() ? std::nullopt : std::optional(std::move(references));
}

}  // namespace Application
