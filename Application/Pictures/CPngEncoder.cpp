#include "Application/Pictures/CPngEncoder.h"

#include <png.h>

#include <csetjmp>
#include <exception>
#include <optional>
#include <stdexcept>
#include <utility>

#include "Application/Pictures/CColorIndex.h"

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

void AppendBytes(png_structp png, png_bytep data, std::size_t count)
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

void FlushNothing(png_structp) {}

void Leave(png_structp png, png_const_charp)
{
    png_longjmp(png, 1);
}

void IgnoreWarning(png_structp, png_const_charp) {}

struct SPictureKind
{
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    int colorType = PNG_COLOR_TYPE_RGB;
};

// The following hold no objects with a destructor, because the C library leaves them by a jump when
// it fails. They return false then.

bool Begin(SEncoding& encoding, const SPictureKind& kind, std::span<const png_color> palette)
{
    if (setjmp(png_jmpbuf(encoding.png)) != 0)
    {
        return false;
    }
    png_set_write_fn(encoding.png, &encoding, AppendBytes, FlushNothing);
    png_set_compression_level(encoding.png, c_compressionLevel);
    png_set_IHDR(encoding.png, encoding.info, kind.width, kind.height, 8, kind.colorType,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (kind.colorType == PNG_COLOR_TYPE_PALETTE)
    {
        png_set_PLTE(encoding.png, encoding.info, palette.data(), static_cast<int>(palette.size()));
    }
    // Neighbouring colours of a palette have nothing to do with each other.
    png_set_filter(encoding.png, PNG_FILTER_TYPE_BASE,
                   kind.colorType == PNG_COLOR_TYPE_PALETTE ? PNG_FILTER_NONE : PNG_FILTER_SUB);
    png_write_info(encoding.png, encoding.info);
    return true;
}

bool WriteRow(SEncoding& encoding, const std::uint8_t* row)
{
    if (setjmp(png_jmpbuf(encoding.png)) != 0)
    {
        return false;
    }
    png_write_row(encoding.png, row);
    return true;
}

bool End(SEncoding& encoding)
{
    if (setjmp(png_jmpbuf(encoding.png)) != 0)
    {
        return false;
    }
    png_write_end(encoding.png, encoding.info);
    return true;
}

void Check(bool isDone, const SEncoding& encoding)
{
    if (isDone)
    {
        return;
    }
    if (encoding.failure)
    {
        std::rethrow_exception(encoding.failure);
    }
    throw std::runtime_error("The picture cannot be encoded as PNG.");
}

/// Writes all that comes before the pixels.
void Start(SEncoding& encoding, const SPictureKind& kind, std::span<const png_color> palette)
{
    encoding.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, Leave, IgnoreWarning);
    encoding.info = encoding.png != nullptr ? png_create_info_struct(encoding.png) : nullptr;
    // Growing would wait for other threads that ask the system for memory or give it back. Most
    // pictures need less, and pages that are not written cost nothing.
    encoding.bytes.reserve(std::size_t{kind.width} * kind.height);
    Check(encoding.info != nullptr && Begin(encoding, kind, palette), encoding);
}

}  // namespace

struct CPngEncoder::SState
{
    SPictureKind kind;
    std::size_t rowBytes = 0;
    std::uint32_t numRows = 0;
    std::optional<SEncoding> encoding;
    // With a palette, which comes before the pixels in the file but is known only after them: what
    // was begun is without its head.
    CColorIndex colors;
    std::vector<std::uint8_t> numbers;

    [[nodiscard]] bool HasPalette() const { return kind.colorType == PNG_COLOR_TYPE_PALETTE; }
};

CPngEncoder::CPngEncoder(std::uint32_t width, std::uint32_t height)
    : m_state(std::make_unique<SState>())
{
    SState& state = *m_state;
    state.kind = {width, height, PNG_COLOR_TYPE_PALETTE};
    state.rowBytes = std::size_t{width} * 3;
    // The pixels are the same for any palette.
    const std::vector<png_color> palette(PNG_MAX_PALETTE_LENGTH);
    Start(state.encoding.emplace(), state.kind, palette);
    state.encoding->bytes.clear();
    state.numbers.resize(width);
}

CPngEncoder::~CPngEncoder() = default;

void CPngEncoder::EncodeTo(std::uint32_t numRows, std::span<const std::uint8_t> samples)
{
    SState& state = *m_state;
    while (state.numRows < numRows)
    {
        const auto row = samples.subspan(state.numRows * state.rowBytes, state.rowBytes);
        if (state.HasPalette() && !state.colors.Find(row, state.numbers.data()))
        {
            startWithoutPalette();
            continue;
        }
        Check(WriteRow(*state.encoding, state.HasPalette() ? state.numbers.data() : row.data()),
              *state.encoding);
        ++state.numRows;
    }
}

void CPngEncoder::startWithoutPalette()
{
    m_state->kind.colorType = PNG_COLOR_TYPE_RGB;
    m_state->numRows = 0;
    Start(m_state->encoding.emplace(), m_state->kind, {});
}

std::vector<std::byte> CPngEncoder::Finish()
{
    SState& state = *m_state;
    Check(End(*state.encoding), *state.encoding);
    if (!state.HasPalette())
    {
        return std::move(state.encoding->bytes);
    }
    std::vector<png_color> palette;
    for (const SColor& color : state.colors.GetColors())
    {
        palette.push_back({color.red, color.green, color.blue});
    }
    SEncoding head;
    Start(head, state.kind, palette);
    const std::vector<std::byte>& pixels = state.encoding->bytes;
    head.bytes.insert(head.bytes.end(), pixels.begin(), pixels.end());
    return std::move(head.bytes);
}

}  // namespace Application
