#include "Application/Pictures/CPointRenderer.h"

#include <algorithm>
#include <optional>
#include <string>
#include <variant>

#include "Application/Files/CInputError.h"
#include "Application/Pictures/CDepthBuffer.h"
#include "Application/Pictures/CIndexedPicture.h"
#include "Application/Pictures/CPictureProjection.h"
#include "Application/Pictures/CPointSplatter.h"
#include "Application/Pictures/CScanPainter.h"
#include "Application/Pictures/CSurfaceShader.h"
#include "Application/Pictures/RowBands.h"

namespace Application
{

namespace
{

using EMark = CScanPainter::EMark;

constexpr std::uint32_t c_numScanColors = CScanPainter::c_numScanColors;
/// Pictures and scans up to these sizes are drawn with four samples for each pixel, which makes
/// edges smooth. Larger ones would take four times as long and show little of it.
constexpr std::uint64_t c_maxSmoothedPixels = std::uint64_t{1} << 22U;
constexpr std::uint64_t c_maxSmoothedSurfels = std::uint64_t{1} << 22U;

/// The different colours of the scans, and which of them each scan has.
struct SScanColors
{
    std::vector<SColor> colors;
    std::vector<std::uint32_t> indices;
};

SScanColors CollectColors(const std::vector<CPointRenderer::SScan>& scans)
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

CScanPainter::SPainting PaintScans(const CPictureProjection& projection,
                                   const std::vector<CPointRenderer::SScan>& scans,
                                   const SScanColors& colors, std::uint32_t border, bool hideCut)
{
    std::vector<CScanPainter> painters;
    for (std::size_t scan = 0; scan < scans.size(); ++scan)
    {
        if (scans[scan].collection->GetCount() != 0)
        {
            painters.emplace_back(projection, *scans[scan].collection, scans[scan].trafo,
                                  scans[scan].flags, colors.indices[scan], hideCut);
        }
    }
    return CScanPainter::PaintAll(painters, projection, border);
}

std::uint32_t ChooseSamplesPerSide(const CView& view,
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

/// The samples of \p scans, widened to surfaces.
CDepthBuffer DrawSurfaces(const CPictureProjection& projection, std::uint32_t samplesPerSide,
                          const std::vector<CPointRenderer::SScan>& scans, bool hideCut)
{
    const SScanColors colors = CollectColors(scans);
    const std::uint32_t reach = CPointSplatter::FindReach(samplesPerSide);
    const CPointSplatter splatter(projection, samplesPerSide);
    std::optional<std::uint8_t> largest;
    if (hideCut)
    {
        // No dot larger than where nothing is hidden, so that the two pictures can be compared.
        // First, so that not both pictures' samples are held at once.
        largest =
            splatter.FindRadii(PaintScans(projection, scans, colors, reach, false).samples).largest;
    }
    CScanPainter::SPainting painting = PaintScans(projection, scans, colors, reach, hideCut);
    CPointSplatter::SRadii radii = splatter.FindRadii(painting.samples);
    radii.largest = largest.value_or(radii.largest);
    CDepthBuffer surfaces =
        painting.spare.has_value()
            ? *std::move(painting.spare)
            : CDepthBuffer::MakeUncleared(projection.GetWidth(), projection.GetHeight());
    splatter.Splat(painting.samples, radii, surfaces);
    return surfaces;
}

CSurfaceShader::SColors MakeColors(const CPointRenderer::SSettings& settings,
                                   const std::vector<CPointRenderer::SScan>& scans)
{
    CSurfaceShader::SColors colors{CollectColors(scans).colors, settings.topColor,
                                   settings.bottomColor};
    if (std::all_of(scans.begin(), scans.end(),
                    [](const CPointRenderer::SScan& scan) { return scan.flags.empty(); }))
    {
        return colors;
    }
    colors.looks.resize(CDepthBuffer::c_numLooks);
    const auto fillMark = [&](EMark mark, SColor color) {
        std::fill_n(colors.looks.begin() + static_cast<std::uint32_t>(mark) * c_numScanColors,
                    c_numScanColors, color);
    };
    fillMark(EMark::SmallComponent, settings.smallComponentColor);
    fillMark(EMark::Cut, settings.cutColor);
    return colors;
}

bool IsBorder(const CMask& mask, std::uint32_t column, std::uint32_t row)
{
    return column == 0 || row == 0 || column + 1 == mask.GetWidth() ||
           row + 1 == mask.GetHeight() || !mask.IsPainted(column - 1, row) ||
           !mask.IsPainted(column + 1, row) || !mask.IsPainted(column, row - 1) ||
           !mask.IsPainted(column, row + 1);
}

void TintPainted(const CMask& mask, SColor tint, CPicture& picture)
{
    ForEachRow(mask.GetHeight(), [&](std::uint32_t row) {
        for (std::uint32_t column = 0; column < mask.GetWidth(); ++column)
        {
            if (mask.IsPainted(column, row))
            {
                // In 256ths.
                const unsigned share = IsBorder(mask, column, row) ? 224 : 72;
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
    CPicture picture = draw(scans, [](const CSurfaceShader& shader) { return shader.Shade(); });
    if (painted != nullptr)
    {
        TintPainted(*painted, m_settings.paintColor, picture);
    }
    return picture;
}

std::vector<std::byte> CPointRenderer::RenderPng(std::vector<SScan> scans,
                                                 const std::function<void()>& afterReading) const
{
    // It takes the system a while to let go of large files that were mapped.
    const auto whileShading = [&] {
        scans.clear();
        afterReading();
    };
    using Picture = std::variant<CPicture, CIndexedPicture>;
    const Picture drawn = draw(scans, [&](const CSurfaceShader& shader) {
        return shader.IsIndexed() ? Picture(shader.ShadeIndexed(whileShading))
                                  : Picture(shader.Shade(whileShading));
    });
    return std::visit([](const auto& picture) { return picture.ToPng(); }, drawn);
}

template <typename Shade>
std::invoke_result_t<Shade, const CSurfaceShader&> CPointRenderer::draw(
    const std::vector<SScan>& scans, const Shade& shade) const
{
    const std::uint32_t samplesPerSide = ChooseSamplesPerSide(m_view, scans);
    const CPictureProjection projection(m_view, samplesPerSide);
    const CDepthBuffer surfaces =
        DrawSurfaces(projection, samplesPerSide, scans, m_settings.hideCut);
    return shade(
        CSurfaceShader(projection, surfaces, samplesPerSide, MakeColors(m_settings, scans)));
}

}  // namespace Application
