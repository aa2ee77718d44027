#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "Base/Interfaces/SRegionSelectionInfo.h"
#include "DataLayer/Base3D/PointCloudEditing/SFuserContent.h"
#include "Fuzz/Support/CEntityMap.h"

namespace Fuzzing
{

/// What an operation has to answer.
struct SExpectedBatch
{
    using Words = std::vector<Base::CSurfelBitMask>;

    struct SMessage
    {
        CEntityMap::SEntry entry;
        /// Absent where the mask stays the one that it is.
        std::optional<Words> newWords;
    };

    const wchar_t* origin = L"";
    /// Whether messages carry the whole value, and not only what the operation is about.
    bool areWhole = false;
    std::vector<SMessage> messages;
    std::uint32_t numModified = 0;

    /// Fails unless \p answer is just this.
    void RequireSame(const Base::CEntityMapModifyBatch& answer) const;
};

/// The answer of the cut operation to all entries of a map, in the plainest form and without code
/// of the operation's; absent when it has to fail because an entry has no value.
[[nodiscard]] std::optional<SExpectedBatch> AnswerCut(const CEntityMap& map,
                                                      const Base::SRegionSelectionInfo& selection,
                                                      const LqMatrix4Rd& matrix);

/// The same of the small-component operation. Of \p content only the packets are read, the points
/// of its blocks are \p mainPoints and \p smallPoints.
[[nodiscard]] std::optional<SExpectedBatch> AnswerSmallComponents(
    const CEntityMap& map, const DataLayer::SFuserContent& content,
    const std::vector<LqVector3f>& mainPoints, const std::vector<LqVector3f>& smallPoints);

}  // namespace Fuzzing
