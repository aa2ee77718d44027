#include "Application/Pictures/CPointRenderer.h"

#include "Application/Files/CInputError.h"
#include "Application/Pictures/CDepthBuffer.h"
#include "Application/Pictures/CPictureProjection.h"
#include "Application/Pictures/CPointSplatter.h"
#include "Application/Pictures/CSurfaceShader.h"
#include "Application/Pictures/RowBands.h"
#include "Base/Math/PointTransform.h"
#include "Base/Support/ParallelFor.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>

namespace Application
{

namespace
{

using PositionAccess = Base::TElementAccessRead<Base::CSCElementDefinitionPosition>;
using NormalAccess = Base::TElementAccessRead<Base::CSCElementDefinitionNormal>;

constexpr std::uint64_t c_chunkSurfels = 32768;
constexpr std::uint64_t c_batchSurfels = 128;
constexpr std::size_t c_noSample = std::numeric_limits<std::size_t>::max();
constexpr std::uint32_t c_numScanColors = 256;
/// Pictures and scans up to these sizes are drawn with four samples for each pixel, which makes
/// edges smooth. Larger ones would take four times as long and show little of it.
constexpr std::uint64_t c_maxSmoothedPixels = std::uint64_t{1} << 22U;
constexpr std::uint64_t c_maxSmoothedSurfels = std::uint64_t{1} << 22U;

/// What a look's two upper bits say.
enum class Mark : std::uint32_t
{
    None = 0,
    SmallComponent = 1,
    Cut = 2,
};

Mark markOf(Base::CSurfelBitMask flags)
{
    if ((flags.bits & Base::CSurfelBitMask::SurfelFlagCut) != 0)
    {
        return Mark::Cut;
    }
    return (flags.bits & Base::CSurfelBitMask::SurfelFlagSmallComponent) != 0 ? Mark::SmallComponent
                                                                              : Mark::None;
}

/// Draws the surfels of one scan as single samples.
class CScanPainter
{
public:
    CScanPainter(const CPictureProjection& projection, const CPointRenderer::SScan& scan,
                 std::uint32_t colorIndex, bool hideCut, CDepthBuffer& buffer)
        : m_scan(scan),
          m_positions(scan.collection->GetReadAccessor<Base::CSCElementDefinitionPosition>()),
          m_normals(scan.collection->HasNormals()
                        ? &scan.collection->GetReadAccessor<Base::CSCElementDefinitionNormal>()
                        : nullptr),
          m_chain(projection.MakeChain(scan.trafo)),
          m_normalChain(projection.MakeNormalChain(scan.trafo)),
          m_isPerspective(projection.IsPerspective()),
          m_colorIndex(colorIndex),
          m_hideCut(hideCut),
          m_buffer(buffer)
    {}

    void Paint(std::uint64_t begin, std::uint64_t end) const
    {
        SBatch batch;
        for (std::uint64_t first = begin; first < end; first += c_batchSurfels)
        {
            const std::uint64_t count = std::min(c_batchSurfels, end - first);
            project(first, count, batch);
            for (std::uint64_t index = 0; index < count; ++index)
            {
                if (batch.samples[index] != c_noSample)
                {
                    paintSurfel(first + index, batch.samples[index], batch.depths[index]);
                }
            }
        }
    }

private:
    /// Where surfels come to lie. In batches, because the projection is then free of jumps and the
    /// places in the buffer, which are all over the memory, are asked for ahead of their use.
    struct SBatch
    {
        std::array<std::size_t, c_batchSurfels> samples;
        std::array<float, c_batchSurfels> depths;
    };

