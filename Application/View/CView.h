#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "Base/Interfaces/SRegionSelectionInfo.h"
#include "Base/Math/LqMatrix4R.h"

namespace Application
{

class CMask;

/// What the screen showed when a region was painted: its size in pixels and the three transforms
/// that take a point from the world to clip coordinates.
///
///     const CView view = CView::Read("front.view.json");
///     const auto selection = view.MakeSelection(mask);
///     input.trafo = view.MakeRelativeTrafo(scanToWorld);
///
/// The transforms do not start in world coordinates but relative to an origin near what is looked
/// at. The library computes in float, which has no digits left for the details of a scan whose
/// coordinates are in the millions; so the subtraction of the origin is done in double, as part of
/// each entity's transform (MakeRelativeTrafo()), before anything becomes float.
///
/// Conventions as in LqMatrix4R.h: row vectors, transform 0 acts first. Device x and y are -1 to 1
/// from left to right and from bottom to top, device z is 0 to 1 from the near to the far plane.
/// A finished value; safe for concurrent readers.
class CView
{
public:
    using Origin = std::array<double, 3>;
    using Transforms = std::array<LqMatrix4Rd, 3>;

    /// @throw CInputError, with \p name in place of the file, when a size is 0 or above
    /// c_maxViewSide, a number is not finite (also once it is rounded to float), or a transform is
    /// singular.
    CView(std::uint32_t width, std::uint32_t height, const Origin& origin,
          const Transforms& transforms, const std::filesystem::path& name = "view");

    /// Reads what ToJson() wrote. Fields it does not know are ignored.
    /// @throw CInputError naming the file and the field, what was expected and what was found.
    [[nodiscard]] static CView Read(const std::filesystem::path& file);

    /// Reads \p json; \p name stands for the file in errors.
    /// @throw CInputError as Read().
    [[nodiscard]] static CView FromJson(std::string_view json, const std::filesystem::path& name);

    /// The view as a JSON document that ends with a line feed. Reading it back gives exactly the
    /// same numbers.
    [[nodiscard]] std::string ToJson() const;

    [[nodiscard]] std::uint32_t GetWidth() const { return m_width; }
    [[nodiscard]] std::uint32_t GetHeight() const { return m_height; }
    [[nodiscard]] const Origin& GetOrigin() const { return m_origin; }
    [[nodiscard]] const Transforms& GetTransforms() const { return m_transforms; }

    /// \p trafo (own coordinates to world) x translation by the negated origin, in double: what a
    /// cut or a picture with this view takes as the entity's transform.
    [[nodiscard]] LqMatrix4Rd MakeRelativeTrafo(const LqMatrix4Rd& trafo) const;

    /// The region selection of a mask painted in this view. The mask's bytes become the selection's
    /// own, so move in one that is not needed any more.
    /// @throw CInputError when the mask has another size than the view.
    [[nodiscard]] std::shared_ptr<const Base::SRegionSelectionInfo> MakeSelection(CMask mask) const;

    friend bool operator==(const CView&, const CView&) = default;

private:
    std::uint32_t m_width;
    std::uint32_t m_height;
    Origin m_origin;
    Transforms m_transforms;
};

}  // namespace Application
