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
/// @throw std::bad_alloc for want of memory, of which the encoder may also fail.
[[nodiscard]] std::vector<std::byte> EncodePng(const CPicture& picture);

/// The content of a PNG file with \p picture and its own palette.
///
/// As above; also fails when the palette is empty or has more than CIndexedPicture::c_maxColors.
[[nodiscard]] std::vector<std::byte> EncodePng(const CIndexedPicture& picture);

}  // namespace Application
