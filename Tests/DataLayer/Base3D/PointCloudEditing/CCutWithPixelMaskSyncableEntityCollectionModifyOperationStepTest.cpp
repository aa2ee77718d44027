#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "Tests/DataLayer/Base3D/PointCloudEditing/CCutWithPixelMaskSyncableEntityCollectionModifyOperationTestPeer.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/CutOperationTest.h"

namespace DataLayer
{
namespace
{

using namespace TestSupport;
using Peer = CCutWithPixelMaskSyncableEntityCollectionModifyOperationTestPeer;

/// The two steps on a packet of their own.
class CutOperationStepTest : public CutOperationTest
{
protected:
    CCutPointCloudWithPixelMask m_cutter{MakeCutSelection()};

    [[nodiscard]] Peer::OptionalPacket cut(const Base::CGeometricEntityPacket& packet) const
    {
        return Peer::CutPacket(m_operation, packet, m_cutter);
    }

    [[nodiscard]] Peer::OptionalPacket freeze(Words words) const
    {
        return Peer::FreezeOutlierBits(
            m_operation,
            Base::CGeometricEntityPacket(nullptr, c_matIdentityD, MakeSurfelMask(words), 0));
    }

    [[nodiscard]] Words frozenWords(Words words) const
    {
        return WordsOf(freeze(std::move(words)).GetValue().GetSurfelCollectionMask());
    }
};

TEST_F(CutOperationStepTest, CutPacket_NoSurfelUnderThePaintGivesNothing)
{
    const CCutPointCloudWithPixelMask cutter(
        MakeDeviceSelection(c_cutViewSize, c_cutViewSize, {{1, 1}, {6, 6}}));
    EXPECT_FALSE(Peer::CutPacket(
                     m_operation,
                     Base::CGeometricEntityPacket(m_cut.entity, c_matIdentityD, nullptr, 0), cutter)
                     .HasValue());
}

TEST_F(CutOperationStepTest, CutPacket_AllSurfelsCutBeforeGivesNothing)
{
    EXPECT_FALSE(cut(Base::CGeometricEntityPacket(m_cut.entity, c_matIdentityD,
                                                  MakeSurfelMask(MakeWords({8})), 0))
                     .HasValue());
}

TEST_F(CutOperationStepTest, CutPacket_EmptyMaskPointerStartsFromNoFlags)
{
    const SMockEntity entity({c_inside, c_outside});
    const auto packet =
        cut(Base::CGeometricEntityPacket(entity.entity, c_matIdentityD, nullptr, 0));
    EXPECT_EQ(WordsOf(packet.GetValue().GetSurfelCollectionMask()), MakeWords({8, 0}));
}

TEST_F(CutOperationStepTest, CutPacket_AbsentMaskStartsFromNoFlags)
{
    const SMockEntity entity({c_inside, c_outside});
    const auto packet =
        cut(Base::CGeometricEntityPacket(entity.entity, 0).WithTrafo(c_matIdentityD));
    EXPECT_EQ(WordsOf(packet.GetValue().GetSurfelCollectionMask()), MakeWords({8, 0}));
    EXPECT_TRUE(packet.GetValue().HasSurfelCollectionMask());
}

TEST_F(CutOperationStepTest, CutPacket_AbsentTrafoIsReadAsItIs)
{
    EXPECT_FALSE(cut(Base::CGeometricEntityPacket(m_cut.entity, 0)).HasValue());
}

TEST_F(CutOperationStepTest, CutPacket_KeepsOtherFlagsAndTheOldMask)
{
    const SMockEntity entity({c_inside, c_outside});
    const auto mask = MakeSurfelMask(MakeWords({0x8011, 0x4020}));
    const auto packet = cut(Base::CGeometricEntityPacket(entity.entity, c_matIdentityD, mask, 0));
    EXPECT_EQ(WordsOf(packet.GetValue().GetSurfelCollectionMask()), MakeWords({0x8019, 0x4020}));
    EXPECT_EQ(WordsOf(mask), MakeWords({0x8011, 0x4020}));
}

TEST_F(CutOperationStepTest, CutPacket_KeepsEntityTrafoAndOptimizationLevel)
{
    const LqMatrix4Rd trafo = MakeTranslation(0.25, 0.0, 0.0);
    const auto packet = cut(Base::CGeometricEntityPacket(m_cut.entity, trafo, nullptr, 7));
    EXPECT_EQ(packet.GetValue().GetEntity(), m_cut.entity);
    EXPECT_EQ(packet.GetValue().GetTrafo(), trafo);
    EXPECT_EQ(packet.GetValue().GetOptimizationLevel(), 7);
}

TEST_F(CutOperationStepTest, Freeze_AbsentMaskGivesNothing)
{
    EXPECT_FALSE(
        Peer::FreezeOutlierBits(m_operation, Base::CGeometricEntityPacket(nullptr, 0)).HasValue());
}

TEST_F(CutOperationStepTest, Freeze_EmptyMaskPointerGivesNothing)
{
    EXPECT_FALSE(Peer::FreezeOutlierBits(
                     m_operation, Base::CGeometricEntityPacket(nullptr, c_matIdentityD, nullptr, 0))
                     .HasValue());
}

TEST_F(CutOperationStepTest, Freeze_MaskWithoutWordsGivesNothing)
{
    EXPECT_FALSE(freeze({}).HasValue());
}

TEST_F(CutOperationStepTest, Freeze_EachOutlierBitIsFrozen)
{
    EXPECT_EQ(frozenWords(MakeWords({1, 2, 4, 7})), MakeWords({0x0101, 0x0102, 0x0104, 0x0107}));
}

TEST_F(CutOperationStepTest, Freeze_WordsWithoutOutlierBitOrFrozenBeforeGiveNothing)
{
    EXPECT_FALSE(freeze(MakeWords({0x0000, 0x0008, 0x0100, 0x0105})).HasValue());
}

TEST_F(CutOperationStepTest, Freeze_CutOutlierKeepsItsCut)
{
    EXPECT_EQ(frozenWords(MakeWords({0x0009})), MakeWords({0x0109}));
}

TEST_F(CutOperationStepTest, Freeze_OnlyTheLastOfManyWords)
{
    for (std::size_t count = 1; count < 70; ++count)
    {
        Words words(count, {0x0008});
        words.back() = {0x0002};
        Words expected = words;
        expected.back() = {0x0102};
        EXPECT_EQ(frozenWords(words), expected) << count;
    }
}

TEST_F(CutOperationStepTest, Freeze_OfItsOwnResultGivesNothing)
{
    const auto frozen = freeze(MakeWords({1, 0, 8}));
    EXPECT_FALSE(Peer::FreezeOutlierBits(m_operation, frozen.GetValue()).HasValue());
}

TEST_F(CutOperationStepTest, Freeze_AddsNothingButTheFrozenBitToAnyWord)
{
    Words words(65536);
    Words expected(65536);
    for (std::uint32_t bits = 0; bits < 65536; ++bits)
    {
        words[bits].bits = static_cast<std::uint16_t>(bits);
        expected[bits].bits = static_cast<std::uint16_t>(bits % 8 != 0 ? bits | 256U : bits);
    }
    EXPECT_EQ(frozenWords(words), expected);
}

TEST_F(CutOperationStepTest, Freeze_KeepsEntityTrafoOptimizationLevelAndTheOldMask)
{
    const LqMatrix4Rd trafo = MakeTranslation(1.0, 2.0, 3.0);
    const auto packet = Peer::FreezeOutlierBits(
        m_operation, Base::CGeometricEntityPacket(m_cut.entity, trafo, m_outlier, 7));
    EXPECT_EQ(packet.GetValue().GetEntity(), m_cut.entity);
    EXPECT_EQ(packet.GetValue().GetTrafo(), trafo);
    EXPECT_EQ(packet.GetValue().GetOptimizationLevel(), 7);
    EXPECT_EQ(WordsOf(m_outlier), MakeWords({1}));
}

}  // namespace
}  // namespace DataLayer
