#include "Base/Interfaces/IVekoSerializable.h"

namespace Base
{

IVekoStreamRead::~IVekoStreamRead() = default;
IVekoStreamWrite::~IVekoStreamWrite() = default;
IVekoSerializable::~IVekoSerializable() = default;

}  // namespace Base
