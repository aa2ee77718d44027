#include "Tests/DataLayer/Descriptions.h"

#include <algorithm>

#include "Base/Interfaces/CEntityTrafoMaskPacket.h"
#include "Base/Interfaces/CGeometricEntityPacket.h"
#include "DataLayer/PointCloud/CSurfelCollectionMinimal.h"

namespace TestSupport
{

namespace
{

/// Whether there is a value, and which.
template <typename T>
std::string DescribeOptional(const ScanAPI::TOptional<T>& optional)
{
    return optional.HasValue() ? "some" + Describe(optional.GetValue()) : "none";
}

/// What the pointer points to, without its address.
template <typename T>
std::string DescribeTarget(const std::shared_ptr<T>& pointer)
{
    return pointer != nullptr ? "some" + Describe(*pointer) : "none";
}

}  // namespace

std::string Describe(const CString& text)
{
    return CBytes().AddArray(text.data(), text.size()).Get();
}

std::string Describe(const LqMatrix4Rd& matrix)
{
    return CBytes().AddArray(matrix.data(), 16).Get();
}

std::string Describe(const LqMatrix4Rf& matrix)
{
    return CBytes().AddArray(matrix.data(), 16).Get();
}

std::string Describe(const std::vector<bool>& marks)
{
    std::string text;
    for (const bool mark : marks)
    {
        text += mark ? '1' : '0';
    }
    return text;
}

std::string Describe(const Base::ISurfelCollection::IndexPairs& pairs)
{
    CBytes bytes;
    for (const auto& pair : pairs)
    {
        bytes.Add(pair.first).Add(pair.second);
    }
    return bytes.Get();
}

std::string Describe(const Base::ISurfelCollection& collection)
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
    return CBytes()
        .AddArray(elements.data(), elements.size())
        .AddArray(codes.data(), codes.size())
        .Get();
}

std::string Describe(const Geometry::CTriangulation& mesh)
{
    return CBytes()
        .AddArray(mesh.vertices.data(), mesh.vertices.size())
        .AddArray(mesh.triangles.data(), mesh.triangles.size())
        .Get();
}

std::string Describe(const Base::SRegionSelectionInfo& selection)
{
    return Describe(selection.transform1) + Describe(selection.transform2) +
           Describe(selection.transform3) +
           CBytes()
               .Add(selection.reserved)
               .Add(selection.maskData)
               .Add(selection.maskWidth)
               .Add(selection.maskHeight)
               .AddArray(selection.maskData,
                         std::size_t{selection.maskWidth} * selection.maskHeight)
               .Get();
}

std::string Describe(const Base::CSurfelCollectionMask& mask)
{
    return Describe(mask.GetBitMasks());
}

std::string Describe(const Base::IGeometricEntity& entity)
{
    return Describe(entity.GetID()) + Describe(entity.FindTag("ISkeletonEntityTag").get()) +
           Describe(entity.GetSurfelCollection(true));
}

std::string Describe(const Base::CGeometricEntityPacket& packet)
{
    return Describe(packet.GetEntity()) + Describe(packet.GetTrafo()) +
           Describe(packet.GetSurfelCollectionMask()) +
           CBytes()
               .Add(packet.HasTrafo())
               .Add(packet.HasSurfelCollectionMask())
               .Add(packet.GetOptimizationLevel())
               .Get();
}

std::string Describe(const Base::CEntityTrafoMaskPacket& packet)
{
    return Describe(packet.GetEntity()) + Describe(packet.GetTrafo()) +
           Describe(packet.GetSurfelCollectionMask());
}

std::string Describe(const Base::CEntityMapValue& value)
{
    return Describe(value.optimizationLevel) + Describe(value.mask) + Describe(value.trafo) +
           Describe(value.entity) + Describe(value.flag) + Describe(value.reserved);
}

std::string Describe(const Base::CEntityMapPartialValue& value)
{
    std::string text = DescribeOptional(value.optimizationLevel) + DescribeOptional(value.trafo) +
                       DescribeOptional(value.flag);
    text += value.mask.HasValue() ? DescribeTarget(value.mask.GetValue()) : "no mask";
    text += !value.entity.HasValue()             ? "no entity"
            : value.entity.GetValue() == nullptr ? "none"
                                                 : "some";
    return text;
}

std::string Describe(const Base::CEntityMapSyncEntry& entry)
{
    return Describe(entry.key) + DescribeOptional(entry.value);
}

std::string Describe(const Base::CEntityMapSyncBatch& batch)
{
    return Describe(batch.GetEntries());
}

std::string Describe(const Base::CEntityMapModifyMessage& message)
{
    using Message = Base::CEntityMapModifyMessage;
    const std::string head = Describe(message.kind) + Describe(message.key);
    return head + (message.kind == Message::FullValue ? Describe(message.GetValue())
                   : message.kind == Message::PartialValue
                       ? Describe(message.GetPartialValue())
                       : Describe(message.GetOldState()) + Describe(message.GetNewState()));
}

std::string Describe(const Base::CEntityMapModifyBatch& batch)
{
    return Describe(batch.origin) + Describe(batch.flag) + Describe(batch.messages);
}

std::string Describe(const DataLayer::CCachedModel& model)
{
    return Describe(model.GetUniqueId().GetValue()) + Describe(model.GetMatrix()) +
           DescribeTarget(model.GetSurfelCollection()) + DescribeTarget(model.GetTriangulation());
}

std::string Describe(const DataLayer::CCutPointCloudWithPixelMask::SInputData& input)
{
    return Describe(input.collection) + Describe(input.bitMasks) + Describe(input.trafo);
}

std::string Describe(const DataLayer::CCutPointCloudWithPixelMask::Results::value_type& result)
{
    return Describe(result.first) + Describe(result.second);
}

std::string Describe(const DataLayer::SFuserPointBlock& block)
{
    return CBytes().Add(block.first).AddArray(block.first, block.count).Get();
}

std::string Describe(const DataLayer::SFuserContent& content)
{
    std::string text = Describe(content.mainComponentBlocks) +
                       Describe(content.smallComponentBlocks) + Describe(content.packets.size());
    for (const auto& [key, packet] : content.packets)
    {
        text += Describe(key) + Describe(packet);
    }
    return text;
}

}  // namespace TestSupport
