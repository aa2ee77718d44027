#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>

#include "Base/Export.h"
#include "Base/Support/CString.h"

namespace Base
{

/// A 128-bit identifier: sixteen raw bytes and nothing else.
///
/// A plain value: distinct objects may be used from any thread.
class VEKO2_BASE_EXPORT CUniqueID
{
public:
    /// Draws a random identifier (a UUID of version 4) from the operating system's generator.
    /// @throw VekoException when the system has none.
    CUniqueID();

    /// Takes the sixteen bytes as they are.
    constexpr explicit CUniqueID(const std::array<std::uint8_t, 16>& bytes) : m_bytes(bytes) {}

    /// The identifier of nothing: all bytes 0. No drawn identifier equals it.
    [[nodiscard]] static constexpr CUniqueID Nil()
    {
        return CUniqueID(std::array<std::uint8_t, 16>{});
    }

    [[nodiscard]] constexpr const std::array<std::uint8_t, 16>& GetBytes() const { return m_bytes; }

    /// The bytes in their order as lower-case hexadecimal digits in groups of 8, 4, 4, 4 and 12,
    /// joined by hyphens.
    [[nodiscard]] CString AsString() const;

    /// True when all sixteen bytes are the same.
    friend constexpr bool operator==(const CUniqueID&, const CUniqueID&) = default;

private:
    std::array<std::uint8_t, 16> m_bytes;
};

static_assert(sizeof(CUniqueID) == 16, "sixteen raw bytes");

}  // namespace Base

/// Hashes all sixteen bytes, so that identifiers that were counted up instead of drawn spread as
/// well as random ones. Two identifiers that differ in one half only never have the same hash.
template <>
struct std::hash<Base::CUniqueID>
{
    [[nodiscard]] std::size_t operator()(const Base::CUniqueID& id) const noexcept
    {
        // Odd constants with evenly spread bits, and shifts: every step can be undone.
        std::uint64_t halves[2];
        std::memcpy(halves, id.GetBytes().data(), sizeof halves);
        std::uint64_t mixed = (halves[0] ^ (halves[0] >> 32)) * 0x9E3779B97F4A7C15U;
        mixed ^= halves[1];
        mixed = (mixed ^ (mixed >> 29)) * 0xBF58476D1CE4E5B9U;
        return static_cast<std::size_t>(mixed ^ (mixed >> 32));
    }
};

// Last, since it derives from the class above: an identity comes with its identifier.
#include "Base/Interfaces/CEntityID.h"
