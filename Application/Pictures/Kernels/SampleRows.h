#pragma once

#include <cstddef>
#include <cstdint>

namespace Application
{

// Plain data without member functions: the kernels are compiled for several instruction sets, and a
// linker could take an inline function from one of them for all the others.

/// What the lower half of a depth buffer's word is made of, from its lowest bit on: a normal's y,
/// its x, and the look.
struct SSampleWord
{
    /// A normal's x and y take so many bits each; the last code stands for no normal.
    static constexpr std::uint32_t c_normalBits = 11;
    static constexpr std::uint32_t c_noNormal = (1U << c_normalBits) - 1U;
    /// Codes per unit; the first is for -1.
    static constexpr float c_normalScale = 1023.0F;
};

/// The depths of a picture's samples.
struct SSampleDepths
{
    /// Of the first sample of the first row; no number where there is no sample.
    const float* first = nullptr;
    /// From row to row.
    std::ptrdiff_t stride = 0;
    /// In samples.
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    bool isPerspective = false;
    /// The side of a sample, in perspective at a depth of 1.
    float sampleSize = 0.0F;
};

/// The ways from a sample to other ones, nearest first. Behind the last one there are
/// SSampleRows::c_margin more distances, which are no numbers, and steps.
struct SSampleOffsets
{
    const float* x = nullptr;
    const float* y = nullptr;
    // Their products.
    const float* xx = nullptr;
    const float* xy = nullptr;
    const float* yy = nullptr;
    const float* distances = nullptr;
    /// From depth to depth.
    const std::int32_t* steps = nullptr;
    std::size_t count = 0;
};

/// A grid of square cells of samples, two to the power of shift on a side.
struct SCoarseGrid
{
    /// The row and the column of a cell's sample in the cell take so many bits each.
    static constexpr std::uint32_t c_placeBits = 16;

