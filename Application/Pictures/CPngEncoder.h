#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "Application/Pictures/PngEncoder.h"

namespace Application
{

/// Writes a picture as PNG while its last rows are still being made. The bytes are those of
/// EncodePng(), in whatever steps the rows come.
///
/// Made for one picture; not synchronised.
class CPngEncoder
{
public:
    /// @throw std::runtime_error when a picture cannot have that size.
    CPngEncoder(std::uint32_t width, std::uint32_t height, PngColor color);
    ~CPngEncoder();
    CPngEncoder(const CPngEncoder&) = delete;
    CPngEncoder& operator=(const CPngEncoder&) = delete;

    /// Encodes the rows up to the first \p numRows; no fewer than before.
    /// \p samples: of the picture from its first row on, at least of those rows, which must not
    /// change any more.
    /// @throw std::runtime_error when the encoder fails, for instance for want of memory.
    void EncodeTo(std::uint32_t numRows, std::span<const std::uint8_t> samples);

    /// The content of the file; all rows must have been encoded. To be called once.
    /// @throw std::runtime_error as above.
    [[nodiscard]] std::vector<std::byte> Finish();

private:
    struct SState;

    /// What has been encoded does not count: there are more colours than a palette holds.
    void startWithoutPalette();

    std::unique_ptr<SState> m_state;
};

}  // namespace Application
