#pragma once

#include <cstddef>

#include "Base/Export.h"

namespace Base
{

/// Asks the system to back \p numBytes bytes at \p first by large pages when they are first
/// written. Fresh memory costs one interruption per page, so that in small pages writing a large
/// array the first time takes several times as long as writing it again.
///
/// A hint: nothing else changes, and where the system knows no large pages nothing does. Ranges
/// too small to gain by it are left alone. No more memory is taken than the range's own.
VEKO2_BASE_EXPORT void PreferLargePages(const void* first, std::size_t numBytes) noexcept;

/// Makes room for \p count elements as reserve() does, with what it has to allocate in large pages.
template <typename Vector>
void ReserveInLargePages(Vector& elements, std::size_t count)
{
    if (count > elements.capacity())
    {
        elements.reserve(count);
        PreferLargePages(elements.data(), count * sizeof(typename Vector::value_type));
    }
}

/// Resizes \p elements as its resize() does, with what it has to allocate in large pages.
template <typename Vector>
void ResizeInLargePages(Vector& elements, std::size_t count)
{
    ReserveInLargePages(elements, count);
    elements.resize(count);
}

}  // namespace Base
