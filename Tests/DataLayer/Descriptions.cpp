#include "Tests/DataLayer/Descriptions.h"

#include <algorithm>

#include "Base/Interfaces/CEntityTrafoMaskPacket.h"
#include "Base/Interfaces/CGeometricEntityPacket.h"
#include "DataLayer/PointCloud/CSurfelCollectionMinimal.h"

namespace TestSupport
{

namespace
{

template <typename... Values>
void AppendAll(CBytes& bytes, const Values&... values)
{
    (Append(bytes, values), ...);
}

/// Whether there is a value, and which.
template <typename T>
void AppendOptional(CBytes& bytes, const ScanAPI::TOptional<T>& optional)
{
    Append(bytes, optional.HasValue());
    if (optional.HasValue())
    {
        Append(bytes, optional.GetValue());
    }
}

/// What the pointer points to, without its address.
template <typename T>
void AppendTarget(CBytes& bytes, const std::shared_ptr<T>& pointer)
{
    Append(bytes, pointer != nullptr);
    if (pointer != nullptr)
    {
        Append(bytes, *pointer);
    }
}

}  // namespace

void Append(CBytes& bytes, const CString& text)
{
    bytes.AddArray(text.data(), text.size());
}

void Append(CBytes& bytes, const LqMatrix4Rd& matrix)
{
    bytes.AddArray(matrix.data(), 16);
}

void Append(CBytes& bytes, const LqMatrix4Rf& matrix)
{
    bytes.AddArray(matrix.data(), 16);
}

void Append(CBytes& bytes, const std::vector<bool>& marks)
{
    bytes.Add(marks.size());
    for (const bool mark : marks)
    {
        bytes.Add(mark);
    }
}

void Append(CBytes& bytes, const Base::ISurfelCollection::IndexPairs& pairs)
{
    bytes.Add(pairs.size());
    for (const auto& pair : pairs)
    {
        bytes.Add(pair.first).Add(pair.second);
    }
}

void Append(CBytes& bytes, const Base::ISurfelCollection& collection)
{
    // Written through pointers: most of the time of these tests goes by here.
    const std::uint64_t count = collection.GetCount();
    const auto addAll = [count](const auto& access, LqVector3f* target) {
        for (std::uint64_t index = 0; index < count; ++index)
        {
            target[index] = access.At(index);
        }
    };
    std::vector<LqVector3f> elements(2 * count);
    addAll(collection.GetPositions(), elements.data());
    const auto* const minimal =
        dynamic_cast<const DataLayer::CSurfelCollectionMinimal*>(&collection);
    if (minimal == nullptr && collection.HasNormals())
    {
        addAll(collection.GetNormals(), elements.data() + count);
    }
    std::vector<std::uint16_t> codes(minimal != nullptr ? count : 0);
    if (!codes.empty())
    {
        const DataLayer::CCompactSurfelPositionNormal* const surfels = &minimal->GetSurfel(0);
        std::transform(surfels, surfels + count, codes.begin(),
                       [](const auto& surfel) { return surfel.normal; });
    }
    bytes.AddArray(elements.data(), elements.size()).AddArray(codes.data(), codes.size());
}

void Append(CBytes& bytes, const Geometry::CTriangulation& mesh)
{
    bytes.AddArray(mesh.vertices.data(), mesh.vertices.size())
        .AddArray(mesh.triangles.data(), mesh.triangles.size());
}

void Append(CBytes& bytes, const Base::SRegionSelectionInfo& selection)
{
    AppendAll(bytes, selection.transform1, selection.transform2, selection.transform3,
              selection.reserved, selection.maskData, selection.maskWidth, selection.maskHeight);
    bytes.AddArray(selection.maskData, std::size_t{selection.maskWidth} * selection.maskHeight);
}

void Append(CBytes& bytes, const Base::CSurfelCollectionMask& mask)
{
    Append(bytes, mask.GetBitMasks());
}

void Append(CBytes& bytes, const Base::IGeometricEntity& entity)
{
    AppendAll(bytes, entity.GetID(), entity.FindTag("ISkeletonEntityTag").get(),
              entity.GetSurfelCollection(true));
}

void Append(CBytes& bytes, const Base::CGeometricEntityPacket& packet)
{
    AppendAll(bytes, packet.GetEntity(), packet.GetTrafo(), packet.GetSurfelCollectionMask(),
              packet.HasTrafo(), packet.HasSurfelCollectionMask(), packet.GetOptimizationLevel());
}

void Append(CBytes& bytes, const Base::CEntityTrafoMaskPacket& packet)
{
    AppendAll(bytes, packet.GetEntity(), packet.GetTrafo(), packet.GetSurfelCollectionMask());
}

void Append(CBytes& bytes, const Base::CEntityMapValue& value)
{
    AppendAll(bytes, value.optimizationLevel, value.mask, value.trafo, value.entity, value.flag,
              value.reserved);
}

void Append(CBytes& bytes, const Base::CEntityMapPartialValue& value)
{
    AppendOptional(bytes, value.optimizationLevel);
    AppendOptional(bytes, value.trafo);
    AppendOptional(bytes, value.flag);
    Append(bytes, value.mask.HasValue());
    if (value.mask.HasValue())
    {
        AppendTarget(bytes, value.mask.GetValue());
    }
    Append(bytes, value.entity.HasValue());
    if (value.entity.HasValue())
    {
        Append(bytes, value.entity.GetValue() != nullptr);
    }
}

void Append(CBytes& bytes, const Base::CEntityMapSyncEntry& entry)
{
    Append(bytes, entry.key);
    AppendOptional(bytes, entry.value);
}

void Append(CBytes& bytes, const Base::CEntityMapSyncBatch& batch)
{
    Append(bytes, batch.GetEntries());
}

void Append(CBytes& bytes, const Base::CEntityMapModifyMessage& message)
{
    AppendAll(bytes, message.kind, message.key);
    switch (message.kind)
    {
        case Base::CEntityMapModifyMessage::FullValue:
            return Append(bytes, message.GetValue());
        case Base::CEntityMapModifyMessage::PartialValue:
            return Append(bytes, message.GetPartialValue());
        case Base::CEntityMapModifyMessage::Modify:
            return AppendAll(bytes, message.GetOldState(), message.GetNewState());
    }
}

void Append(CBytes& bytes, const Base::CEntityMapModifyBatch& batch)
{
    AppendAll(bytes, batch.origin, batch.flag, batch.messages);
}

void Append(CBytes& bytes, const DataLayer::CCachedModel& model)
{
    AppendAll(bytes, model.GetUniqueId().GetValue(), model.GetMatrix());
    AppendTarget(bytes, model.GetSurfelCollection());
    AppendTarget(bytes, model.GetTriangulation());
}

void Append(CBytes& bytes, const DataLayer::CCutPointCloudWithPixelMask::SInputData& input)
{
    AppendAll(bytes, input.collection, input.bitMasks, input.trafo);
}

void Append(CBytes& bytes,
            const DataLayer::CCutPointCloudWithPixelMask::Results::value_type& result)
{
    AppendAll(bytes, result.first, result.second);
}

void Append(CBytes& bytes, const DataLayer::SFuserPointBlock& block)
{
    bytes.Add(block.first).AddArray(block.first, block.count);
}

void Append(CBytes& bytes, const DataLayer::SFuserContent& content)
{
    AppendAll(bytes, content.mainComponentBlocks, content.smallComponentBlocks,
              content.packets.size());
    for (const auto& [key, packet] : content.packets)
    {
        AppendAll(bytes, key, packet);
    }
}

}  // namespace TestSupport
