#pragma once

#include "DataLayer/PointCloud/Kernels/NearestNeighborKernels.h"

// Included by each kernel's source once. The unnamed namespace keeps what is compiled for one
// instruction set out of the others' code.
namespace DataLayer::NearestNeighbor
{
namespace
{

/// Searches a tree with the vectors of one instruction set, nearest box first.
///
/// The search is exact in float although it skips boxes. The distance to a box takes the same
/// operations in the same order as the distance to a point, with d = max(low - q, q - high, 0) in
/// place of d = q - p. Rounding is monotone: if low <= p then low - q <= p - q still holds after
/// both were rounded, likewise q - high <= q - p, and so box d <= |point d| on every axis;
/// squaring, adding and rounding values that are not negative keeps that order. So no point of a
/// box is ever nearer, in float, than the box. Overflow to infinity and underflow to 0 are
/// roundings like any other.
///
/// \tparam Vector one register of `c_width` floats and the operations on it. `Max(a, b)` is b where
/// one of them is NaN, so that the NaN bounds of a slot without a child give a NaN distance.
template <typename Vector>
class TSearch
{
public:
    TSearch(const STree& tree, const float* query, SNeighbor limit)
        : m_tree(tree),
          m_query{Vector::Set(query[0]), Vector::Set(query[1]), Vector::Set(query[2])},
          m_nearest(limit)
    {}

    SNeighbor Run()
    {
        visitNode(m_tree.topLevel, 0);
        return m_nearest;
    }

private:
    using Register = typename Vector::Register;
    static constexpr std::uint32_t c_width = Vector::c_width;
    static constexpr std::uint32_t c_pieces = c_fanOut / c_width;

    /// The squared distances of the sixteen slots of a node or a leaf.
    struct SDistances
    {
        Register pieces[c_pieces];
    };

    /// Calls itself once per level, so at most c_maximumLevels deep.
    void visitNode(std::uint32_t level, std::uint32_t nodeNumber)
    {
        const SNode& node = m_tree.levels[level][nodeNumber];
        const SDistances distances = boxDistances(node);
        std::uint32_t slots = (1U << c_fanOut) - 1U;
        while ((slots &= slotsBeforeNearest(distances, node.lowestIndex)) != 0)
        {
            const std::uint32_t slot = nearestSlot(distances, slots);
            slots &= ~(1U << slot);
            const std::uint32_t child = nodeNumber * c_fanOut + slot;
            if (level == 1)
            {
                visitLeaf(child);
            }
            else
            {
                visitNode(level - 1, child);
            }
        }
    }

    void visitLeaf(std::uint32_t leafNumber)
    {
        const SLanes& points = m_tree.leaves[leafNumber].lanes;
        const SDistances distances = pointDistances(points);
        const std::uint32_t slots = slotsBeforeNearest(distances, points.index);
        if (slots == 0)
        {
            return;
        }
        // Of equally near points the first slot has the lowest index.
        const Register least = leastDistance(distances, slots);
        const std::uint32_t slot = firstSlot(slots & slotsEqual(distances, least));
        m_nearest = {Vector::First(least), points.index[slot]};
    }

    SDistances boxDistances(const SNode& node) const
    {
        const Register zero = Vector::Set(0.0F);
        SDistances distances;
        for (std::uint32_t piece = 0; piece < c_pieces; ++piece)
        {
            Register squares[3];
            for (std::uint32_t axis = 0; axis < 3; ++axis)
            {
                const Register below =
                    Vector::Subtract(Vector::Load(node.low[axis] + piece * c_width), m_query[axis]);
                const Register above = Vector::Subtract(
                    m_query[axis], Vector::Load(node.high[axis] + piece * c_width));
                const Register outside = Vector::Max(zero, Vector::Max(below, above));
                squares[axis] = Vector::Multiply(outside, outside);
            }
            distances.pieces[piece] = Vector::Add(Vector::Add(squares[0], squares[1]), squares[2]);
        }
        return distances;
    }

    SDistances pointDistances(const SLanes& points) const
    {
        SDistances distances;
        for (std::uint32_t piece = 0; piece < c_pieces; ++piece)
        {
            Register squares[3];
            for (std::uint32_t axis = 0; axis < 3; ++axis)
            {
                const Register difference = Vector::Subtract(
                    m_query[axis], Vector::Load(points.position[axis] + piece * c_width));
                squares[axis] = Vector::Multiply(difference, difference);
            }
            distances.pieces[piece] = Vector::Add(Vector::Add(squares[0], squares[1]), squares[2]);
        }
        return distances;
    }

    /// The slots, one bit each, that may hold or are a neighbour before the nearest one so far.
    std::uint32_t slotsBeforeNearest(const SDistances& distances,
                                     const std::uint32_t* lowestIndex) const
    {
        const Register nearest = Vector::Set(m_nearest.squaredDistance);
        std::uint32_t slots = 0;
        for (std::uint32_t piece = 0; piece < c_pieces; ++piece)
        {
            slots |= Vector::Less(distances.pieces[piece], nearest) << (piece * c_width);
        }
        std::uint32_t ties = slotsEqual(distances, nearest);
        while (ties != 0)
        {
            const std::uint32_t slot = firstSlot(ties);
            ties &= ties - 1U;
            if (lowestIndex[slot] < m_nearest.index)
            {
                slots |= 1U << slot;
            }
        }
        return slots;
    }

    static std::uint32_t slotsEqual(const SDistances& distances, Register distance)
    {
        std::uint32_t slots = 0;
        for (std::uint32_t piece = 0; piece < c_pieces; ++piece)
        {
            slots |= Vector::Equal(distances.pieces[piece], distance) << (piece * c_width);
        }
        return slots;
    }

    /// The least distance of the given slots, of which there is at least one, in every lane.
    static Register leastDistance(const SDistances& distances, std::uint32_t slots)
    {
        Register least = Vector::KeepOrInfinity(distances.pieces[0], slots);
        for (std::uint32_t piece = 1; piece < c_pieces; ++piece)
        {
            least = Vector::Min(
                least, Vector::KeepOrInfinity(distances.pieces[piece], slots >> (piece * c_width)));
        }
        return Vector::LeastLane(least);
    }

    static std::uint32_t nearestSlot(const SDistances& distances, std::uint32_t slots)
    {
        if ((slots & (slots - 1U)) == 0)
        {
            return firstSlot(slots);
        }
        return firstSlot(slots & slotsEqual(distances, leastDistance(distances, slots)));
    }

    static std::uint32_t firstSlot(std::uint32_t slots)
    {
        return static_cast<std::uint32_t>(__builtin_ctz(slots));
    }

    const STree& m_tree;
    Register m_query[3];
    SNeighbor m_nearest;
};

}  // namespace
}  // namespace DataLayer::NearestNeighbor