    void project(std::uint64_t first, std::uint64_t count, SBatch& batch) const
    {
        const auto width = static_cast<float>(m_buffer.GetWidth());
        const auto height = static_cast<float>(m_buffer.GetHeight());
        const std::byte* element =
            m_positions.GetFirstElement() + first * m_positions.GetStrideInBytes();
        for (std::uint64_t index = 0; index < count; ++index)
        {
            LqVector3f position;
            std::memcpy(&position, element, sizeof position);
            element += m_positions.GetStrideInBytes();
            const auto clip = TransformHomogeneous(m_chain, position.x, position.y, position.z);
            const float perW = 1.0F / clip.w;
            const float z = clip.z * perW;
            const float x = (clip.x * perW + 1.0F) * (0.5F * width);
            const float y = (1.0F - clip.y * perW) * (0.5F * height);
            // Also false for what is not a number.
            const bool isVisible = (clip.w > 0.0F) & (z >= 0.0F) & (z <= 1.0F) & (x >= 0.0F) &
                                   (x < width) & (y >= 0.0F) & (y < height);
            const auto column = static_cast<std::uint32_t>(isVisible ? x : 0.0F);
            const auto row = static_cast<std::uint32_t>(isVisible ? y : 0.0F);
            const std::size_t sample = m_buffer.IndexOf(column, row);
            m_buffer.Prefetch(sample);
            batch.samples[index] = isVisible ? sample : c_noSample;
            // Adding 0 turns the negative zero, whose bits would sort last, into the positive one.
            batch.depths[index] = (m_isPerspective ? clip.w : z) + 0.0F;
        }
    }

    void paintSurfel(std::uint64_t index, std::size_t sample, float depth) const
    {
        if (!m_buffer.CanWin(sample, depth))
        {
            return;
        }
        const Mark mark = index < m_scan.flags.size() ? markOf(m_scan.flags[index]) : Mark::None;
        if (!m_hideCut || mark != Mark::Cut)
        {
            const std::uint32_t look =
                static_cast<std::uint32_t>(mark) * c_numScanColors + m_colorIndex;
            m_buffer.Draw(sample, CDepthBuffer::Pack(depth, look, makeNormal(index)));
        }
    }

    /// The normal along the picture axes, turned towards the viewer.
    [[nodiscard]] CDepthBuffer::SNormal makeNormal(std::uint64_t index) const
    {
        if (m_normals == nullptr)
        {
            return {};
        }
        const LqVector3f own = m_normals->At(index);
        const auto normal = TransformHomogeneous(m_normalChain, own.x, own.y, own.z);
        const float length =
            std::sqrt((normal.x * normal.x + normal.y * normal.y) + normal.z * normal.z);
        if (!(length > 0.0F && std::isfinite(length)))
        {
            return {};
        }
        const float scale = (normal.z < 0.0F ? -1.0F : 1.0F) / length;
        return {normal.x * scale, normal.y * scale, normal.z * scale, true};
    }

