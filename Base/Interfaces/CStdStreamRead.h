#pragma once

#include <cstdint>
#include <istream>

#include "Base/Export.h"
#include "Base/Interfaces/IVekoSerializable.h"

namespace Base
{

/// Reads serialised objects from a standard stream (a file or a string stream in binary mode).
///
/// The stream must outlive the reader. One reader is used by one thread at a time.
class VEKO2_BASE_EXPORT CStdStreamRead : public IVekoStreamRead
{
public:
    explicit CStdStreamRead(std::istream& stream) : m_stream(stream) {}
    ~CStdStreamRead() override;

    /// @throw VekoException that names the byte offset and the missing bytes;
    /// std::ios_base::failure in its place when the stream itself is set to throw.
    void Read(void* data, std::size_t size) override;

private:
    std::istream& m_stream;
    std::uint64_t m_offset = 0;
};

}  // namespace Base
