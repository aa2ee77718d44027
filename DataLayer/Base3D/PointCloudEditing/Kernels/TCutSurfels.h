#pragma once

#include <cstddef>
#include <cstdint>
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
/// itself, so that its pixel is the same to the bit. Besides, the rectangle of the painted pixels
/// stands for the view, so that most groups are done after one device coordinate; one bit for each
/// pixel stays in the cache; and the words are copied on the way.
///
/// \tparam Vector a register of `c_width` floats (`Floats`), one of as many flag words (`Words`),
/// one of as many numbers of bits in the packed mask (`Bits`), and the operations on them. Sets of
/// lanes are integers, bit k for lane k, `c_allLanes` all of them; what a register has in other
/// lanes does not matter. Only those with `c_hasBands` judge lanes by bands.
template <typename Vector>
class TCutSurfels
{
public:
    explicit TCutSurfels(const SCutSurfelsTask& task)
        : m_task(task),
          m_clipW(task.clipW, 1.0F),
          m_first(task.mask->isTall ? columns(task) : rows(task)),
          m_second(task.mask->isTall ? rows(task) : columns(task))
    {}

    bool Run(std::uint32_t begin, std::uint32_t end)
    {
        if (end - begin < c_width)
        {
            return CutSurfelsScalar(m_task, begin, end);
        }
        switch (m_task.positionStride)
        {
            case SPacked::c_stride:
                run<SPacked>(begin, end);
                break;
            case SPadded::c_stride:
                run<SPadded>(begin, end);
                break;
            default:
                if (m_task.positionStride > SPacked::c_stride && m_task.positionStride < c_lineSize)
                {
                    run<SApart>(begin, end);
                }
                else
                {
                    run<SAnyStride>(begin, end);
                }
                break;
        }
        return Vector::HasAny(m_newBits);
    }

private:
    using Floats = typename Vector::Floats;
    using Words = typename Vector::Words;
    using Bits = typename Vector::Bits;
    static constexpr std::uint32_t c_width = Vector::c_width;
    static constexpr std::size_t c_lineSize = 64;
    /// See cutGroups(). For the widest vectors that is more groups than a compiler unrolls a loop
    /// for, which would make the code too long to be fast.
    static constexpr std::uint32_t c_groupsPerBatch = 320 / c_width;

    struct SPositions
    {
        Floats x;
        Floats y;
        Floats z;
    };

    /// The coefficients of one clip coordinate times \p sign, each in all lanes.
    struct SClip
    {
        SClip(const float* coefficients, float sign)
            : x(Vector::Set(sign * coefficients[0])),
              y(Vector::Set(sign * coefficients[1])),
              z(Vector::Set(sign * coefficients[2])),
              one(Vector::Set(sign * coefficients[3]))
        {}

        Floats x;
        Floats y;
        Floats z;
        Floats one;
    };

    /// The columns or the rows of the view.
    struct SAxis
    {
        SClip clip;
        Floats size;
        /// The painted pixels, see SDeviceRange.
        Floats first;
        Floats end;
        /// Where the packed mask has a pixel: bitsPerPixel x (pixel - firstPixel), for both axes.
        std::uint32_t firstPixel;
        std::uint32_t bitsPerPixel;
    };

    static SAxis columns(const SCutSurfelsTask& task)
    {
        const SCutMask& mask = *task.mask;
        return {SClip(task.clipX, 1.0F),
                Vector::Set(mask.width),
                Vector::Set(mask.deviceColumns.first),
                Vector::Set(mask.deviceColumns.end),
                mask.firstColumn,
                1};
    }

    /// Rows run downwards: 1 - y / w is -y / w + 1, also once rounded, since rounding to nearest
    /// does not depend on the sign.
    static SAxis rows(const SCutSurfelsTask& task)
    {
        const SCutMask& mask = *task.mask;
        return {SClip(task.clipY, -1.0F),
                Vector::Set(mask.height),
                Vector::Set(mask.deviceRows.first),
                Vector::Set(mask.deviceRows.end),
                mask.firstRow,
                c_pixelsPerWord * mask.wordsPerRow};
    }

    // How positions lie in memory. Only the first two know their stride beforehand, and fetch by
    // it. All but SAnyStride may read up to the next position's end. That one takes longest, but
    // memory as long where each position has a line of the cache to itself.

    struct SPacked
    {
        static constexpr std::size_t c_stride = 12;
        static SPositions Load(const std::byte* first, std::size_t /*stride*/)
        {
            SPositions positions;
            Vector::LoadPacked(first, positions.x, positions.y, positions.z);
            return positions;
        }
        static Words Flag(Words words, std::uint32_t lanes) { return Vector::Flag(words, lanes); }
    };

    struct SPadded
    {
        static constexpr std::size_t c_stride = 16;
        static SPositions Load(const std::byte* first, std::size_t /*stride*/)
        {
            SPositions positions;
            Vector::LoadPadded(first, positions.x, positions.y, positions.z);
            return positions;
        }
        static Words Flag(Words words, std::uint32_t lanes)
        {
            return Vector::FlagPadded(words, lanes);
        }
    };

