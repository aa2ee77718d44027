#include "Base/Interfaces/CSurfelCollectionMask.h"

#include <cstring>
#include <utility>

#include "Base/Interfaces/SerializedElements.h"

namespace Base
{

namespace
{

constexpr SerializedTag c_tag = MakeSerializedTag("MASK");

const LqRTTI c_rtti{L"CSurfelCollectionMask", nullptr};

}  // namespace

CSurfelCollectionMask::CSurfelCollectionMask(std::vector<CSurfelBitMask>&& bitMasks)
    : m_bitMasks(std::move(bitMasks))
{}

CSurfelCollectionMask::~CSurfelCollectionMask() = default;

const LqRTTI& CSurfelCollectionMask::GetRTTI() const
{
    return c_rtti;
}

const wchar_t* CSurfelCollectionMask::GetClassNameW() const
{
    return c_rtti.className;
}

void CSurfelCollectionMask::Serialize(IVekoStreamWrite& stream) const
{
    WriteElements(stream, c_tag, m_bitMasks.data(), m_bitMasks.size(), sizeof(CSurfelBitMask));
}

void CSurfelCollectionMask::Serialize(IVekoStreamRead& stream)
{
    const std::vector<std::byte> data = ReadElements(stream, c_tag, sizeof(CSurfelBitMask));
    std::vector<CSurfelBitMask> bitMasks(data.size() / sizeof(CSurfelBitMask));
    if (!data.empty())
    {
        std::memcpy(bitMasks.data(), data.data(), data.size());
    }
    m_bitMasks = std::move(bitMasks);
}

}  // namespace Base
