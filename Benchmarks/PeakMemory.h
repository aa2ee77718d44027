#pragma once

#include <cstddef>

/// The memory that this program and the libraries it uses take with `new`.
namespace PeakMemory
{

/// Counts while it lives. One at a time; nothing that was allocated before may be released.
class CScope
{
public:
    CScope();
    CScope(const CScope&) = delete;
    CScope& operator=(const CScope&) = delete;
    ~CScope();

    /// The most bytes that were in use at once.
    [[nodiscard]] std::size_t GetPeak() const;
};

}  // namespace PeakMemory
