#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string_view>
#include <vector>

namespace Application
{

/// Reads the pixels of a PNG picture of any colour type, bit depth and interlacing.
///
/// Palettes are resolved, grey samples below 8 bits are widened and transparent colours become an
/// alpha channel; 16-bit samples stay 16 bits, most significant byte first. Made for one picture
/// and one thread.
class CPngDecoder
{
public:
    /// Reads the header. \p png is the content of the file and must live as long as the decoder;
    /// \p name stands for the file in errors.
    /// @throw CInputError when it is not a PNG picture or larger than c_maxViewSide on a side.
    CPngDecoder(std::string_view png, std::filesystem::path name);
    ~CPngDecoder();
    CPngDecoder(const CPngDecoder&) = delete;
    CPngDecoder& operator=(const CPngDecoder&) = delete;

    [[nodiscard]] std::uint32_t GetWidth() const;
    [[nodiscard]] std::uint32_t GetHeight() const;
    /// 1 or 2.
    [[nodiscard]] std::size_t GetBytesPerSample() const;
    /// The colour's samples and, behind them, that of alpha if there is one.
    [[nodiscard]] std::size_t GetBytesPerPixel() const;
    [[nodiscard]] bool HasAlpha() const;

    /// All pixels, row after row from the top, without padding. To be called once.
    /// @throw CInputError when the picture is damaged or incomplete.
    [[nodiscard]] std::vector<std::uint8_t> Decode();

private:
    struct SState;

    [[noreturn]] void fail() const;

    std::filesystem::path m_name;
    std::unique_ptr<SState> m_state;
};

}  // namespace Application