    const CPointRenderer::SScan& m_scan;
    const PositionAccess& m_positions;
    const NormalAccess* m_normals;
    LqMatrix4Rf m_chain;
    LqMatrix4Rf m_normalChain;
    bool m_isPerspective;
    std::uint32_t m_colorIndex;
    bool m_hideCut;
    CDepthBuffer& m_buffer;
};

/// The different colours of the scans, and which of them each scan has.
struct SScanColors
{
    std::vector<SColor> colors;
    std::vector<std::uint32_t> indices;
};

SScanColors collectColors(const std::vector<CPointRenderer::SScan>& scans)
{
    SScanColors result;
    for (const CPointRenderer::SScan& scan : scans)
    {
        const auto found = std::find(result.colors.begin(), result.colors.end(), scan.color);
        const auto index = static_cast<std::uint32_t>(found - result.colors.begin());
        result.indices.push_back(index % c_numScanColors);
        if (found == result.colors.end() && result.colors.size() < c_numScanColors)
        {
            result.colors.push_back(scan.color);
        }
    }
    return result;
}

void paintScans(const CPictureProjection& projection,
                const std::vector<CPointRenderer::SScan>& scans, const SScanColors& colors,
                bool hideCut, CDepthBuffer& buffer)
{
    for (std::size_t scan = 0; scan < scans.size(); ++scan)
    {
        const std::uint64_t count = scans[scan].collection->GetCount();
        if (count == 0)
        {
            continue;
        }
        const CScanPainter painter(projection, scans[scan], colors.indices[scan], hideCut, buffer);
        const std::uint64_t numChunks = (count + c_chunkSurfels - 1) / c_chunkSurfels;
        Base::ParallelFor(static_cast<std::uint32_t>(numChunks), [&](std::uint32_t chunk) {
            painter.Paint(chunk * c_chunkSurfels, std::min(count, (chunk + 1) * c_chunkSurfels));
        });
    }
}

CSurfaceShader::SColors makeColors(const CPointRenderer::SSettings& settings,
                                   const SScanColors& scanColors)
{
    CSurfaceShader::SColors colors{std::vector<SColor>(CDepthBuffer::c_numLooks), settings.topColor,
                                   settings.bottomColor};
    std::copy(scanColors.colors.begin(), scanColors.colors.end(), colors.looks.begin());
    const auto fillMark = [&](Mark mark, SColor color) {
        std::fill_n(colors.looks.begin() + static_cast<std::uint32_t>(mark) * c_numScanColors,
                    c_numScanColors, color);
    };
    fillMark(Mark::SmallComponent, settings.smallComponentColor);
    fillMark(Mark::Cut, settings.cutColor);
    return colors;
}

std::uint32_t chooseSamplesPerSide(const CView& view,
                                   const std::vector<CPointRenderer::SScan>& scans)
{
    const std::uint64_t numPixels = std::uint64_t{view.GetWidth()} * view.GetHeight();
    std::uint64_t numSurfels = 0;
    for (const CPointRenderer::SScan& scan : scans)
    {
        numSurfels += scan.collection->GetCount();
    }
    return numPixels <= c_maxSmoothedPixels && numSurfels <= c_maxSmoothedSurfels ? 2 : 1;
}

bool isBorder(const CMask& mask, std::uint32_t column, std::uint32_t row)
{
    return column == 0 || row == 0 || column + 1 == mask.GetWidth() ||
           row + 1 == mask.GetHeight() || !mask.IsPainted(column - 1, row) ||
           !mask.IsPainted(column + 1, row) || !mask.IsPainted(column, row - 1) ||
           !mask.IsPainted(column, row + 1);
}

void tintPainted(const CMask& mask, SColor tint, CPicture& picture)
{
    ForEachRow(mask.GetHeight(), [&](std::uint32_t row) {
        for (std::uint32_t column = 0; column < mask.GetWidth(); ++column)
        {
            if (mask.IsPainted(column, row))
            {
                // In 256ths.
                const unsigned share = isBorder(mask, column, row) ? 224 : 72;
                const auto mix = [&](std::uint8_t below, std::uint8_t above) {
                    return static_cast<std::uint8_t>(
                        (below * (256U - share) + above * share + 128U) / 256U);
                };
                const SColor below = picture.GetPixel(column, row);
                picture.SetPixel(column, row,
                                 {mix(below.red, tint.red), mix(below.green, tint.green),
                                  mix(below.blue, tint.blue)});
            }
        }
    });
}

}  // namespace

CPicture CPointRenderer::Render(const std::vector<SScan>& scans, const CMask* painted) const
{
    if (painted != nullptr &&
        (painted->GetWidth() != m_view.GetWidth() || painted->GetHeight() != m_view.GetHeight()))
    {
        throw CInputError("mask", "expected " + std::to_string(m_view.GetWidth()) + " x " +
                                      std::to_string(m_view.GetHeight()) +
                                      " pixels as the view has, found " +
                                      std::to_string(painted->GetWidth()) + " x " +
                                      std::to_string(painted->GetHeight()));
    }
    const std::uint32_t samplesPerSide = chooseSamplesPerSide(m_view, scans);
    const CPictureProjection projection(m_view, samplesPerSide);
    const SScanColors scanColors = collectColors(scans);

    const CPointSplatter splatter(projection, samplesPerSide);
    CDepthBuffer points(projection.GetWidth(), projection.GetHeight());
    paintScans(projection, scans, scanColors, m_settings.hideCut, points);
    CPointSplatter::SRadii radii = splatter.FindRadii(points);
    if (m_settings.hideCut)
    {
        // No dot larger than where nothing is hidden, so that the two pictures can be compared.
        CDepthBuffer all(projection.GetWidth(), projection.GetHeight());
        paintScans(projection, scans, scanColors, false, all);
        radii.largest = splatter.FindRadii(all).largest;
    }
    const CDepthBuffer surface = splatter.Splat(points, radii);
    CPicture picture =
        CSurfaceShader(projection, surface, samplesPerSide, makeColors(m_settings, scanColors))
            .Shade();
    if (painted != nullptr)
    {
        tintPainted(*painted, m_settings.paintColor, picture);
    }
    return picture;
}

}  // namespace Application
