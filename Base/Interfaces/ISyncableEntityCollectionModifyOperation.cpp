#include "Base/Interfaces/ISyncableEntityCollectionModifyOperation.h"

namespace DataLayer
{

ISyncableEntityCollectionModifyOperation::~ISyncableEntityCollectionModifyOperation() = default;

}  // namespace DataLayer
