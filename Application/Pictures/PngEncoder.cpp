#include "Application/Pictures/PngEncoder.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <limits>
#include <new>
#include <stdexcept>

#include "Base/Support/ParallelFor.h"

namespace Application
{

namespace
{

using Bytes = std::vector<std::byte>;

/// Favours speed: pictures are looked at once and rendered often.
constexpr int c_compressionLevel = 1;
/// Rows are filtered and compressed in strips of about so many bytes, each by itself, so that all
/// processors take part. The strips are the same however many there are.
constexpr std::size_t c_bytesPerStrip = std::size_t{1} << 17;
/// What the format allows; also keeps a row's size within the compressor's numbers.
constexpr std::uint32_t c_maxSide = std::numeric_limits<std::int32_t>::max() / 4;

/// How a row is stored: as differences from the pixels to the left, or from those above.
enum class Filter : std::uint8_t
{
    Sub = 1,
    Up = 2,
};

void appendNumber(std::uint32_t number, Bytes& bytes)
{
    for (const int shift : {24, 16, 8, 0})
    {
        bytes.push_back(static_cast<std::byte>(number >> shift));
    }
}

/// Appends a chunk: the length of \p data, the four letters of \p kind, the data, the checksum.
void appendChunk(const char* kind, std::span<const std::byte> data, Bytes& bytes)
{
    appendNumber(static_cast<std::uint32_t>(data.size()), bytes);
    const std::size_t begin = bytes.size();
    const auto* const letters = reinterpret_cast<const std::byte*>(kind);
    bytes.insert(bytes.end(), letters, letters + 4);
    bytes.insert(bytes.end(), data.begin(), data.end());
    const auto* const checked = reinterpret_cast<const Bytef*>(bytes.data() + begin);
    appendNumber(static_cast<std::uint32_t>(crc32_z(0, checked, bytes.size() - begin)), bytes);
}

struct SImage
{
    std::uint32_t height;
    std::size_t bytesPerPixel;
    std::size_t bytesPerRow;
    const std::uint8_t* samples;

    /// A row's samples; none above the first row.
    [[nodiscard]] const std::uint8_t* GetRow(std::uint32_t row) const
    {
        return samples + row * bytesPerRow;
    }
};

/// The filter's number, then the row's differences from \p references, modulo 256. Returns the sum
/// of their magnitudes: what makes it small compresses well.
std::uint64_t applyFilter(Filter filter, const std::uint8_t* row, const std::uint8_t* references,
                          std::size_t size, std::uint8_t* filtered)
{
    filtered[0] = static_cast<std::uint8_t>(filter);
    std::uint64_t sum = 0;
    for (std::size_t index = 0; index < size; ++index)
    {
        const auto difference = static_cast<std::uint8_t>(row[index] - references[index]);
        filtered[1 + index] = difference;
        sum += std::min<std::uint32_t>(difference, 256U - difference);
    }
    return sum;
}

/// Compresses what is added to it into one stretch of a stream that has neither head nor checksum.
class CCompressor
{
public:
    CCompressor()
    {
        constexpr int c_windowBitsWithoutHead = -15;
        constexpr int c_memoryLevel = 9;
        if (deflateInit2(&m_stream, c_compressionLevel, Z_DEFLATED, c_windowBitsWithoutHead,
                         c_memoryLevel, Z_FILTERED) != Z_OK)
        {
            throw std::bad_alloc();
        }
    }
    ~CCompressor() { deflateEnd(&m_stream); }
    CCompressor(const CCompressor&) = delete;
    CCompressor& operator=(const CCompressor&) = delete;

