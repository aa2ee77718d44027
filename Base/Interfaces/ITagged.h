#pragma once

#include <memory>
#include <string>

#include "Base/Export.h"
#include "Base/Interfaces/IVekoSerializable.h"

namespace Base
{

/// An object that carries tags. Inherited virtually, so that an object has one set of them only.
class VEKO2_BASE_EXPORT ITagged
{
public:
    virtual ~ITagged();

    /// The tag that was attached under the name of its interface ("ISkeletonEntityTag"), or an
    /// empty pointer. Whoever asks casts it to that interface at run time and takes a tag of
    /// another kind for none. Safe from any thread.
    [[nodiscard]] virtual std::shared_ptr<IVekoSerializable> FindTag(
        const std::string& interfaceName) const = 0;

protected:
    ITagged() = default;
    ITagged(const ITagged&) = default;
    ITagged& operator=(const ITagged&) = default;
};

}  // namespace Base
