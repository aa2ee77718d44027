#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <span>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

namespace Oracle
{

/// The arrays of one file of cases or answers by name. arrays.py describes the file's layout.
class CNamedArrays
{
public:
    /// @throw std::runtime_error when the file cannot be read or is none of arrays.
    [[nodiscard]] static CNamedArrays Read(const std::string& path);

    /// @throw std::runtime_error when the file cannot be written.
    void Write(const std::string& path) const;

    /// Adds an array without elements; each of them consists of \p width values.
    template <typename T>
    void Declare(const std::string& name, std::vector<std::uint64_t> width = {})
    {
        SArray& array = m_arrays[name];
        array.type = typeName<T>();
        array.width = std::move(width);
    }

    /// Adds the two arrays of a list of lists without lists; they are called \p name and
    /// \p offsets.
    template <typename T>
    void DeclareLists(const std::string& name, const std::string& offsets,
                      std::vector<std::uint64_t> width = {})
    {
        Declare<T>(name, std::move(width));
        Declare<std::uint64_t>(offsets);
        Append<std::uint64_t>(offsets, 0);
    }

    /// Appends one value to a declared array.
    template <typename T>
    void Append(const std::string& name, const std::type_identity_t<T>& value)
    {
        Append<T>(name, std::span<const T>(&value, 1));
    }

    /// Appends values to a declared array.
    template <typename T>
    void Append(const std::string& name, std::span<const T> values)
    {
        SArray& array = find(name, typeName<T>());
        const auto bytes = std::as_bytes(values);
        array.bytes.insert(array.bytes.end(), bytes.begin(), bytes.end());
    }

    /// Appends one list to a list of lists.
    template <typename T>
    void AppendList(const std::string& name, const std::string& offsets, std::span<const T> values)
    {
        Append<T>(name, values);
        EndList<T>(name, offsets);
    }

    /// Ends the list whose elements were appended last.
    template <typename T>
    void EndList(const std::string& name, const std::string& offsets)
    {
        Append<std::uint64_t>(offsets, GetCount(name));
    }

    /// The number of elements of an array.
    [[nodiscard]] std::uint64_t GetCount(const std::string& name) const;

    /// Whether \p matches one of the floats and doubles that were appended since the last call.
    [[nodiscard]] bool AnyNew(const std::function<bool(double)>& matches);

    /// All values of an array.
    template <typename T>
    [[nodiscard]] std::span<const T> Get(const std::string& name) const
    {
        const SArray& array = const_cast<CNamedArrays*>(this)->find(name, typeName<T>());
        return {reinterpret_cast<const T*>(array.bytes.data()), array.bytes.size() / sizeof(T)};
    }

    /// The values of list \p index of a list of lists.
    template <typename T>
    [[nodiscard]] std::span<const T> GetList(const std::string& name, const std::string& offsets,
                                             std::size_t index) const
    {
        const auto ends = Get<std::uint64_t>(offsets);
        const std::size_t width = m_arrays.at(name).ValuesPerElement();
        return Get<T>(name).subspan(ends[index] * width, (ends[index + 1] - ends[index]) * width);
    }

private:
    /// Kind and size, as in the file.
    using ElementType = std::array<char, 2>;

    struct SArray
    {
        ElementType type{};
        std::vector<std::uint64_t> width;
        std::vector<std::byte> bytes;
        std::size_t numSeenBytes = 0;  ///< by AnyNew()

        [[nodiscard]] std::size_t ValuesPerElement() const;
        [[nodiscard]] std::size_t BytesPerElement() const;
    };

    template <typename T>
    [[nodiscard]] static ElementType typeName()
    {
        static_assert(std::is_arithmetic_v<T> && !std::is_same_v<T, bool>);
        const char kind = std::is_floating_point_v<T> ? 'f' : std::is_signed_v<T> ? 'i' : 'u';
        return {kind, static_cast<char>('0' + sizeof(T))};
    }

    [[nodiscard]] SArray& find(const std::string& name, const ElementType& type);

    std::map<std::string, SArray> m_arrays;
};

}  // namespace Oracle
