#include <array>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Base/Support/TOptional.h"
#include "DataLayer/Base3D/PointCloudEditing/CCutWithPixelMaskSyncableEntityCollectionModifyOperation.h"
#include "DataLayer/Base3D/PointCloudEditing/CSmallComponentModifyOperation.h"
#include "Fuzz/Support/CEntityMap.h"
#include "Fuzz/Support/CInputBytes.h"
#include "Fuzz/Support/FuzzTarget.h"
#include "Fuzz/Support/ReferenceOperations.h"

namespace Fuzzing
{

namespace
{

using CutOperation = DataLayer::CCutWithPixelMaskSyncableEntityCollectionModifyOperation;
using SmallComponentOperation = DataLayer::CSmallComponentModifyOperation;

constexpr int c_mostSteps = 64;

std::vector<LqVector3f> TakePoints(CInputBytes& bytes)
{
    std::vector<LqVector3f> points(bytes.TakeBelow(24));
    const bool areWild = bytes.TakeBelow(4) == 0;
    for (LqVector3f& point : points)
    {
        // Most lie where the others are, and where the paint is.
        const auto coordinate = [&] {
            constexpr float c_unit = 1.0F / 32.0F;
            return areWild ? bytes.Take<float>()
                           : c_unit * static_cast<float>(bytes.Take<std::int8_t>());
        };
        point = {coordinate(), coordinate(), coordinate()};
    }
    return points;
}

LqMatrix4Rd TakeTrafo(CInputBytes& bytes)
{
    LqMatrix4Rd trafo = c_matIdentityD;
    switch (bytes.TakeBelow(4))
    {
        case 0:
            return trafo;
        case 1:
            return bytes.TakeMatrix<LqMatrix4Rd, double>();
        default:
            for (std::size_t column = 0; column < 3; ++column)
            {
                trafo(3, column) = 0.25 * bytes.Take<std::int8_t>();
            }
            return trafo;
    }
}

std::shared_ptr<const Base::CSurfelCollectionMask> TakeMask(CInputBytes& bytes,
                                                            std::size_t numSurfels)
{
    const std::uint32_t kind = bytes.TakeBelow(5);
    if (kind == 0)
    {
        return nullptr;
    }
    const std::size_t numWords[] = {0, numSurfels, numSurfels / 2, numSurfels + 2};
    std::vector<Base::CSurfelBitMask> words(numWords[kind - 1]);
    for (Base::CSurfelBitMask& word : words)
    {
        word.bits = bytes.Take<std::uint16_t>();
    }
    return std::make_shared<const Base::CSurfelCollectionMask>(std::move(words));
}

std::shared_ptr<const Base::SRegionSelectionInfo> TakeSelection(CInputBytes& bytes)
{
    const std::uint32_t width = bytes.TakeBelow(17);
    const std::uint32_t height = bytes.TakeBelow(17);
    const auto paint = bytes.Take<std::uint32_t>();
    std::vector<std::uint8_t> mask(std::size_t{width} * height);
    for (std::size_t index = 0; index < mask.size(); ++index)
    {
        mask[index] = static_cast<std::uint8_t>(paint >> index % 32 & 1U);
    }
    const auto takeTransform = [&] { return LqMatrix4Rf(TakeTrafo(bytes)); };
    const LqMatrix4Rf first = takeTransform();
    const LqMatrix4Rf second = takeTransform();
    return Base::MakeRegionSelection(first, second, takeTransform(), std::move(mask), width,
                                     height);
}

/// Asks \p operation, and says whether it answered: an entry without a value makes it fail.
bool Ask(const DataLayer::ISyncableEntityCollectionModifyOperation& operation,
         const CEntityMap& map, Base::CEntityMapModifyBatch& answer)
{
    const auto words = map.CopyWords();
    bool isAnswered = true;
    try
    {
        answer = operation.ComputeModifications(map.MakeBatch());
    }
    catch (const ScanAPI::BadOptionalAccessException&)
    {
        isAnswered = false;
    }
    Require(map.CopyWords() == words && map.HasPoints(), "an operation changes none of its inputs");
    return isAnswered;
}

/// Cuts the map, which freezes it, with the same operation once or twice.
void Cut(CInputBytes& bytes, CEntityMap& map, bool isPainted)
{
    const auto selection = isPainted ? TakeSelection(bytes)
                                     : Base::MakeRegionSelection(LqMatrix4Rf(), LqMatrix4Rf(),
                                                                 LqMatrix4Rf(), {}, 0, 0);
    const LqMatrix4Rd matrix = TakeTrafo(bytes);
    const CutOperation operation(ScanAPI::shared_not_null(selection), matrix);
    std::uint32_t total = 0;
    for (std::uint32_t calls = 1 + bytes.TakeBelow(2); calls > 0; --calls)
    {
        const auto expected = AnswerCut(map, *selection, matrix);
        Base::CEntityMapModifyBatch answer;
        const bool isAnswered = Ask(operation, map, answer);
        Require(isAnswered == expected.has_value(), "a cut fails when an entry has no value");
        total += isAnswered ? expected->numModified : 0;
        Require(operation.GetNumModifiedPackets() == total, "the modified packets are counted");
        if (isAnswered)
        {
            expected->RequireSame(answer);
            map.Apply(answer);
        }
    }
}

/// A block of records for points.
class CBlocks
{
public:
    void Add(const std::vector<LqVector3f>& points)
    {
        for (const LqVector3f& point : points)
        {
            m_records.push_back({point.x, point.y, point.z, {}});
        }
    }

