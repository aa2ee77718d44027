#include "Application/Pictures/PngEncoder.h"

#include <png.h>

#include <csetjmp>
#include <exception>
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
bool encode(SEncoding& encoding, std::uint32_t width, std::uint32_t height, PngColor color,
            const std::uint8_t* samples)
{
    if (setjmp(png_jmpbuf(encoding.png)) != 0)
    {
        return false;
    }
    png_set_write_fn(encoding.png, &encoding, appendBytes, flushNothing);
    png_set_compression_level(encoding.png, c_compressionLevel);
    png_set_IHDR(encoding.png, encoding.info, width, height, 8,
                 color == PngColor::Grey ? PNG_COLOR_TYPE_GRAY : PNG_COLOR_TYPE_RGB,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_filter(encoding.png, PNG_FILTER_TYPE_BASE, PNG_FILTER_SUB);
    png_write_info(encoding.png, encoding.info);
    const std::size_t rowBytes = std::size_t{width} * static_cast<std::size_t>(color);
    for (std::uint32_t row = 0; row < height; ++row)
    {
        png_write_row(encoding.png, samples + row * rowBytes);
    }
    png_write_end(encoding.png, encoding.info);
    return true;
}

}  // namespace

std::vector<std::byte> EncodePng(std::uint32_t width, std::uint32_t height, PngColor color,
                                 std::span<const std::uint8_t> samples)
{
    if (samples.size() != std::size_t{width} * height * static_cast<std::size_t>(color))
    {
        throw std::runtime_error("The number of samples does not fit the picture's size.");
    }
    SEncoding encoding;
    encoding.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, leave, ignoreWarning);
    encoding.info = encoding.png != nullptr ? png_create_info_struct(encoding.png) : nullptr;
    if (encoding.info == nullptr || !encode(encoding, width, height, color, samples.data()))
    {
        if (encoding.failure)
        {
            std::rethrow_exception(encoding.failure);
        }
        throw std::runtime_error("The picture cannot be encoded as PNG.");
    }
    return std::move(encoding.bytes);
}

}  // namespace Application
