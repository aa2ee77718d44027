#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Base/Interfaces/SRegionSelectionInfo.h"

/// What the benchmarks of a cut classify: the surfels of a scan under a lasso.
struct SCutScene
{
    std::uint32_t count;
    std::size_t stride;
    bool isShuffled;
    int percentPainted;  ///< Of the view.

    /// As benchmarks call it.
    [[nodiscard]] std::string GetName() const;

    /// Valid until those of another scene are asked for: the last ones are kept, for the forms that
    /// follow.
    [[nodiscard]] const std::vector<std::byte>& GetPositions() const;

    [[nodiscard]] std::shared_ptr<const Base::SRegionSelectionInfo> MakeSelection() const;

    /// A view of GetPositions(), and no longer valid than they.
    template <typename View>
    [[nodiscard]] std::shared_ptr<const View> MakeView() const
    {
        return std::make_shared<const View>(nullptr, count, GetPositions().data(), stride);
    }
};
