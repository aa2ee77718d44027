#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "Base/Interfaces/IGeometricEntity.h"
#include "Tests/Support/MockCalls.h"

namespace TestSupport
{

/// An entity that answers as it is told to, and counts the questions.
///
/// Changed only while nobody else uses it; const operations are safe for concurrent readers.
class CMockGeometricEntity : public Base::IGeometricEntity
{
public:
    explicit CMockGeometricEntity(std::shared_ptr<const Base::ISurfelCollection> entityCollection,
                                  const Base::CEntityID& entityID = Base::CEntityID())
        : collection(std::move(entityCollection)), id(entityID)
    {}

    std::shared_ptr<const Base::ISurfelCollection> collection;
    Base::CEntityID id;
    /// Tags by the name of their interface.
    std::map<std::string, std::shared_ptr<Base::IVekoSerializable>> tags;

    /// Called first by the operations they name, with their arguments; they may throw.
    std::function<void(bool)> onGetSurfelCollection;
    std::function<void()> onGetID;
    std::function<void(const std::string&)> onFindTag;

    mutable std::atomic<unsigned> numGetSurfelCollectionCalls = 0;
    mutable std::atomic<unsigned> numGetIDCalls = 0;
    mutable std::atomic<unsigned> numFindTagCalls = 0;

    [[nodiscard]] std::shared_ptr<const Base::ISurfelCollection> GetSurfelCollection(
        bool forEditing) const override
    {
        OnMockCall();
        ++numGetSurfelCollectionCalls;
        if (onGetSurfelCollection)
        {
            onGetSurfelCollection(forEditing);
        }
        return collection;
    }

    [[nodiscard]] const Base::CEntityID& GetID() const override
    {
        OnMockCall();
        ++numGetIDCalls;
        if (onGetID)
        {
            onGetID();
        }
        return id;
    }

    [[nodiscard]] std::shared_ptr<Base::IVekoSerializable> FindTag(
        const std::string& interfaceName) const override
    {
        OnMockCall();
        ++numFindTagCalls;
        if (onFindTag)
        {
            onFindTag(interfaceName);
        }
        const auto tag = tags.find(interfaceName);
        return tag != tags.end() ? tag->second : nullptr;
    }
};

}  // namespace TestSupport
