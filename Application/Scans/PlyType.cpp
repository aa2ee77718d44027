#include "Application/Scans/PlyType.h"

#include <array>
#include <utility>

namespace Application
{

std::optional<EPlyType> ParsePlyType(std::string_view name)
{
    static constexpr std::array<std::pair<std::string_view, EPlyType>, 16> c_names = {{
        {"char", EPlyType::Int8},
        {"uchar", EPlyType::UInt8},
        {"short", EPlyType::Int16},
        {"ushort", EPlyType::UInt16},
        {"int", EPlyType::Int32},
        {"uint", EPlyType::UInt32},
        {"float", EPlyType::Float32},
        {"double", EPlyType::Float64},
        {"int8", EPlyType::Int8},
        {"uint8", EPlyType::UInt8},
        {"int16", EPlyType::Int16},
        {"uint16", EPlyType::UInt16},
        {"int32", EPlyType::Int32},
        {"uint32", EPlyType::UInt32},
        {"float32", EPlyType::Float32},
        {"float64", EPlyType::Float64},
    }};
    for (const auto& [spelling, type] : c_names)
    {
        if (spelling == name)
        {
            return type;
        }
    }
    return std::nullopt;
}

void StorePlyInteger(std::byte* address, EPlyType type, bool isSwapped, std::int64_t value)
{
    const bool isBigEndian = isSwapped == (std::endian::native == std::endian::little);
    const std::size_t size = GetPlyTypeSize(type);
    for (std::size_t index = 0; index < size; ++index)
    {
        const std::size_t position = isBigEndian ? size - 1 - index : index;
        address[position] = static_cast<std::byte>(static_cast<std::uint64_t>(value) >> 8 * index);
    }
}

}  // namespace Application
