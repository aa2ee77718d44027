#pragma once

#include <ostream>

#include "Base/Export.h"
#include "Base/Interfaces/IVekoSerializable.h"

namespace Base
{

/// Writes serialised objects to a standard stream (a file or a string stream in binary mode).
///
/// The stream must outlive the writer. One writer is used by one thread at a time.
class VEKO2_BASE_EXPORT CStdStreamWrite : public IVekoStreamWrite
{
public:
    explicit CStdStreamWrite(std::ostream& stream) : m_stream(stream) {}
    ~CStdStreamWrite() override;

    /// @throw VekoException when the stream reports a failure; std::ios_base::failure in its place
    /// when the stream itself is set to throw.
    void Write(const void* data, std::size_t size) override;

private:
    std::ostream& m_stream;
};

}  // namespace Base
