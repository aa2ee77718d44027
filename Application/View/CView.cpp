#include "Application/View/CView.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <utility>

#include "Application/Files/CInputError.h"
#include "Application/Files/CJsonFields.h"
#include "Application/Files/FileBytes.h"
#include "Application/View/CMask.h"
#include "Application/View/ViewLimits.h"

namespace Application
{

namespace
{

using Json = CJsonFields::Json;

constexpr const char* c_format = "veko2-view";
constexpr std::uint64_t c_version = 1;
constexpr std::uint64_t c_maxFileBytes = 1U << 20U;
constexpr std::array<const char*, 3> c_transformNames = {"transform1", "transform2", "transform3"};
constexpr std::array<std::string_view, 8> c_fieldNames = {
    "format", "version", "width", "height", "origin", "transform1", "transform2", "transform3"};

/// Below this, a pivot of a matrix whose rows and columns were scaled to 1 is rounding noise.
constexpr double c_minPivot = 1e-14;

void CheckSize(const std::filesystem::path& name, const char* field, std::uint64_t size)
{
    if (size == 0 || size > c_maxViewSide)
    {
        throw CInputError(name, std::string(field) + ": expected 1 to " +
                                    std::to_string(c_maxViewSide) + " pixels, found " +
                                    std::to_string(size));
    }
}

/// Finite as a double and, because the library works in float, also as a float.
bool IsFinite(double value)
{
    return std::isfinite(value) && std::isfinite(static_cast<float>(value));
}

void ScaleToUnit(LqMatrix4Rd& matrix, bool rows)
{
    for (std::size_t line = 0; line < 4; ++line)
    {
        double largest = 0.0;
        for (std::size_t k = 0; k < 4; ++k)
        {
            largest = std::max(largest, std::abs(rows ? matrix(line, k) : matrix(k, line)));
        }
        for (std::size_t k = 0; k < 4 && largest > 0.0; ++k)
        {
            (rows ? matrix(line, k) : matrix(k, line)) /= largest;
        }
    }
}

/// Gaussian elimination with row pivots. Rows and columns are scaled first, since a projection
/// mixes very different magnitudes (near and far distances) without being close to singular.
bool IsSingular(LqMatrix4Rd matrix)
{
    ScaleToUnit(matrix, true);
    ScaleToUnit(matrix, false);
    for (std::size_t step = 0; step < 4; ++step)
    {
        std::size_t pivot = step;
        for (std::size_t row = step + 1; row < 4; ++row)
        {
            pivot = std::abs(matrix(row, step)) > std::abs(matrix(pivot, step)) ? row : pivot;
        }
        if (!(std::abs(matrix(pivot, step)) > c_minPivot))
        {
            return true;
        }
        for (std::size_t k = 0; k < 4; ++k)
        {
            std::swap(matrix(pivot, k), matrix(step, k));
        }
        for (std::size_t row = step + 1; row < 4; ++row)
        {
            const double factor = matrix(row, step) / matrix(step, step);
            for (std::size_t k = step; k < 4; ++k)
            {
                matrix(row, k) -= factor * matrix(step, k);
            }
        }
    }
    return false;
}

/// One more than any field has, so that a surplus shows. No more, since the parser goes through all
/// of them for each object that is not kept.
constexpr std::size_t c_mostElements = 17;

/// Tells the parser which parts of a document to keep: of its known fields, as much as is needed to
/// read them or to say what they are. Whatever else a file has is dropped as it is parsed, so that
/// it takes no memory and makes no look-up longer.
class CUsedParts
{
public:
    bool operator()(int depth, Json::parse_event_t event, const Json& part)
    {
        switch (event)
        {
            case Json::parse_event_t::key:
                return depth == 1 &&
                       std::find(c_fieldNames.begin(), c_fieldNames.end(),
                                 part.get_ref<const std::string&>()) != c_fieldNames.end();
            case Json::parse_event_t::object_start:
            case Json::parse_event_t::array_start:
                return beginContainer(depth, event == Json::parse_event_t::array_start);
            case Json::parse_event_t::value:
                return isAmongFirst(depth);
            default:
                return true;
        }
    }

private:
    /// How deep a number in a field is.
    static constexpr int c_depths = 3;

    bool beginContainer(int depth, bool isArray)
    {
        const bool isKept = isAmongFirst(depth);
        if (depth + 1 < c_depths)
        {
            m_numElements[depth + 1] = 0;
            m_areElements[depth + 1] = isArray;
        }
        return isKept;
    }