    /// \p flush as deflate() knows it.
    void Add(std::span<const std::uint8_t> data, int flush, Bytes& target)
    {
        m_stream.next_in = const_cast<Bytef*>(data.data());
        m_stream.avail_in = static_cast<uInt>(data.size());
        do
        {
            std::array<std::byte, 16384> buffer;
            m_stream.next_out = reinterpret_cast<Bytef*>(buffer.data());
            m_stream.avail_out = static_cast<uInt>(buffer.size());
            // Fails for a stream that is not one, and when there was nothing left to do.
            static_cast<void>(deflate(&m_stream, flush));
            target.insert(target.end(), buffer.begin(), buffer.end() - m_stream.avail_out);
        } while (m_stream.avail_out == 0);
    }

private:
    z_stream m_stream{};
};

/// Some rows of the image, filtered and compressed.
struct SStrip
{
    Bytes compressed;
    /// The checksum and the number of the filtered bytes.
    uLong checksum = 0;
    std::size_t size = 0;
};

SStrip compressRows(const SImage& image, std::uint32_t begin, std::uint32_t end)
{
    SStrip strip;
    CCompressor compressor;
    const std::vector<std::uint8_t> zeros(image.bytesPerRow + image.bytesPerPixel);
    // The pixel to the left of the first one counts as 0.
    std::vector<std::uint8_t> fromLeft(zeros.size());
    std::array<std::vector<std::uint8_t>, 2> filtered;
    filtered.fill(std::vector<std::uint8_t>(1 + image.bytesPerRow));
    strip.checksum = adler32_z(0, nullptr, 0);
    for (std::uint32_t row = begin; row < end; ++row)
    {
        const std::uint8_t* const samples = image.GetRow(row);
        std::copy_n(samples, image.bytesPerRow, fromLeft.begin() + image.bytesPerPixel);
        const std::uint64_t sumOfLeft = applyFilter(Filter::Sub, samples, fromLeft.data(),
                                                    image.bytesPerRow, filtered[0].data());
        const std::uint64_t sumOfAbove =
            applyFilter(Filter::Up, samples, row == 0 ? zeros.data() : image.GetRow(row - 1),
                        image.bytesPerRow, filtered[1].data());
        const std::vector<std::uint8_t>& chosen = filtered[sumOfAbove < sumOfLeft ? 1 : 0];
        strip.checksum = adler32_z(strip.checksum, chosen.data(), chosen.size());
        strip.size += chosen.size();
        compressor.Add(chosen, Z_NO_FLUSH, strip.compressed);
    }
    // The next strip goes on at a whole byte.
    compressor.Add({}, end == image.height ? Z_FINISH : Z_SYNC_FLUSH, strip.compressed);
    return strip;
}

std::vector<SStrip> compress(const SImage& image)
{
    const auto rowsPerStrip =
        static_cast<std::uint32_t>(std::max<std::size_t>(1, c_bytesPerStrip / image.bytesPerRow));
    std::vector<SStrip> strips((image.height - 1) / rowsPerStrip + 1);
    Base::ParallelFor(static_cast<std::uint32_t>(strips.size()), [&](std::uint32_t index) {
        const std::uint32_t begin = index * rowsPerStrip;
        const std::uint32_t numRows = std::min(rowsPerStrip, image.height - begin);
        strips[index] = compressRows(image, begin, begin + numRows);
    });
    return strips;
}

Bytes makeHeader(std::uint32_t width, std::uint32_t height, PngColor color)
{
    constexpr std::byte c_grey{0};
    constexpr std::byte c_rgb{2};
    Bytes header;
    appendNumber(width, header);
    appendNumber(height, header);
    header.push_back(std::byte{8});
    header.push_back(color == PngColor::Grey ? c_grey : c_rgb);
    // The only ways to compress and to filter, and rows in their order.
    header.insert(header.end(), 3, std::byte{0});
    return header;
}

}  // namespace

std::vector<std::byte> EncodePng(std::uint32_t width, std::uint32_t height, PngColor color,
                                 std::span<const std::uint8_t> samples)
{
    const auto bytesPerPixel = static_cast<std::size_t>(color);
    if (width == 0 || height == 0 || width > c_maxSide || height > c_maxSide)
    {
        throw std::runtime_error("The picture cannot be encoded as PNG.");
    }
    if (samples.size() != std::size_t{width} * height * bytesPerPixel)
    {
        throw std::runtime_error("The number of samples does not fit the picture's size.");
    }
    const std::vector<SStrip> strips =
        compress({height, bytesPerPixel, width * bytesPerPixel, samples.data()});

    constexpr std::array<std::uint8_t, 8> c_signature = {0x89, 'P',  'N',  'G',
                                                         0x0D, 0x0A, 0x1A, 0x0A};
    // What a stream begins with: the compression, its window, and the fastest of its levels.
    constexpr std::array c_streamHead = {std::byte{0x78}, std::byte{0x01}};
    Bytes bytes;
    for (const std::uint8_t byte : c_signature)
    {
        bytes.push_back(std::byte{byte});
    }
    appendChunk("IHDR", makeHeader(width, height, color), bytes);
    appendChunk("IDAT", c_streamHead, bytes);
    uLong checksum = adler32_z(0, nullptr, 0);
    for (const SStrip& strip : strips)
    {
        appendChunk("IDAT", strip.compressed, bytes);
        checksum = adler32_combine(checksum, strip.checksum, static_cast<z_off_t>(strip.size));
    }
    Bytes streamEnd;
    appendNumber(static_cast<std::uint32_t>(checksum), streamEnd);
    appendChunk("IDAT", streamEnd, bytes);
    appendChunk("IEND", {}, bytes);
    return bytes;
}

}  // namespace Application
