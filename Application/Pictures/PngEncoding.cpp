#include "Application/Pictures/PngEncoding.h"

// zlib then takes what it only reads as const.
#define ZLIB_CONST
#include <png.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <csetjmp>
#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <utility>
#include <vector>

#include "Application/Pictures/CColorIndex.h"
#include "Base/Support/ParallelFor.h"

namespace Application
{

namespace
{

/// Favours speed: pictures are looked at once and rendered often.
constexpr int c_compressionLevel = 1;
/// The pixels of a band, or a row more. Bands are compressed by themselves: they are large enough
/// for that to cost next to nothing, and small enough for many threads.
constexpr std::size_t c_bandPixels = std::size_t{1} << 17U;

/// How the bytes of a row are to be understood; it comes before them.
enum class EFilter : std::uint8_t
{
    None = 0,
    /// As what they differ by from those of the pixel to the left.
    Left = 1,
};

using Bytes = std::vector<std::uint8_t>;
using Pixels = std::span<const SColor>;
/// Of colours, by other numbers of theirs.
using Numbers = std::array<std::uint8_t, CIndexedPicture::c_maxColors>;

void Check(bool isDone)
{
    if (!isDone)
    {
        throw std::runtime_error("The picture cannot be encoded as PNG.");
    }
}

/// Some rows of a picture on their way into the file.
struct SPixelBand
{
    Pixels pixels;
    CColorIndex colors;
    bool isWithinPalette = false;
    /// At first the numbers of the band's own colours, in the end what is compressed.
    Bytes rows;
};

/// Some rows in the file.
struct SPackedBand
{
    Bytes bytes;
    /// How many bytes they were when they were compressed, and their checksum.
    z_off_t numBytes = 0;
    uLong checksum = 0;
};

/// \p pixels in bands of whole rows.
template <typename Pixel>
std::vector<std::span<const Pixel>> SplitRows(std::span<const Pixel> pixels, std::size_t width)
{
    const std::size_t bandPixels = (c_bandPixels + width - 1) / width * width;
    std::vector<std::span<const Pixel>> bands;
    for (std::size_t begin = 0; begin < pixels.size(); begin += bandPixels)
    {
        bands.push_back(pixels.subspan(begin, std::min(pixels.size() - begin, bandPixels)));
    }
    return bands;
}

/// The colours of all bands in the order in which they first occur in the picture; none where they
/// are more than a palette holds.
std::vector<SColor> JoinColors(const std::vector<SPixelBand>& bands, CColorIndex& all)
{
    Numbers ignored;
    const bool isWithinPalette =
        std::all_of(bands.begin(), bands.end(), [&](const SPixelBand& band) {
            return band.isWithinPalette && all.Find(band.colors.GetColors(), ignored.data());
        });
    return isWithinPalette ? all.GetColors() : std::vector<SColor>();
}

/// Turns the numbers of the band's own colours into those of \p all.
void JoinNumbers(CColorIndex all, SPixelBand& band)
{
    Numbers numbers;
    static_cast<void>(all.Find(band.colors.GetColors(), numbers.data()));
    std::transform(band.rows.begin(), band.rows.end(), band.rows.begin(),
                   [&](std::uint8_t number) { return numbers[number]; });
}

void TakeDifferences(std::size_t width, SPixelBand& band)
{
    band.rows.resize(band.pixels.size_bytes());
    std::uint8_t* target = band.rows.data();
    for (std::size_t row = 0; row < band.pixels.size(); row += width)
    {
        SColor left;
        for (const SColor& pixel : band.pixels.subspan(row, width))
        {
            *target++ = static_cast<std::uint8_t>(pixel.red - left.red);
            *target++ = static_cast<std::uint8_t>(pixel.green - left.green);
            *target++ = static_cast<std::uint8_t>(pixel.blue - left.blue);
            left = pixel;
        }
    }
}

/// Compresses \p rows, \p rowBytes bytes each, behind their filters.
SPackedBand Compress(std::span<const std::uint8_t> rows, std::size_t rowBytes, EFilter filter,
                     bool isLast)
{
    constexpr int c_withoutHeader = -MAX_WBITS;
    constexpr int c_memoryLevel = 8;
    z_stream stream{};
    Check(deflateInit2(&stream, c_compressionLevel, Z_DEFLATED, c_withoutHeader, c_memoryLevel,
                       Z_DEFAULT_STRATEGY) == Z_OK);
    const std::unique_ptr<z_stream, int (*)(z_stream*)> end(&stream, deflateEnd);
    SPackedBand band;
    band.checksum = adler32(0, nullptr, 0);
    const auto append = [&](std::span<const std::uint8_t> bytes, int flush) {
        band.checksum = adler32(band.checksum, bytes.data(), static_cast<uInt>(bytes.size()));
        band.numBytes += static_cast<z_off_t>(bytes.size());
        stream.next_in = bytes.data();
        stream.avail_in = static_cast<uInt>(bytes.size());
        std::array<std::uint8_t, 16384> target;
        do
        {
            stream.next_out = target.data();
            stream.avail_out = static_cast<uInt>(target.size());
            Check(deflate(&stream, flush) != Z_STREAM_ERROR);
            band.bytes.insert(band.bytes.end(), target.data(), stream.next_out);
        } while (stream.avail_out == 0);
    };
    const std::uint8_t filterByte[] = {static_cast<std::uint8_t>(filter)};
    // A full flush ends at a whole byte, where the next band can follow.
    const int flushBehind = isLast ? Z_FINISH : Z_FULL_FLUSH;
    for (; !rows.empty(); rows = rows.subspan(rowBytes))
    {
        append(filterByte, Z_NO_FLUSH);
        append(rows.first(rowBytes), rows.size() == rowBytes ? flushBehind : Z_NO_FLUSH);
    }
    return band;
}

/// What follows the bands of a zlib stream, from the highest byte on.
std::array<std::uint8_t, 4> JoinChecksums(std::span<const SPackedBand> bands)
{
    uLong checksum = adler32(0, nullptr, 0);
    for (const SPackedBand& band : bands)
    {
        checksum = adler32_combine(checksum, band.checksum, band.numBytes);
    }
    return {static_cast<std::uint8_t>(checksum >> 24U), static_cast<std::uint8_t>(checksum >> 16U),
            static_cast<std::uint8_t>(checksum >> 8U), static_cast<std::uint8_t>(checksum)};
}

/// A PNG file without its pixels.
struct SPng
{
    SPng() = default;
    SPng(const SPng&) = delete;
    SPng& operator=(const SPng&) = delete;
    ~SPng() { png_destroy_write_struct(&writer, &info); }

