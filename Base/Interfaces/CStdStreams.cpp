#include "Base/Interfaces/CStdStreamRead.h"
#include "Base/Interfaces/CStdStreamWrite.h"
#include "Base/Support/VekoException.h"

namespace Base
{

CStdStreamRead::~CStdStreamRead() = default;
CStdStreamWrite::~CStdStreamWrite() = default;

void CStdStreamRead::Read(void* data, std::size_t size)
{
    m_stream.read(static_cast<char*>(data), static_cast<std::streamsize>(size));
    const auto numRead = static_cast<std::size_t>(m_stream.gcount());
    m_offset += numRead;
    if (numRead != size)
    {
        ThrowVekoException("Base/Interfaces/CStdStreamRead", 20, "Base::CStdStreamRead::Read",
                           L"The stream ends at byte %llu, %zu bytes too early.",
                           static_cast<unsigned long long>(m_offset), size - numRead);
    }
}

void CStdStreamWrite::Write(const void* data, std::size_t size)
{
    if (!m_stream.write(static_cast<const char*>(data), static_cast<std::streamsize>(size)))
    {
        ThrowVekoException("Base/Interfaces/CStdStreamWrite", 31, "Base::CStdStreamWrite::Write",
                           L"%zu bytes could not be written to the stream.", size);
    }
}

}  // namespace Base
