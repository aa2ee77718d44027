#include "Application/Demo/CDemoScanner.h"

#include <optional>

#include "Application/Demo/CDemoShape.h"
#include "Base/Support/ParallelFor.h"

namespace Application
{

namespace
{

/// The tangents of half the angles that the grid of rays spans.
constexpr double c_slopeX = 0.46;
constexpr double c_slopeY = 0.36;
/// A surface seen at a flatter angle, by its cosine, gives no measurement.
constexpr double c_minCosine = 0.12;
/// In millimetres, head-on and added when the surface is seen edge-on.
constexpr double c_noise = 0.10;
constexpr double c_edgeNoise = 0.25;
constexpr double c_normalNoise = 0.03;
constexpr double c_dropShare = 0.03;
constexpr double c_edgeDropShare = 0.25;
/// How flat a surface is seen where points fly off, how many do, and how far.
constexpr double c_flyingCosine = 0.35;
constexpr double c_flyingShare = 0.015;
constexpr double c_flyingReach = 25.0;

constexpr std::uint64_t c_strayKey = 0x5712A1;

LqVector3f ToFloat(const SDemoVector& vector)
{
    return {static_cast<float>(vector.x), static_cast<float>(vector.y),
            static_cast<float>(vector.z)};
}

SDemoVector MakeNormalVector(CDemoRandom& random)
{
    const double x = random.Normal();
    const double y = random.Normal();
    const double z = random.Normal();
    return {x, y, z};
}

}  // namespace

CDemoScanner::CDemoScanner(const SDemoVector& eye, const SDemoVector& target, std::uint64_t seed)
    : m_eye(eye),
      m_right(Normalized(Cross({0.0, 0.0, 1.0}, eye - target))),
      m_up(Normalized(Cross(eye - target, m_right))),
      m_back(Normalized(eye - target)),
      m_seed(seed)
{}

LqMatrix4Rd CDemoScanner::GetTrafo() const
{
    return LqMatrix4Rd(std::array<double, 16>{
        m_right.x, m_right.y, m_right.z, 0.0, m_up.x, m_up.y, m_up.z, 0.0,  //
        m_back.x, m_back.y, m_back.z, 0.0, m_eye.x, m_eye.y, m_eye.z, 1.0});
}

CDemoScanner::SPoints CDemoScanner::Scan(std::uint64_t numRays) const
{
    const double rows = std::sqrt(static_cast<double>(numRays) * (c_slopeY / c_slopeX));
    const auto numRows = static_cast<std::uint32_t>(rows) + 1;
    const std::uint64_t numColumns = numRays / numRows + 1;
    std::vector<SPoints> byRow(numRows);
    Base::ParallelFor(numRows,
                      [&](std::uint32_t row) { byRow[row] = scanRow(row, numRows, numColumns); });
    SPoints points;
    for (const SPoints& row : byRow)
    {
        points.positions.insert(points.positions.end(), row.positions.begin(), row.positions.end());
        points.normals.insert(points.normals.end(), row.normals.begin(), row.normals.end());
    }
    return points;
}

CDemoScanner::SPoints CDemoScanner::scanRow(std::uint64_t row, std::uint64_t numRows,
                                            std::uint64_t numColumns) const
{
    SPoints points;
    for (std::uint64_t column = 0; column < numColumns; ++column)
    {
        CDemoRandom random(m_seed, row * numColumns + column);
        // Rays are not quite evenly spaced.
        const double x = (static_cast<double>(column) + random.Between(0.2, 0.8)) /
                         static_cast<double>(numColumns);
        const double y =
            (static_cast<double>(row) + random.Between(0.2, 0.8)) / static_cast<double>(numRows);
        const SDemoVector toRight = m_right * (c_slopeX * (2.0 * x - 1.0));
        const SDemoVector upward = m_up * (c_slopeY * (1.0 - 2.0 * y));
        measure(Normalized(toRight + upward - m_back), random, points);
    }
    return points;
}

void CDemoScanner::measure(const SDemoVector& direction, CDemoRandom& random, SPoints& points) const
{
    const std::optional<double> length = CDemoShape::CastRay(m_eye, direction);
    if (!length)
    {
        return;
    }
    const SDemoVector normal = CDemoShape::Normal(m_eye + direction * *length);
    const double cosine = -Dot(normal, direction);
    const double edge = 1.0 - cosine;
    if (cosine < c_minCosine || random.Uniform() < c_dropShare + c_edgeDropShare * edge * edge)
    {
        return;
    }
    double measured = *length + (c_noise + c_edgeNoise * edge) * random.Normal();
    if (cosine < c_flyingCosine && random.Uniform() < c_flyingShare)
    {
        measured += c_flyingReach * random.Uniform();
    }
    const SDemoVector tilt = MakeNormalVector(random) * c_normalNoise;
    addPoint(m_eye + direction * measured, Normalized(normal + tilt), points);
}

void CDemoScanner::AddDust(const SDemoVector& centre, double radius, std::uint64_t count,
                           std::uint64_t key, SPoints& points) const
{
    const SDemoVector toCentre = centre - m_eye;
    const std::optional<double> hidden = CDemoShape::CastRay(m_eye, Normalized(toCentre));
    if (hidden && *hidden < Length(toCentre))
    {
        return;
    }
    CDemoRandom random(m_seed, key);
    for (std::uint64_t index = 0; index < count; ++index)
    {
        const SDemoVector offset = MakeNormalVector(random) * (0.5 * radius);
        const SDemoVector normal = MakeNormalVector(random) * 0.3 - Normalized(toCentre);
        addPoint(centre + offset, Normalized(normal), points);
    }
}

void CDemoScanner::AddStrays(std::uint64_t count, SPoints& points) const
{
    CDemoRandom random(m_seed, c_strayKey);
    for (std::uint64_t index = 0; index < count; ++index)
    {
        const double x = random.Between(-230.0, 230.0);
        const double y = random.Between(-230.0, 230.0);
        const double z = random.Between(10.0, 230.0);
        const SDemoVector position{x, y, z};
        if (CDemoShape::Distance(position) > 0.0)
        {
            addPoint(position, Normalized(m_eye - position), points);
        }
    }
}

void CDemoScanner::addPoint(const SDemoVector& position, const SDemoVector& normal,
                            SPoints& points) const
{
    points.positions.push_back(ToFloat(toOwn(position - m_eye)));
    points.normals.push_back(ToFloat(toOwn(normal)));
}

SDemoVector CDemoScanner::toOwn(const SDemoVector& direction) const
{
    return {Dot(direction, m_right), Dot(direction, m_up), Dot(direction, m_back)};
}

}  // namespace Application
