// The operation against the plainest restatement of it, on random batches.

#include <gtest/gtest.h>
#include <tbb/task_arena.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <random>
#include <utility>
#include <vector>

#include "Base/Interfaces/IPointCloudSupport.h"
#include "DataLayer/Base3D/PointCloudEditing/CCutWithPixelMaskSyncableEntityCollectionModifyOperation.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/EntityBatches.h"
#include "Tests/Support/MockTags.h"
#include "Tests/Support/ReferenceCut.h"
#include "Tests/Support/Selections.h"

namespace DataLayer
{
namespace
{

using namespace TestSupport;

using Operation = CCutWithPixelMaskSyncableEntityCollectionModifyOperation;
using Selection = std::shared_ptr<const Base::SRegionSelectionInfo>;

constexpr std::uint32_t c_width = 13;
constexpr std::uint32_t c_height = 11;

/// An entry with what the restatement needs to know of it.
struct SCase
{
    Base::CEntityMapSyncEntry entry;
    std::shared_ptr<CMockGeometricEntity> entity;
    std::vector<LqVector3f> positions;
    bool isSkeleton = false;
};

/// Draws selections and entries of all kinds.
class CGenerator
{
public:
    explicit CGenerator(std::uint32_t seed) : m_random(seed) {}

    Selection MakeSelection()
    {
        std::vector<std::uint8_t> mask(c_width * c_height);
        // From nothing painted to nearly everything.
        const double share = real(0.0, 1.0) * real(0.0, 1.0);
        for (std::uint8_t& pixel : mask)
        {
            pixel = chance(share) ? 1 : static_cast<std::uint8_t>(chance(0.2) ? 255 : 0);
        }
        return Base::MakeRegionSelection(LqMatrix4Rf(MakeTrafo()), LqMatrix4Rf(c_matIdentityD),
                                         LqMatrix4Rf(MakeScale(0.7, 0.7, 0.5)), mask, c_width,
                                         c_height);
    }

    LqMatrix4Rd MakeTrafo()
    {
        LqMatrix4Rd trafo = c_matIdentityD;
        for (std::size_t row = 0; row < 4; ++row)
        {
            for (std::size_t column = 0; column < 3; ++column)
            {
                trafo(row, column) += real(-0.4, 0.4);
            }
        }
        trafo(0, 3) = chance(0.3) ? real(-0.3, 0.3) : 0.0;
        return trafo;
    }

    /// \p changingShare of the entries may have outlier bits or lie in view.
    SCase MakeCase(double changingShare)
    {
        const bool mayChange = chance(changingShare);
        SCase made;
        Base::CEntityMapValue value;
        value.trafo = mayChange ? MakeTrafo() : MakeTranslation(50.0, 0.0, 0.0);
        value.optimizationLevel = static_cast<int>(number(5)) - 2;
        value.flag = chance(0.5);
        value.reserved = m_random();
        if (!chance(0.1))
        {
            addEntity(made);
            value.entity = made.entity;
        }
        if (chance(0.7))
        {
            value.mask = MakeSurfelMask(makeWords(made.positions.size(), mayChange));
        }
        made.entry.value = value;
        return made;
    }

    std::size_t number(std::size_t count)
    {
        return std::uniform_int_distribution<std::size_t>(0, count - 1)(m_random);
    }

private:
    bool chance(double share) { return real(0.0, 1.0) < share; }
    double real(double low, double high)
    {
        return std::uniform_real_distribution<double>(low, high)(m_random);
    }

    void addEntity(SCase& made)
    {
        made.positions.resize(number(4) == 0 ? number(3) : number(60));
        for (LqVector3f& position : made.positions)
        {
            position = {static_cast<float>(real(-1.0, 1.0)), static_cast<float>(real(-1.0, 1.0)),
                        static_cast<float>(real(-1.0, 1.0))};
        }
        made.entity = SMockEntity(made.positions).entity;
        switch (number(6))
        {
            case 0:
                made.entity->tags["ISkeletonEntityTag"] = std::make_shared<CMockSkeletonTag>(-1);
                made.isSkeleton = true;
                break;
            case 1:
                made.entity->tags["ISkeletonEntityTag"] = std::make_shared<CMockSkeletonTag>(0);
                break;
            case 2:
                made.entity->tags["ISkeletonEntityTag"] = std::make_shared<CMockOtherTag>();
                break;
            default:
                break;
        }
    }

    Words makeWords(std::size_t count, bool mayHaveOutliers)
    {
        Words words(chance(0.2) ? 0 : count);
        for (Base::CSurfelBitMask& word : words)
        {
            word.bits = static_cast<std::uint16_t>(
                mayHaveOutliers && chance(0.1) ? number(65536) : number(65536) & 0xFFF8U);
        }
        return words;
    }