    struct SAnyStride
    {
        static constexpr std::size_t c_stride = 0;
        static SPositions Load(const std::byte* first, std::size_t stride)
        {
            float x[c_width];
            float y[c_width];
            float z[c_width];
            for (std::uint32_t lane = 0; lane < c_width; ++lane)
            {
                float position[3];
                std::memcpy(position, first + lane * stride, sizeof position);
                x[lane] = position[0];
                y[lane] = position[1];
                z[lane] = position[2];
            }
            return {Vector::Load(x), Vector::Load(y), Vector::Load(z)};
        }
        static Words Flag(Words words, std::uint32_t lanes) { return Vector::Flag(words, lanes); }
    };

    struct SApart : SAnyStride
    {
        static SPositions Load(const std::byte* first, std::size_t stride)
        {
            SPositions positions;
            Vector::LoadApart(first, stride, positions.x, positions.y, positions.z);
            return positions;
        }
    };

    /// Cuts group by group. The first group and the last overlap their neighbours where the range
    /// begins between aligned ones or ends within one: cutting a surfel twice is cutting it once.
    template <typename Layout>
    void run(std::uint32_t begin, std::uint32_t end)
    {
        std::uint32_t beginOfRest = begin;
        if (m_task.isStreamed)
        {
            const std::uint32_t numUnaligned = findNumUnaligned(begin);
            if (numUnaligned != 0)
            {
                cutGroups<SAnyStride, false>(begin, 1);
            }
            beginOfRest = cutBatches<Layout, true>(begin + numUnaligned, end);
            Vector::FinishStream();
        }
        else
        {
            beginOfRest = cutBatches<Layout, false>(begin, end);
        }
        if (beginOfRest != end)
        {
            cutGroups<SAnyStride, false>(end - c_width, 1);
        }
    }

    /// Cuts the groups from \p begin to \p end, but for one that has no position behind it, since
    /// nothing may be read beyond the last one. Returns the first surfel that is left.
    template <typename Layout, bool isStreamed>
    std::uint32_t cutBatches(std::uint32_t begin, std::uint32_t end)
    {
        const std::uint32_t numSurfels = end - begin - (end < m_task.numPositions ? 0 : 1);
        std::uint32_t numGroups = numSurfels / c_width;
        for (; numGroups > c_groupsPerBatch; numGroups -= c_groupsPerBatch)
        {
            cutGroups<Layout, isStreamed>(begin, c_groupsPerBatch);
            begin += c_groupsPerBatch * c_width;
        }
        cutGroups<Layout, isStreamed>(begin, numGroups);
        return begin + numGroups * c_width;
    }

    /// How many surfels lie before the first word at the beginning of a whole vector of them, as
    /// streaming them asks for.
    [[nodiscard]] std::uint32_t findNumUnaligned(std::uint32_t begin) const
    {
        constexpr std::size_t c_word = sizeof(Base::CSurfelBitMask);
        constexpr std::size_t c_vector = c_width * c_word;
        const auto address = reinterpret_cast<std::uintptr_t>(m_task.words + begin);
        return static_cast<std::uint32_t>((c_vector - address % c_vector) % c_vector / c_word);
    }

    /// Reads the positions of a batch, then the mask, unless bands leave little of it to be read,
    /// then its words: in longer stretches of one kind than a group, which memory gives faster.
    template <typename Layout, bool isStreamed>
    void cutGroups(std::uint32_t begin, std::uint32_t numGroups)
    {
        std::uint32_t lanes[c_groupsPerBatch];
        Bits bits[c_groupsPerBatch];
        for (std::uint32_t group = 0; group < numGroups; ++group)
        {
            lanes[group] = findInside<Layout>(begin + group * c_width, bits[group]);
        }
        if (!m_task.mask->isWhole && !isByBands())
        {
            for (std::uint32_t group = 0; group < numGroups; ++group)
            {
                if (lanes[group] != 0)
                {
                    lanes[group] = Vector::Painted(m_task.mask->words, bits[group], lanes[group]);
                }
            }
        }
        writeBatch<Layout, isStreamed>(begin, numGroups, lanes);
    }

    /// The surfels from \p index on that lie on painted pixels or, where these have to be looked up
    /// afterwards, in their rectangle; and the bits of the pixels then.
    template <typename Layout>
    [[nodiscard]] std::uint32_t findInside(std::uint32_t index, Bits& bits) const
    {
        const std::byte* const position = m_task.firstPosition + index * m_task.positionStride;
        prefetchBehind<c_width * Layout::c_stride>(position);
        const SPositions positions = Layout::Load(position, m_task.positionStride);
        const Floats w = transform(positions, m_clipW);
        const Floats first = deviceOf(positions, w, m_first);
        const std::uint32_t lanes = Vector::Within(first, m_first.first, m_first.end);
        if (lanes == 0)
        {
            return 0;
        }
        const Floats second = deviceOf(positions, w, m_second);
        const std::uint32_t inside = lanes & Vector::Within(second, m_second.first, m_second.end);
        // Whether any is left is asked only of groups that lie together: without an order in space
        // nobody could guess the answer.
        if (m_task.mask->isWhole || (lanes == Vector::c_allLanes && inside == 0))
        {
            return inside;
        }
        if constexpr (Vector::c_hasBands)
        {
            if (isByBands())
            {
                return findPainted(inside, first, second);
            }
        }
        bits = bitsOf(inside, first, second);
        return inside;
    }

