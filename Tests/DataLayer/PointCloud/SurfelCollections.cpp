#include "Tests/DataLayer/PointCloud/SurfelCollections.h"

#include <array>
#include <bit>

namespace DataLayerTest
{

namespace
{

std::vector<std::uint32_t> ToBits(const std::vector<ScanAPI::SimpleVec3f>& positions,
                                  const std::vector<ScanAPI::SimpleVec3f>& normals)
{
    std::vector<std::uint32_t> bits;
    for (const auto* vectors : {&positions, &normals})
    {
        for (const ScanAPI::SimpleVec3f& vector : *vectors)
        {
            bits.push_back(std::bit_cast<std::uint32_t>(vector.x));
            bits.push_back(std::bit_cast<std::uint32_t>(vector.y));
            bits.push_back(std::bit_cast<std::uint32_t>(vector.z));
        }
    }
    return bits;
}

}  // namespace

LqVector3f MakePosition(std::size_t index)
{
    const auto number = static_cast<float>(index);
    return {number, 0.5F * number + 1.0F, -number};
}

LqVector3f MakeNormal(std::size_t index)
{
    const std::array<LqVector3f, 5> normals{{{0.0F, 0.0F, 1.0F},
                                             {0.6F, 0.0F, -0.8F},
                                             {-0.48F, 0.6F, 0.64F},
                                             {0.0F, 0.0F, 0.0F},
                                             {0.0F, -1.0F, 0.0F}}};
    return normals[index % normals.size()];
}

std::vector<std::uint32_t> GetBits(const Base::ISurfelCollection& collection)
{
    return ToBits(collection.GetAllPositions(), collection.GetAllNormals());
}

std::vector<std::uint32_t> GetBitsAt(const Base::ISurfelCollection& collection,
                                     const std::vector<std::size_t>& indices)
{
    const auto allPositions = collection.GetAllPositions();
    const auto allNormals = collection.GetAllNormals();
    std::vector<ScanAPI::SimpleVec3f> positions;
    std::vector<ScanAPI::SimpleVec3f> normals;
    for (const std::size_t index : indices)
    {
        positions.push_back(allPositions.at(index));
        if (collection.HasNormals())
        {
            normals.push_back(allNormals.at(index));
        }
    }
    return ToBits(positions, normals);
}

}  // namespace DataLayerTest
