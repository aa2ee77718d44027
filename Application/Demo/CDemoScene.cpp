#include "Application/Demo/CDemoScene.h"

#include <array>
#include <string>
#include <utility>

#include "Application/Demo/CDemoRandom.h"
#include "Application/Demo/CDemoScanner.h"
#include "Application/Demo/CDemoShape.h"
#include "Application/Files/CInputError.h"

namespace Application
{

namespace
{

/// The share of a station's rays that give a point.
constexpr double c_measuredShare = 0.43;
constexpr double c_stationDistance = 520.0;
constexpr SDemoVector c_target{0.0, 0.0, 42.0};
constexpr std::uint32_t c_numSpecks = 16;
/// The points of a speck and the stray ones, as shares of a station's points.
constexpr double c_minSpeckShare = 0.0006;
constexpr double c_maxSpeckShare = 0.004;
constexpr double c_strayShare = 0.0008;
constexpr std::uint64_t c_speckKey = 0xD057;

/// Sixths of a full turn, which need no angle functions.
constexpr double c_sine60 = 0.8660254037844386;
constexpr std::array<std::array<double, 2>, CDemoScene::c_numStations> c_directions = {
    {{0.5, -c_sine60},
     {1.0, 0.0},
     {0.5, c_sine60},
     {-0.5, c_sine60},
     {-1.0, 0.0},
     {-0.5, -c_sine60}}};
constexpr std::array<double, 2> c_heights = {330.0, 170.0};

struct SSpeck
{
    SDemoVector centre;
    double radius;
    double share;
    /// The first of the two neighbouring stations that see it.
    std::uint32_t station;
};

std::vector<SSpeck> StrewSpecks(std::uint64_t seed)
{
    CDemoRandom random(seed, c_speckKey);
    std::vector<SSpeck> specks;
    while (specks.size() < c_numSpecks)
    {
        const double x = random.Between(-190.0, 190.0);
        const double y = random.Between(-190.0, 190.0);
        const double z = random.Between(20.0, 200.0);
        const double radius = random.Between(2.0, 6.0);
        const double share = random.Between(c_minSpeckShare, c_maxSpeckShare);
        const auto station =
            static_cast<std::uint32_t>(random.Uniform() * CDemoScene::c_numStations);
        // In the air, well away from everything.
        if (CDemoShape::Distance({x, y, z}) > 4.0 * radius)
        {
            specks.push_back({{x, y, z}, radius, share, station});
        }
    }
    return specks;
}

}  // namespace

CDemoScene::CDemoScene(const SSettings& settings) : m_settings(settings)
{
    if (settings.numPoints < c_minPoints || settings.numPoints > c_maxPoints)
    {
        throw CInputError("demo", "expected " + std::to_string(c_minPoints) + " to " +
                                      std::to_string(c_maxPoints) + " points, found " +
                                      std::to_string(settings.numPoints));
    }
}

std::string CDemoScene::GetStationName(std::uint32_t station)
{
    return "station" + std::to_string(station + 1);
}

std::vector<CDemoScene::SScan> CDemoScene::Generate() const
{
    const double numPoints = static_cast<double>(m_settings.numPoints) / c_numStations;
    const std::vector<SSpeck> specks = StrewSpecks(m_settings.seed);
    std::vector<SScan> scans;
    for (std::uint32_t station = 0; station < c_numStations; ++station)
    {
        const SDemoVector eye{c_stationDistance * c_directions[station][0],
                              c_stationDistance * c_directions[station][1],
                              c_heights[station % c_heights.size()]};
        const CDemoScanner scanner(eye, c_target, m_settings.seed * c_numStations + station);
        CDemoScanner::SPoints points =
            scanner.Scan(static_cast<std::uint64_t>(numPoints / c_measuredShare));
        for (std::uint32_t index = 0; index < c_numSpecks; ++index)
        {
            const SSpeck& speck = specks[index];
            if (speck.station == station || (speck.station + 1) % c_numStations == station)
            {
                scanner.AddDust(speck.centre, speck.radius,
                                static_cast<std::uint64_t>(speck.share * numPoints) + 1,
                                c_speckKey + index, points);
            }
        }
        scanner.AddStrays(static_cast<std::uint64_t>(c_strayShare * numPoints), points);
        scans.push_back({GetStationName(station), scanner.GetTrafo(), std::move(points.positions),
                         std::move(points.normals)});
    }
    return scans;
}

}  // namespace Application
