#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>

namespace Application
{

/// The number types of PLY files.
enum class PlyType : std::uint8_t
{
    Int8,
    UInt8,
    Int16,
    UInt16,
    Int32,
    UInt32,
    Float32,
    Float64,
};

/// The type of either spelling: "uchar" or "uint8", "float" or "float32", and so on.
[[nodiscard]] std::optional<PlyType> ParsePlyType(std::string_view name);

/// The size in bytes.
[[nodiscard]] constexpr std::size_t GetPlyTypeSize(PlyType type)
{
    constexpr std::uint8_t c_sizes[] = {1, 1, 2, 2, 4, 4, 4, 8};
    return c_sizes[static_cast<std::size_t>(type)];
}

[[nodiscard]] constexpr bool IsIntegerType(PlyType type)
{
    return type != PlyType::Float32 && type != PlyType::Float64;
}

namespace Detail
{

/// The number at \p address, of any alignment.
template <typename T>
[[nodiscard]] T LoadPlyValue(const std::byte* address, bool isSwapped)
{
    std::byte bytes[sizeof(T)];
    for (std::size_t index = 0; index < sizeof(T); ++index)
    {
        bytes[index] = address[isSwapped ? sizeof(T) - 1 - index : index];
    }
    T value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

}  // namespace Detail

/// Calls \p function with the binary number at \p address in its own C++ type; \p isSwapped when
/// its byte order is not this machine's.
template <typename Function>
auto VisitPlyValue(const std::byte* address, PlyType type, bool isSwapped, Function&& function)
{
    using Detail::LoadPlyValue;
    switch (type)
    {
        case PlyType::Int8:
            return function(LoadPlyValue<std::int8_t>(address, isSwapped));
        case PlyType::UInt8:
            return function(LoadPlyValue<std::uint8_t>(address, isSwapped));
        case PlyType::Int16:
            return function(LoadPlyValue<std::int16_t>(address, isSwapped));
        case PlyType::UInt16:
            return function(LoadPlyValue<std::uint16_t>(address, isSwapped));
        case PlyType::Int32:
            return function(LoadPlyValue<std::int32_t>(address, isSwapped));
        case PlyType::UInt32:
            return function(LoadPlyValue<std::uint32_t>(address, isSwapped));
        case PlyType::Float32:
            return function(LoadPlyValue<float>(address, isSwapped));
        case PlyType::Float64:
            break;
    }
    return function(LoadPlyValue<double>(address, isSwapped));
}

/// The binary number at \p address.
[[nodiscard]] inline double LoadPlyReal(const std::byte* address, PlyType type, bool isSwapped)
{
    return VisitPlyValue(address, type, isSwapped,
                         [](auto value) { return static_cast<double>(value); });
}

/// The binary whole number at \p address, whose type is an integer type.
[[nodiscard]] inline std::int64_t LoadPlyInteger(const std::byte* address, PlyType type,
                                                 bool isSwapped)
{
    return VisitPlyValue(address, type, isSwapped,
                         [](auto value) { return static_cast<std::int64_t>(value); });
}

/// Stores a whole number, which the integer type \p type must hold, at \p address.
void StorePlyInteger(std::byte* address, PlyType type, bool isSwapped, std::int64_t value);

}  // namespace Application
