#include "Application/Pictures/PngEncoder.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string_view>

#include "Base/Support/ParallelFor.h"

namespace Application
{

namespace
{

/// Favours speed: pictures are looked at once and rendered often.
constexpr int c_compressionLevel = 3;
/// The bytes of a compressed stream's beginning: a window of 32 KiB, no dictionary, compressed
/// fast.
constexpr std::array<std::uint8_t, 2> c_streamHeader = {0x78, 0x5E};
/// Bands of rows are compressed by themselves, so that all processors can take part. So large, they
/// lose next to nothing by not knowing each other.
constexpr std::size_t c_bandBytes = std::size_t{256} << 10;

constexpr std::uint8_t c_filterSub = 1;
constexpr std::uint8_t c_filterUp = 2;

using Bytes = std::vector<std::uint8_t>;

void appendNumber(std::uint32_t number, Bytes& bytes)
{
    for (const int shift : {24, 16, 8, 0})
    {
        bytes.push_back(static_cast<std::uint8_t>(number >> shift));
    }
}

/// A chunk whose data are the parts one after the other.
void appendChunk(std::string_view type, std::initializer_list<std::span<const std::uint8_t>> parts,
                 Bytes& bytes)
{
    const std::size_t begin = bytes.size();
    appendNumber(0, bytes);
    bytes.insert(bytes.end(), type.begin(), type.end());
    for (const std::span<const std::uint8_t> part : parts)
    {
        bytes.insert(bytes.end(), part.begin(), part.end());
    }
    const std::size_t numBytes = bytes.size() - begin - 8;
    Bytes length;
    appendNumber(static_cast<std::uint32_t>(numBytes), length);
    std::copy(length.begin(), length.end(), bytes.begin() + static_cast<std::ptrdiff_t>(begin));
    appendNumber(
        static_cast<std::uint32_t>(::crc32_z(0, bytes.data() + begin + 4, type.size() + numBytes)),
        bytes);
}

/// The differences of \p numBytes samples from others, and how large they are together.
std::uint64_t subtract(const std::uint8_t* samples, const std::uint8_t* others,
                       std::size_t numBytes, std::uint8_t* differences)
{
    std::uint32_t sum = 0;
    for (std::size_t index = 0; index < numBytes; ++index)
    {
        const auto difference = static_cast<std::uint8_t>(samples[index] - others[index]);
        differences[index] = difference;
        sum += static_cast<std::uint32_t>(std::abs(static_cast<std::int8_t>(difference)));
    }
    return sum;
}

/// Appends a row, filtered by what leaves the smaller differences: those from the pixels on the
/// left, or above. \p above is null in the first row.
void appendFiltered(const std::uint8_t* row, const std::uint8_t* above, std::size_t numBytes,
                    std::size_t bytesPerPixel, Bytes& left, Bytes& up, Bytes& filtered)
{
    std::copy_n(row, bytesPerPixel, left.begin());
    std::uint64_t leftSum =
        subtract(row + bytesPerPixel, row, numBytes - bytesPerPixel, left.data() + bytesPerPixel);
    for (std::size_t index = 0; index < bytesPerPixel; ++index)
    {
        leftSum += static_cast<std::uint32_t>(std::abs(static_cast<std::int8_t>(row[index])));
    }
    const bool isUp = above != nullptr && subtract(row, above, numBytes, up.data()) < leftSum;
    const Bytes& smaller = isUp ? up : left;
    filtered.push_back(isUp ? c_filterUp : c_filterSub);
    filtered.insert(filtered.end(), smaller.begin(), smaller.end());
}

/// What is left of a band: a part of the compressed stream, and the checksum of what it holds.
struct SBand
{
    Bytes compressed;
    std::size_t numBytes = 0;
    uLong checksum = 0;
};

/// Compresses a part of a stream. What is not the last part ends at a whole byte.
Bytes compress(std::span<std::uint8_t> bytes, bool isLast)
{
    // Without a header and a checksum, which the stream has as a whole.
    constexpr int c_rawWindowBits = -15;
    constexpr int c_memoryLevel = 8;
    struct SStream
    {
        z_stream stream{};
        ~SStream() { ::deflateEnd(&stream); }
    } owner;
    z_stream& stream = owner.stream;
    bool isWhole = ::deflateInit2(&stream, c_compressionLevel, Z_DEFLATED, c_rawWindowBits,
                                  c_memoryLevel, Z_FILTERED) == Z_OK;
    // Room for the mark behind a part that is not the last.
    constexpr std::size_t c_markBytes = 16;
    Bytes compressed(::deflateBound(&stream, static_cast<uLong>(bytes.size())) + c_markBytes);
    stream.next_in = bytes.data();
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = compressed.data();
    stream.avail_out = static_cast<uInt>(compressed.size());
    isWhole = isWhole && ::deflate(&stream, isLast ? Z_FINISH : Z_SYNC_FLUSH) ==
                             (isLast ? Z_STREAM_END : Z_OK);
    if (!isWhole || stream.avail_in != 0)
    {
        throw std::runtime_error("The picture cannot be encoded as PNG.");
    }
    compressed.erase(compressed.end() - static_cast<std::ptrdiff_t>(stream.avail_out),
                     compressed.end());
    return compressed;
}

}  // namespace

std::vector<std::byte> EncodePng(std::uint32_t width, std::uint32_t height, PngColor color,
                                 std::span<const std::uint8_t> samples)
{
    constexpr std::uint32_t c_largestSide = 1000000;
    const auto bytesPerPixel = static_cast<std::size_t>(color);
    const std::size_t rowBytes = width * bytesPerPixel;
    if (samples.size() != rowBytes * height)
    {
        throw std::runtime_error("The number of samples does not fit the picture's size.");
    }
    if (width == 0 || height == 0 || width > c_largestSide || height > c_largestSide)
    {
        throw std::runtime_error("The picture cannot be encoded as PNG.");
    }
    const auto rowsPerBand = static_cast<std::uint32_t>(c_bandBytes / rowBytes + 1);
    std::vector<SBand> bands((height + rowsPerBand - 1) / rowsPerBand);
    Base::ParallelFor(static_cast<std::uint32_t>(bands.size()), [&](std::uint32_t index) {
        const std::uint32_t begin = index * rowsPerBand;
        const std::uint32_t end = std::min(begin + rowsPerBand, height);
        Bytes left(rowBytes);
        Bytes up(rowBytes);
        Bytes filtered;
        filtered.reserve((rowBytes + 1) * (end - begin));
        for (std::uint32_t row = begin; row < end; ++row)
        {
            const std::uint8_t* const first = samples.data() + row * rowBytes;
            appendFiltered(first, row == 0 ? nullptr : first - rowBytes, rowBytes, bytesPerPixel,
                           left, up, filtered);
        }
        bands[index] = {compress(filtered, end == height), filtered.size(),
                        ::adler32_z(::adler32_z(0, nullptr, 0), filtered.data(), filtered.size())};
    });

    Bytes png = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    Bytes header;
    appendNumber(width, header);
    appendNumber(height, header);
    constexpr std::uint8_t c_grey = 0;
    constexpr std::uint8_t c_rgb = 2;
    header.insert(header.end(), {8, color == PngColor::Grey ? c_grey : c_rgb, 0, 0, 0});
    appendChunk("IHDR", {header}, png);
    uLong checksum = ::adler32_z(0, nullptr, 0);
    for (std::size_t index = 0; index < bands.size(); ++index)
    {
        checksum = ::adler32_combine(checksum, bands[index].checksum,
                                     static_cast<z_off_t>(bands[index].numBytes));
        Bytes end;
        if (index + 1 == bands.size())
        {
            appendNumber(static_cast<std::uint32_t>(checksum), end);
        }
        const std::span<const std::uint8_t> begin(c_streamHeader);
        appendChunk("IDAT", {begin.first(index == 0 ? 2 : 0), bands[index].compressed, end}, png);
    }
    appendChunk("IEND", {}, png);
    std::vector<std::byte> bytes(png.size());
    std::memcpy(bytes.data(), png.data(), png.size());
    return bytes;
}

}  // namespace Application
