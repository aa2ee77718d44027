#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Base/Math/LqMatrix4R.h"
#include "Base/Math/LqVector3f.h"

namespace Application
{

/// Makes the scans that the demo works on: a teapot on a turntable, seen from several stations
/// around it.
///
///     for (const CDemoScene::SScan& scan : CDemoScene().Generate()) ...
///
/// Like a real scanner, a station sees only what faces it and is not hidden, its measurements are
/// noisy along the line of sight, edges throw off some points into the air behind them, and specks
/// of dust float around the object. The same settings give the same bytes on every machine and for
/// any number of threads. Safe for concurrent use.
class CDemoScene
{
public:
    /// What one station saw, in its own coordinates: x to its right, y up, looking along -z;
    /// millimetres.
    struct SScan
    {
        /// As GetStationName() has it.
        std::string name;
        /// From the station's coordinates to the common ones, whose z axis is the turntable's.
        LqMatrix4Rd trafo;
        std::vector<LqVector3f> positions;
        /// One per position, towards the station.
        std::vector<LqVector3f> normals;
    };

    static constexpr std::uint32_t c_numStations = 6;
    static constexpr std::uint64_t c_minPoints = 600;
    static constexpr std::uint64_t c_maxPoints = 100'000'000;

    struct SSettings
    {
        /// How many points all scans have together, within a few per cent.
        std::uint64_t numPoints = 300'000;
        std::uint64_t seed = 1;
    };

    CDemoScene() = default;
    /// @throw CInputError, with "demo" in place of the file, when the number of points is not
    /// between c_minPoints and c_maxPoints.
    explicit CDemoScene(const SSettings& settings);

    /// "station1" for the station 0, and so on.
    [[nodiscard]] static std::string GetStationName(std::uint32_t station);

    /// The scans of all stations, in their order around the turntable.
    [[nodiscard]] std::vector<SScan> Generate() const;

private:
    SSettings m_settings;
};

}  // namespace Application
