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

/// Three floats at each place, aligned or not.
struct SSurfelPositions
{
    /// The kernels read up to the next multiple of so many places, and four bytes behind each.
    static constexpr std::uint32_t c_multiple = 16;
    /// How far ahead, in bytes, the kernels ask for positions. The processor itself does not look
    /// beyond the page that it reads.
    static constexpr std::size_t c_prefetchDistance = 8192;

    const std::byte* first = nullptr;
    /// In bytes, from place to place.
    std::size_t stride = 0;
    std::uint32_t count = 0;
};

/// Those surfels of a batch that are seen.
struct SSeenSurfels
{
    /// The most surfels of a batch.
    static constexpr std::uint32_t c_size = 256;
    /// As many as a kernel may write behind the last one.
    static constexpr std::uint32_t c_margin = 16;

    std::uint32_t count = 0;
    /// Which of the batch they are, in their order, where, and how far.
    std::uint32_t indices[c_size + c_margin];
    std::uint32_t samples[c_size + c_margin];
    float depths[c_size + c_margin];
};

/// Finds those of at most SSeenSurfels::c_size surfels that are seen.
using ProjectSurfelsKernel = void (*)(const SSurfelProjection& projection,
                                      const SSurfelPositions& positions, SSeenSurfels& seen);

/// Keeps the smaller of each of \p samples and the depths of the surfels that are seen in it. What
/// is no number counts as larger than all. The first SSeenSurfels::c_margin samples behind the
/// first row have all bits set, before and afterwards.
using DrawSurfelsKernel = void (*)(const SSurfelProjection& projection,
                                   const SSurfelPositions& positions, float* samples);

/// The reference, for every processor.
void ProjectSurfelsVector128(const SSurfelProjection& projection, const SSurfelPositions& positions,
                             SSeenSurfels& seen);
void DrawSurfelsVector128(const SSurfelProjection& projection, const SSurfelPositions& positions,
                          float* samples);
#if defined(__x86_64__)
void ProjectSurfelsAvx512(const SSurfelProjection& projection, const SSurfelPositions& positions,
                          SSeenSurfels& seen);
void DrawSurfelsAvx512(const SSurfelProjection& projection, const SSurfelPositions& positions,
                       float* samples);
#endif

}  // namespace Application
