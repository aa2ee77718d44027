#include "Base/Interfaces/SRegionSelectionInfo.h"
#include "Base/Math/PointTransform.h"
#include "DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMask.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <vector>

namespace
{

/// Takes values from the front of the input; zeros behind its end.
class CBytes
{
public:
    CBytes(const std::uint8_t* data, std::size_t size) : m_data(data), m_size(size) {}

    template <typename T>
    [[nodiscard]] T Take()
    {
        T value{};
        const std::size_t size = sizeof value < m_size ? sizeof value : m_size;
        if (size > 0)
        {
            std::memcpy(&value, m_data, size);
        }
        m_data += size;
        m_size -= size;
        return value;
    }

    [[nodiscard]] std::size_t GetSize() const { return m_size; }

private:
    const std::uint8_t* m_data;
    std::size_t m_size;
};

template <typename Matrix, typename Element>
Matrix TakeMatrix(CBytes& bytes)
{
    Matrix matrix;
    for (std::size_t index = 0; index < 16; ++index)
    {
        matrix.data()[index] = bytes.Take<Element>();
    }
    return matrix;
}

std::int32_t Truncate(float value)
{
    return value >= -2147483648.0F && value < 2147483648.0F
               ? static_cast<std::int32_t>(value)
               : std::numeric_limits<std::int32_t>::min();
}

bool IsUnderPaint(const LqMatrix4Rf& matrix, const Base::SRegionSelectionInfo& selection,
                  const LqVector3f& point)
{
    const LqVector3f device = TransformPoint(matrix, point);
    const auto width = static_cast<float>(selection.maskWidth);
    const auto height = static_cast<float>(selection.maskHeight);
    const std::int32_t row = Truncate(((1.0F - device.y) * height) * 0.5F);
    const std::int32_t column = Truncate(((device.x + 1.0F) * width) * 0.5F);
    return row > 0 && row < Truncate(height) && column > 0 && column < Truncate(width) &&
           selection.maskData[static_cast<std::uint32_t>(row) * selection.maskWidth +
                              static_cast<std::uint32_t>(column)] == 1;
}

}  // namespace

/// A selection and a cloud of any bits, cut by the library and by the definition.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    CBytes bytes(data, size);
    const std::uint32_t width = bytes.Take<std::uint8_t>() % 17;
    const std::uint32_t height = bytes.Take<std::uint8_t>() % 17;
    const auto paint = bytes.Take<std::uint32_t>();
    std::vector<std::uint8_t> mask(std::size_t{width} * height);
    for (std::size_t index = 0; index < mask.size(); ++index)
    {
        mask[index] = static_cast<std::uint8_t>((paint >> (index % 32)) & 3U);
    }
    const auto transform1 = TakeMatrix<LqMatrix4Rf, float>(bytes);
    const auto transform2 = TakeMatrix<LqMatrix4Rf, float>(bytes);
    const auto trafo = TakeMatrix<LqMatrix4Rd, double>(bytes);
    const LqMatrix4Rf identity(c_matIdentityD);
    const auto selection =
        Base::MakeRegionSelection(transform1, transform2, identity, mask, width, height);
    std::vector<LqVector3f> points;
    while (bytes.GetSize() > 0)
    {
        points.push_back({bytes.Take<float>(), bytes.Take<float>(), bytes.Take<float>()});
    }
    const auto collection = std::make_shared<const DataLayer::CSurfelCollectionView>(
        nullptr, points.size(), points.data(), sizeof(LqVector3f));

    const DataLayer::CCutPointCloudWithPixelMask cutter(selection);
    DataLayer::CCutPointCloudWithPixelMask::Results results;
    cutter.Compute({{collection, {}, trafo}}, results);

    const LqMatrix4Rf matrix = LqMatrix4Rf(trafo) * ((transform1 * transform2) * identity);
    const bool isTested = cutter.IntersectsRegion(trafo, *collection);
    for (std::size_t index = 0; index < points.size(); ++index)
    {
        const bool isExpected = isTested && IsUnderPaint(matrix, *selection, points[index]);
        if ((results[0].second[index].bits != 0) != isExpected)
        {
            std::abort();
        }
    }
    return 0;
}
