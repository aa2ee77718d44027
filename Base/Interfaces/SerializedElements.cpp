#include "Base/Interfaces/SerializedElements.h"

#include <algorithm>
#include <limits>

#include "Base/Support/VekoException.h"

namespace Base
{

namespace
{

constexpr std::uint32_t c_formatVersion = 1;
constexpr std::size_t c_blockSize = std::size_t{1} << 20;

struct SHeader
{
    SerializedTag tag;
    std::uint32_t version;
    std::uint64_t elementSize;
    std::uint64_t count;
};

/// FNV-1a over 64 bits (Fowler, Noll, Vo: offset basis and prime of the 64-bit variant).
std::uint64_t Checksum(const std::byte* data, std::size_t size, std::uint64_t checksum)
{
    for (std::size_t index = 0; index < size; ++index)
    {
        checksum = (checksum ^ static_cast<std::uint64_t>(data[index])) * 0x100000001B3ULL;
    }
    return checksum;
}

std::uint64_t ChecksumOf(const SHeader& header, const std::byte* data, std::size_t size)
{
    const std::uint64_t offsetBasis = 0xCBF29CE484222325ULL;
    const auto* const headerBytes = reinterpret_cast<const std::byte*>(&header);
    return Checksum(data, size, Checksum(headerBytes, sizeof header, offsetBasis));
}

[[noreturn]] void ThrowDamaged(int line, const wchar_t* what)
{
    ThrowVekoException("Base/Interfaces/SerializedElements", line, "Base::ReadElements",
                       L"Damaged stream: %s.", what);
}

}  // namespace

void WriteElements(IVekoStreamWrite& stream, SerializedTag tag, const void* data,
                   std::uint64_t count, std::size_t elementSize)
{
    const SHeader header{tag, c_formatVersion, elementSize, count};
    const std::size_t size = static_cast<std::size_t>(count) * elementSize;
    const std::uint64_t checksum = ChecksumOf(header, static_cast<const std::byte*>(data), size);
    stream.Write(&header, sizeof header);
    stream.Write(data, size);
    stream.Write(&checksum, sizeof checksum);
}

std::vector<std::byte> ReadElements(IVekoStreamRead& stream, SerializedTag tag,
                                    std::size_t elementSize)
{
    SHeader header{};
    stream.Read(&header, sizeof header);
    if (header.tag != tag)
    {
        ThrowDamaged(72, L"it holds another kind of object");
    }
    if (header.version != c_formatVersion)
    {
        ThrowDamaged(76, L"its format version is not known");
    }
    if (header.elementSize != elementSize)
    {
        ThrowDamaged(80, L"its elements have another size");
    }
    if (header.count > std::numeric_limits<std::ptrdiff_t>::max() / elementSize)
    {
        ThrowDamaged(84, L"its count of elements is beyond any memory");
    }
    const std::size_t size = static_cast<std::size_t>(header.count) * elementSize;
    std::vector<std::byte> data;
    while (data.size() < size)
    {
        const std::size_t numRead = data.size();
        const std::size_t blockSize = std::min(size - numRead, std::max(c_blockSize, numRead));
        data.resize(numRead + blockSize);
        stream.Read(data.data() + numRead, blockSize);
    }
    std::uint64_t checksum = 0;
    stream.Read(&checksum, sizeof checksum);
    if (checksum != ChecksumOf(header, data.data(), size))
    {
        ThrowDamaged(99, L"its checksum does not match");
    }
    return data;
}

}  // namespace Base
