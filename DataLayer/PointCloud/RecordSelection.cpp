#include "DataLayer/PointCloud/RecordSelection.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstring>

#include "DataLayer/PointCloud/SortFive.h"

namespace DataLayer::NearestNeighbor
{

namespace
{

constexpr std::size_t c_smallestSample = 5;
constexpr std::size_t c_largestSample = 256;

/// A record as one register.
using SWhole = std::uint32_t __attribute__((vector_size(sizeof(SRecord))));

/// Moves the records that the comparison of their coordinate with \p pivot accepts to the front and
/// returns the first of the others. Without a branch on the coordinates, which nothing predicts.
template <typename Accept>
SRecord* Partition(SRecord* first, SRecord* last, std::uint32_t axis, const Accept& accept)
{
    SRecord* end = first;
    for (SRecord* current = first; current != last; ++current)
    {
        const bool accepted = accept(current->position[axis]);
        SWhole record;
        SWhole other;
        std::memcpy(&record, current, sizeof record);
        std::memcpy(&other, end, sizeof other);
        std::memcpy(current, &other, sizeof other);
        std::memcpy(end, &record, sizeof record);
        end += accepted ? 1 : 0;
    }
    return end;
}

/// A value of the range, likely just beyond record \p rank in the order of coordinates, seen from
/// the nearer end; so that cutting there leaves little more than that end.
float ChoosePivot(const SRecord* first, std::size_t count, std::size_t rank, std::uint32_t axis,
                  std::uint32_t& random)
{
    std::array<float, c_largestSample> sample;
    const std::size_t sampleCount =
        std::clamp<std::size_t>(count / 128, c_smallestSample, c_largestSample);
    for (std::size_t i = 0; i < sampleCount; ++i)
    {
        random = random * 1664525U + 1013904223U;
        const auto position = static_cast<std::size_t>((std::uint64_t{random} * count) >> 32U);
        sample[i] = first[position].position[axis];
    }
    const double fraction = static_cast<double>(rank) / static_cast<double>(count);
    const double size = static_cast<double>(sampleCount);
    const double margin = 0.7 * std::sqrt(size * fraction * (1.0 - fraction));
    const double target = fraction * size + (fraction > 0.5 ? -margin : margin);
    const auto chosen = static_cast<std::ptrdiff_t>(std::clamp(target, 0.0, size - 1.0));
    if (sampleCount == c_smallestSample)
    {
        // Most ranges are small, and nothing predicts their order.
        SortFive(sample.data());
    }
    else
    {
        std::nth_element(sample.begin(), sample.begin() + chosen, sample.begin() + sampleCount);
    }
    return sample[static_cast<std::size_t>(chosen)];
}

}  // namespace

void SelectByCoordinate(SRecord* first, SRecord* middle, SRecord* last, std::uint32_t axis)
{
    constexpr std::ptrdiff_t c_smallRange = 6;
    constexpr int c_mostRounds = 64;
    std::uint32_t random = 1;
    for (int round = 0; last - first > c_smallRange && round < c_mostRounds; ++round)
    {
        const float pivot = ChoosePivot(first, static_cast<std::size_t>(last - first),
                                        static_cast<std::size_t>(middle - first), axis, random);
        SRecord* const least =
            Partition(first, last, axis, [pivot](float value) { return value < pivot; });
        if (middle < least)
        {
            last = least;
            continue;
        }
        if (least != first)
        {
            first = least;
            continue;
        }
        // Nothing is less: the pivot's equals come first, and there may be very many.
        first = Partition(first, last, axis, [pivot](float value) { return value <= pivot; });
        if (middle < first)
        {
            return;
        }
    }
    std::nth_element(first, middle, last, [axis](const SRecord& a, const SRecord& b) {
        return a.position[axis] < b.position[axis];
    });
}

void SelectByIndex(SRecord* first, SRecord* middle, SRecord* last)
{
    std::nth_element(first, middle, last,
                     [](const SRecord& a, const SRecord& b) { return a.index < b.index; });
}

}  // namespace DataLayer::NearestNeighbor
