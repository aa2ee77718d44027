#pragma once

#include <cstddef>
#include <vector>

#include "Application/Pictures/CIndexedPicture.h"
#include "Application/Pictures/CPicture.h"

namespace Application
{

/// The content of a PNG file with \p picture, 8 bits for each of red, green and blue.
///
/// Up to 256 colours are written as a palette. Runs in parallel; the same pixels give the same
/// bytes with the same zlib, for any number of threads.
///
/// @throw std::runtime_error when a picture cannot have that size, or the encoder fails.
[[nodiscard]] std::vector<std::byte> EncodePng(const CPicture& picture);

/// The same pixels, written with the picture's own palette.
[[nodiscard]] std::vector<std::byte> EncodePng(const CIndexedPicture& picture);

}  // namespace Application
