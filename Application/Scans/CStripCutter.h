#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace Application
{

/// Splits triangle strips where vertices are missing, so that exactly the triangles with all their
/// vertices stay, with their orientation: a part that would begin with a triangle of the other
/// orientation repeats its first vertex.
template <typename IsKept, typename Emit>
class CStripCutter
{
public:
    /// \p isKept(vertex) says whether a vertex stays; \p emit(vertex) receives the new strips, a
    /// negative number between two of them.
    CStripCutter(IsKept isKept, Emit emit) : m_isKept(isKept), m_emit(emit) {}

    /// The next vertex of the strips, or a negative number behind the end of one.
    void Add(std::int64_t vertex)
    {
        if (vertex < 0)
        {
            m_position = 0;
            m_count = 0;
            close();
            return;
        }
        if (m_isKept(vertex))
        {
            addKept(vertex);
        }
        else
        {
            m_count = 0;
        }
        ++m_position;
    }

private:
    void addKept(std::int64_t vertex)
    {
        if (m_count < 2)
        {
            m_isOdd = m_count == 0 ? m_position % 2 != 0 : m_isOdd;
            m_first[m_count++] = vertex;
            return;
        }
        if (m_count == 2)
        {
            close();
            if (m_isOdd)
            {
                m_emit(m_first[0]);
            }
            m_emit(m_first[0]);
            m_emit(m_first[1]);
            m_isOpen = true;
            m_count = 3;
        }
        m_emit(vertex);
    }

    void close()
    {
        if (m_isOpen)
        {
            m_emit(-1);
            m_isOpen = false;
        }
    }

    IsKept m_isKept;
    Emit m_emit;
    std::uint64_t m_position = 0;
    std::array<std::int64_t, 2> m_first = {};
    std::size_t m_count = 0;
    bool m_isOdd = false;
    bool m_isOpen = false;
};

}  // namespace Application
