#pragma once

#include <memory>
#include <type_traits>
#include <utility>

namespace DataLayer
{

/// An allocator whose vectors grow without writing to the new elements, so that large arrays are
/// written once, by whoever fills them, and by several threads.
///
/// An element that was added without a value holds no defined one until it is assigned.
template <typename T>
struct TUninitializedAllocator : std::allocator<T>
{
    static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>);

    TUninitializedAllocator() = default;
    template <typename U>
    TUninitializedAllocator(const TUninitializedAllocator<U>&) noexcept
    {}
    template <typename U>
    struct rebind
    {
        using other = TUninitializedAllocator<U>;
    };

    template <typename U>
    void construct(U*) noexcept
    {}

    template <typename U, typename... Arguments>
    void construct(U* place, Arguments&&... arguments)
    {
        std::construct_at(place, std::forward<Arguments>(arguments)...);
    }
};

}  // namespace DataLayer
