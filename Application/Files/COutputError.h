#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

namespace Application
{

/// An output that cannot be written. Whatever stood at its place before is still there, whole.
class COutputError : public std::runtime_error
{
public:
    /// "FILE: MESSAGE"
    COutputError(const std::filesystem::path& file, const std::string& message)
        : std::runtime_error(file.string() + ": " + message)
    {}
};

}  // namespace Application
