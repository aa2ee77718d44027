#pragma once

#include <cstdint>
#include <vector>

#include "Application/Demo/CDemoRandom.h"
#include "Application/Demo/DemoVector.h"
#include "Base/Math/LqMatrix4R.h"
#include "Base/Math/LqVector3f.h"

namespace Application
{

/// A scanner of the demo at one station: casts a grid of rays and measures what they meet.
class CDemoScanner
{
public:
    struct SPoints
    {
        std::vector<LqVector3f> positions;
        std::vector<LqVector3f> normals;
    };

    /// A station at \p eye that looks at \p target. Its random numbers depend on \p seed only.
    CDemoScanner(const SDemoVector& eye, const SDemoVector& target, std::uint64_t seed);

    /// From the station's coordinates to the common ones.
    [[nodiscard]] LqMatrix4Rd GetTrafo() const;

    /// Measures along about \p numRays rays; see CDemoScene for what that gives.
    [[nodiscard]] SPoints Scan(std::uint64_t numRays) const;

    /// Adds \p count points of a speck of dust of the given radius, unless something hides it.
    void AddDust(const SDemoVector& centre, double radius, std::uint64_t count, std::uint64_t key,
                 SPoints& points) const;

    /// Adds \p count points somewhere in the air.
    void AddStrays(std::uint64_t count, SPoints& points) const;

private:
    [[nodiscard]] SPoints scanRow(std::uint64_t row, std::uint64_t numRows,
                                  std::uint64_t numColumns) const;
    void measure(const SDemoVector& direction, CDemoRandom& random, SPoints& points) const;
    void addPoint(const SDemoVector& position, const SDemoVector& normal, SPoints& points) const;
    [[nodiscard]] SDemoVector toOwn(const SDemoVector& direction) const;

    SDemoVector m_eye;
    SDemoVector m_right;
    SDemoVector m_up;
    SDemoVector m_back;
    std::uint64_t m_seed;
};

}  // namespace Application
