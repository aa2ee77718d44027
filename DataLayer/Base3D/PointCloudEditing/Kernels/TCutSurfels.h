#pragma once

#include <cstring>

#include "DataLayer/Base3D/PointCloudEditing/Kernels/CutSurfels.h"

// Included by each kernel's source once. The unnamed namespace keeps what is compiled for one
// instruction set out of the others' code.
namespace DataLayer
{
namespace
{

/// Cuts the surfels of a task with the vectors of one instruction set, one surfel to a lane.
///
/// Every surfel goes through the operations of the reference in the same order, each rounded by
/// itself, so that its pixel is the same to the bit. Three things make it fast: the rectangle of
/// the painted pixels stands for the view, so that most groups are done after one coordinate; one
/// bit for each pixel stays in the cache; and the words are copied on the way.
///
/// \tparam Vector a register of `c_width` floats (`Floats`), one of as many flag words (`Words`),
/// and the operations on them. Sets of lanes are integers, bit k for lane k.
template <typename Vector>
class TCutSurfels
{
public:
    explicit TCutSurfels(const SCutSurfelsTask& task)
        : m_task(task),
          m_clipX(task.clipX),
          m_clipY(task.clipY),
          m_clipW(task.clipW),
          m_width(Vector::Set(task.mask->width)),
          m_height(Vector::Set(task.mask->height)),
          m_firstColumn(Vector::Set(static_cast<float>(task.mask->firstColumn))),
          m_endColumn(Vector::Set(static_cast<float>(task.mask->endColumn))),
          m_firstRow(Vector::Set(static_cast<float>(task.mask->firstRow))),
          m_endRow(Vector::Set(static_cast<float>(task.mask->endRow)))
    {}

    bool Run(std::uint32_t begin, std::uint32_t end)
    {
        if (end - begin < c_width)
        {
            return CutSurfelsScalar(m_task, begin, end);
        }
        switch (m_task.positionStride)
        {
            case 12:
                run<SPacked>(begin, end);
                break;
            case 16:
                run<SPadded>(begin, end);
                break;
            default:
                run<SAnyStride>(begin, end);
                break;
        }
        return Vector::HasAny(m_newBits);
    }

private:
    using Floats = typename Vector::Floats;
    using Words = typename Vector::Words;
    static constexpr std::uint32_t c_width = Vector::c_width;

    struct SPositions
    {
        Floats x;
        Floats y;
        Floats z;
    };

    /// The coefficients of one clip coordinate, each in all lanes.
    struct SClip
    {
        explicit SClip(const float* coefficients)
            : x(Vector::Set(coefficients[0])),
              y(Vector::Set(coefficients[1])),
              z(Vector::Set(coefficients[2])),
              one(Vector::Set(coefficients[3]))
        {}

        Floats x;
        Floats y;
        Floats z;
        Floats one;
    };

    // How positions lie in memory. The first two may read up to the next position's end.

    struct SPacked
    {
        static SPositions Load(const std::byte* first, std::size_t /*stride*/)
        {
            SPositions positions;
            Vector::LoadPacked(first, positions.x, positions.y, positions.z);
            return positions;
        }
        static std::uint32_t InOrder(std::uint32_t lanes) { return lanes; }
    };

    struct SPadded
    {
        static SPositions Load(const std::byte* first, std::size_t /*stride*/)
        {
            SPositions positions;
            Vector::LoadPadded(first, positions.x, positions.y, positions.z);
            return positions;
        }
        static std::uint32_t InOrder(std::uint32_t lanes) { return Vector::PaddedInOrder(lanes); }
    };

    struct SAnyStride
    {
        static SPositions Load(const std::byte* first, std::size_t stride)
        {
            float coordinates[3][c_width];
            for (std::uint32_t lane = 0; lane < c_width; ++lane)
            {
                float position[3];
                std::memcpy(position, first + lane * stride, sizeof position);
                coordinates[0][lane] = position[0];
                coordinates[1][lane] = position[1];
                coordinates[2][lane] = position[2];
            }
            return {Vector::Load(coordinates[0]), Vector::Load(coordinates[1]),
                    Vector::Load(coordinates[2])};
        }
        static std::uint32_t InOrder(std::uint32_t lanes) { return lanes; }
    };

