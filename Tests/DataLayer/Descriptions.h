#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "Base/Interfaces/CSurfelCollectionMask.h"
#include "Base/Interfaces/IGeometricEntity.h"
#include "Base/Interfaces/ISurfelCollection.h"
#include "Base/Interfaces/SRegionSelectionInfo.h"
#include "Base/Interfaces/SyncableEntityMap.h"
#include "Base/Math/LqMatrix4R.h"
#include "DataLayer/Base3D/CTriangulation.h"
#include "DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMask.h"
#include "DataLayer/Base3D/PointCloudEditing/SFuserContent.h"
#include "DataLayer/DataContainer/CCachedModel.h"

/// The bytes of what operations take and give, for comparison: two descriptions are equal when the
/// values are, bit by bit.
namespace TestSupport
{

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

    /// Elements that have no padding, or whose padding is theirs.
    template <typename T>
    CBytes& AddArray(const T* elements, std::size_t count)
    {
        static_assert(std::is_trivially_copyable_v<T>);
        return Add(count).AddBytes(elements, count * sizeof(T));
    }

    [[nodiscard]] const std::string& Get() const { return m_bytes; }

private:
    std::string m_bytes;
};

/// Numbers, flag words, identifiers, addresses.
template <typename T>
requires(std::has_unique_object_representations_v<T>) [[nodiscard]] std::string
    Describe(const T& value)
{
    return CBytes().Add(value).Get();
}

[[nodiscard]] std::string Describe(const CString& text);
[[nodiscard]] std::string Describe(const LqMatrix4Rd& matrix);
[[nodiscard]] std::string Describe(const LqMatrix4Rf& matrix);
[[nodiscard]] std::string Describe(const std::vector<bool>& marks);
[[nodiscard]] std::string Describe(const Base::ISurfelCollection::IndexPairs& pairs);
/// The positions and normals, the latter by their codes where it keeps codes.
[[nodiscard]] std::string Describe(const Base::ISurfelCollection& collection);
[[nodiscard]] std::string Describe(const Geometry::CTriangulation& mesh);
/// With its pixels.
[[nodiscard]] std::string Describe(const Base::SRegionSelectionInfo& selection);
[[nodiscard]] std::string Describe(const Base::CSurfelCollectionMask& mask);
[[nodiscard]] std::string Describe(const Base::IGeometricEntity& entity);
[[nodiscard]] std::string Describe(const Base::CGeometricEntityPacket& packet);
[[nodiscard]] std::string Describe(const Base::CEntityTrafoMaskPacket& packet);
[[nodiscard]] std::string Describe(const Base::CEntityMapValue& value);
/// Without any address; of an entity, whether there is one.
[[nodiscard]] std::string Describe(const Base::CEntityMapPartialValue& value);
[[nodiscard]] std::string Describe(const Base::CEntityMapSyncEntry& entry);
[[nodiscard]] std::string Describe(const Base::CEntityMapSyncBatch& batch);
[[nodiscard]] std::string Describe(const Base::CEntityMapModifyMessage& message);
[[nodiscard]] std::string Describe(const Base::CEntityMapModifyBatch& batch);
/// Without any address.
[[nodiscard]] std::string Describe(const DataLayer::CCachedModel& model);
[[nodiscard]] std::string Describe(const DataLayer::CCutPointCloudWithPixelMask::SInputData& input);
[[nodiscard]] std::string Describe(
    const DataLayer::CCutPointCloudWithPixelMask::Results::value_type& result);
/// With the fused points, all seven words of each.
[[nodiscard]] std::string Describe(const DataLayer::SFuserPointBlock& block);
[[nodiscard]] std::string Describe(const DataLayer::SFuserContent& content);

template <typename T>
[[nodiscard]] std::string Describe(const std::vector<T>& values);

/// The address, and what is there.
template <typename T>
[[nodiscard]] std::string Describe(const std::shared_ptr<T>& pointer)
{
    const std::string address = CBytes().Add(pointer.get()).Get();
    return pointer != nullptr ? address + Describe(*pointer) : address;
}

template <typename T>
[[nodiscard]] std::string Describe(const std::vector<T>& values)
{
    if constexpr (std::has_unique_object_representations_v<T>)
    {
        return CBytes().AddArray(values.data(), values.size()).Get();
    }
    std::string text = CBytes().Add(values.size()).Get();
    for (const T& value : values)
    {
        text += Describe(value);
    }
    return text;
}

/// A function that describes what all of \p inputs point to, as it is when it is called.
template <typename... Inputs>
[[nodiscard]] std::function<std::string()> DescribeAll(const std::shared_ptr<Inputs>&... inputs)
{
    return [=] { return (std::string() + ... + Describe(*inputs)); };
}

}  // namespace TestSupport
