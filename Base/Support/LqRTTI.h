#pragma once

/// The run-time type record of a class: its name and the record of its base, null for a root.
///
/// One record per class, with static lifetime; two records stand for the same class when they are
/// the same object.
struct LqRTTI
{
    const wchar_t* className = L"";
    const LqRTTI* base = nullptr;

    /// True when this record's class is \p other's or derives from it.
    [[nodiscard]] bool IsDerivedFrom(const LqRTTI& other) const
    {
        for (const LqRTTI* record = this; record != nullptr; record = record->base)
        {
            if (record == &other)
            {
                return true;
            }
        }
        return false;
    }
};
