#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "Base/Interfaces/ISurfelCollection.h"
#include "Base/Interfaces/SerializedElements.h"
#include "DataLayer/PointCloud/CCompactSurfelPositionNormal.h"
#include "DataLayer/PointCloud/CSurfelPosition.h"
#include "DataLayer/PointCloud/CSurfelPositionNormal.h"

namespace DataLayer
{

using CPositionAccess = Base::TElementAccessRead<Base::CSCElementDefinitionPosition>;
using CNormalAccess = Base::TElementAccessRead<Base::CSCElementDefinitionNormal>;

/// What the collections have to know about a surfel record: whether and how it keeps a normal, its
/// tag in a stream, and how many of its leading bytes are written there.
template <typename Surfel>
struct TSurfelTraits;

template <>
struct TSurfelTraits<CCompactSurfelPositionNormal>
{
    static constexpr bool c_hasNormal = true;
    static constexpr Base::SerializedTag c_tag = Base::MakeSerializedTag("SPQN");
    static constexpr std::size_t c_serializedSize = 14;
    static constexpr std::size_t c_normalOffset = offsetof(CCompactSurfelPositionNormal, normal);

    static LqVector3f DecodeNormal(const void* element)
    {
        std::uint16_t code = 0;
        std::memcpy(&code, element, sizeof code);
        return DecodeQNormal(code);
    }
    static constexpr CNormalAccess::Decoder c_decoder = &DecodeNormal;

    static void SetNormal(CCompactSurfelPositionNormal& surfel, const LqVector3f& normal)
    {
        surfel.normal = EncodeQNormal(normal.x, normal.y, normal.z);
    }
};

template <>
struct TSurfelTraits<CSurfelPositionNormal>
{
    static constexpr bool c_hasNormal = true;
    static constexpr Base::SerializedTag c_tag = Base::MakeSerializedTag("SPFN");
    static constexpr std::size_t c_serializedSize = sizeof(CSurfelPositionNormal);
    static constexpr std::size_t c_normalOffset = offsetof(CSurfelPositionNormal, normal);
    static constexpr CNormalAccess::Decoder c_decoder = nullptr;

    static void SetNormal(CSurfelPositionNormal& surfel, const LqVector3f& normal)
    {
        surfel.normal = normal;
    }
};

template <>
struct TSurfelTraits<CSurfelPosition>
{
    static constexpr bool c_hasNormal = false;
    static constexpr Base::SerializedTag c_tag = Base::MakeSerializedTag("SPOS");
    static constexpr std::size_t c_serializedSize = sizeof(CSurfelPosition);
};

}  // namespace DataLayer
