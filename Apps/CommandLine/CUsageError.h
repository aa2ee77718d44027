#pragma once

#include <stdexcept>

namespace CommandLine
{

/// A command line that does not make sense. The message says what to write instead.
class CUsageError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

}  // namespace CommandLine
