#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "DataLayer/Base3D/PointCloudEditing/CCutWithPixelMaskSyncableEntityCollectionModifyOperation.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/EntityBatches.h"
#include "Tests/Support/Selections.h"

namespace DataLayer
{

inline constexpr std::uint32_t c_cutViewSize = 8;

/// In the middle of the view, under the paint.
inline constexpr LqVector3f c_inside{0.0F, 0.0F, 0.5F};
/// Beyond the right edge of the view.
inline constexpr LqVector3f c_outside{3.0F, 0.0F, 0.5F};

inline std::shared_ptr<const Base::SRegionSelectionInfo> MakeCutSelection()
{
    return TestSupport::MakeFullyPaintedDeviceSelection(c_cutViewSize, c_cutViewSize);
}

/// What a cut with a fully painted view and no further matrix needs.
class CutOperationTest : public ::testing::Test
{
protected:
    using Operation = CCutWithPixelMaskSyncableEntityCollectionModifyOperation;
    using Message = Base::CEntityMapModifyMessage;

    Operation m_operation{MakeCutSelection(), c_matIdentityD};

    /// An entity with one surfel under the paint, that is, one that is cut.
    TestSupport::SMockEntity m_cut{{c_inside}};
    /// An entity that misses the view.
    TestSupport::SMockEntity m_missed{{c_outside}};
    /// Words without anything to freeze.
    std::shared_ptr<const Base::CSurfelCollectionMask> m_noFlags =
        TestSupport::MakeSurfelMask(TestSupport::MakeWords({0}));
    /// Words with an outlier bit to freeze.
    std::shared_ptr<const Base::CSurfelCollectionMask> m_outlier =
        TestSupport::MakeSurfelMask(TestSupport::MakeWords({1}));

    [[nodiscard]] std::vector<Message> messagesOf(const Base::CEntityMapSyncBatch& batch) const
    {
        return m_operation.ComputeModifications(batch).messages;
    }

    /// The new mask of a batch of one entry, empty when nothing changed.
    [[nodiscard]] TestSupport::Words newWordsOf(const Base::CEntityMapSyncEntry& entry) const
    {
        const std::vector<Message> messages = messagesOf(TestSupport::MakeBatch(entry));
        return messages.empty()
                   ? TestSupport::Words()
                   : TestSupport::WordsOf(messages.front().GetNewState().mask.GetValue());
    }
};

}  // namespace DataLayer
