#pragma once

#include <functional>

#include "Base/Interfaces/CUniqueID.h"

namespace Base
{

/// The identity of a geometric entity. Equality and text are those of the identifier.
class CEntityID : public CUniqueID
{
public:
    /// A random identity; see CUniqueID.
    CEntityID() = default;
    using CUniqueID::CUniqueID;
    constexpr explicit CEntityID(const CUniqueID& id) : CUniqueID(id) {}

    /// The identity of no entity: all bytes 0.
    [[nodiscard]] static constexpr CEntityID Nil() { return CEntityID(CUniqueID::Nil()); }
};

static_assert(sizeof(CEntityID) == 16, "sixteen raw bytes");

}  // namespace Base

/// The hash of the identifier.
template <>
struct std::hash<Base::CEntityID> : std::hash<Base::CUniqueID>
{};
