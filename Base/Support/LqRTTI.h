#pragma once

/// The run-time type record of a class: its name and the record of its base, null for a root.
///
/// One record per class, with static lifetime; two records stand for the same class when they are
/// the same object.
struct LqRTTI
{
    const wchar_t* className = L"";
    const LqRTTI* base = nullptr;
};
