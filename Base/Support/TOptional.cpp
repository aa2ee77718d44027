#include "Base/Support/TOptional.h"

namespace ScanAPI
{

BadOptionalAccessException::~BadOptionalAccessException() = default;

const char* BadOptionalAccessException::what() const noexcept
{
    return "Accessing invalid TOptional value";
}

void ThrowBadOptionalAccess()
{
    throw BadOptionalAccessException();
}

}  // namespace ScanAPI
