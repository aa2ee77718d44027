#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include "Base/Interfaces/CSurfelBitMask.h"
#include "Base/Interfaces/SRegionSelectionInfo.h"
#include "Base/Math/LqMatrix4R.h"
#include "Base/Math/LqVector3f.h"

namespace DataLayer
{

/// Makes clouds whose neighbours in memory are neighbours in space, and what people paint over
/// them, the same ones on every machine.
class CScanScenes
{
public:
    explicit CScanScenes(std::uint64_t seed) : m_random(seed) {}

    /// Strokes of a scanner: stretches of points on lines and in clumps, about within [-2, 2] on
    /// each axis, the ends of stretches anywhere. With \p isNasty some points are not finite, and
    /// some stretches are very far away, in arbitrary order, or at a single place.
    [[nodiscard]] std::vector<LqVector3f> MakePositions(std::size_t count, bool isNasty);

    /// A view of such a cloud, in perspective from outside, from within, or without perspective.
    /// Its mask has a few disks and rectangles, noise, every pixel, or none.
    [[nodiscard]] std::shared_ptr<const Base::SRegionSelectionInfo> MakeSelection();

    /// An entity's transform: mostly the identity, sometimes one that turns the cloud, puts it
    /// behind the eye, or has a wild element.
    [[nodiscard]] LqMatrix4Rd MakeTrafo();

    /// No words, or one per surfel, some of which have the flag of cuts.
    [[nodiscard]] std::vector<Base::CSurfelBitMask> MakeBitMasks(std::size_t count);

    [[nodiscard]] std::uint32_t Below(std::uint32_t bound);
    /// Evenly spread over [min, max).
    [[nodiscard]] double Between(double min, double max);

private:
    [[nodiscard]] LqVector3f makePoint(double radius);
    [[nodiscard]] std::vector<std::uint8_t> makeMask(std::uint32_t width, std::uint32_t height);

    std::mt19937_64 m_random;
};

}  // namespace DataLayer
