#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Base/Interfaces/ISurfelCollection.h"
#include "Base/Support/LargePages.h"
#include "DataLayer/PointCloud/BoolWords.h"
#include "DataLayer/PointCloud/CIndexSelection.h"
#include "DataLayer/PointCloud/GatherMarked.h"
#include "DataLayer/PointCloud/SurfelBlocks.h"

namespace DataLayer
{

/// @throw VekoException that names \p function when one of \p indices is not less than \p count.
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

/// The sum of surfels that are in memory, or already summed up, and further ones.
/// @throw std::length_error when the sum does not fit into memory by far.
[[nodiscard]] std::uint64_t AddSurfelCounts(std::uint64_t first, std::uint64_t second);

/// GetSubsetCopyByIndex() of Base::ISurfelCollection for a collection of \p count surfels, each
/// copied by \p read. Errors name \p function.
template <typename Elements, typename Read>
[[nodiscard]] Elements CopySubsetByIndex(const char* function, std::uint64_t count,
                                         const std::vector<std::size_t>& indices,
                                         Base::ISurfelCollection::SubsetMode mode, const Read& read)
{
    CheckSurfelIndices(function, indices, count);
    if (mode == Base::ISurfelCollection::SubsetMode::Keep)
    {
        Elements elements;
        Base::ResizeInLargePages(elements, indices.size());
        ForEachSurfelBlock(indices.size(), [&](std::uint64_t begin, std::uint64_t end) {
            for (std::uint64_t place = begin; place < end; ++place)
            {
                elements[place] = read(indices[place]);
            }
        });
        return elements;
    }
    std::vector<std::uint64_t> listed(count / CIndexSelection::c_wordSize + 1);
    for (const std::size_t index : indices)
    {
        listed[index / CIndexSelection::c_wordSize] |= std::uint64_t{1}
                                                       << (index % CIndexSelection::c_wordSize);
    }
    return CIndexSelection(count, [&](std::uint64_t word) { return ~listed[word]; })
        .Copy<Elements>(read);
}

/// The same for GetSubsetCopyByMask() with flag words.
template <typename Elements, typename Read>
[[nodiscard]] Elements CopySubsetByMask(const char* function, std::uint64_t count,
                                        const std::vector<Base::CSurfelBitMask>& bitMasks,
                                        Base::CSurfelBitMask bits,
                                        Base::ISurfelCollection::MaskMode mode, const Read& read)
{
    const std::uint64_t dropped =
        mode == Base::ISurfelCollection::MaskMode::Keep ? 0 : CIndexSelection::c_all;
    if (bitMasks.empty())
    {
        return CIndexSelection(count, [&](std::uint64_t) { return dropped; }).Copy<Elements>(read);
    }
    CheckMaskSize(function, bitMasks.size(), count);
    return CIndexSelection(
               count,
               [&](std::uint64_t word) { return GatherMarked(bitMasks, bits, word) ^ dropped; })
        .Copy<Elements>(read);
}

/// The same for GetSubsetCopyByMask() with a vector of bool.
template <typename Elements, typename Read>
[[nodiscard]] Elements CopySubsetByMask(const char* function, std::uint64_t count,
                                        const std::vector<bool>& mask,
                                        Base::ISurfelCollection::MaskMode mode, const Read& read)
{
    CheckMaskSize(function, mask.size(), count);
    const std::uint64_t dropped =
        mode == Base::ISurfelCollection::MaskMode::Keep ? 0 : CIndexSelection::c_all;
    return CIndexSelection(count,
                           [&](std::uint64_t word) { return LoadBools(mask, word) ^ dropped; })
        .Copy<Elements>(read);
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