    /// Of the first cell of the first row: the bits of the depth of its nearest sample, above the
    /// sample's row and, lowest, its column. Where there is no sample all bits of the depth are
    /// set.
    const std::uint64_t* first = nullptr;
    /// From row to row.
    std::ptrdiff_t stride = 0;
    /// From cell to cell.
    SSampleOffsets offsets;
    std::uint32_t shift = 0;
};

/// Widens samples to dots. Around every sample there are depths as far as the offsets reach, and on
/// the right SSampleRows::c_margin more.
struct SDotsTask
{
    SSampleDepths depths;
    /// All those that a dot may reach, without (0, 0). A multiple of
    /// SSampleRows::c_offsetsPerDistance are equally far.
    SSampleOffsets offsets;
    /// One of each two opposite offsets to the samples that planes of dense surfaces are fitted to.
    SSampleOffsets ring;
    /// For the planes of dense samples of which the ring has too few, as at rims: near ones and
    /// some of those as far as such a plane reaches, as many to a distance as in offsets.
    SSampleOffsets rim;
    /// For planes through samples that are far apart, coarser and coarser ones, the first of cells
    /// of two by two samples; perhaps none. Up to the one in which the largest radius is
    /// SSampleRows::c_maxCellRadius cells, more are of no use.
    const SCoarseGrid* coarser = nullptr;
    std::uint32_t numCoarser = 0;
    /// Of a sample without neighbours.
    float singleRadius = 0.0F;
};

/// Where dots come from and go to.
struct SDotsTarget
{
    /// The words of the row's samples; null where all have the same lower half. Behind them and
    /// the radii there are SSampleRows::c_margin more.
    const std::uint64_t* words = nullptr;
    /// The same lower half.
    std::uint32_t bareWord = 0;
    /// Their radii, and the largest one to use.
    const std::uint8_t* radii = nullptr;
    std::uint8_t largest = 0;
    /// The first sample of the picture of dots. No other thread may draw into the rows that dots of
    /// the largest radius reach.
    std::uint64_t* samples = nullptr;
};

struct SSampleRows
{
    /// As many samples as a kernel may read behind the last one of a row.
    static constexpr std::uint32_t c_margin = 16;
    /// Samples are dense whose own radius, whatever the largest one to use, is at most this.
    static constexpr float c_maxDenseRadius = 2.0F;
    /// Turned by a right angle, an offset is as far as before.
    static constexpr std::size_t c_offsetsPerDistance = 4;
    /// Where a ring of samples does not do, a plane's neighbours reach this far, in radii of the
    /// dot.
    static constexpr float c_planeReach = 3.0F;
    /// They are looked for in the first grid in which the radius is at most so many cells: not many
    /// cells are empty then, and not many have several samples, perhaps of two surfaces.
    static constexpr float c_maxCellRadius = 3.0F;
    /// Radii are given in units of 1 / c_radiusUnits samples.
    static constexpr float c_radiusUnits = 4.0F;
    /// Tones are told apart in so many steps from dark to a surface's own colour. With them and the
    /// background's, the picture of one or two scans has few enough colours for a small file.
    static constexpr float c_tonesPerUnit = 96.0F;
    static constexpr std::uint32_t c_numTones = 120;
    /// May stand for the tone where there is no sample: no tone is as large.
    static constexpr std::uint8_t c_noTone = 255;
    /// What is added to a tone before it is cut off, by the sample's row and column: a pattern, to
    /// be repeated, that hides the steps.
    static constexpr float c_thresholds[4][4] = {{0.5F / 16, 8.5F / 16, 2.5F / 16, 10.5F / 16},
                                                 {12.5F / 16, 4.5F / 16, 14.5F / 16, 6.5F / 16},
                                                 {3.5F / 16, 11.5F / 16, 1.5F / 16, 9.5F / 16},
                                                 {15.5F / 16, 7.5F / 16, 13.5F / 16, 5.5F / 16}};
    /// In pixels: how far away from a sample what darkens it is looked for, beside the next pixel.
    static constexpr std::int32_t c_farDistance = 4;
};

/// The depths and normals of some rows, unpacked; of those that have no normal it is (0, 0, 0).
struct SShadingTask
{
    /// Its first sample is that of the row to shade.
    SSampleDepths depths;
    /// The normal's components of that sample.
    const float* normals[3] = {};
    std::uint32_t samplesPerSide = 1;
    /// The number of the darkest tone, and what stands for a tone where there is no sample, from
    /// column to column over and over. All numbers of tones must be less than 256.
    std::uint8_t firstTone = 0;
    std::uint8_t background[4] = {SSampleRows::c_noTone, SSampleRows::c_noTone,
                                  SSampleRows::c_noTone, SSampleRows::c_noTone};
};

/// Finds the radii of the dots of a row's samples; 0 where there is no sample.
using FindRadiiKernel = void (*)(const SDotsTask& task, std::uint32_t row, std::uint8_t* radii);

/// Draws the dots of a row's samples.
using DrawDotsKernel = void (*)(const SDotsTask& task, std::uint32_t row,
                                const SDotsTarget& target);

/// Unpacks the depths and normals of \p count words. Normals where there is no sample mean nothing.
using UnpackSamplesKernel = void (*)(const std::uint64_t* words, std::uint32_t count, float* depths,
                                     float* const (&normals)[3]);

/// Finds the tones of a row's samples, of which there must be room for SSampleRows::c_margin more.
/// \param row of the picture.
using FindTonesKernel = void (*)(const SShadingTask& task, std::uint32_t row, std::uint8_t* tones);

/// All that is done row by row, with the vectors of one instruction set.
struct SSampleRowsKernels
{
    const char* name = nullptr;
    FindRadiiKernel findRadii = nullptr;
    DrawDotsKernel drawDots = nullptr;
    UnpackSamplesKernel unpack = nullptr;
    FindTonesKernel findTones = nullptr;
};

/// The reference, for every processor.
extern const SSampleRowsKernels c_sampleRowsVector128;
#if defined(__x86_64__)
extern const SSampleRowsKernels c_sampleRowsAvx2;
extern const SSampleRowsKernels c_sampleRowsAvx512;
#endif

}  // namespace Application
