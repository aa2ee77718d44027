#include "Application/Scans/PlyType.h"

#include <array>
#include <bit>
#include <utility>

namespace Application
{

std::optional<PlyType> ParsePlyType(std::string_view name)
{
    static constexpr std::array<std::pair<std::string_view, PlyType>, 16> c_names = {{
        {"char", PlyType::Int8},
        {"uchar", PlyType::UInt8},
        {"short", PlyType::Int16},
        {"ushort", PlyType::UInt16},
        {"int", PlyType::Int32},
        {"uint", PlyType::UInt32},
        {"float", PlyType::Float32},
        {"double", PlyType::Float64},
        {"int8", PlyType::Int8},
        {"uint8", PlyType::UInt8},
        {"int16", PlyType::Int16},
        {"uint16", PlyType::UInt16},
        {"int32", PlyType::Int32},
        {"uint32", PlyType::UInt32},
        {"float32", PlyType::Float32},
        {"float64", PlyType::Float64},
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

void StorePlyInteger(std::byte* address, PlyType type, bool isSwapped, std::int64_t value)
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