    /// Cuts group by group. The first group and the last overlap their neighbours where the range
    /// is no whole number of groups: cutting a surfel twice is cutting it once.
    template <typename Layout>
    void run(std::uint32_t begin, std::uint32_t end)
    {
        std::uint32_t index = begin;
        if (m_task.isStreamed)
        {
            const std::uint32_t numUnaligned = numWordsToAligned(begin);
            if (numUnaligned != 0)
            {
                cutGroup<SAnyStride, false>(begin);
            }
            for (index += numUnaligned; end - index > c_width; index += c_width)
            {
                cutGroup<Layout, true>(index);
            }
            Vector::FinishStream();
        }
        else
        {
            for (; end - index > c_width; index += c_width)
            {
                cutGroup<Layout, false>(index);
            }
        }
        // Nothing may be read beyond the last position.
        cutGroup<SAnyStride, false>(end - c_width);
    }

    /// How many words lie before the first that begins a whole vector of them.
    [[nodiscard]] std::uint32_t numWordsToAligned(std::uint32_t begin) const
    {
        constexpr std::uintptr_t c_bytes = c_width * sizeof(Base::CSurfelBitMask);
        const auto address = reinterpret_cast<std::uintptr_t>(m_task.words + begin);
        return static_cast<std::uint32_t>((c_bytes - address % c_bytes) % c_bytes /
                                          sizeof(Base::CSurfelBitMask));
    }

    template <typename Layout, bool isStreamed>
    void cutGroup(std::uint32_t index)
    {
        const SPositions positions = Layout::Load(
            m_task.firstPosition + index * m_task.positionStride, m_task.positionStride);
        Words words = m_task.oldWords != nullptr ? Vector::LoadWords(m_task.oldWords + index)
                                                 : Vector::NoWords();
        const Floats w = transform(positions, m_clipW);
        const Floats row = rowOf(Vector::Divide(transform(positions, m_clipY), w));
        std::uint32_t lanes = Vector::Within(row, m_firstRow, m_endRow);
        if (lanes != 0)
        {
            const Floats column = columnOf(Vector::Divide(transform(positions, m_clipX), w));
            lanes &= Vector::Within(column, m_firstColumn, m_endColumn);
            if (lanes != 0)
            {
                lanes &= Vector::Painted(*m_task.mask, column, row, lanes);
                const Words flagged = Vector::Flag(words, Layout::InOrder(lanes));
                m_newBits = Vector::Or(m_newBits, Vector::Xor(flagged, words));
                words = flagged;
            }
        }
        if constexpr (isStreamed)
        {
            Vector::StreamWords(m_task.words + index, words);
        }
        else
        {
            Vector::StoreWords(m_task.words + index, words);
        }
    }

    static Floats transform(const SPositions& p, const SClip& clip)
    {
        return Vector::Add(
            Vector::Add(Vector::Add(Vector::Multiply(p.x, clip.x), Vector::Multiply(p.y, clip.y)),
                        Vector::Multiply(p.z, clip.z)),
            clip.one);
    }

    [[nodiscard]] Floats columnOf(Floats deviceX) const
    {
        return Vector::Multiply(Vector::Multiply(Vector::Add(deviceX, m_one), m_width), m_half);
    }

    [[nodiscard]] Floats rowOf(Floats deviceY) const
    {
        return Vector::Multiply(Vector::Multiply(Vector::Subtract(m_one, deviceY), m_height),
                                m_half);
    }

    const SCutSurfelsTask& m_task;
    const SClip m_clipX;
    const SClip m_clipY;
    const SClip m_clipW;
    const Floats m_width;
    const Floats m_height;
    const Floats m_firstColumn;
    const Floats m_endColumn;
    const Floats m_firstRow;
    const Floats m_endRow;
    const Floats m_one = Vector::Set(1.0F);
    const Floats m_half = Vector::Set(0.5F);
    /// The bits that were set where they had not been.
    Words m_newBits = Vector::NoWords();
};

}  // namespace
}  // namespace DataLayer
