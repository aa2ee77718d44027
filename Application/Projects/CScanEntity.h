#pragma once

#include <memory>
#include <string>

#include "Base/Interfaces/IGeometricEntity.h"

namespace Application
{

/// A scan as an entity of a synchronised map: its surfels under an identity, and the skeleton tag
/// where it is marked so. Immutable.
class CScanEntity : public Base::IGeometricEntity
{
public:
    /// \p collection must not be null.
    CScanEntity(const Base::CEntityID& id,
                std::shared_ptr<const Base::ISurfelCollection> collection, bool isSkeleton);

    /// The same collection either way.
    [[nodiscard]] std::shared_ptr<const Base::ISurfelCollection> GetSurfelCollection(
        bool forEditing) const override;
    [[nodiscard]] const Base::CEntityID& GetID() const override;
    [[nodiscard]] std::shared_ptr<Base::IVekoSerializable> FindTag(
        const std::string& interfaceName) const override;

    /// The same entity with other surfels.
    [[nodiscard]] std::shared_ptr<const CScanEntity> With(
        std::shared_ptr<const Base::ISurfelCollection> collection) const;

private:
    Base::CEntityID m_id;
    std::shared_ptr<const Base::ISurfelCollection> m_collection;
    bool m_isSkeleton;
};

}  // namespace Application
