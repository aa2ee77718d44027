#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <span>
#include <vector>

#include "Base/Math/LqMatrix4R.h"
#include "Base/Math/LqVector3f.h"

namespace Oracle
{

/// The random choices of one case: the same ones for the same seed, kind and index on every machine
/// and with every compiler, whichever other cases are made. For this to hold no expression makes
/// two of them in an order that the language leaves open.
class CCaseRandom
{
public:
    CCaseRandom(std::uint64_t seed, std::uint64_t kind, std::uint64_t index);

    /// Every third case is made of directed floats where others have plain ones.
    [[nodiscard]] bool IsDirected() const { return m_isDirected; }

    /// Any 64 bits.
    [[nodiscard]] std::uint64_t Bits();

    /// A number from 0 to \p count - 1.
    [[nodiscard]] std::uint32_t Below(std::uint32_t count);

    /// True once in \p count times.
    [[nodiscard]] bool OneIn(std::uint32_t count) { return Below(count) == 0; }

    /// A number from \p low to \p high; mostly of few digits, so that ties occur.
    [[nodiscard]] float Between(float low, float high);

    /// A float of the kinds at which arithmetic errs: NaN, infinities, zeros of both signs,
    /// subnormals, the largest ones, the limits of integers and their neighbours, any bits.
    [[nodiscard]] float DirectedFloat();

    /// A double of these kinds, and of those that round to a float in a special way.
    [[nodiscard]] double DirectedDouble();

    /// The bits of the directed floats and doubles so far, all as doubles; of a double that is no
    /// float, its float's as well. All NaNs are one. Numbers that stand for borders elsewhere, such
    /// as small integers and their neighbours, and any bits are left out.
    [[nodiscard]] const std::set<std::uint64_t>& GetDirectedBits() const { return m_directedBits; }

    /// The bits with which a value is known to GetDirectedBits().
    [[nodiscard]] static std::uint64_t BitsOf(double value);

    /// \p value, moved by up to two steps of its representation in some direction.
    [[nodiscard]] float Nudged(float value);

    /// Between() or, now and then in a directed case, DirectedFloat().
    [[nodiscard]] float Coordinate(float low, float high);

    /// A point with such coordinates.
    [[nodiscard]] LqVector3f Point(float low, float high);

    /// \p point, with a directed float in one component if this is a directed case without any yet.
    [[nodiscard]] LqVector3f WithDirected(LqVector3f point);

    /// An affine, projective or arbitrary transform; with directed elements in directed cases.
    [[nodiscard]] LqMatrix4Rd Transform();

    /// One of \p choices.
    template <typename T>
    [[nodiscard]] T OneOf(std::initializer_list<T> choices)
    {
        return choices.begin()[Below(static_cast<std::uint32_t>(choices.size()))];
    }

private:
    [[nodiscard]] float chooseDirectedFloat();
    [[nodiscard]] double chooseDirectedDouble();
    void remember(double value);

    std::uint64_t m_state;
    bool m_isDirected;
    std::set<std::uint64_t> m_directedBits;
};

}  // namespace Oracle
