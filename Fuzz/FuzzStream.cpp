#include <sstream>
#include <string>

#include "Base/Interfaces/CStdStreamRead.h"
#include "Base/Interfaces/CSurfelCollectionMask.h"
#include "Base/Support/VekoException.h"
#include "DataLayer/PointCloud/CSurfelCollectionMinimal.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"
#include "Fuzz/Support/FuzzTarget.h"

namespace Fuzzing
{

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
void TestInput(std::span<const std::uint8_t> input)
{
    const std::string bytes(input.begin(), input.end());
    {
        Base::CSurfelCollectionMask mask;
        Read(mask, bytes);
    }
    {
        DataLayer::CSurfelCollectionMinimal minimal;
        Read(minimal, bytes);
    }
    DataLayer::CSurfelCollectionView view(nullptr, 0, nullptr, 0);
    Read(view, bytes);
}

}  // namespace Fuzzing
