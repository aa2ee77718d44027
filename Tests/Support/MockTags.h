#pragma once

#include <atomic>
#include <cstdint>
#include <functional>

#include "Base/Interfaces/ISkeletonEntityTag.h"
#include "Tests/Support/MockCalls.h"

namespace TestSupport
{

/// What a tag needs to be serialisable; none of it is expected to be asked for.
template <typename Interface>
class TMockTag : public Interface
{
public:
    [[nodiscard]] const LqRTTI& GetRTTI() const override
    {
        static const LqRTTI rtti{L"TMockTag", nullptr};
        return rtti;
    }
    [[nodiscard]] const wchar_t* GetClassNameW() const override { return L"TMockTag"; }
    void Serialize(Base::IVekoStreamWrite& /*stream*/) const override {}
    void Serialize(Base::IVekoStreamRead& /*stream*/) override {}
};

/// A skeleton tag with the answer it was made with.
class CMockSkeletonTag : public TMockTag<Base::ISkeletonEntityTag>
{
public:
    explicit CMockSkeletonTag(std::int32_t answer) : m_answer(answer) {}

    /// Called first by IsSkeletonEntity(); it may throw.
    std::function<void()> onIsSkeletonEntity;

    mutable std::atomic<unsigned> numIsSkeletonEntityCalls = 0;

    [[nodiscard]] std::int32_t IsSkeletonEntity() const override
    {
        OnMockCall();
        ++numIsSkeletonEntityCalls;
        if (onIsSkeletonEntity)
        {
            onIsSkeletonEntity();
        }
        return m_answer;
    }

private:
    std::int32_t m_answer;
};

/// A tag of another kind.
class CMockOtherTag : public TMockTag<Base::IVekoSerializable>
{};

}  // namespace TestSupport
