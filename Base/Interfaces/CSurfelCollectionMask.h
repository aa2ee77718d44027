#pragma once

#include <vector>

#include "Base/Export.h"
#include "Base/Interfaces/CSurfelBitMask.h"
#include "Base/Interfaces/IVekoSerializable.h"

namespace Base
{

/// The flag words of a collection's surfels, word j belonging to surfel j. No words at all mean
/// that no surfel has flags yet.
///
/// Constant once built, but for reading it from a stream. Safe for concurrent readers.
class VEKO2_BASE_EXPORT CSurfelCollectionMask : public IVekoSerializable
{
public:
    CSurfelCollectionMask() = default;

    /// Takes \p bitMasks over without copying.
    explicit CSurfelCollectionMask(std::vector<CSurfelBitMask>&& bitMasks);
    ~CSurfelCollectionMask() override;

    [[nodiscard]] const std::vector<CSurfelBitMask>& GetBitMasks() const { return m_bitMasks; }

    [[nodiscard]] const LqRTTI& GetRTTI() const override;
    [[nodiscard]] const wchar_t* GetClassNameW() const override;
    void Serialize(IVekoStreamWrite& stream) const override;
    void Serialize(IVekoStreamRead& stream) override;

private:
    std::vector<CSurfelBitMask> m_bitMasks;
};

}  // namespace Base
