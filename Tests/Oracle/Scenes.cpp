#include "Tests/Oracle/Scenes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "DataLayer/PointCloud/CSurfelCollectionMinimal.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"
#include "Tests/Support/CMockSurfelCollection.h"

namespace Oracle
{
namespace
{

/// How a collection keeps its positions.
enum ELayout : std::uint8_t
{
    Packed = 0,
    Padded = 1,
    Unaligned = 2,
    Minimal = 3,
    Mock = 4,
    Shared = 5,  ///< all surfels have the first one's position
};

/// The inverse of a matrix by elimination; numbers of any kind when it has none.
[[nodiscard]] LqMatrix4Rd Inverse(LqMatrix4Rd matrix)
{
    LqMatrix4Rd inverse = c_matIdentityD;
    for (std::size_t column = 0; column < 4; ++column)
    {
        std::size_t pivot = column;
        for (std::size_t row = column + 1; row < 4; ++row)
        {
            if (std::abs(matrix(row, column)) > std::abs(matrix(pivot, column)))
            {
                pivot = row;
            }
        }
        const double divisor = matrix(pivot, column);
        for (std::size_t k = 0; k < 4; ++k)
        {
            std::swap(matrix(pivot, k), matrix(column, k));
            std::swap(inverse(pivot, k), inverse(column, k));
            matrix(column, k) /= divisor;
            inverse(column, k) /= divisor;
        }
        for (std::size_t row = 0; row < 4; ++row)
        {
            const double factor = matrix(row, column);
            for (std::size_t k = 0; row != column && k < 4; ++k)
            {
                matrix(row, k) -= factor * matrix(column, k);
                inverse(row, k) -= factor * inverse(column, k);
            }
        }
    }
    return inverse;
}

/// A pixel coordinate of a view that is \p size pixels long.
[[nodiscard]] double TargetPixel(CCaseRandom& random, std::uint32_t size)
{
    const float extent = static_cast<float>(size);
    switch (random.Below(8))
    {
        case 0:
            return static_cast<double>(random.Nudged(random.OneOf({0.0F, 1.0F, -1.0F})));
        case 1:
            return static_cast<double>(random.Nudged(extent - random.OneOf({0.0F, 1.0F})));
        case 2:
            return static_cast<double>(
                random.Nudged(std::floor(random.Between(0.0F, extent + 1.0F))));
        case 3:
            if (random.OneIn(8))
            {
                return static_cast<double>(
                    random.Nudged(random.OneOf({0x1p31F, -0x1p31F, 0x1p32F, -0x1p32F, 0x1p30F})));
            }
            [[fallthrough]];
        default:
            return static_cast<double>(random.Between(-0.1F * extent, 1.1F * extent));
    }
}

[[nodiscard]] std::uint32_t MaskSize(CCaseRandom& random)
{
    return random.OneIn(16) ? random.Below(4) : 1 + random.Below(random.OneIn(4) ? 70 : 24);
}

}  // namespace

void DeclareSelections(CNamedArrays& cases)
{
    cases.Declare<float>("selection_transforms", {3, 16});
    cases.Declare<std::uint32_t>("selection_width");
    cases.Declare<std::uint32_t>("selection_height");
    cases.DeclareLists<std::uint8_t>("mask_bytes", "mask_offsets");
}

void AppendSelection(CCaseRandom& random, CNamedArrays& cases)
{
    // The view has its effect in one to three of the transforms.
    const std::uint32_t first = random.Below(3);
    for (std::uint32_t transform = 0; transform < 3; ++transform)
    {
        const bool acts = transform == first || random.OneIn(3);
        AppendMatrix(cases, "selection_transforms",
                     LqMatrix4Rf(acts ? random.Transform() : c_matIdentityD));
    }

    std::uint32_t width = MaskSize(random);
    std::uint32_t height = MaskSize(random);
    if (random.OneIn(1000))
    {
        width = 640;
        height = 480;
    }
    if (random.OneIn(200))
    {
        // A view of any width has no pixels when it has no rows.
        width = random.OneOf({0xFFFFFFFFU, 0x80000000U, 0x7FFFFFFFU, 0x7FFFFF80U, 0x01000001U});
        height = 0;
    }
    bool isHuge = false;
    if (random.OneIn(100000))
    {
        // Sizes that no float holds.
        width = random.OneOf({0x00FFFFFFU, 0x01000001U, 0x01000003U, 0x02000003U});
        height = 2;
        isHuge = true;
    }
    cases.Append<std::uint32_t>("selection_width", width);
    cases.Append<std::uint32_t>("selection_height", height);

    std::vector<std::uint8_t> mask(std::size_t{width} * height);
    const std::uint32_t style = isHuge ? 0 : random.Below(6);
    const std::uint32_t x1 = random.Below(width + 1);
    const std::uint32_t x2 = random.Below(width + 1);
    const std::uint32_t y1 = random.Below(height + 1);
    const std::uint32_t y2 = random.Below(height + 1);
    for (std::size_t index = 0; index < mask.size(); ++index)
    {
        const std::size_t x = index % width;
        const std::size_t y = index / width;
        const bool isInRectangle = x >= std::min(x1, x2) && x < std::max(x1, x2) &&
                                   y >= std::min(y1, y2) && y < std::max(y1, y2);
        switch (style)
        {
            case 1:
            case 2:
                mask[index] = isInRectangle ? 1 : random.OneOf<std::uint8_t>({0, 2, 255});
                break;
            case 3:
                mask[index] = random.OneIn(40) ? 1 : 0;
                break;
            default:
                mask[index] = random.OneOf<std::uint8_t>({0, 1, 1, 1, 2, 3, 129, 255});
                break;
        }
    }
    cases.AppendList<std::uint8_t>("mask_bytes", "mask_offsets", mask);
}

std::shared_ptr<const Base::SRegionSelectionInfo> MakeSelection(const CNamedArrays& cases,
                                                                std::size_t index)
{
    const auto bytes = cases.GetList<std::uint8_t>("mask_bytes", "mask_offsets", index);
    return Base::MakeRegionSelection(GetFloatMatrix(cases, "selection_transforms", 3 * index),
                                     GetFloatMatrix(cases, "selection_transforms", 3 * index + 1),
                                     GetFloatMatrix(cases, "selection_transforms", 3 * index + 2),
                                     {bytes.begin(), bytes.end()},
                                     cases.Get<std::uint32_t>("selection_width")[index],
                                     cases.Get<std::uint32_t>("selection_height")[index]);
}

void DeclareCollections(CNamedArrays& cases)
{
    cases.DeclareLists<float>("positions", "position_offsets", {3});
    cases.Declare<std::uint8_t>("collection_layout");
    cases.Declare<std::uint8_t>("collection_has_positions");
    cases.Declare<std::uint8_t>("collection_has_box");
    cases.Declare<float>("collection_box", {6});
}

std::uint32_t SurfelCount(CCaseRandom& random)
{
    if (random.OneIn(100000))
    {
        // More than stay in the caches.
        return 530000 + random.Below(30000);
    }
    if (random.OneIn(4000))
    {
        return 20000 + random.Below(60000);
    }
    if (random.OneIn(200))
    {
        return 500 + random.Below(4000);
    }
    return random.OneIn(12) ? random.Below(4) : random.Below(180);
}

std::vector<LqVector3f> ScreenPoints(CCaseRandom& random, const CNamedArrays& cases,
                                     std::size_t selection, const LqMatrix4Rd& trafo,
                                     std::uint32_t count, EOrder order)
{
    LqMatrix4Rd combined = trafo;
    for (std::size_t transform = 0; transform < 3; ++transform)
    {
        LqMatrix4Rd wide;
        const LqMatrix4Rf view =
            GetFloatMatrix(cases, "selection_transforms", 3 * selection + transform);
        std::copy(view.data(), view.data() + 16, wide.data());
        combined = combined * wide;
    }
    const LqMatrix4Rd back = Inverse(combined);
    const std::uint32_t width = cases.Get<std::uint32_t>("selection_width")[selection];
    const std::uint32_t height = cases.Get<std::uint32_t>("selection_height")[selection];

    const bool isOrdered = order == EOrder::AsScan || random.OneIn(3);
    const std::uint32_t directedInterval = order == EOrder::AsScan ? 2000 : 4;
    std::vector<LqVector3f> points;
    points.reserve(count);
    for (std::uint32_t index = 0; index < count; ++index)
    {
        double px = TargetPixel(random, width);
        double py = TargetPixel(random, height);
        if (isOrdered)
        {
            const double along = static_cast<double>(index) / count;
            px = (1.4 * along - 0.2) * width;
            py = (0.5 + 0.6 * std::sin(12.0 * along)) * height;
        }
        const std::array<double, 4> device = {2.0 * px / width - 1.0, 1.0 - 2.0 * py / height,
                                              static_cast<double>(random.Between(0.0F, 1.0F)), 1.0};
        std::array<double, 4> source{};
        for (std::size_t row = 0; row < 4; ++row)
        {
            for (std::size_t column = 0; column < 4; ++column)
            {
                source[column] += device[row] * back(row, column);
            }
        }
        // Which NaN an operation makes is the compiler's choice.
        const auto coordinate = [&](std::size_t axis) {
            const auto value = static_cast<float>(source[axis] / source[3]);
            return std::isnan(value) ? std::numeric_limits<float>::quiet_NaN() : value;
        };
        LqVector3f point{coordinate(0), coordinate(1), coordinate(2)};
        if (random.IsDirected() && random.OneIn(directedInterval))
        {
            point = random.Point(-2.0F, 2.0F);
        }
        else if (!isOrdered && random.OneIn(2))
        {
            point = {random.Nudged(point.x), random.Nudged(point.y), point.z};
        }
        points.push_back(point);
    }
    return points;
}

std::uint32_t AppendCollection(CCaseRandom& random, CNamedArrays& cases,
                               std::vector<LqVector3f> points, bool mayLackPositions, EOrder order)
{
    // Only the library's own collections know of runs; the mock comes after them.
    const std::uint32_t numLayouts =
        static_cast<std::uint32_t>(Mock) + (order == EOrder::Any ? 1 : 0);
    auto layout = static_cast<std::uint8_t>(random.Below(numLayouts));
    const bool hasPositions = !(mayLackPositions && random.OneIn(8));
    // Mostly a box that any view sees, so that the points themselves are looked at.
    const bool hasBox = random.OneIn(2) && order == EOrder::Any;
    std::array<float, 6> box{};
    if (hasBox)
    {
        const float extent = random.OneOf({0.5F, 1.0F, 2.0F, 8.0F, 1e3F, 1e6F});
        box = {-extent, -extent, -extent, extent, extent, extent};
        for (float& side : box)
        {
            side = random.IsDirected() && random.OneIn(16) ? random.DirectedFloat() : side;
        }
    }
    if (hasBox || !hasPositions)
    {
        layout = Mock;
    }
    else if (random.OneIn(50) && !points.empty() && order == EOrder::Any)
    {
        layout = Shared;
        std::fill(points.begin(), points.end(), points.front());
    }
    for (const LqVector3f& point : points)
    {
        AppendPoint(cases, "positions", point);
    }
    cases.EndList<float>("positions", "position_offsets");
    cases.Append<std::uint8_t>("collection_layout", layout);
    cases.Append<std::uint8_t>("collection_has_positions", hasPositions ? 1 : 0);
    cases.Append<std::uint8_t>("collection_has_box", hasBox ? 1 : 0);
    cases.Append<float>("collection_box", std::span<const float>(box));
    return static_cast<std::uint32_t>(cases.GetCount("collection_layout") - 1);
}

std::shared_ptr<const Base::ISurfelCollection> MakeCollection(const CNamedArrays& cases,
                                                              std::size_t index)
{
    std::vector<LqVector3f> points = GetPoints(cases, "positions", "position_offsets", index);
    const std::uint8_t layout = cases.Get<std::uint8_t>("collection_layout")[index];
    if (layout == Minimal)
    {
        auto collection = std::make_shared<DataLayer::CSurfelCollectionMinimal>();
        for (const LqVector3f& point : points)
        {
            collection->AddSurfelNoReset({point, DataLayer::c_invalidQNormal});
        }
        collection->ForceUpdate();
        return collection;
    }
    if (layout == Mock)
    {
        auto collection = std::make_shared<TestSupport::CMockSurfelCollection>(points);
        if (cases.Get<std::uint8_t>("collection_has_box")[index] != 0)
        {
            const auto box = cases.Get<float>("collection_box").subspan(6 * index, 6);
            Geometry::CBox3D& bounds = collection->GetSupport()->boundingBox.box;
            bounds.min = {box[0], box[1], box[2]};
            bounds.max = {box[3], box[4], box[5]};
        }
        if (cases.Get<std::uint8_t>("collection_has_positions")[index] == 0)
        {
            collection->SetPositionAccess(nullptr);
        }
        return collection;
    }
    const std::size_t stride = layout == Packed ? 12U : layout == Padded ? 20U : 13U;
    const auto buffer = std::make_shared<std::vector<std::byte>>(stride * points.size() + 1);
    std::byte* const first = buffer->data() + (layout == Unaligned ? 1 : 0);
    for (std::size_t point = 0; point < points.size(); ++point)
    {
        std::memcpy(first + point * stride, &points[point], sizeof(LqVector3f));
    }
    return std::make_shared<DataLayer::CSurfelCollectionView>(buffer, points.size(), first,
                                                              layout == Shared ? 0U : stride);
}

void DeclareWords(CNamedArrays& cases)
{
    cases.DeclareLists<std::uint16_t>("words", "word_offsets");
}

std::uint32_t AppendWords(CCaseRandom& random, CNamedArrays& cases, std::size_t count)
{
    std::size_t size = random.OneIn(3) ? 0 : count;
    if (random.OneIn(40))
    {
        size = random.Below(static_cast<std::uint32_t>(count) + 8);
    }
    const std::uint32_t style = random.Below(4);
    for (std::size_t index = 0; index < size; ++index)
    {
        const auto any = static_cast<std::uint16_t>(random.Bits());
        const std::uint16_t mostlyZero = random.OneIn(20) ? any : std::uint16_t{0};
        cases.Append<std::uint16_t>("words", style == 0   ? any
                                             : style == 1 ? mostlyZero
                                             : style == 2 ? any & 0xFEF8U
                                                          : any & 0x011FU);
    }
    cases.EndList<std::uint16_t>("words", "word_offsets");
    return static_cast<std::uint32_t>(cases.GetCount("word_offsets") - 2);
}

void AppendMatrix(CNamedArrays& cases, const std::string& name, const LqMatrix4Rd& matrix)
{
    cases.Append<double>(name, std::span<const double>(matrix.data(), 16));
}

void AppendMatrix(CNamedArrays& cases, const std::string& name, const LqMatrix4Rf& matrix)
{
    cases.Append<float>(name, std::span<const float>(matrix.data(), 16));
}

void AppendPoint(CNamedArrays& cases, const std::string& name, const LqVector3f& point)
{
    cases.Append<float>(name, std::span<const float>(&point.x, 3));
}

LqMatrix4Rd GetMatrix(const CNamedArrays& cases, const std::string& name, std::size_t index)
{
    LqMatrix4Rd matrix;
    const auto elements = cases.Get<double>(name).subspan(16 * index, 16);
    std::copy(elements.begin(), elements.end(), matrix.data());
    return matrix;
}

LqMatrix4Rf GetFloatMatrix(const CNamedArrays& cases, const std::string& name, std::size_t index)
{
    LqMatrix4Rf matrix;
    const auto elements = cases.Get<float>(name).subspan(16 * index, 16);
    std::copy(elements.begin(), elements.end(), matrix.data());
    return matrix;
}

std::vector<LqVector3f> GetPoints(const CNamedArrays& cases, const std::string& name,
                                  const std::string& offsets, std::size_t index)
{
    const auto values = cases.GetList<float>(name, offsets, index);
    std::vector<LqVector3f> points(values.size() / 3);
    if (!points.empty())
    {
        std::memcpy(static_cast<void*>(points.data()), values.data(), values.size_bytes());
    }
    return points;
}

}  // namespace Oracle
