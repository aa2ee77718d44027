#pragma once

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "Base/Interfaces/CGeometricEntityPacket.h"
#include "DataLayer/Base3D/PointCloudEditing/SFuserContent.h"

namespace TestSupport
{

/// A block that owns its records.
inline std::shared_ptr<DataLayer::SFuserPointBlock> MakePointBlock(
    const std::vector<LqVector3f>& points)
{
    struct SOwningBlock
    {
        DataLayer::SFuserPointBlock block;
        std::vector<DataLayer::SFuserPointRecord> records;
    };
    const auto owning = std::make_shared<SOwningBlock>();
    for (const LqVector3f& point : points)
    {
        // Whoever reads on into the fuser's own words finds no coordinates there.
        owning->records.push_back({point.x, point.y, point.z, {~0U, ~0U, ~0U, ~0U}});
    }
    owning->block = {owning->records.data(), static_cast<std::uint32_t>(owning->records.size())};
    return {owning, &owning->block};
}

/// A content with one block of main points and one of small ones, and no packets.
inline std::shared_ptr<DataLayer::SFuserContent> MakeFuserContent(
    const std::vector<LqVector3f>& mainPoints, const std::vector<LqVector3f>& smallPoints)
{
    auto content = std::make_shared<DataLayer::SFuserContent>();
    content->mainComponentBlocks.push_back(MakePointBlock(mainPoints));
    content->smallComponentBlocks.push_back(MakePointBlock(smallPoints));
    return content;
}

/// Lets the fuser know \p entity under \p key, at \p trafo.
inline void AddToFuser(DataLayer::SFuserContent& content, const Base::CUniqueID& key,
                       const std::shared_ptr<const Base::IGeometricEntity>& entity,
                       const LqMatrix4Rd& trafo = c_matIdentityD)
{
    content.packets.insert_or_assign(
        key, Base::CEntityTrafoMaskPacket(Base::CGeometricEntityPacket(entity, trafo, nullptr, 0)));
}

}  // namespace TestSupport