    [[nodiscard]] std::vector<std::shared_ptr<DataLayer::SFuserPointBlock>> Get() const
    {
        // One block for the first record, one of none, one for the others, and none at all.
        const auto size = static_cast<std::uint32_t>(m_records.size());
        const std::uint32_t first = size > 0 ? 1 : 0;
        const auto make = [&](std::uint32_t begin, std::uint32_t count) {
            return std::make_shared<DataLayer::SFuserPointBlock>(
                DataLayer::SFuserPointBlock{m_records.data() + begin, count});
        };
        return {make(0, first), nullptr, make(first, 0), make(first, size - first)};
    }

private:
    std::vector<DataLayer::SFuserPointRecord> m_records;
};

/// Flags the small components of the map as a fuser knows it that may have missed its last change.
void RemoveSmallComponents(CInputBytes& bytes, CEntityMap& map)
{
    const std::vector<LqVector3f> mainPoints = TakePoints(bytes);
    const std::vector<LqVector3f> smallPoints = TakePoints(bytes);
    CBlocks mainBlocks;
    CBlocks smallBlocks;
    mainBlocks.Add(mainPoints);
    smallBlocks.Add(smallPoints);
    const auto content = std::make_shared<DataLayer::SFuserContent>();
    content->mainComponentBlocks = mainBlocks.Get();
    content->smallComponentBlocks = smallBlocks.Get();
    const std::uint32_t unknown = bytes.TakeBelow(16);
    const std::uint32_t other = bytes.TakeBelow(16);
    for (std::uint32_t index = 0; index < map.GetEntries().size(); ++index)
    {
        const CEntityMap::SEntry& entry = map.GetEntries()[index];
        if (index == unknown)
        {
            continue;
        }
        const auto entity = index == other ? CEntityMap::MakeOtherEntity() : entry.entity;
        content->packets.emplace(
            entry.key, Base::CGeometricEntityPacket(entity, TakeTrafo(bytes), nullptr, 0));
    }

    std::shared_ptr<const DataLayer::SFuserContent> shared = content;
    const SmallComponentOperation operation(shared);
    const auto expected = AnswerSmallComponents(map, *content, mainPoints, smallPoints);
    Base::CEntityMapModifyBatch answer;
    const bool isAnswered = Ask(operation, map, answer);
    Require(isAnswered == expected.has_value(), "a known entry without a value is an error");
    if (isAnswered)
    {
        expected->RequireSame(answer);
        map.Apply(answer);
    }
}

}  // namespace

/// A sequence of what happens to a map: entries come, change and go, and both operations answer,
/// each answer being taken over into the map.
void TestInput(std::span<const std::uint8_t> input)
{
    CInputBytes bytes(input);
    CEntityMap map;
    for (int step = 0; step < c_mostSteps && !bytes.IsAtEnd(); ++step)
    {
        const std::uint32_t kind = bytes.TakeBelow(10);
        CEntityMap::SEntry* const entry = map.Find(bytes.TakeBelow(8));
        if (kind <= 1 || entry == nullptr)
        {
            const std::vector<LqVector3f> points = TakePoints(bytes);
            const LqMatrix4Rd trafo = TakeTrafo(bytes);
            map.Insert(points, trafo, TakeMask(bytes, points.size()), bytes.Take<std::uint8_t>());
        }
        else if (kind == 2)
        {
            entry->trafo = TakeTrafo(bytes);
        }
        else if (kind == 3)
        {
            entry->mask = TakeMask(bytes, entry->points.size());
        }
        else if (kind == 4)
        {
            entry->hasValue = !entry->hasValue;
        }
        else if (kind == 5)
        {
            map.Remove(entry);
        }
        else if (kind == 6)
        {
            entry->entity = entry->entity == nullptr ? CEntityMap::MakeOtherEntity() : nullptr;
            entry->points.clear();
        }
        else if (kind == 7)
        {
            RemoveSmallComponents(bytes, map);
        }
        else
        {
            Cut(bytes, map, kind == 8);
        }
    }
}

}  // namespace Fuzzing
