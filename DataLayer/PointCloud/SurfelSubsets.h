#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Base/Interfaces/ISurfelCollection.h"
#include "DataLayer/PointCloud/SurfelBlocks.h"

namespace DataLayer
{

/// @throw VekoException that names \p function when a list of \p numIndices indices holds one that
/// is not less than \p count.
void CheckSurfelIndices(const char* function, const std::vector<std::size_t>& indices,
                        std::uint64_t count);

/// @throw VekoException that names \p function when \p size is not \p count.
void CheckMaskSize(const char* function, std::uint64_t size, std::uint64_t count);

/// @throw VekoException that names \p function when a pair's source index is not less than
/// \p sourceCount or its target index not less than \p targetCount.
void CheckIndexPairs(const char* function, const Base::ISurfelCollection::IndexPairs& pairs,
                     std::uint64_t sourceCount, std::uint64_t targetCount);

/// @throw VekoException that names \p function when the lists differ in length or a collection is
/// null.
void CheckSources(const char* function,
                  const std::vector<const Base::ISurfelCollection*>& collections,
                  const std::vector<LqMatrix4Rd>& trafos);

/// @throw std::length_error when the sum does not fit into memory by far.
[[nodiscard]] std::uint64_t AddSurfelCounts(std::uint64_t first, std::uint64_t second);

/// The subsets of a collection's \p count surfels, each copied by \p read; see the operations of
/// Base::ISurfelCollection.
template <typename Elements, typename Read>
[[nodiscard]] Elements CopySubsetByIndex(const char* function, std::uint64_t count,
                                         const std::vector<std::size_t>& indices,
                                         Base::ISurfelCollection::SubsetMode mode, const Read& read)
{
    CheckSurfelIndices(function, indices, count);
    if (mode == Base::ISurfelCollection::SubsetMode::Keep)
    {
        Elements elements(indices.size());
        ForEachSurfelBlock(indices.size(), [&](std::uint64_t begin, std::uint64_t end) {
            for (std::uint64_t place = begin; place < end; ++place)
            {
                elements[place] = read(indices[place]);
            }
        });
        return elements;
    }
    std::vector<std::uint8_t> isListed(count);
    for (const std::size_t index : indices)
    {
        isListed[index] = 1;
    }
    return CopySelected<Elements>(
        count, [&](std::uint64_t index) { return isListed[index] == 0; }, read);
}

template <typename Elements, typename Read>
[[nodiscard]] Elements CopySubsetByMask(const char* function, std::uint64_t count,
                                        const std::vector<Base::CSurfelBitMask>& bitMasks,
                                        Base::CSurfelBitMask bits,
                                        Base::ISurfelCollection::MaskMode mode, const Read& read)
{
    const bool isKept = mode == Base::ISurfelCollection::MaskMode::Keep;
    if (bitMasks.empty())
    {
        return CopySelected<Elements>(
            count, [&](std::uint64_t) { return !isKept; }, read);
    }
    CheckMaskSize(function, bitMasks.size(), count);
    return CopySelected<Elements>(
        count,
        [&](std::uint64_t index) { return ((bitMasks[index].bits & bits.bits) != 0) == isKept; },
        read);
}

template <typename Elements, typename Read>
[[nodiscard]] Elements CopySubsetByMask(const char* function, std::uint64_t count,
                                        const std::vector<bool>& mask,
                                        Base::ISurfelCollection::MaskMode mode, const Read& read)
{
    CheckMaskSize(function, mask.size(), count);
    const bool isKept = mode == Base::ISurfelCollection::MaskMode::Keep;
    return CopySelected<Elements>(
        count, [&](std::uint64_t index) { return mask[index] == isKept; }, read);
}

/// The elements of an accessor as plain values.
template <typename Access>
[[nodiscard]] std::vector<ScanAPI::SimpleVec3f> CopyElements(const Access& access,
                                                             std::uint64_t count)
{
    std::vector<ScanAPI::SimpleVec3f> elements(count);
    ForEachSurfelBlock(count, [&](std::uint64_t begin, std::uint64_t end) {
        for (std::uint64_t index = begin; index < end; ++index)
        {
            const LqVector3f value = access.At(index);
            elements[index] = {value.x, value.y, value.z};
        }
    });
    return elements;
}

}  // namespace DataLayer
