#pragma once

#include <cstdarg>
#include <cstddef>
#include <string>
#include <string_view>

#include "Base/Export.h"

// Not installed. Wide text as the system's callers write it. Its letters do not depend on the
// locale that the process runs in; the decimal point of a formatted number does.

namespace Base
{

/// \p text as UTF-8. A character that is no Unicode scalar value becomes U+FFFD.
[[nodiscard]] VEKO2_BASE_EXPORT std::string WideToUtf8(std::wstring_view text);

/// UTF-8 \p text as wide text. Bytes that are not UTF-8 become U+FFFD, one each.
[[nodiscard]] VEKO2_BASE_EXPORT std::wstring Utf8ToWide(std::string_view text);

/// Formats \p arguments by the printf-style \p format and returns the first \p maxLength
/// characters.
///
/// The system's formats follow the convention in which, for a wide format, `%s` and `%c` take wide
/// text and `%S`, `%C`, `%hs` and `%hc` narrow text (read as UTF-8); `%ls` and `%lc` are wide as
/// everywhere. All other conversions are those of the C library, with the length modifiers hh, h,
/// l, ll, j, z, t, L, I64 and I32. `%n` writes nothing, an unknown conversion is copied as it
/// stands, a null string prints "(null)". The C library's wide printf is not used: it reads `%s` as
/// narrow and reports text that is too long, or outside the locale, as an error.
[[nodiscard]] VEKO2_BASE_EXPORT std::wstring FormatWideText(const wchar_t* format,
                                                            std::va_list arguments,
                                                            std::size_t maxLength);

}  // namespace Base
