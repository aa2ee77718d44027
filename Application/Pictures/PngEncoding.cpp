#include "Application/Pictures/PngEncoding.h"

#include <png.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <csetjmp>
#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>

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
using Numbers = std::array<std::uint8_t, CColorIndex::c_maxColors>;

void Check(bool isDone)
{
    if (!isDone)
    {
        throw std::runtime_error("The picture cannot be encoded as PNG.");
    }
}

/// Some rows on their way into the file.
struct SBand
{
    Pixels pixels;
    CColorIndex colors;
    bool isWithinPalette = false;
    /// Each behind its filter: at first the numbers of the band's own colours, in the end what is
    /// compressed.
    Bytes rows;
    /// How many bytes they were when they were compressed, and their checksum.
    z_off_t numBytes = 0;
    uLong checksum = 0;
    Bytes compressed;
};

std::vector<SBand> MakeBands(const CPicture& picture)
{
    const Pixels pixels = picture.GetPixels();
    const std::size_t width = picture.GetWidth();
    const std::size_t bandPixels = (c_bandPixels + width - 1) / width * width;
    std::vector<SBand> bands((pixels.size() + bandPixels - 1) / bandPixels);
    for (std::size_t band = 0; band < bands.size(); ++band)
    {
        const Pixels left = pixels.subspan(band * bandPixels);
        bands[band].pixels = left.first(std::min(left.size(), bandPixels));
    }
    return bands;
}

void NumberColors(std::size_t width, SBand& band)
{
    const std::size_t numRows = band.pixels.size() / width;
    // Neighbouring colours of a palette have nothing to do with each other.
    band.rows.assign(numRows * (1 + width), static_cast<std::uint8_t>(EFilter::None));
    band.isWithinPalette = true;
    for (std::size_t row = 0; row < numRows && band.isWithinPalette; ++row)
    {
        band.isWithinPalette = band.colors.Find(band.pixels.subspan(row * width, width),
                                                &band.rows[row * (1 + width) + 1]);
    }
}

/// The colours of all bands in the order in which they first occur in the picture; none where they
/// are more than a palette holds.
std::vector<SColor> JoinColors(const std::vector<SBand>& bands, CColorIndex& all)
{
    Numbers ignored;
    const bool isWithinPalette = std::all_of(bands.begin(), bands.end(), [&](const SBand& band) {
        return band.isWithinPalette && all.Find(band.colors.GetColors(), ignored.data());
    });
    return isWithinPalette ? all.GetColors() : std::vector<SColor>();
}

/// Turns the numbers of the band's own colours into those of \p all.
void JoinNumbers(std::size_t width, CColorIndex all, SBand& band)
{
    Numbers numbers;
    static_cast<void>(all.Find(band.colors.GetColors(), numbers.data()));
    for (std::size_t row = 0; row < band.rows.size(); row += 1 + width)
    {
        const auto first = band.rows.begin() + static_cast<std::ptrdiff_t>(row + 1);
        std::transform(first, first + static_cast<std::ptrdiff_t>(width), first,
                       [&](std::uint8_t number) { return numbers[number]; });
    }
}

void TakeDifferences(std::size_t width, SBand& band)
{
    const std::size_t numRows = band.pixels.size() / width;
    band.rows.resize(numRows * (1 + width * sizeof(SColor)));
    std::uint8_t* target = band.rows.data();
    for (std::size_t row = 0; row < numRows; ++row)
    {
        *target++ = static_cast<std::uint8_t>(EFilter::Left);
        SColor left;
        for (const SColor& pixel : band.pixels.subspan(row * width, width))
        {
            *target++ = static_cast<std::uint8_t>(pixel.red - left.red);
            *target++ = static_cast<std::uint8_t>(pixel.green - left.green);
            *target++ = static_cast<std::uint8_t>(pixel.blue - left.blue);
            left = pixel;
        }
    }
}

void Compress(bool isLast, SBand& band)
{
    constexpr int c_withoutHeader = -MAX_WBITS;
    constexpr int c_memoryLevel = 8;
    z_stream stream{};
    Check(deflateInit2(&stream, c_compressionLevel, Z_DEFLATED, c_withoutHeader, c_memoryLevel,
                       Z_DEFAULT_STRATEGY) == Z_OK);
    const std::unique_ptr<z_stream, int (*)(z_stream*)> end(&stream, deflateEnd);
    stream.next_in = band.rows.data();
    stream.avail_in = static_cast<uInt>(band.rows.size());
    std::array<std::uint8_t, 16384> target;
    do
    {
        stream.next_out = target.data();
        stream.avail_out = static_cast<uInt>(target.size());
        // A full flush ends at a whole byte, where the next band can follow.
        Check(deflate(&stream, isLast ? Z_FINISH : Z_FULL_FLUSH) != Z_STREAM_ERROR);
        band.compressed.insert(band.compressed.end(), target.data(), stream.next_out);
    } while (stream.avail_out == 0);
    band.checksum =
        adler32(adler32(0, nullptr, 0), band.rows.data(), static_cast<uInt>(band.rows.size()));
    band.numBytes = static_cast<z_off_t>(band.rows.size());
    band.rows = {};
}

/// What follows the bands of a zlib stream, from the highest byte on.
std::array<std::uint8_t, 4> JoinChecksums(const std::vector<SBand>& bands)
{
    uLong checksum = adler32(0, nullptr, 0);
    for (const SBand& band : bands)
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
    std::span<const png_color> palette;
    std::span<const SBand> bands;
    std::array<std::uint8_t, 4> checksum;
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
        png_set_PLTE(png.writer, png.info, content.palette.data(),
                     static_cast<int>(content.palette.size()));
    }
    png_write_info(png.writer, png.info);
    const auto writeChunk = [&](const char* name, std::span<const std::uint8_t> chunk) {
        png_write_chunk(png.writer, reinterpret_cast<png_const_bytep>(name), chunk.data(),
                        chunk.size());
    };
    for (const SBand& band : content.bands)
    {
        writeChunk("IDAT", band.compressed);
    }
    writeChunk("IDAT", content.checksum);
    writeChunk("IEND", {});
    return true;
}

std::vector<std::byte> MakeFile(const SContent& content)
{
    std::size_t size = c_headBytes;
    for (const SBand& band : content.bands)
    {
        size += c_chunkBytes + band.compressed.size();
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
    const std::uint32_t width = picture.GetWidth();
    Check(!picture.GetPixels().empty());
    std::vector<SBand> bands = MakeBands(picture);
    const auto forEachBand = [&](const auto& body) {
        Base::ParallelFor(static_cast<std::uint32_t>(bands.size()), body);
    };
    forEachBand([&](std::uint32_t band) { NumberColors(width, bands[band]); });
    CColorIndex all;
    std::vector<png_color> palette;
    for (const SColor& color : JoinColors(bands, all))
    {
        palette.push_back({color.red, color.green, color.blue});
    }
    // What a zlib stream begins with: a window of 32 KB, compressed for speed.
    bands.front().compressed = {0x78, 0x01};
    forEachBand([&](std::uint32_t band) {
        if (palette.empty())
        {
            TakeDifferences(width, bands[band]);
        }
        else
        {
            JoinNumbers(width, all, bands[band]);
        }
        Compress(band + 1 == bands.size(), bands[band]);
    });
    return MakeFile({width, picture.GetHeight(), palette, bands, JoinChecksums(bands)});
}

}  // namespace Application
