#include "Base/Interfaces/CStdStreamRead.h"
#include "Base/Interfaces/CSurfelCollectionMask.h"
#include "Base/Support/VekoException.h"
#include "DataLayer/PointCloud/CSurfelCollectionMinimal.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"

#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>

namespace
{

void Read(Base::IVekoSerializable& object, const std::string& bytes)
{
    std::istringstream text(bytes);
    Base::CStdStreamRead stream(text);
    try
    {
        object.Serialize(stream);
    }
    catch (const VekoException&)
    {}
}

}  // namespace

/// The bytes of a serialised object, read as each of those that can be.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    Base::CSurfelCollectionMask mask;
    Read(mask, bytes);
    DataLayer::CSurfelCollectionMinimal minimal;
    Read(minimal, bytes);
    DataLayer::CSurfelCollectionView view(nullptr, 0, nullptr, 0);
    Read(view, bytes);
    return 0;
}
