#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <type_traits>
#include <vector>

#include "Application/Pictures/CDepthBuffer.h"
#include "Application/Pictures/CDepthPlane.h"
#include "Application/Pictures/CNormalCodes.h"
#include "Application/Pictures/CPictureProjection.h"
#include "Application/Pictures/CPointSamples.h"
#include "Application/Pictures/Kernels/ProjectSurfelsKernels.h"
#include "Base/Interfaces/CSurfelBitMask.h"
#include "Base/Interfaces/ISurfelCollection.h"

namespace Application
{

/// Draws the surfels of one scan into a depth buffer, as single samples.
///
/// The collection and the flags must live. Ranges of surfels may be drawn in any order, at
/// once into buffers of their own.
class CScanPainter
{
public:
    /// What a look's two upper bits say.
    enum class EMark : std::uint32_t
    {
        None = 0,
        SmallComponent = 1,
        Cut = 2,
    };

    /// The looks of a mark: one for each of the scans' colours.
    static constexpr std::uint32_t c_numScanColors = 256;

    /// \param trafo from the collection's coordinates to the world's.
    /// \param flags none, or one word per surfel.
    /// \param colorIndex less than c_numScanColors.
    /// \param hideCut leaves surfels with SurfelFlagCut out.
    /// @throw VekoException when the collection has no positions.
    CScanPainter(const CPictureProjection& projection, const Base::ISurfelCollection& collection,
                 const LqMatrix4Rd& trafo, std::span<const Base::CSurfelBitMask> flags,
                 std::uint32_t colorIndex, bool hideCut);

    struct SPainting
    {
        CPointSamples samples;
        /// A buffer of the picture's size that was needed on the way and may serve for something
        /// else.
        std::optional<CDepthBuffer> spare;
    };

    /// What all surfels of \p painters, made for \p projection, look like. Runs in parallel; the
    /// picture is the same on any number of threads. On the way, two buffers or a gigabyte of them
    /// are needed at most, and no more samples than there are surfels.
    /// \param border: of the samples' plane of depths.
    [[nodiscard]] static SPainting PaintAll(const std::vector<CScanPainter>& painters,
                                            const CPictureProjection& projection,
                                            std::uint32_t border);

    /// Draws the surfels \p begin to \p end - 1 into \p buffer, which has the projection's size.
    void Paint(std::uint64_t begin, std::uint64_t end, CDepthBuffer& buffer) const;

    /// Draws the depths of those surfels into \p plane, whatever their normals and flags are.
    void Paint(std::uint64_t begin, std::uint64_t end, CDepthPlane& plane) const;

private:
    /// What is drawn of \p painters by several threads, each into a buffer of its own: the first
    /// of them, and those that were needed besides.
    template <typename MakeBuffer>
    [[nodiscard]] static std::vector<std::invoke_result_t<MakeBuffer>> paintAll(
        const std::vector<CScanPainter>& painters, std::uint32_t height, std::uint32_t width,
        const MakeBuffer& makeBuffer);
    /// Calls \p draw(first, batch) for the surfels in batches, from \p first on, with the samples
    /// that they are seen in.
    template <typename Draw>
    void forEachBatch(std::uint64_t begin, std::uint64_t end, std::size_t stride,
                      const Draw& draw) const;
    void drawBare(std::uint64_t first, const SSeenSurfels& batch, CDepthBuffer& buffer) const;
    /// How many of the surfels \p begin to \p end - 1, from the first on, the kernels can read
    /// where they are.
    [[nodiscard]] std::uint64_t countInPlace(std::uint64_t begin, std::uint64_t end) const;
    /// \p count: less than 2^32.
    [[nodiscard]] SSurfelPositions positionsOf(std::uint64_t first, std::uint64_t count) const;
    /// Surfels of a run that are seen, and where.
    struct SSeen
    {
        /// Of the run.
        std::uint32_t index;
        std::uint32_t sample;
        float depth;
    };

    /// \param seen has room for all surfels of the run.
    void drawWithNormals(std::uint64_t begin, std::uint64_t end, std::span<SSeen> seen,
                         CDepthBuffer& buffer) const;
    /// Finds the normals of \p seen, at most CNormalCodes::c_size of a run from \p first on, and
    /// draws them.
    void drawNormals(std::uint64_t first, std::span<const SSeen> seen, CDepthBuffer& buffer) const;
    [[nodiscard]] EMark markOf(std::uint64_t index) const;

    using PositionAccess = Base::TElementAccessRead<Base::CSCElementDefinitionPosition>;
    using NormalAccess = Base::TElementAccessRead<Base::CSCElementDefinitionNormal>;

    std::uint64_t m_count;
    PositionAccess m_positions;
    const NormalAccess* m_normals;
    std::span<const Base::CSurfelBitMask> m_flags;
    SProjectSurfelsKernels m_kernels;
    SSurfelProjection m_projection;
    CNormalCodes m_normalCodes;
    bool m_hideCut;
    std::uint32_t m_colorIndex;
    /// What each mark draws, but for depths and normals.
    std::array<std::uint64_t, 3> m_bareWords;
};

}  // namespace Application
