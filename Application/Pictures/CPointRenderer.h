#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <type_traits>
#include <vector>

#include "Application/Pictures/CPicture.h"
#include "Application/Pictures/SColor.h"
#include "Application/View/CMask.h"
#include "Application/View/CView.h"
#include "Base/Interfaces/CSurfelBitMask.h"
#include "Base/Interfaces/ISurfelCollection.h"

namespace Application
{

class CSurfaceShader;

/// Draws scans as a view shows them, without a display or a graphics library.
///
///     const CPointRenderer renderer(view);
///     const auto png = renderer.Render({{.collection = scan, .flags = flags}}).ToPng();
///
/// Each surfel is drawn as a dot just large enough to close the gaps to its neighbours in the
/// picture, so that surfaces look closed at any density while single surfels stay small. Surfaces
/// are lit along the surfels' normals; where there are none, along the surface that the depths
/// form. Only what lies between the near and the far plane is drawn.
///
/// Runs in parallel; the same input gives the same bytes for any number of threads. A finished
/// value; safe for concurrent readers.
class CPointRenderer
{
public:
    struct SScan
    {
        std::shared_ptr<const Base::ISurfelCollection> collection;
        /// From the collection's own coordinates to the world in which the view's origin is given.
        LqMatrix4Rd trafo = c_matIdentityD;
        /// A picture has at most 256 different scan colours; further ones share.
        SColor color = c_scanColors[0];
        /// Empty, or one word per surfel.
        std::span<const Base::CSurfelBitMask> flags{};
    };

    struct SSettings
    {
        /// Leaves surfels with SurfelFlagCut out instead of marking them.
        bool hideCut = false;
        /// The colours of surfels with SurfelFlagCut and, where that is not set, with
        /// SurfelFlagSmallComponent. Chosen, like the scans' colours, so that the common kinds of
        /// colour blindness tell them apart.
        SColor cutColor{222, 84, 16};
        SColor smallComponentColor{0, 98, 188};
        /// The tint and outline of painted pixels.
        SColor paintColor{92, 64, 208};
        /// The background at the upper and the lower edge.
        SColor topColor{250, 251, 252};
        SColor bottomColor{219, 224, 231};
    };

    /// Colours that tell the scans of one picture apart; the first is for a single scan.
    static constexpr SColor c_scanColors[] = {{214, 206, 193}, {216, 196, 150}, {156, 190, 214},
                                              {182, 206, 164}, {214, 178, 196}, {178, 178, 214}};

    explicit CPointRenderer(const CView& view) : CPointRenderer(view, SSettings()) {}
    CPointRenderer(const CView& view, const SSettings& settings)
        : m_view(view), m_settings(settings)
    {}

    /// The picture of \p scans, of the view's size; with \p painted, the painted pixels are tinted.
    /// @throw CInputError when \p painted has another size than the view.
    /// @throw VekoException when a collection has no positions.
    [[nodiscard]] CPicture Render(const std::vector<SScan>& scans,
                                  const CMask* painted = nullptr) const;

    /// The content of a PNG file with the pixels of Render(scans), in less time.
    /// \param afterReading is called, on any thread, when \p scans have been read and let go: it
    /// may free them while the picture is finished. What it throws leaves, too.
    /// @throw VekoException when a collection has no positions.
    [[nodiscard]] std::vector<std::byte> RenderPng(std::vector<SScan> scans,
                                                   const std::function<void()>& afterReading) const;

private:
    /// \param shade makes something of the shader of \p scans, which are not needed any more.
    template <typename Shade>
    [[nodiscard]] std::invoke_result_t<Shade, const CSurfaceShader&> draw(
        const std::vector<SScan>& scans, const Shade& shade) const;

    CView m_view;
    SSettings m_settings;
};

}  // namespace Application