    png_structp writer = nullptr;
    png_infop info = nullptr;
};

/// What a file needs beside its chunks of pixels, at most; and each of those beside its content.
constexpr std::size_t c_headBytes = 1024;
constexpr std::size_t c_chunkBytes = 12;

void AppendBytes(png_structp png, png_bytep data, std::size_t count)
{
    auto& bytes = *static_cast<std::vector<std::byte>*>(png_get_io_ptr(png));
    // No exception may pass through the C library.
    if (count > bytes.capacity() - bytes.size())
    {
        png_error(png, "out of room");
    }
    const auto* const first = reinterpret_cast<const std::byte*>(data);
    bytes.insert(bytes.end(), first, first + count);
}

void FlushNothing(png_structp) {}

void Leave(png_structp png, png_const_charp)
{
    png_longjmp(png, 1);
}

void IgnoreWarning(png_structp, png_const_charp) {}

struct SContent
{
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    /// None where the pixels are colours themselves.
    std::span<const SColor> palette;
    std::vector<SPackedBand> bands;
};

/// Writes \p content to \p bytes, which have room for it. Holds no object with a destructor,
/// because the C library leaves it by a jump when it fails; false then.
bool Write(const SContent& content, const SPng& png, std::vector<std::byte>& bytes)
{
    if (setjmp(png_jmpbuf(png.writer)) != 0)
    {
        return false;
    }
    png_set_write_fn(png.writer, &bytes, AppendBytes, FlushNothing);
    png_set_IHDR(png.writer, png.info, content.width, content.height, 8,
                 content.palette.empty() ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_PALETTE,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (!content.palette.empty())
    {
        std::array<png_color, CIndexedPicture::c_maxColors> palette;
        std::transform(content.palette.begin(), content.palette.end(), palette.begin(),
                       [](const SColor& color) {
                           return png_color{color.red, color.green, color.blue};
                       });
        png_set_PLTE(png.writer, png.info, palette.data(),
                     static_cast<int>(content.palette.size()));
    }
    png_write_info(png.writer, png.info);
    const auto writeChunk = [&](const char* name, std::span<const std::uint8_t> chunk) {
        png_write_chunk(png.writer, reinterpret_cast<png_const_bytep>(name), chunk.data(),
                        chunk.size());
    };
    for (const SPackedBand& band : content.bands)
    {
        writeChunk("IDAT", band.bytes);
    }
    writeChunk("IDAT", JoinChecksums(content.bands));
    writeChunk("IEND", {});
    return true;
}

std::vector<std::byte> MakeFile(SContent content)
{
    // What a zlib stream begins with: a window of 32 KB, compressed for speed.
    Bytes& first = content.bands.front().bytes;
    first.insert(first.begin(), {0x78, 0x01});
    std::size_t size = c_headBytes;
    for (const SPackedBand& band : content.bands)
    {
        size += c_chunkBytes + band.bytes.size();
    }
    std::vector<std::byte> bytes;
    bytes.reserve(size);
    SPng png;
    png.writer = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, Leave, IgnoreWarning);
    png.info = png.writer != nullptr ? png_create_info_struct(png.writer) : nullptr;
    Check(png.info != nullptr && Write(content, png, bytes));
    return bytes;
}

}  // namespace

std::vector<std::byte> EncodePng(const CPicture& picture)
{
    Check(!picture.GetPixels().empty());
    const std::size_t width = picture.GetWidth();
    const auto pixels = SplitRows(Pixels(picture.GetPixels()), width);
    std::vector<SPixelBand> bands(pixels.size());
    const auto forEachBand = [&](const auto& body) {
        Base::ParallelFor(static_cast<std::uint32_t>(bands.size()), body);
    };
    forEachBand([&](std::uint32_t index) {
        SPixelBand& band = bands[index];
        band.pixels = pixels[index];
        band.rows.resize(band.pixels.size());
        band.isWithinPalette = band.colors.Find(band.pixels, band.rows.data());
    });
    CColorIndex all;
    const std::vector<SColor> palette = JoinColors(bands, all);
    std::vector<SPackedBand> packed(bands.size());
    forEachBand([&](std::uint32_t index) {
        SPixelBand& band = bands[index];
        const bool isLast = index + 1 == bands.size();
        if (palette.empty())
        {
            TakeDifferences(width, band);
            packed[index] = Compress(band.rows, width * sizeof(SColor), EFilter::Left, isLast);
        }
        else
        {
            // Neighbouring colours of a palette have nothing to do with each other.
            JoinNumbers(all, band);
            packed[index] = Compress(band.rows, width, EFilter::None, isLast);
        }
        band.rows = {};
    });
    return MakeFile({picture.GetWidth(), picture.GetHeight(), palette, std::move(packed)});
}

std::vector<std::byte> EncodePng(const CIndexedPicture& picture)
{
    const std::size_t numColors = picture.GetPalette().size();
    Check(!picture.GetIndices().empty() && numColors != 0 &&
          numColors <= CIndexedPicture::c_maxColors);
    const auto bands = SplitRows(picture.GetIndices(), picture.GetWidth());
    std::vector<SPackedBand> packed(bands.size());
    Base::ParallelFor(static_cast<std::uint32_t>(bands.size()), [&](std::uint32_t band) {
        packed[band] =
            Compress(bands[band], picture.GetWidth(), EFilter::None, band + 1 == bands.size());
    });
    return MakeFile(
        {picture.GetWidth(), picture.GetHeight(), picture.GetPalette(), std::move(packed)});
}

}  // namespace Application
