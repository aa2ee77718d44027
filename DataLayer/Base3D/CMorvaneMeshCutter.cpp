#include "DataLayer/Base3D/CMorvaneMeshCutter.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "Base/Support/LargePages.h"
#include "DataLayer/Base3D/CheckTriangles.h"
#include "DataLayer/PointCloud/BoolWords.h"
#include "DataLayer/PointCloud/CIndexSelection.h"
#include "DataLayer/PointCloud/TUninitializedAllocator.h"

namespace DataLayer
{

namespace
{

using Triangle = std::array<std::uint32_t, 3>;
template <typename T>
using Array = std::vector<T, TUninitializedAllocator<T>>;

/// What a triangle has to know of the vertices.
class CVertices
{
public:
    CVertices(std::size_t count, const CIndexSelection& selection)
    {
        Base::ResizeInLargePages(m_isKept, count);
        Base::ResizeInLargePages(m_newIndices, count);
        selection.ForEachWord([&](std::uint64_t first, std::uint64_t word, std::uint64_t rank) {
            const auto newIndex = static_cast<std::uint32_t>(rank);
            const std::size_t size = std::min(count - first, CIndexSelection::c_wordSize);
            if (word == CIndexSelection::c_all || word == 0)
            {
                setUniform(first, size, newIndex, word != 0);
            }
            else
            {
                setEach(first, size, newIndex, word);
            }
        });
    }

    [[nodiscard]] std::size_t GetCount() const { return m_isKept.size(); }

    [[nodiscard]] bool AreAllKept(const Triangle& triangle) const
    {
        const auto& [a, b, c] = triangle;
        return (m_isKept[a] & m_isKept[b] & m_isKept[c]) != 0;
    }

    /// Whether all vertices from the first to the last of a range are kept.
    [[nodiscard]] bool AreAllKept(const SCornerRange& range) const
    {
        return m_isKept[range.last] != 0 &&
               m_newIndices[range.last] - m_newIndices[range.first] == range.last - range.first;
    }

    /// A triangle that is kept, with its new indices.
    [[nodiscard]] Triangle Renumber(const Triangle& triangle) const
    {
        const auto& [a, b, c] = triangle;
        return {m_newIndices[a], m_newIndices[b], m_newIndices[c]};
    }

    /// How much smaller the new index of a vertex is that is kept.
    [[nodiscard]] std::uint32_t GetShift(std::uint32_t vertex) const
    {
        return vertex - m_newIndices[vertex];
    }

private:
    /// Takes vertices that are all kept, or all dropped.
    void setUniform(std::size_t first, std::size_t size, std::uint32_t newIndex, bool isKept)
    {
        std::fill_n(m_isKept.data() + first, size, static_cast<std::uint8_t>(isKept));
        std::uint32_t* const newIndices = m_newIndices.data() + first;
        for (std::uint32_t offset = 0; offset < size; ++offset)
        {
            newIndices[offset] = newIndex + (isKept ? offset : 0);
        }
    }

    /// Takes the vertices whose bits in \p word say whether they are kept.
    void setEach(std::size_t first, std::size_t size, std::uint32_t newIndex, std::uint64_t word)
    {
        for (std::size_t vertex = first; vertex < first + size; ++vertex, word >>= 1U)
        {
            const auto isKept = static_cast<std::uint8_t>(word & 1U);
            m_isKept[vertex] = isKept;
            m_newIndices[vertex] = newIndex;
            newIndex += isKept;
        }
    }

