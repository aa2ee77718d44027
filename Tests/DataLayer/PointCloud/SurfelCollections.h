#pragma once

#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "Base/Interfaces/ISurfelCollection.h"
#include "Base/Math/LqMatrix4R.h"
#include "DataLayer/PointCloud/CSurfelCollectionMinimal.h"
#include "DataLayer/PointCloud/CSurfelCollectionPosition.h"
#include "DataLayer/PointCloud/CSurfelCollectionPositionNormal.h"

namespace DataLayerTest
{

inline constexpr float c_nan = std::numeric_limits<float>::quiet_NaN();
inline constexpr float c_infinity = std::numeric_limits<float>::infinity();

inline constexpr auto c_drop = Base::ISurfelCollection::SubsetMode::Drop;
inline constexpr auto c_keep = Base::ISurfelCollection::SubsetMode::Keep;
inline constexpr auto c_dropMarked = Base::ISurfelCollection::MaskMode::Drop;
inline constexpr auto c_keepMarked = Base::ISurfelCollection::MaskMode::Keep;

/// A count that is several blocks of the parallel loops and ends within one.
inline constexpr std::size_t c_manySurfels = 3 * 65536 + 1234;

/// Surfel j of the test clouds: a position that tells j, and one of a few normals.
[[nodiscard]] LqVector3f MakePosition(std::size_t index);
[[nodiscard]] LqVector3f MakeNormal(std::size_t index);

template <typename Collection>
[[nodiscard]] auto MakeSurfel(std::size_t index);

template <>
[[nodiscard]] inline auto MakeSurfel<DataLayer::CSurfelCollectionMinimal>(std::size_t index)
{
    const LqVector3f normal = MakeNormal(index);
    return DataLayer::CCompactSurfelPositionNormal{
        MakePosition(index), DataLayer::EncodeQNormal(normal.x, normal.y, normal.z)};
}

template <>
[[nodiscard]] inline auto MakeSurfel<DataLayer::CSurfelCollectionPositionNormal>(std::size_t index)
{
    return DataLayer::CSurfelPositionNormal{MakePosition(index), MakeNormal(index)};
}

template <>
[[nodiscard]] inline auto MakeSurfel<DataLayer::CSurfelCollectionPosition>(std::size_t index)
{
    return DataLayer::CSurfelPosition{MakePosition(index)};
}

/// A collection of the surfels 0 to \p count - 1.
template <typename Collection>
[[nodiscard]] std::unique_ptr<Collection> MakeCollection(std::size_t count)
{
    auto collection = std::make_unique<Collection>();
    collection->Reserve(count);
    for (std::size_t index = 0; index < count; ++index)
    {
        collection->AddSurfelNoReset(MakeSurfel<Collection>(index));
    }
    return collection;
}

/// The bits of all positions, and behind them those of all normals.
[[nodiscard]] std::vector<std::uint32_t> GetBits(const Base::ISurfelCollection& collection);

/// GetBits() of a collection that holds the surfels of \p collection at \p indices.
[[nodiscard]] std::vector<std::uint32_t> GetBitsAt(const Base::ISurfelCollection& collection,
                                                   const std::vector<std::size_t>& indices);

/// The message of the VekoException that \p operation throws; empty when it throws none.
template <typename Operation>
[[nodiscard]] std::string GetMessageOf(const Operation& operation)
{
    try
    {
        operation();
    }
    catch (const VekoException& exception)
    {
        return exception.what();
    }
    return {};
}

/// The line that the exception names which \p operation throws; 0 when it throws none.
template <typename Operation>
[[nodiscard]] unsigned int GetCodeLineOf(const Operation& operation)
{
    try
    {
        operation();
    }
    catch (const VekoException& exception)
    {
        return exception.GetCodeLine();
    }
    return 0;
}

}  // namespace DataLayerTest