    [[nodiscard]] bool isByBands() const { return Vector::c_hasBands && m_task.mask->bands.doPay; }

    /// Those of the lanes in the rectangle that lie on painted pixels, by bands.
    [[nodiscard]] std::uint32_t findPainted(std::uint32_t inside, Floats first, Floats second) const
    {
        const SCutMask& mask = *m_task.mask;
        std::uint32_t open = 0;
        const std::uint32_t painted =
            mask.isTall ? Vector::JudgeByBands(mask.bands, inside, first, second, open)
                        : Vector::JudgeByBands(mask.bands, inside, second, first, open);
        return open == 0 ? painted
                         : painted | Vector::Painted(mask.words, bitsOf(open, first, second), open);
    }

    /// The bits of the lanes' pixels.
    [[nodiscard]] Bits bitsOf(std::uint32_t lanes, Floats first, Floats second) const
    {
        return Vector::BitsOf(lanes, m_first, pixelOf(first, m_first), m_second,
                              pixelOf(second, m_second));
    }

    /// Asks for as many bytes behind \p position as the task says.
    template <std::size_t numBytes>
    void prefetchBehind(const std::byte* position) const
    {
        const auto first = reinterpret_cast<std::uintptr_t>(position) + m_task.fetchDistance;
        for (std::uintptr_t line = first; line < first + numBytes; line += c_lineSize)
        {
            __builtin_prefetch(reinterpret_cast<const void*>(line));
        }
    }

    /// Writes the words of the groups from \p begin on, of a few groups at once.
    template <typename Layout, bool isStreamed>
    void writeBatch(std::uint32_t begin, std::uint32_t numGroups, const std::uint32_t* lanes)
    {
        constexpr std::uint32_t c_groupsAtOnce = 4;
        for (std::uint32_t group = 0; group < numGroups; group += c_groupsAtOnce)
        {
            const std::uint32_t numLeft = numGroups - group;
            writeGroups<Layout, isStreamed>(begin + group * c_width,
                                            numLeft < c_groupsAtOnce ? numLeft : c_groupsAtOnce,
                                            lanes + group);
        }
    }

    /// Writes the words of some groups from \p begin on. Only copies them where none of the groups
    /// has a lane to flag; these are not asked one by one, see findInside().
    template <typename Layout, bool isStreamed>
    void writeGroups(std::uint32_t begin, std::uint32_t numGroups, const std::uint32_t* lanes)
    {
        std::uint32_t anyLanes = 0;
        for (std::uint32_t group = 0; group < numGroups; ++group)
        {
            anyLanes |= lanes[group];
        }
        // Read once: for all that the compiler knows, writing words may change these pointers.
        const Base::CSurfelBitMask* const oldWords = m_task.oldWords;
        Base::CSurfelBitMask* const newWords = m_task.words;
        for (std::uint32_t group = 0; group < numGroups; ++group)
        {
            const std::uint32_t index = begin + group * c_width;
            const Words before =
                oldWords != nullptr ? Vector::LoadWords(oldWords + index) : Vector::NoWords();
            Words after = before;
            if (anyLanes != 0)
            {
                after = Layout::Flag(before, lanes[group]);
                m_newBits = Vector::Or(m_newBits, Vector::Xor(after, before));
            }
            if constexpr (isStreamed)
            {
                Vector::StreamWords(newWords + index, after);
            }
            else
            {
                Vector::StoreWords(newWords + index, after);
            }
        }
    }

    static Floats transform(const SPositions& p, const SClip& clip)
    {
        return Vector::Add(
            Vector::Add(Vector::Add(Vector::Multiply(p.x, clip.x), Vector::Multiply(p.y, clip.y)),
                        Vector::Multiply(p.z, clip.z)),
            clip.one);
    }

    static Floats deviceOf(const SPositions& positions, Floats w, const SAxis& axis)
    {
        return Vector::Divide(transform(positions, axis.clip), w);
    }

    [[nodiscard]] Floats pixelOf(Floats device, const SAxis& axis) const
    {
        return Vector::Multiply(Vector::Multiply(Vector::Add(device, m_one), axis.size), m_half);
    }

    const SCutSurfelsTask& m_task;
    const SClip m_clipW;
    const SAxis m_first;
    const SAxis m_second;
    const Floats m_one = Vector::Set(1.0F);
    const Floats m_half = Vector::Set(0.5F);
    /// The bits that were set where they had not been.
    Words m_newBits = Vector::NoWords();
};

}  // namespace
}  // namespace DataLayer
