#include "Application/Pictures/PngEncoder.h"

#include <png.h>

#include <array>
#include <csetjmp>
#include <exception>
#include <optional>
#include <stdexcept>

namespace Application
{

namespace
{

/// Favours speed: pictures are looked at once and rendered often.
constexpr int c_compressionLevel = 1;

/// What the encoder's callbacks share. An exception must not pass through the C library, so that a
/// failed append is kept here until the encoder has returned.
struct SEncoding
{
    png_structp png = nullptr;
    png_infop info = nullptr;
    std::vector<std::byte> bytes;
    std::exception_ptr failure;

    SEncoding() = default;
    SEncoding(const SEncoding&) = delete;
    SEncoding& operator=(const SEncoding&) = delete;
    ~SEncoding() { png_destroy_write_struct(&png, &info); }
};

void appendBytes(png_structp png, png_bytep data, std::size_t count)
{
    auto* const encoding = static_cast<SEncoding*>(png_get_io_ptr(png));
    try
    {
        const auto* const first = reinterpret_cast<const std::byte*>(data);
        encoding->bytes.insert(encoding->bytes.end(), first, first + count);
        return;
    }
    catch (...)
    {
        encoding->failure = std::current_exception();
    }
    png_error(png, "out of memory");
}

void flushNothing(png_structp) {}

void leave(png_structp png, png_const_charp)
{
    png_longjmp(png, 1);
}

void ignoreWarning(png_structp, png_const_charp) {}

/// Holds no object with a destructor, because the C library leaves it by a jump when it fails.
bool encode(SEncoding& encoding, std::uint32_t width, std::uint32_t height, int colorType,
            const std::vector<png_color>& palette, std::span<const std::uint8_t> samples)
{
    if (setjmp(png_jmpbuf(encoding.png)) != 0)
    {
        return false;
    }
    png_set_write_fn(encoding.png, &encoding, appendBytes, flushNothing);
    png_set_compression_level(encoding.png, c_compressionLevel);
    png_set_IHDR(encoding.png, encoding.info, width, height, 8, colorType, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (colorType == PNG_COLOR_TYPE_PALETTE)
    {
        png_set_PLTE(encoding.png, encoding.info, palette.data(), static_cast<int>(palette.size()));
    }
    // Neighbouring colours of a palette have nothing to do with each other.
    png_set_filter(encoding.png, PNG_FILTER_TYPE_BASE,
                   colorType == PNG_COLOR_TYPE_PALETTE ? PNG_FILTER_NONE : PNG_FILTER_SUB);
    png_write_info(encoding.png, encoding.info);
    const std::size_t rowBytes = samples.size() / height;
    for (std::uint32_t row = 0; row < height; ++row)
    {
        png_write_row(encoding.png, samples.data() + row * rowBytes);
    }
    png_write_end(encoding.png, encoding.info);
    return true;
}

std::vector<std::byte> encode(std::uint32_t width, std::uint32_t height, int colorType,
                              const std::vector<png_color>& palette,
                              std::span<const std::uint8_t> samples)
{
    SEncoding encoding;
    encoding.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, leave, ignoreWarning);
    encoding.info = encoding.png != nullptr ? png_create_info_struct(encoding.png) : nullptr;
    if (encoding.info == nullptr || !encode(encoding, width, height, colorType, palette, samples))
    {
        if (encoding.failure)
        {
            std::rethrow_exception(encoding.failure);
        }
        throw std::runtime_error("The picture cannot be encoded as PNG.");
    }
    return std::move(encoding.bytes);
}

/// The colours of a picture, in the order in which they first occur, and which of them each pixel
/// has.
struct SIndexedPixels
{
    std::vector<png_color> palette;
    std::vector<std::uint8_t> indices;
};

/// Nothing when there are more colours than a palette holds.
std::optional<SIndexedPixels> indexColors(std::span<const std::uint8_t> samples)
{
    constexpr std::uint32_t c_indexBits = 10;
    constexpr std::uint32_t c_none = ~std::uint32_t{0};
    struct SSlot
    {
        std::uint32_t color = c_none;
        std::uint8_t index = 0;
    };
    // A fourth of it is in use at most.
    std::array<SSlot, 1U << c_indexBits> slots{};
    SIndexedPixels pixels;
    pixels.indices.resize(samples.size() / 3);
    SSlot last;
    for (std::size_t pixel = 0; pixel < pixels.indices.size(); ++pixel)
    {
        const std::uint8_t* const rgb = &samples[pixel * 3];
        const std::uint32_t color = rgb[0] | rgb[1] << 8U | rgb[2] << 16U;
        if (color != last.color)
        {
            std::size_t slot = color * 0x9E3779B1U >> (32U - c_indexBits);
            while (slots[slot].color != color && slots[slot].color != c_none)
            {
                slot = (slot + 1) % slots.size();
            }
            if (slots[slot].color == c_none)
            {
                if (pixels.palette.size() == PNG_MAX_PALETTE_LENGTH)
                {
                    return std::nullopt;
                }
                slots[slot] = {color, static_cast<std::uint8_t>(pixels.palette.size())};
                pixels.palette.push_back({rgb[0], rgb[1], rgb[2]});
            }
            last = slots[slot];
        }
        pixels.indices[pixel] = last.index;
    }
    return pixels;
}

}  // namespace

std::vector<std::byte> EncodePng(std::uint32_t width, std::uint32_t height, PngColor color,
                                 std::span<const std::uint8_t> samples)
{
    if (samples.size() != std::size_t{width} * height * static_cast<std::size_t>(color))
    {
        throw std::runtime_error("The number of samples does not fit the picture's size.");
    }
    std::optional<SIndexedPixels> indexed;
    if (color == PngColor::Rgb)
    {
        indexed = indexColors(samples);
    }
    if (indexed.has_value())
    {
        return encode(width, height, PNG_COLOR_TYPE_PALETTE, indexed->palette, indexed->indices);
    }
    return encode(width, height, color == PngColor::Grey ? PNG_COLOR_TYPE_GRAY : PNG_COLOR_TYPE_RGB,
                  {}, samples);
}

}  // namespace Application
