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
#include "Tests/Support/CMockSurfelCollection.h"

namespace DataLayer
{

/// One collection to cut, with what it takes to compute the result by other means.
struct SRandomInput
{
    std::shared_ptr<TestSupport::CMockSurfelCollection> collection;
    /// The positions as the collection's layout holds them.
    std::vector<LqVector3f> positions;
    std::vector<Base::CSurfelBitMask> bitMasks;
    LqMatrix4Rd trafo;
};

/// Makes views, masks and collections, ordinary and nasty, the same ones on every machine.
class CRandomCuts
{
public:
    explicit CRandomCuts(std::uint64_t seed) : m_random(seed) {}

    /// A perspective or orthographic view of odd sizes, cut into three transforms in different
    /// ways, with a mask that is sparse, dense, or full of bytes other than 0 and 1.
    [[nodiscard]] std::shared_ptr<const Base::SRegionSelectionInfo> MakeSelection();

    /// A collection of any layout, seen by \p selection, of a size about which block ends lie.
    [[nodiscard]] SRandomInput MakeInput(const Base::SRegionSelectionInfo& selection);

    /// A collection of the given size and layout without extremes, about the size of a view.
    [[nodiscard]] SRandomInput MakeLargeInput(std::size_t count, std::size_t stride);

private:
    [[nodiscard]] std::uint32_t below(std::uint32_t bound);
    /// Evenly spread over [min, max), always the same for the same draws.
    [[nodiscard]] double between(double min, double max);
    template <typename T, std::size_t N>
    [[nodiscard]] T oneOf(const T (&values)[N])
    {
        return values[below(N)];
    }

    [[nodiscard]] std::vector<std::uint8_t> makeMask(std::uint32_t width, std::uint32_t height);
    [[nodiscard]] LqMatrix4Rd makeTrafo();
    [[nodiscard]] LqVector3f makePosition();
    [[nodiscard]] LqVector3f makePositionAtPixelBorder(const Base::SRegionSelectionInfo& selection);
    [[nodiscard]] float makeExtreme();
    [[nodiscard]] std::vector<Base::CSurfelBitMask> makeBitMasks(std::size_t count);
    [[nodiscard]] SRandomInput makeInput(std::vector<LqVector3f> positions, std::size_t stride,
                                         std::size_t offset);

    std::mt19937_64 m_random;
};

}  // namespace DataLayer
