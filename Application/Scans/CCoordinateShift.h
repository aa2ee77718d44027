#pragma once

#include <array>

#include "Base/Math/LqMatrix4R.h"
#include "Base/Math/LqVector3f.h"

namespace Application
{

/// Chooses the origin around which double coordinates become single precision, and converts them.
///
/// First show it all coordinates, then choose, then convert.
class CCoordinateShift
{
public:
    /// What the coordinates were meant to hold.
    enum class Precision
    {
        /// Doubles or large integers: any loss is worth a shift.
        Double,
        /// Decimal text or single precision printed as such, in which the last digits are noise: no
        /// shift while single precision resolves 2^-20 of the scan's extent.
        Text,
    };

    /// Takes a coordinate triple into account; those that are not finite do not count.
    void Extend(double x, double y, double z);

    /// Settles the offset: none when single precision does, else near the middle of the scan and
    /// with few digits, so that subtracting it loses nothing.
    void Choose(Precision precision);

    /// The coordinates around the chosen origin.
    [[nodiscard]] LqVector3f Apply(double x, double y, double z) const
    {
        return {static_cast<float>(x - m_offset[0]), static_cast<float>(y - m_offset[1]),
                static_cast<float>(z - m_offset[2])};
    }

    /// A normal, which stays the same around any origin.
    [[nodiscard]] static LqVector3f ConvertNormal(const std::array<double, 3>& normal)
    {
        return {static_cast<float>(normal[0]), static_cast<float>(normal[1]),
                static_cast<float>(normal[2])};
    }

    /// Adds the offset back: the identity or a translation.
    [[nodiscard]] LqMatrix4Rd GetTransform() const;

private:
    struct SRange
    {
        double min = 0.0;
        double max = 0.0;
        bool isEmpty = true;
    };

    std::array<SRange, 3> m_ranges;
    std::array<double, 3> m_offset = {};
    bool m_isExact = true;
};

}  // namespace Application
