#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "Base/Interfaces/CSurfelBitMask.h"

/// The limit of the machine: loops that read the positions once, read and write the flags once, and
/// do nothing else.
namespace MovedBytes
{

/// The bytes of a cut.
struct STask
{
    const std::byte* positions;
    std::size_t stride;
    const std::vector<Base::CSurfelBitMask>& oldWords;
    std::vector<Base::CSurfelBitMask>& words;
};

/// One way to move them. Which one is the fastest depends on the processor.
struct SForm
{
    std::string name;
    void (*move)(const STask& task);
};

[[nodiscard]] std::vector<SForm> GetForms();

}  // namespace MovedBytes