    /// Whether to keep one more part of its container. For the value of a field that was decided
    /// when its name was read.
    bool isAmongFirst(int depth)
    {
        return depth < c_depths &&
               (!m_areElements[depth] || ++m_numElements[depth] <= c_mostElements);
    }

    bool m_areElements[c_depths] = {};
    std::size_t m_numElements[c_depths] = {};
};

std::uint32_t ReadSize(const CJsonFields& fields, const std::filesystem::path& name,
                       const char* field)
{
    const std::uint64_t size = fields.GetCount(field);
    CheckSize(name, field, size);
    return static_cast<std::uint32_t>(size);
}

void CheckHeader(const CJsonFields& fields)
{
    const Json& format = fields.Get("format");
    if (format != c_format)
    {
        fields.Fail("format", std::string("\"") + c_format + "\"", format);
    }
    const Json& version = fields.Get("version");
    if (version != c_version)
    {
        fields.Fail("version", std::to_string(c_version), version);
    }
}

}  // namespace

CView::CView(std::uint32_t width, std::uint32_t height, const Origin& origin,
             const Transforms& transforms, const std::filesystem::path& name)
    : m_width(width), m_height(height), m_origin(origin), m_transforms(transforms)
{
    CheckSize(name, "width", width);
    CheckSize(name, "height", height);
    for (const double coordinate : origin)
    {
        if (!std::isfinite(coordinate))
        {
            throw CInputError(name, "origin: expected finite numbers");
        }
    }
    for (std::size_t index = 0; index < transforms.size(); ++index)
    {
        const double* const elements = transforms[index].data();
        if (!std::all_of(elements, elements + 16, IsFinite))
        {
            throw CInputError(name, std::string(c_transformNames[index]) +
                                        ": expected numbers that are finite as floats");
        }
        if (IsSingular(transforms[index]))
        {
            throw CInputError(name, std::string(c_transformNames[index]) +
                                        ": expected a matrix with an inverse, found a singular "
                                        "one");
        }
    }
}

CView CView::Read(const std::filesystem::path& file)
{
    return FromJson(ReadFileBytes(file, c_maxFileBytes), file);
}

CView CView::FromJson(std::string_view json, const std::filesystem::path& name)
{
    const Json document = CJsonFields::Parse(json, name, CUsedParts());
    const CJsonFields fields(document, name, "");
    CheckHeader(fields);
    const std::uint32_t width = ReadSize(fields, name, "width");
    const std::uint32_t height = ReadSize(fields, name, "height");
    Origin origin{};
    fields.GetNumbers("origin", origin);
    Transforms transforms;
    for (std::size_t index = 0; index < transforms.size(); ++index)
    {
        fields.GetNumbers(c_transformNames[index], std::span<double>(transforms[index].data(), 16));
    }
    return CView(width, height, origin, transforms, name);
}

std::string CView::ToJson() const
{
    Json document;
    document["format"] = c_format;
    document["version"] = c_version;
    document["width"] = m_width;
    document["height"] = m_height;
    document["origin"] = m_origin;
    for (std::size_t index = 0; index < m_transforms.size(); ++index)
    {
        const double* const elements = m_transforms[index].data();
        document[c_transformNames[index]] = std::vector<double>(elements, elements + 16);
    }
    return document.dump(2) + "\n";
}

LqMatrix4Rd CView::MakeRelativeTrafo(const LqMatrix4Rd& trafo) const
{
    LqMatrix4Rd toOrigin = c_matIdentityD;
    for (std::size_t axis = 0; axis < 3; ++axis)
    {
        toOrigin(3, axis) = -m_origin[axis];
    }
    return trafo * toOrigin;
}

std::shared_ptr<const Base::SRegionSelectionInfo> CView::MakeSelection(CMask mask) const
{
    if (mask.GetWidth() != m_width || mask.GetHeight() != m_height)
    {
        throw CInputError("mask", "expected " + std::to_string(m_width) + " x " +
                                      std::to_string(m_height) + " pixels as the view has, found " +
                                      std::to_string(mask.GetWidth()) + " x " +
                                      std::to_string(mask.GetHeight()));
    }
    return Base::MakeRegionSelection(LqMatrix4Rf(m_transforms[0]), LqMatrix4Rf(m_transforms[1]),
                                     LqMatrix4Rf(m_transforms[2]), std::move(mask).GetBytes(),
                                     m_width, m_height);
}

}  // namespace Application
