#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <span>

namespace Application
{

/// The bytes of one scan file and what keeps them alive.
struct SScanBytes
{
    /// Names the file in messages, and its extension tells its format where its content does not.
    std::filesystem::path path;
    std::span<const std::byte> bytes;
    std::shared_ptr<const void> owner;
};

}  // namespace Application
