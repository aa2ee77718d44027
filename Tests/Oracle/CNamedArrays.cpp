#include "Tests/Oracle/CNamedArrays.h"

#include <fstream>
#include <iterator>
#include <utility>

namespace Oracle
{
namespace
{

constexpr char c_magic[] = "V2ARRAYS";
constexpr std::size_t c_magicSize = 8;

template <typename T>
void WriteValue(std::ostream& stream, T value)
{
    stream.write(reinterpret_cast<const char*>(&value), sizeof value);
}

/// Takes values off the front of a file's bytes.
class CReader
{
public:
    explicit CReader(std::vector<char> bytes) : m_bytes(std::move(bytes)) {}

    [[nodiscard]] bool IsAtEnd() const { return m_position == m_bytes.size(); }

    [[nodiscard]] std::span<const char> Take(std::size_t count)
    {
        if (count > m_bytes.size() - m_position)
        {
            throw std::runtime_error("A file of arrays ends too early.");
        }
        const std::span<const char> taken(m_bytes.data() + m_position, count);
        m_position += count;
        return taken;
    }

    template <typename T>
    [[nodiscard]] T TakeValue()
    {
        T value;
        std::memcpy(&value, Take(sizeof value).data(), sizeof value);
        return value;
    }

private:
    std::vector<char> m_bytes;
    std::size_t m_position = 0;
};

}  // namespace

CNamedArrays CNamedArrays::Read(const std::string& path)
{
    std::ifstream stream(path, std::ios::binary);
    if (!stream)
    {
        throw std::runtime_error("Cannot read " + path);
    }
    CReader reader({std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()});
    const auto magic = reader.Take(c_magicSize);
    if (std::memcmp(magic.data(), c_magic, c_magicSize) != 0)
    {
        throw std::runtime_error(path + " is not a file of arrays.");
    }

    CNamedArrays arrays;
    while (!reader.IsAtEnd())
    {
        const auto name = reader.Take(reader.TakeValue<std::uint32_t>());
        SArray& array = arrays.m_arrays[std::string(name.begin(), name.end())];
        array.type = reader.TakeValue<ElementType>();
        const auto numDimensions = reader.TakeValue<std::uint32_t>();
        const auto count = reader.TakeValue<std::uint64_t>();
        for (std::uint32_t dimension = 1; dimension < numDimensions; ++dimension)
        {
            array.width.push_back(reader.TakeValue<std::uint64_t>());
        }
        const auto bytes = std::as_bytes(reader.Take(count * array.BytesPerElement()));
        array.bytes.assign(bytes.begin(), bytes.end());
    }
    return arrays;
}

void CNamedArrays::Write(const std::string& path) const
{
    std::ofstream stream(path, std::ios::binary);
    stream.write(c_magic, c_magicSize);
    for (const auto& [name, array] : m_arrays)
    {
        WriteValue(stream, static_cast<std::uint32_t>(name.size()));
        stream << name;
        stream.write(array.type.data(), static_cast<std::streamsize>(array.type.size()));
        WriteValue(stream, static_cast<std::uint32_t>(1 + array.width.size()));
        WriteValue(stream, GetCount(name));
        for (const std::uint64_t dimension : array.width)
        {
            WriteValue(stream, dimension);
        }
        stream.write(reinterpret_cast<const char*>(array.bytes.data()),
                     static_cast<std::streamsize>(array.bytes.size()));
    }
    if (!stream.flush())
    {
        throw std::runtime_error("Cannot write " + path);
    }
}

std::uint64_t CNamedArrays::GetCount(const std::string& name) const
{
    const SArray& array = m_arrays.at(name);
    return array.bytes.size() / array.BytesPerElement();
}

bool CNamedArrays::AnyNew(const std::function<bool(double)>& matches)
{
    bool found = false;
    for (auto& [name, array] : m_arrays)
    {
        const std::size_t first = std::exchange(array.numSeenBytes, array.bytes.size());
        const auto look = [&, &bytes = array.bytes]<typename T>(T value) {
            for (std::size_t at = first; !found && at < bytes.size(); at += sizeof value)
            {
                std::memcpy(&value, bytes.data() + at, sizeof value);
                found = matches(static_cast<double>(value));
            }
        };
        if (array.type == typeName<float>())
        {
            look(0.0F);
        }
        else if (array.type == typeName<double>())
        {
            look(0.0);
        }
    }
    return found;
}

std::size_t CNamedArrays::SArray::ValuesPerElement() const
{
    std::size_t product = 1;
    for (const std::uint64_t dimension : width)
    {
        product *= dimension;
    }
    return product;
}

std::size_t CNamedArrays::SArray::BytesPerElement() const
{
    return ValuesPerElement() * static_cast<std::size_t>(type[1] - '0');
}

CNamedArrays::SArray& CNamedArrays::find(const std::string& name, const ElementType& type)
{
    const auto array = m_arrays.find(name);
    if (array == m_arrays.end() || array->second.type != type)
    {
        throw std::runtime_error("There is no array " + name + " of this type.");
    }
    return array->second;
}

}  // namespace Oracle
