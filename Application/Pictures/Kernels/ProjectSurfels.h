#pragma once

#include <cstddef>
#include <cstdint>

namespace Application
{

// Plain data without member functions: the kernels are compiled for several instruction sets, and a
// linker could take an inline function from one of them for all the others.

/// From positions to the samples of a picture.
struct SSurfelProjection
{
    /// The columns of the matrix from positions to clip coordinates x, y, z and w, each used as
    /// ((x c[0] + y c[1]) + z c[2]) + c[3].
    float clip[4][4] = {};
    /// In samples.
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    /// From a sample to the one below it.
    std::uint32_t stride = 0;
    /// Whether w is the depth, else z / w.
    bool isPerspective = false;
};

/// Surfels on their way into the picture.
struct SSurfelBatch
{
    static constexpr std::uint32_t c_size = 256;
    /// As many as a kernel may write behind the last surfel that is seen.
    static constexpr std::uint32_t c_margin = 16;

    /// How far ahead, in bytes, the kernels ask for positions. The processor itself does not look
    /// beyond the page that it reads.
    static constexpr std::size_t c_prefetchDistance = 8192;

    std::uint32_t count = 0;
    /// Three floats at each place, aligned or not; positionStride bytes from place to place. There
    /// are c_size places to read, whatever the count is, and four bytes behind each.
    const std::byte* positions = nullptr;
    std::size_t positionStride = 0;
    /// Those that are seen: which of the batch they are, in their order, where, and how far.
    std::uint32_t numSeen = 0;
    std::uint32_t indices[c_size + c_margin];
    std::uint32_t samples[c_size + c_margin];
    float depths[c_size + c_margin];
};

/// Finds those surfels of \p batch that are seen.
using ProjectSurfelsKernel = void (*)(const SSurfelProjection& projection, SSurfelBatch& batch);

/// The reference, for every processor.
void ProjectSurfelsVector128(const SSurfelProjection& projection, SSurfelBatch& batch);
#if defined(__x86_64__)
void ProjectSurfelsAvx512(const SSurfelProjection& projection, SSurfelBatch& batch);
#endif

}  // namespace Application
