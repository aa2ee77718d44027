#include "Tests/Support/CMockSurfelCollection.h"

#include <cmath>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "Tests/Support/MockCalls.h"

namespace TestSupport
{

namespace
{

const LqRTTI c_rtti{L"CMockSurfelCollection", nullptr};

[[noreturn]] void ThrowUnexpectedCall()
{
    throw std::logic_error("CMockSurfelCollection: this operation is not expected to be called");
}

bool IsFinite(const LqVector3f& position)
{
    return std::isfinite(position.x) && std::isfinite(position.y) && std::isfinite(position.z);
}

}  // namespace

CMockSurfelCollection::CMockSurfelCollection(const std::vector<LqVector3f>& positions,
                                             std::size_t stride, std::size_t offset)
    : m_stride(stride),
      m_numPositions(positions.size()),
      m_count(positions.size()),
      m_support(std::make_shared<CMockPointCloudSupport>())
{
    const std::size_t numBytes = offset + stride * positions.size() + sizeof(LqVector3f);
    SChunk fill;
    std::memset(fill.bytes, c_fillByte, sizeof fill.bytes);
    m_storage.assign(numBytes / sizeof(SChunk) + 1, fill);
    std::byte* const first = m_storage.front().bytes + offset;
    for (std::size_t index = 0; index < positions.size(); ++index)
    {
        std::memcpy(first + index * stride, &positions[index], sizeof(LqVector3f));
        if (IsFinite(positions[index]))
        {
            m_support->boundingBox.box.Extend(positions[index]);
        }
    }
    m_first = first;
    m_positionAccess = std::make_unique<PositionAccess>(m_first, m_stride);
}

LqVector3f CMockSurfelCollection::GetPosition(std::size_t index) const
{
    LqVector3f position;
    std::memcpy(&position, m_first + index * m_stride, sizeof position);
    return position;
}

void CMockSurfelCollection::SetBoundingBox(const LqVector3f& min, const LqVector3f& max)
{
    m_support->boundingBox.box.min = min;
    m_support->boundingBox.box.max = max;
}

void CMockSurfelCollection::SetPositionAccess(std::unique_ptr<Base::AElementAccessBase> access)
{
    m_positionAccess = std::move(access);
}

const LqRTTI& CMockSurfelCollection::GetRTTI() const
{
    return c_rtti;
}

const wchar_t* CMockSurfelCollection::GetClassNameW() const
{
    return c_rtti.className;
}

void CMockSurfelCollection::Serialize(Base::IVekoStreamWrite& /*stream*/) const
{
    ThrowUnexpectedCall();
}

void CMockSurfelCollection::Serialize(Base::IVekoStreamRead& /*stream*/)
{
    ThrowUnexpectedCall();
}

std::shared_ptr<const Base::IPointCloudSupport> CMockSurfelCollection::GetPointCloudSupport() const
{
    OnMockCall();
    ++numGetPointCloudSupportCalls;
    if (onGetPointCloudSupport)
    {
        onGetPointCloudSupport();
    }
    return m_support;
}

std::shared_ptr<Base::ISurfelCollection> CMockSurfelCollection::GetSubsetCopyByIndex(
    const std::vector<std::size_t>& /*indices*/, SubsetMode /*mode*/) const
{
    ThrowUnexpectedCall();
}

std::shared_ptr<Base::ISurfelCollection> CMockSurfelCollection::GetSubsetCopyByMask(
    const std::vector<Base::CSurfelBitMask>& /*bitMasks*/, Base::CSurfelBitMask /*bits*/,
    MaskMode /*mode*/) const
{
    ThrowUnexpectedCall();
}

std::shared_ptr<Base::ISurfelCollection> CMockSurfelCollection::GetSubsetCopyByMask(
    const std::vector<bool>& mask, MaskMode mode) const
{
    OnMockCall();
    lastMaskMode = mode;
    std::vector<LqVector3f> kept;
    for (std::size_t index = 0; index < mask.size() && index < m_numPositions; ++index)
    {
        if (mask[index] == (mode == MaskMode::Keep))
        {
            kept.push_back(GetPosition(index));
        }
    }
    return std::make_shared<CMockSurfelCollection>(kept);
}

std::unique_ptr<Base::ISurfelCollection> CMockSurfelCollection::CloneFromCollection(
    const std::vector<const ISurfelCollection*>& /*collections*/,
    const std::vector<LqMatrix4Rd>& /*trafos*/) const
{
    ThrowUnexpectedCall();
}

std::unique_ptr<Base::ISurfelCollection> CMockSurfelCollection::Clone(
    const LqMatrix4Rd& /*trafo*/) const
{
    ThrowUnexpectedCall();
}

void CMockSurfelCollection::Append(const ISurfelCollection& /*collection*/,
                                   const LqMatrix4Rd& /*trafo*/)
{
    ThrowUnexpectedCall();
}

void CMockSurfelCollection::ScatterCopy(const ISurfelCollection& /*collection*/,
                                        const IndexPairs& /*pairs*/, const LqMatrix4Rd& /*trafo*/)
{
    ThrowUnexpectedCall();
}

std::uint64_t CMockSurfelCollection::GetCount() const
{
    OnMockCall();
    ++numGetCountCalls;
    return onGetCount ? onGetCount() : m_count;
}

std::vector<ScanAPI::SimpleVec3f> CMockSurfelCollection::GetAllPositions() const
{
    std::vector<ScanAPI::SimpleVec3f> positions;
    for (std::size_t index = 0; index < m_numPositions; ++index)
    {
        const LqVector3f position = GetPosition(index);
        positions.push_back({position.x, position.y, position.z});
    }
    return positions;
}

Base::AElementAccessBase* CMockSurfelCollection::getElementAccess(
    const std::type_index& /*definition*/)
{
    ThrowUnexpectedCall();
}

const Base::AElementAccessBase* CMockSurfelCollection::getElementAccess(
    const std::type_index& definition) const
{
    OnMockCall();
    ++numGetElementAccessCalls;
    if (onGetElementAccess)
    {
        onGetElementAccess();
    }
    return definition == typeid(Base::CSCElementDefinitionPosition) ? m_positionAccess.get()
                                                                    : nullptr;
}

}  // namespace TestSupport
