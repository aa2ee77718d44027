#pragma once

#include <cstdint>
#include <vector>

#include "Base/Export.h"
#include "Base/Interfaces/IVekoSerializable.h"

// Not installed. The frame of everything this system serialises: a tag, a count, the elements
// (little endian, as the machines this system runs on keep them) and a checksum.

namespace Base
{

/// Four characters that say what follows in a stream, 'M','A','S','K' for instance.
using SerializedTag = std::uint32_t;

[[nodiscard]] constexpr SerializedTag MakeSerializedTag(const char (&text)[5])
{
    SerializedTag tag = 0;
    for (int index = 3; index >= 0; --index)
    {
        tag = (tag << 8) | static_cast<unsigned char>(text[index]);
    }
    return tag;
}

/// Writes \p count elements of \p elementSize bytes at \p data.
VEKO2_BASE_EXPORT void WriteElements(IVekoStreamWrite& stream, SerializedTag tag, const void* data,
                                     std::uint64_t count, std::size_t elementSize);

/// Reads what WriteElements() wrote. Memory grows with what the stream really holds, so that a
/// damaged count cannot exhaust it.
/// @throw VekoException when the tag, the element size or the checksum is another, or the stream
/// ends early.
[[nodiscard]] VEKO2_BASE_EXPORT std::vector<std::byte> ReadElements(IVekoStreamRead& stream,
                                                                    SerializedTag tag,
                                                                    std::size_t elementSize);

}  // namespace Base
