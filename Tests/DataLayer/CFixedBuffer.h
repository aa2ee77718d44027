#pragma once

#include <streambuf>
#include <string>

namespace TestSupport
{

/// A stream's buffer that takes no memory of its own: what is written to it, and read from it, lies
/// in \p bytes.
class CFixedBuffer : public std::streambuf
{
public:
    explicit CFixedBuffer(std::string& bytes)
    {
        setp(bytes.data(), bytes.data() + bytes.size());
        setg(bytes.data(), bytes.data(), bytes.data() + bytes.size());
    }
};

}  // namespace TestSupport
