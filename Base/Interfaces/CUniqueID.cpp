#include "Base/Interfaces/CUniqueID.h"

#include <sys/random.h>

#include <cerrno>

#include "Base/Support/VekoException.h"

namespace Base
{

namespace
{

/// Fills all bytes, or throws. So few bytes are never delivered in part.
void DrawBytes(std::array<std::uint8_t, 16>& bytes)
{
    while (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size()))
    {
        // A signal may interrupt the wait for the generator's first seed.
        if (errno != EINTR)
        {
            ThrowVekoException("Base/Interfaces/CUniqueID", 23, "Base::CUniqueID::CUniqueID",
                               L"The system's random generator failed with error %d.", errno);
        }
    }
}

}  // namespace

CUniqueID::CUniqueID()
{
    DrawBytes(m_bytes);
    // The version (4, random) and the variant of a UUID.
    m_bytes[6] = static_cast<std::uint8_t>((m_bytes[6] & 0x0F) | 0x40);
    m_bytes[8] = static_cast<std::uint8_t>((m_bytes[8] & 0x3F) | 0x80);
}

CString CUniqueID::AsString() const
{
    constexpr wchar_t digits[] = L"0123456789abcdef";
    CString text;
    text.reserve(36);
    for (std::size_t index = 0; index < m_bytes.size(); ++index)
    {
        if (index == 4 || index == 6 || index == 8 || index == 10)
        {
            text += L'-';
        }
        text += digits[m_bytes[index] >> 4];
        text += digits[m_bytes[index] & 0x0F];
    }
    return text;
}

}  // namespace Base
