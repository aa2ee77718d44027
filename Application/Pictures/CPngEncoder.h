#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace Application
{

/// Writes a picture of red, green and blue samples, 8 bits each, as PNG, also while its last rows
/// are still being made.
///
/// Up to 256 colours are written as a palette. The same pixels give the same bytes with the same
/// zlib, in whatever steps the rows come.
///
/// Made for one picture; not synchronised.
class CPngEncoder
{
public:
    /// @throw std::runtime_error when a picture cannot have that size.
    CPngEncoder(std::uint32_t width, std::uint32_t height);
    ~CPngEncoder();
    CPngEncoder(const CPngEncoder&) = delete;
    CPngEncoder& operator=(const CPngEncoder&) = delete;

    /// Encodes the rows up to the first \p numRows; no fewer than before.
    /// \p samples: of the picture from its first row on, row after row, at least of those rows,
    /// which must not change any more.
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