    /// 1 for a vertex that is kept, else 0. Asked far more often than the new index, and smaller.
    Array<std::uint8_t> m_isKept;
    /// Its index among those that are kept, if it is one of them.
    Array<std::uint32_t> m_newIndices;
};

/// The triangles that keep all their corners, in groups of as many as a word of the selection has.
class CWholeTriangles
{
public:
    /// @throw VekoException that names \p function when a triangle names a vertex that is not
    /// there.
    CWholeTriangles(const char* function, const Geometry::CTriangulation& mesh,
                    const CVertices& vertices)
        : m_triangles(mesh.triangles),
          m_vertices(vertices),
          m_shifts(mesh.triangles.size() / c_groupSize + 1),
          m_selection(mesh.triangles.size(), [&](std::uint64_t group) { return select(group); })
    {
        if (m_isOneOutside.load(std::memory_order_relaxed))
        {
            CheckTriangles(function, mesh);
        }
    }

    [[nodiscard]] std::vector<Triangle> Copy() const
    {
        return m_selection.Make<std::vector<Triangle>>(
            [&](std::uint64_t first, std::uint64_t word, Triangle* target) {
                const Triangle* const triangles = m_triangles.data() + first;
                const std::uint32_t shift = m_shifts[first / c_groupSize];
                if (shift != c_notOneShift)
                {
                    const std::size_t size =
                        std::min<std::size_t>(m_triangles.size() - first, c_groupSize);
                    for (std::size_t offset = 0; offset < size; ++offset)
                    {
                        for (std::size_t corner = 0; corner < 3; ++corner)
                        {
                            target[offset][corner] = triangles[offset][corner] - shift;
                        }
                    }
                    return;
                }
                for (; word != 0; word &= word - 1)
                {
                    *target = m_vertices.Renumber(triangles[std::countr_zero(word)]);
                    ++target;
                }
            });
    }

private:
    static constexpr std::size_t c_groupSize = CIndexSelection::c_wordSize;
    /// Stands for corners that have not all moved by the same. A group that has moved by just as
    /// much is renumbered corner by corner, which gives the same.
    static constexpr std::uint32_t c_notOneShift = 0xFFFFFFFF;

    std::uint64_t select(std::uint64_t group)
    {
        const std::size_t first = group * c_groupSize;
        const std::size_t size = std::min<std::size_t>(m_triangles.size() - first, c_groupSize);
        const Triangle* const triangles = m_triangles.data() + first;
        m_shifts[group] = c_notOneShift;
        const SCornerRange range = BoundCorners(triangles, size);
        if (range.last >= m_vertices.GetCount())
        {
            m_isOneOutside.store(true, std::memory_order_relaxed);
            return 0;
        }
        if (m_vertices.AreAllKept(range))
        {
            m_shifts[group] = m_vertices.GetShift(range.first);
            return CIndexSelection::c_all;
        }
        std::uint64_t word = 0;
        for (std::size_t offset = 0; offset < size; ++offset)
        {
            const int isWhole = m_vertices.AreAllKept(triangles[offset]);
            word |= static_cast<std::uint64_t>(isWhole) << offset;
        }
        return word;
    }

    const std::vector<Triangle>& m_triangles;
    const CVertices& m_vertices;
    std::atomic<bool> m_isOneOutside = false;
    /// For each group of which all corners lie among vertices that are all kept: by how much those
    /// have moved, all by the same.
    Array<std::uint32_t> m_shifts;
    CIndexSelection m_selection;
};

}  // namespace

std::shared_ptr<Geometry::CTriangulation> CMorvaneMeshCutter::CopyWihMask(
    const Geometry::CTriangulation& mesh, std::vector<bool>& mask)
{
    const CIndexSelection selection(mesh.vertices.size(),
                                    [&mask](std::uint64_t word) { return LoadBools(mask, word); });
    const CVertices vertices(mesh.vertices.size(), selection);
    const CWholeTriangles triangles("DataLayer::CMorvaneMeshCutter::CopyWihMask", mesh, vertices);

    auto copy = std::make_shared<Geometry::CTriangulation>();
    copy->vertices = selection.Copy<std::vector<LqVector3f>>(
        [positions = mesh.vertices.data()](std::uint64_t vertex) { return positions[vertex]; });
    copy->triangles = triangles.Copy();
    return copy;
}

}  // namespace DataLayer
