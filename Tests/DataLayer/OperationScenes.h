#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <type_traits>
#include <vector>

namespace TestSupport
{

/// One operation, on objects of its own that its functions share, and what may be seen of them.
struct SScene
{
    std::function<void()> operate;
    /// The bytes of what the operation gave; the same whenever it succeeds.
    std::function<std::string()> describeResult;
    /// The bytes of all that an operation that fails must leave alone.
    std::function<std::string()> describeInputs;
};

/// An operation that the tests of all operations run.
struct SNamedScene
{
    std::string name;
    /// Makes it anew for each attempt.
    std::function<SScene()> make;
    /// Whether it calls what it was given, such as a collection of the application's.
    bool callsOthers = false;
};

/// The operations of the cutters and modify operations, and those of collections and meshes.
[[nodiscard]] std::vector<SNamedScene> MakeEditingScenes();
[[nodiscard]] std::vector<SNamedScene> MakeCollectionScenes();

/// Collects the bytes of values that have no padding.
class CBytes
{
public:
    template <typename T>
    CBytes& Add(const T& value)
    {
        static_assert(std::has_unique_object_representations_v<T>);
        return AddBytes(&value, sizeof value);
    }

    CBytes& AddBytes(const void* data, std::size_t size)
    {
        m_bytes.append(static_cast<const char*>(data), size);
        return *this;
    }

    [[nodiscard]] const std::string& Get() const { return m_bytes; }

private:
    std::string m_bytes;
};

}  // namespace TestSupport
