#include "DataLayer/PointCloud/SurfelSubsets.h"

#include <limits>
#include <stdexcept>

#include "Base/Support/VekoException.h"

namespace DataLayer
{

namespace
{

constexpr const char* c_file = "DataLayer/PointCloud/SurfelSubsets";

}  // namespace

void CheckSurfelIndices(const char* function, const std::vector<std::size_t>& indices,
                        std::uint64_t count)
{
    for (std::size_t place = 0; place < indices.size(); ++place)
    {
        if (indices[place] >= count)
        {
            ThrowVekoException(c_file, 23, function,
                               L"Index %zu of the list is %zu, but there are only %llu surfels.",
                               place, indices[place], static_cast<unsigned long long>(count));
        }
    }
}

void CheckMaskSize(const char* function, std::uint64_t size, std::uint64_t count)
{
    if (size != count)
    {
        ThrowVekoException(
            c_file, 34, function, L"The mask has %llu entries, but there are %llu surfels.",
            static_cast<unsigned long long>(size), static_cast<unsigned long long>(count));
    }
}

void CheckIndexPairs(const char* function, const Base::ISurfelCollection::IndexPairs& pairs,
                     std::uint64_t sourceCount, std::uint64_t targetCount)
{
    for (std::size_t place = 0; place < pairs.size(); ++place)
    {
        const auto& [source, target] = pairs[place];
        if (source >= sourceCount || target >= targetCount)
        {
            ThrowVekoException(
                c_file, 49, function,
                L"Pair %zu copies surfel %u of %llu to place %u of %llu; there is no such.", place,
                source, static_cast<unsigned long long>(sourceCount), target,
                static_cast<unsigned long long>(targetCount));
        }
    }
}

void CheckSources(const char* function,
                  const std::vector<const Base::ISurfelCollection*>& collections,
                  const std::vector<LqMatrix4Rd>& trafos)
{
    if (collections.size() != trafos.size())
    {
        ThrowVekoException(c_file, 63, function, L"%zu collections were given with %zu transforms.",
                           collections.size(), trafos.size());
    }
    for (std::size_t place = 0; place < collections.size(); ++place)
    {
        if (collections[place] == nullptr)
        {
            ThrowVekoException(c_file, 71, function, L"Collection %zu of the list is null.", place);
        }
    }
}

std::uint64_t AddSurfelCounts(std::uint64_t first, std::uint64_t second)
{
    constexpr std::uint64_t c_maxCount = std::numeric_limits<std::ptrdiff_t>::max();
    if (second > c_maxCount - first)
    {
        throw std::length_error("There cannot be so many surfels in one collection.");
    }
    return first + second;
}

}  // namespace DataLayer
