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
requires(std::has_unique_object_representations_v<T>) void Append(CBytes& bytes, const T& value)
{
    bytes.Add(value);
}

void Append(CBytes& bytes, const CString& text);
void Append(CBytes& bytes, const LqMatrix4Rd& matrix);
void Append(CBytes& bytes, const LqMatrix4Rf& matrix);
void Append(CBytes& bytes, const std::vector<bool>& marks);
void Append(CBytes& bytes, const Base::ISurfelCollection::IndexPairs& pairs);
/// The positions and normals, the latter by their codes where it keeps codes.
void Append(CBytes& bytes, const Base::ISurfelCollection& collection);
void Append(CBytes& bytes, const Geometry::CTriangulation& mesh);
/// With its pixels.
void Append(CBytes& bytes, const Base::SRegionSelectionInfo& selection);
void Append(CBytes& bytes, const Base::CSurfelCollectionMask& mask);
void Append(CBytes& bytes, const Base::IGeometricEntity& entity);
void Append(CBytes& bytes, const Base::CGeometricEntityPacket& packet);
void Append(CBytes& bytes, const Base::CEntityTrafoMaskPacket& packet);
void Append(CBytes& bytes, const Base::CEntityMapValue& value);
/// Without any address; of an entity, whether there is one.
void Append(CBytes& bytes, const Base::CEntityMapPartialValue& value);
void Append(CBytes& bytes, const Base::CEntityMapSyncEntry& entry);
void Append(CBytes& bytes, const Base::CEntityMapSyncBatch& batch);
void Append(CBytes& bytes, const Base::CEntityMapModifyMessage& message);
void Append(CBytes& bytes, const Base::CEntityMapModifyBatch& batch);
/// Without any address.
void Append(CBytes& bytes, const DataLayer::CCachedModel& model);
void Append(CBytes& bytes, const DataLayer::CCutPointCloudWithPixelMask::SInputData& input);
void Append(CBytes& bytes,
            const DataLayer::CCutPointCloudWithPixelMask::Results::value_type& result);
/// With the fused points, all seven words of each.
void Append(CBytes& bytes, const DataLayer::SFuserPointBlock& block);
void Append(CBytes& bytes, const DataLayer::SFuserContent& content);

/// The address, and what is there.
template <typename T>
void Append(CBytes& bytes, const std::shared_ptr<T>& pointer)
{
    bytes.Add(pointer.get());
    if (pointer != nullptr)
    {
        Append(bytes, *pointer);
    }
}

template <typename T>
void Append(CBytes& bytes, const std::vector<T>& values)
{
    if constexpr (std::has_unique_object_representations_v<T>)
    {
        bytes.AddArray(values.data(), values.size());
    }
    else
    {
        bytes.Add(values.size());
        for (const T& value : values)
        {
            Append(bytes, value);
        }
    }
}

/// All of \p values, one after the other.
template <typename... Values>
[[nodiscard]] std::string Describe(const Values&... values)
{
    CBytes bytes;
    (Append(bytes, values), ...);
    return bytes.Get();
}

/// A function that describes what all of \p inputs point to, as it is when it is called.
template <typename... Inputs>
[[nodiscard]] std::function<std::string()> DescribeAll(const std::shared_ptr<Inputs>&... inputs)
{
    return [=] { return Describe(*inputs...); };
}

}  // namespace TestSupport
