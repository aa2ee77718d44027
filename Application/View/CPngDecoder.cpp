#include "Application/View/CPngDecoder.h"

#include <png.h>

#include <array>
#include <csetjmp>
#include <cstring>
#include <string>
#include <utility>

#include "Application/Files/CInputError.h"
#include "Application/View/ViewLimits.h"

namespace Application
{

namespace
{

constexpr std::size_t c_signatureBytes = 8;

}  // namespace

struct CPngDecoder::SState
{
    png_structp png = nullptr;
    png_infop info = nullptr;
    std::string_view input;
    std::size_t position = 0;
    std::array<char, 200> message{};

    SState() = default;
    SState(const SState&) = delete;
    SState& operator=(const SState&) = delete;
    ~SState() { png_destroy_read_struct(&png, &info, nullptr); }

    static void KeepMessageAndLeave(png_structp png, png_const_charp text)
    {
        auto* const state = static_cast<SState*>(png_get_error_ptr(png));
        std::strncpy(state->message.data(), text, state->message.size() - 1);
        png_longjmp(png, 1);
    }

    static void IgnoreWarning(png_structp, png_const_charp) {}

    static void CopyInput(png_structp png, png_bytep target, std::size_t count)
    {
        auto* const state = static_cast<SState*>(png_get_io_ptr(png));
        if (count > state->input.size() - state->position)
        {
            png_error(png, "the file ends too early");
        }
        std::memcpy(target, state->input.data() + state->position, count);
        state->position += count;
    }

    // The two operations below hold no object with a destructor, because the C library leaves them
    // by a jump when it fails.

    bool ReadHeader()
    {
        if (setjmp(png_jmpbuf(png)) != 0)
        {
            return false;
        }
        png_set_user_limits(png, c_maxViewSide, c_maxViewSide);
        // Texts, profiles and the like are not needed, and few bytes of them can unpack to many: of
        // what is not the picture itself only transparency is read.
        png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
        png_set_read_fn(png, this, CopyInput);
        png_read_info(png, info);
        png_set_expand(png);
        png_set_interlace_handling(png);
        png_read_update_info(png, info);
        return true;
    }

    bool ReadPixels(png_bytepp rows)
    {
        if (setjmp(png_jmpbuf(png)) != 0)
        {
            return false;
        }
        png_read_image(png, rows);
        png_read_end(png, nullptr);
        return true;
    }
};

CPngDecoder::CPngDecoder(std::string_view png, std::filesystem::path name)
    : m_name(std::move(name)), m_state(std::make_unique<SState>())
{
    m_state->input = png;
    if (png.size() < c_signatureBytes ||
        png_sig_cmp(reinterpret_cast<png_const_bytep>(png.data()), 0, c_signatureBytes) != 0)
    {
        throw CInputError(m_name, "expected a PNG picture, found something else");
    }
    m_state->png = png_create_read_struct(PNG_LIBPNG_VER_STRING, m_state.get(),
                                          SState::KeepMessageAndLeave, SState::IgnoreWarning);
    m_state->info = m_state->png != nullptr ? png_create_info_struct(m_state->png) : nullptr;
    if (m_state->info == nullptr || !m_state->ReadHeader())
    {
        fail();
    }
}

CPngDecoder::~CPngDecoder() = default;

std::uint32_t CPngDecoder::GetWidth() const
{
    return png_get_image_width(m_state->png, m_state->info);
}

std::uint32_t CPngDecoder::GetHeight() const
{
    return png_get_image_height(m_state->png, m_state->info);
}

std::size_t CPngDecoder::GetBytesPerSample() const
{
    return png_get_bit_depth(m_state->png, m_state->info) == 16 ? 2 : 1;
}

std::size_t CPngDecoder::GetBytesPerPixel() const
{
    return GetBytesPerSample() * png_get_channels(m_state->png, m_state->info);
}

bool CPngDecoder::HasAlpha() const
{
    return (png_get_color_type(m_state->png, m_state->info) & PNG_COLOR_MASK_ALPHA) != 0;
}

std::vector<std::uint8_t> CPngDecoder::Decode()
{
    const std::size_t rowBytes = GetWidth() * GetBytesPerPixel();
    std::vector<std::uint8_t> pixels(rowBytes * GetHeight());
    std::vector<png_bytep> rows(GetHeight());
    for (std::size_t row = 0; row < rows.size(); ++row)
    {
        rows[row] = pixels.data() + row * rowBytes;
    }
    if (!m_state->ReadPixels(rows.data()))
    {
        fail();
    }
    return pixels;
}

void CPngDecoder::fail() const
{
    throw CInputError::AtByte(m_name, m_state->position,
                              std::string("damaged PNG picture: ") + m_state->message.data());
}

}  // namespace Application
