#include "Base/Interfaces/SyncableEntityMap.h"

namespace Base
{

CEntityMapValue MakeEntityMapValue(const CGeometricEntityPacket& packet, bool flag)
{
    // An absent trafo or mask needs no test: the packet answers with the marker and an empty
    // pointer then.
    CEntityMapValue value;
    value.optimizationLevel = packet.GetOptimizationLevel();
    value.mask = packet.GetSurfelCollectionMask();
    value.trafo = packet.GetTrafo();
    value.entity = packet.GetEntity();
    value.flag = flag;
    return value;
}

}  // namespace Base
