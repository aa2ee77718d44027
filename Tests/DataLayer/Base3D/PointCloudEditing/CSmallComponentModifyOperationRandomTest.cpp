// The operation against the plainest restatement of it, on random batches.

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <random>
#include <vector>

#include "DataLayer/Base3D/PointCloudEditing/CSmallComponentModifyOperation.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/EntityBatches.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/FuserContents.h"
#include "Tests/Support/Selections.h"

namespace DataLayer
{
namespace
{

using namespace TestSupport;

/// One entry with what the restatement needs to know of it.
struct SCase
{
    Base::CEntityMapSyncEntry entry;
    std::vector<LqVector3f> positions;
    LqMatrix4Rd fuserTrafo;
};

/// Draws contents and entries of all kinds. Coordinates lie on a coarse grid, so that many points
/// are equally near and at exactly the bound.
class CGenerator
{
public:
    explicit CGenerator(std::uint32_t seed) : m_random(seed) {}

    std::vector<LqVector3f> MakePoints(std::size_t maxCount)
    {
        std::vector<LqVector3f> points(number(maxCount));
        for (LqVector3f& point : points)
        {
            point = {coordinate(), coordinate(), coordinate()};
        }
        return points;
    }

    SCase MakeCase(SFuserContent& content)
    {
        SCase made;
        made.positions = MakePoints(40);
        if (!made.positions.empty() && number(8) == 0)
        {
            made.positions.front().y = number(2) == 0 ? std::numeric_limits<float>::quiet_NaN()
                                                      : std::numeric_limits<float>::infinity();
        }
        made.fuserTrafo = MakeTranslation(coordinate(), 0.25, -0.5);
        made.fuserTrafo(3, 3) = number(3) == 0 ? 2.0 : 1.0;
        std::shared_ptr<const Base::CSurfelCollectionMask> mask;
        if (number(5) != 0)
        {
            Words words(number(5) == 0 ? 0 : made.positions.size() + number(3));
            for (Base::CSurfelBitMask& word : words)
            {
                word.bits = static_cast<std::uint16_t>(number(65536));
            }
            mask = MakeSurfelMask(words);
        }
        const SMockEntity entity(made.positions);
        made.entry = MakeEntry(entity.entity, mask, MakeTranslation(100.0, 0.0, 0.0));
        AddToFuser(content, made.entry.key, entity.entity, made.fuserTrafo);
        return made;
    }

    std::size_t number(std::size_t count)
    {
        return std::uniform_int_distribution<std::size_t>(0, count - 1)(m_random);
    }

private:
    float coordinate() { return static_cast<float>(number(41)) * 0.75F - 15.0F; }

    std::mt19937 m_random;
};

bool IsFinite(const LqVector3f& point)
{
    return std::isfinite(point.x) && std::isfinite(point.y) && std::isfinite(point.z);
}

/// The index of the first nearest point within 2.25 units, or the largest number.
std::size_t FindNearest(const std::vector<LqVector3f>& points, const LqVector3f& query)
{
    std::size_t nearest = std::numeric_limits<std::size_t>::max();
    float nearestDistance = std::numeric_limits<float>::infinity();
    for (std::size_t index = 0; IsFinite(query) && index < points.size(); ++index)
    {
        const float x = points[index].x - query.x;
        const float y = points[index].y - query.y;
        const float z = points[index].z - query.z;
        const float distance = (x * x + y * y) + z * z;
        if (distance <= 2.25F * 2.25F && distance < nearestDistance)
        {
            nearest = index;
            nearestDistance = distance;
        }
    }
    return nearest;
}

/// The new words of one entry, absent when it does not change.
std::optional<Words> Restate(const SCase& one, const std::vector<LqVector3f>& fusedPoints,
                             std::size_t numMainPoints)
{
    const auto& mask = one.entry.value.GetValue().mask;
    Words words = mask != nullptr ? WordsOf(mask) : Words();
    if (words.empty())
    {
        words.resize(one.positions.size());
    }
    const Words before = words;
    const auto translation = [&](std::size_t axis) {
        return static_cast<float>(one.fuserTrafo(3, axis));
    };
    for (std::size_t index = 0; index < one.positions.size(); ++index)
    {
        std::uint16_t& bits = words[index].bits;
        if (bits / 16 % 2 == 1)
        {
            continue;
        }
        const LqVector3f& position = one.positions[index];
        const float w = translation(3);
        const std::size_t nearest = FindNearest(
            fusedPoints, {(position.x + translation(0)) / w, (position.y + translation(1)) / w,
                          (position.z + translation(2)) / w});
        bits = static_cast<std::uint16_t>(nearest <= numMainPoints ? bits & 0xFFFDU : bits | 2U);
    }
    return words != before ? std::optional(words) : std::nullopt;
}

class SmallComponentOperationRandomTest : public ::testing::TestWithParam<std::uint32_t>
{};

TEST_P(SmallComponentOperationRandomTest, RandomBatch_IsFlaggedAsRestated)
{
    CGenerator generator(GetParam());
    const auto content = std::make_shared<SFuserContent>();
    std::vector<LqVector3f> fusedPoints;
    const auto addBlocks = [&](auto& blocks) {
        for (std::size_t count = generator.number(5); blocks.size() < count;)
        {
            const std::vector<LqVector3f> points = generator.MakePoints(30);
            fusedPoints.insert(fusedPoints.end(), points.begin(), points.end());
            blocks.push_back(MakePointBlock(points));
        }
    };
    addBlocks(content->mainComponentBlocks);
    const std::size_t numMainPoints = fusedPoints.size();
    addBlocks(content->smallComponentBlocks);

    std::vector<SCase> cases;
    std::vector<Base::CEntityMapSyncEntry> entries;
    for (std::size_t count = generator.number(300); entries.size() < count;)
    {
        cases.push_back(generator.MakeCase(*content));
        entries.push_back(cases.back().entry);
    }
    // Now and then the content does not describe the map, or has nothing to tell.
    const bool isUnknown = generator.number(8) == 0 && !entries.empty();
    if (isUnknown)
    {
        content->packets.erase(entries[generator.number(entries.size())].key);
    }
    const bool isIdle = numMainPoints == 0 || numMainPoints == fusedPoints.size() || isUnknown;

    std::shared_ptr<const SFuserContent> constContent = content;
    const CSmallComponentModifyOperation operation(constContent);
    const Base::CEntityMapModifyBatch batch =
        operation.ComputeModifications(Base::CEntityMapSyncBatch(entries));
    std::size_t numMessages = 0;
    for (std::size_t index = 0; index < cases.size() && !isIdle; ++index)
    {
        SCOPED_TRACE(index);
        const std::optional<Words> expected = Restate(cases[index], fusedPoints, numMainPoints);
        if (expected)
        {
            ASSERT_LT(numMessages, batch.messages.size());
            const Base::CEntityMapModifyMessage& message = batch.messages[numMessages++];
            EXPECT_EQ(message.key, cases[index].entry.key);
            EXPECT_EQ(message.GetOldState().entity.GetValue(),
                      cases[index].entry.value.GetValue().entity);
            EXPECT_EQ(WordsOf(message.GetNewState().mask.GetValue()), *expected);
            EXPECT_TRUE(message.GetNewState().flag.GetValue());
        }
    }
    EXPECT_EQ(batch.messages.size(), numMessages);
}

INSTANTIATE_TEST_SUITE_P(Seeds, SmallComponentOperationRandomTest, ::testing::Range(0U, 40U));

}  // namespace
}  // namespace DataLayer
