#include "DataLayer/PointCloud/CSurfelCollectionView.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <typeinfo>
#include <utility>

#include "Base/Support/VekoException.h"
#include "DataLayer/PointCloud/CPointCloudSupport.h"
#include "DataLayer/PointCloud/CSurfelCollectionPosition.h"
#include "DataLayer/PointCloud/CSurfelCollectionPositionNormal.h"
#include "DataLayer/PointCloud/SurfelBlocks.h"
#include "DataLayer/PointCloud/SurfelSubsets.h"
#include "DataLayer/PointCloud/TSurfelTraits.h"

namespace DataLayer
{

namespace
{

constexpr const char* c_file = "DataLayer/PointCloud/CSurfelCollectionView";
constexpr std::size_t c_elementSize = sizeof(LqVector3f);

/// A view's stream: whether it has normals, then positions and normals element by element.
constexpr Base::SerializedTag c_headTag = Base::MakeSerializedTag("VIEW");
constexpr Base::SerializedTag c_elementsTag = Base::MakeSerializedTag("VIEL");

constexpr const wchar_t* c_readOnly =
    L"The surfels of a view lie in borrowed memory, which is only read; change a clone.";

const LqRTTI c_rtti{L"CSurfelCollectionView", nullptr};

void CheckArray(const wchar_t* what, std::uint64_t count, const void* first, std::size_t stride)
{
    constexpr std::size_t c_maxOffset = std::numeric_limits<std::size_t>::max() - c_elementSize;
    if (count == 0)
    {
        return;
    }
    if (first == nullptr)
    {
        ThrowVekoException(c_file, 38, "DataLayer::CSurfelCollectionView::CSurfelCollectionView",
                           L"%llu surfels were given without %s.",
                           static_cast<unsigned long long>(count), what);
    }
    if (stride != 0 && count - 1 > (c_maxOffset - reinterpret_cast<std::uintptr_t>(first)) / stride)
    {
        ThrowVekoException(c_file, 44, "DataLayer::CSurfelCollectionView::CSurfelCollectionView",
                           L"%llu %s, %zu bytes apart, do not fit into the address space.",
                           static_cast<unsigned long long>(count), what, stride);
    }
}

/// The copy that \p copySurfels makes of the view's surfels, of the kind that keeps them whole. It
/// is called with how to read the surfel at an index as the record to use.
template <typename CopySurfels>
std::unique_ptr<Base::ISurfelCollection> MakeCopy(const CPositionAccess& positions,
                                                  const CNormalAccess* normals,
                                                  const CopySurfels& copySurfels)
{
    if (normals != nullptr)
    {
        auto copy = std::make_unique<CSurfelCollectionPositionNormal>();
        const auto read = [positions, normals = *normals](std::uint64_t index) {
            return CSurfelPositionNormal{positions.At(index), normals.At(index)};
        };
        copy->SetSurfels(copySurfels(read, CSurfelCollectionPositionNormal::Surfels()));
        return copy;
    }
    auto copy = std::make_unique<CSurfelCollectionPosition>();
    const auto read = [positions](std::uint64_t index) {
        return CSurfelPosition{positions.At(index)};
    };
    copy->SetSurfels(copySurfels(read, CSurfelCollectionPosition::Surfels()));
    return copy;
}

}  // namespace

CSurfelCollectionView::CSurfelCollectionView(std::shared_ptr<const void> owner, std::uint64_t count,
                                             const void* positions, std::size_t positionStride,
                                             const void* normals, std::size_t normalStride)
{
    CheckArray(L"positions", count, positions, positionStride);
    if (normals != nullptr)
    {
        CheckArray(L"normals", count, normals, normalStride);
    }
    borrow(std::move(owner), count, CPositionAccess(positions, positionStride),
           CNormalAccess(normals, normalStride), normals != nullptr);
}

CSurfelCollectionView::~CSurfelCollectionView() = default;

const LqRTTI& CSurfelCollectionView::GetRTTI() const
{
    return c_rtti;
}

const wchar_t* CSurfelCollectionView::GetClassNameW() const
{
    return c_rtti.className;
}

void CSurfelCollectionView::Serialize(Base::IVekoStreamWrite& stream) const
{
    const std::uint32_t hasNormals = m_hasNormals ? 1 : 0;
    const std::size_t stride = m_hasNormals ? 2 * c_elementSize : c_elementSize;
    std::vector<std::byte> elements(m_count * stride);
    ForEachSurfelBlock(m_count, [&](std::uint64_t begin, std::uint64_t end) {
        for (std::uint64_t index = begin; index < end; ++index)
        {
            std::byte* const element = elements.data() + index * stride;
            const LqVector3f position = m_positions.At(index);
            std::memcpy(element, &position, c_elementSize);
            if (m_hasNormals)
            {
                const LqVector3f normal = m_normals.At(index);
                std::memcpy(element + c_elementSize, &normal, c_elementSize);
            }
        }
    });
    Base::WriteElements(stream, c_headTag, &hasNormals, 1, sizeof hasNormals);
    Base::WriteElements(stream, c_elementsTag, elements.data(), m_count, stride);
}

void CSurfelCollectionView::Serialize(Base::IVekoStreamRead& stream)
{
    const std::vector<std::byte> head =
        Base::ReadElements(stream, c_headTag, sizeof(std::uint32_t));
    std::uint32_t hasNormals = 2;
    if (head.size() == sizeof hasNormals)
    {
        std::memcpy(&hasNormals, head.data(), sizeof hasNormals);
    }
    if (hasNormals > 1)
    {
        ThrowVekoException(c_file, 126, "DataLayer::CSurfelCollectionView::Serialize",
                           L"Damaged stream: it does not say whether surfels have normals.");
    }
    const std::size_t stride = hasNormals == 1 ? 2 * c_elementSize : c_elementSize;
    auto elements = std::make_shared<const std::vector<std::byte>>(
        Base::ReadElements(stream, c_elementsTag, stride));
    const std::uint64_t count = elements->size() / stride;
    const std::byte* const first = elements->data();
    borrow(elements, count, CPositionAccess(first, stride),
           CNormalAccess(count == 0 ? nullptr : first + c_elementSize, stride), hasNormals == 1);
}

std::shared_ptr<const Base::IPointCloudSupport> CSurfelCollectionView::GetPointCloudSupport() const
{
    return m_support;
}

std::shared_ptr<Base::ISurfelCollection> CSurfelCollectionView::GetSubsetCopyByIndex(
    const std::vector<std::size_t>& indices, SubsetMode mode) const
{
    return MakeCopy(m_positions, m_hasNormals ? &m_normals : nullptr,
                    [&](const auto& read, auto surfels) {
                        return CopySubsetByIndex<decltype(surfels)>(
                            "DataLayer::CSurfelCollectionView::GetSubsetCopyByIndex", m_count,
                            indices, mode, read);
                    });
}

std::shared_ptr<Base::ISurfelCollection> CSurfelCollectionView::GetSubsetCopyByMask(
    const std::vector<Base::CSurfelBitMask>& bitMasks, Base::CSurfelBitMask bits,
    MaskMode mode) const
{
    return MakeCopy(m_positions, m_hasNormals ? &m_normals : nullptr,
                    [&](const auto& read, auto surfels) {
                        return CopySubsetByMask<decltype(surfels)>(
                            "DataLayer::CSurfelCollectionView::GetSubsetCopyByMask", m_count,
                            bitMasks, bits, mode, read);
                    });
}

std::shared_ptr<Base::ISurfelCollection> CSurfelCollectionView::GetSubsetCopyByMask(
    const std::vector<bool>& mask, MaskMode mode) const
{
    return MakeCopy(
        m_positions, m_hasNormals ? &m_normals : nullptr, [&](const auto& read, auto surfels) {
            return CopySubsetByMask<decltype(surfels)>(
                "DataLayer::CSurfelCollectionView::GetSubsetCopyByMask", m_count, mask, mode, read);
        });
}

std::unique_ptr<Base::ISurfelCollection> CSurfelCollectionView::CloneFromCollection(
    const std::vector<const Base::ISurfelCollection*>& collections,
    const std::vector<LqMatrix4Rd>& trafos) const
{
    CheckSources("DataLayer::CSurfelCollectionView::CloneFromCollection", collections, trafos);
    const bool hasNormals = m_hasNormals || std::any_of(collections.begin(), collections.end(),
                                                        [](const Base::ISurfelCollection* source) {
                                                            return source->HasNormals();
                                                        });
    if (hasNormals)
    {
        return CSurfelCollectionPositionNormal().CloneFromCollection(collections, trafos);
    }
    return CSurfelCollectionPosition().CloneFromCollection(collections, trafos);
}

std::unique_ptr<Base::ISurfelCollection> CSurfelCollectionView::Clone(
    const LqMatrix4Rd& trafo) const
{
    return CloneFromCollection({this}, {trafo});
}

void CSurfelCollectionView::Append(const Base::ISurfelCollection& /*collection*/,
                                   const LqMatrix4Rd& /*trafo*/)
{
    ThrowVekoException(c_file, 198, "DataLayer::CSurfelCollectionView::Append", c_readOnly);
}

void CSurfelCollectionView::ScatterCopy(const Base::ISurfelCollection& /*collection*/,
                                        const IndexPairs& /*pairs*/, const LqMatrix4Rd& /*trafo*/)
{
    ThrowVekoException(c_file, 204, "DataLayer::CSurfelCollectionView::ScatterCopy", c_readOnly);
}

std::vector<ScanAPI::SimpleVec3f> CSurfelCollectionView::GetAllPositions() const
{
    return CopyElements(m_positions, m_count);
}

std::vector<ScanAPI::SimpleVec3f> CSurfelCollectionView::GetAllNormals() const
{
    return m_hasNormals ? CopyElements(m_normals, m_count) : std::vector<ScanAPI::SimpleVec3f>();
}

Base::AElementAccessBase* CSurfelCollectionView::getElementAccess(const std::type_index& definition)
{
    if (definition == typeid(Base::CSCElementDefinitionPosition))
    {
        return &m_positions;
    }
    if (m_hasNormals && definition == typeid(Base::CSCElementDefinitionNormal))
    {
        return &m_normals;
    }
    return nullptr;
}

const Base::AElementAccessBase* CSurfelCollectionView::getElementAccess(
    const std::type_index& definition) const
{
    if (definition == typeid(Base::CSCElementDefinitionPosition))
    {
        return &m_positions;
    }
    if (m_hasNormals && definition == typeid(Base::CSCElementDefinitionNormal))
    {
        return &m_normals;
    }
    return nullptr;
}

void CSurfelCollectionView::borrow(std::shared_ptr<const void> owner, std::uint64_t count,
                                   const CPositionAccess& positions, const CNormalAccess& normals,
                                   bool hasNormals)
{
    m_support = std::make_shared<CPointCloudSupport>(
        SPositionArray{positions.GetFirstElement(), positions.GetStrideInBytes(), count});
    m_owner = std::move(owner);
    m_count = count;
    m_positions = positions;
    m_normals = normals;
    m_hasNormals = hasNormals;
}

}  // namespace DataLayer
