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
/// The search is exact in float although it skips boxes. The distance to a box is that to its place
/// nearest to the query, by the same operations in the same order as the distance to a point.
/// Rounding is monotone: a point p of a box that lies wholly on one side of q on some axis, say
/// q <= low <= p, has |q - low| <= |q - p| there also after both differences were rounded; on every
/// other axis the box's difference is 0. Squaring, adding and rounding values that are not negative
/// keeps that order. So no point of a box is ever nearer, in float, than the box. Overflow to
/// infinity and underflow to 0 are roundings like any other.
///
/// \tparam Vector one register of `c_width` floats and the operations on it. `Max(a, b)` and
/// `Min(a, b)` are b where one of them is NaN, so that the NaN bounds of a slot without a child
/// give a NaN distance.
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
        for (std::uint32_t root = 0; root < m_tree.numRoots; ++root)
        {
            visitRoot(root);
        }
        return m_nearest;
    }

private:
    using Register = typename Vector::Register;
    static constexpr std::size_t c_width = Vector::c_width;
    static constexpr std::size_t c_pieces = c_fanOut / c_width;

    /// The squared distances of the sixteen slots of a node or a leaf.
    struct SDistances
    {
        Register pieces[c_pieces];
    };

    /// A node on the way to the root and those of its slots that are still to be visited.
    struct SPending
    {
        SDistances distances;
        std::uint32_t slots;
    };

    void visitRoot(std::uint32_t number)
    {
        std::uint32_t level = m_tree.topLevel;
        while (true)
        {
            const SNode& node = m_tree.levels[level][number];
            SPending& pending = m_pending[level];
            pending.distances = boxDistances(node);
            pending.slots = slotsBeforeNearest(pending.distances, node.lowestIndex);
            if (level == 1)
            {
                visitLeaves(number);
            }
            while (m_pending[level].slots == 0)
            {
                if (level == m_tree.topLevel)
                {
                    return;
                }
                ++level;
                number /= c_fanOut;
                dropFartherSlots(level, number);
            }
            number = number * c_fanOut + takeNearestSlot(m_pending[level]);
            --level;
        }
    }

    void visitLeaves(std::uint32_t parentNumber)
    {
        SPending& pending = m_pending[1];
        while (pending.slots != 0)
        {
            visitLeaf(parentNumber * c_fanOut + takeNearestSlot(pending));
            dropFartherSlots(1, parentNumber);
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
        const Register least = leastDistance(distances, slots);
        std::uint32_t ties = slots & slotsEqual(distances, least);
        std::uint32_t index = points.index[firstSlot(ties)];
        while ((ties &= ties - 1U) != 0)
        {
            const std::uint32_t other = points.index[firstSlot(ties)];
            index = other < index ? other : index;
        }
        m_nearest = {Vector::First(least), index};
    }

    /// Forgets the pending slots of a node that the nearest point so far has ruled out since.
    void dropFartherSlots(std::uint32_t level, std::uint32_t number)
    {
        SPending& pending = m_pending[level];
        if (pending.slots != 0)
        {
            const SNode& node = m_tree.levels[level][number];
            pending.slots &= slotsBeforeNearest(pending.distances, node.lowestIndex);
        }
    }

    static std::uint32_t takeNearestSlot(SPending& pending)
    {
        std::uint32_t nearest = pending.slots;
        if ((nearest & (nearest - 1U)) != 0)
        {
            // Mostly the query lies in one of the boxes, which is quicker to tell than the least.
            const std::uint32_t around = nearest & slotsEqual(pending.distances, Vector::Set(0.0F));
            nearest = around != 0 ? around
                                  : nearest & slotsEqual(pending.distances,
                                                         leastDistance(pending.distances, nearest));
        }
        const std::uint32_t slot = firstSlot(nearest);
        pending.slots &= ~(1U << slot);
        return slot;
    }

    SDistances boxDistances(const SNode& node) const
    {
        SDistances distances;
        for (std::size_t piece = 0; piece < c_pieces; ++piece)
        {
            Register squares[3];
            for (std::uint32_t axis = 0; axis < 3; ++axis)
            {
                const Register place = Vector::Min(
                    Vector::Max(m_query[axis], Vector::Load(node.low[axis] + piece * c_width)),
                    Vector::Load(node.high[axis] + piece * c_width));
                squares[axis] = squaredDifference(m_query[axis], place);
            }
            distances.pieces[piece] = Vector::Add(Vector::Add(squares[0], squares[1]), squares[2]);
        }
        return distances;
    }

    SDistances pointDistances(const SLanes& points) const
    {
        SDistances distances;
        for (std::size_t piece = 0; piece < c_pieces; ++piece)
        {
            Register squares[3];
            for (std::uint32_t axis = 0; axis < 3; ++axis)
            {
                const Register place = Vector::Load(points.position[axis] + piece * c_width);
                squares[axis] = squaredDifference(m_query[axis], place);
            }
            distances.pieces[piece] = Vector::Add(Vector::Add(squares[0], squares[1]), squares[2]);
        }
        return distances;
    }

    static Register squaredDifference(Register a, Register b)
    {
        const Register difference = Vector::Subtract(a, b);
        return Vector::Multiply(difference, difference);
    }

    /// The slots, one bit each, that may hold or are a neighbour before the nearest one so far.
    std::uint32_t slotsBeforeNearest(const SDistances& distances,
                                     const std::uint32_t* lowestIndex) const
    {
        const Register nearest = Vector::Set(m_nearest.squaredDistance);
        std::uint32_t slots = 0;
        for (std::size_t piece = 0; piece < c_pieces; ++piece)
        {
            slots |= Vector::NotGreater(distances.pieces[piece], nearest) << (piece * c_width);
        }
        // Before the first neighbour is found, every index stands before the limit's.
        if (slots == 0 || m_nearest.index == c_noIndex)
        {
            return slots;
        }
        for (std::uint32_t ties = slotsEqual(distances, nearest); ties != 0; ties &= ties - 1U)
        {
            const std::uint32_t slot = firstSlot(ties);
            if (lowestIndex[slot] >= m_nearest.index)
            {
                slots &= ~(1U << slot);
            }
        }
        return slots;
    }

    static std::uint32_t slotsEqual(const SDistances& distances, Register distance)
    {
        std::uint32_t slots = 0;
        for (std::size_t piece = 0; piece < c_pieces; ++piece)
        {
            slots |= Vector::Equal(distances.pieces[piece], distance) << (piece * c_width);
        }
        return slots;
    }

    /// The least distance of the given slots, of which there is at least one, in every lane.
    static Register leastDistance(const SDistances& distances, std::uint32_t slots)
    {
        Register least = Vector::KeepOrInfinity(distances.pieces[0], slots);
        for (std::size_t piece = 1; piece < c_pieces; ++piece)
        {
            least = Vector::Min(
                least, Vector::KeepOrInfinity(distances.pieces[piece], slots >> (piece * c_width)));
        }
        return Vector::LeastLane(least);
    }

    static std::uint32_t firstSlot(std::uint32_t slots)
    {
        return static_cast<std::uint32_t>(__builtin_ctz(slots));
    }

    const STree& m_tree;
    Register m_query[3];
    SNeighbor m_nearest;
    SPending m_pending[c_maximumLevels];
};

}  // namespace
}  // namespace DataLayer::NearestNeighbor