    std::mt19937 m_random;
};

/// trafo x matrix, one element after the other.
LqMatrix4Rd Multiply(const LqMatrix4Rd& a, const LqMatrix4Rd& b)
{
    LqMatrix4Rd product;
    for (std::size_t row = 0; row < 4; ++row)
    {
        for (std::size_t column = 0; column < 4; ++column)
        {
            double sum = a(row, 0) * b(0, column);
            for (std::size_t inner = 1; inner < 4; ++inner)
            {
                sum = sum + a(row, inner) * b(inner, column);
            }
            product(row, column) = sum;
        }
    }
    return product;
}

/// The new words of one entry, absent when it does not change.
std::optional<Words> Restate(const SCase& one, const Base::SRegionSelectionInfo& selection,
                             const LqMatrix4Rd& matrix)
{
    const Base::CEntityMapValue& value = one.entry.value.GetValue();
    Words words = value.mask != nullptr ? WordsOf(value.mask) : Words();
    bool hasChanged = false;
    if (one.entity != nullptr && !one.isSkeleton)
    {
        const Geometry::CBox3D box =
            one.entity->collection->GetPointCloudSupport()->GetBoundingBox().box;
        const SReferenceResult cut = ReferenceCut(selection, one.positions, box.min, box.max, words,
                                                  Multiply(value.trafo, matrix));
        if (cut.hasChanged)
        {
            hasChanged = true;
            words = cut.words;
        }
    }
    for (Base::CSurfelBitMask& word : words)
    {
        if (word.bits % 8 != 0 && word.bits / 256 % 2 == 0)
        {
            word.bits = static_cast<std::uint16_t>(word.bits + 256);
            hasChanged = true;
        }
    }
    return hasChanged ? std::optional(words) : std::nullopt;
}

void ExpectMessage(const Base::CEntityMapModifyMessage& message, const SCase& one,
                   const std::optional<Words>& newWords)
{
    const Base::CEntityMapValue& value = one.entry.value.GetValue();
    EXPECT_EQ(message.kind, Base::CEntityMapModifyMessage::Modify);
    EXPECT_EQ(message.key, one.entry.key);
    for (const auto* const state : {&message.GetOldState(), &message.GetNewState()})
    {
        EXPECT_EQ(state->optimizationLevel.GetValue(), value.optimizationLevel);
        EXPECT_EQ(state->trafo.GetValue(), value.trafo);
        EXPECT_EQ(state->entity.GetValue(), value.entity);
    }
    EXPECT_EQ(message.GetOldState().flag.GetValue(), value.flag);
    EXPECT_FALSE(message.GetNewState().flag.GetValue());
    EXPECT_EQ(message.GetOldState().mask.GetValue(), value.mask);
    if (newWords)
    {
        EXPECT_EQ(WordsOf(message.GetNewState().mask.GetValue()), *newWords);
    }
    else
    {
        EXPECT_EQ(message.GetNewState().mask.GetValue(), value.mask);
    }
}

class CutOperationRandomTest : public ::testing::TestWithParam<std::uint32_t>
{};

TEST_P(CutOperationRandomTest, RandomBatch_IsCutAsRestated)
{
    CGenerator generator(GetParam());
    const Selection selection = generator.MakeSelection();
    const LqMatrix4Rd matrix = generator.MakeTrafo();
    const Operation operation(selection, matrix);
    unsigned numModified = 0;
    for (const double changingShare : {0.0, 0.01, 1.0})
    {
        std::vector<SCase> cases;
        std::vector<Base::CEntityMapSyncEntry> entries;
        std::vector<std::optional<Words>> expected;
        unsigned numExpected = 0;
        for (std::size_t count = generator.number(300); entries.size() < count;)
        {
            cases.push_back(generator.MakeCase(changingShare));
            entries.push_back(cases.back().entry);
            expected.push_back(Restate(cases.back(), *selection, matrix));
            numExpected += expected.back().has_value() ? 1 : 0;
        }
        const Base::CEntityMapModifyBatch batch =
            operation.ComputeModifications(Base::CEntityMapSyncBatch(entries));
        ASSERT_EQ(batch.messages.size(), numExpected != 0 ? entries.size() : 0);
        for (std::size_t index = 0; index < batch.messages.size(); ++index)
        {
            SCOPED_TRACE(index);
            ExpectMessage(batch.messages[index], cases[index], expected[index]);
        }
        numModified += numExpected;
        EXPECT_EQ(operation.GetNumModifiedPackets(), numModified);
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, CutOperationRandomTest, ::testing::Range(0U, 40U));

TEST(CutOperationThreadsTest, Messages_AreTheSameForEveryNumberOfThreads)
{
    CGenerator generator(7);
    const Selection selection = generator.MakeSelection();
    const Operation operation(selection, c_matIdentityD);
    std::vector<SCase> cases;
    std::vector<Base::CEntityMapSyncEntry> entries;
    for (int index = 0; index < 500; ++index)
    {
        cases.push_back(generator.MakeCase(0.5));
        entries.push_back(cases.back().entry);
    }
    for (const int numThreads : {1, 2, 8})
    {
        Base::CEntityMapModifyBatch batch;
        tbb::task_arena(numThreads).execute([&] {
            batch = operation.ComputeModifications(Base::CEntityMapSyncBatch(entries));
        });
        ASSERT_EQ(batch.messages.size(), entries.size());
        for (std::size_t index = 0; index < entries.size(); ++index)
        {
            SCOPED_TRACE(index);
            ExpectMessage(batch.messages[index], cases[index],
                          Restate(cases[index], *selection, c_matIdentityD));
        }
    }
}

}  // namespace
}  // namespace DataLayer
