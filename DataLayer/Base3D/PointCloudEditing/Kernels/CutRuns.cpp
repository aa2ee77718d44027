#include "DataLayer/Base3D/PointCloudEditing/Kernels/CutRuns.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "DataLayer/Base3D/PointCloudEditing/Kernels/JudgeRun.h"

namespace DataLayer
{

namespace
{

constexpr std::uint32_t c_surfelsPerRun = SSurfelRuns::c_surfelsPerRun;
constexpr std::uint32_t c_surfelsPerGroup = SSurfelRuns::c_surfelsPerGroup;

/// A word of the mask is looked up in less time than a kernel takes for two surfels.
constexpr std::uint32_t c_maxNumWordsOfRun = c_surfelsPerRun / 2;
constexpr std::uint32_t c_maxNumWordsOfGroup = c_surfelsPerGroup / 8;

/// Makes the new words the old ones.
void copyWords(const SCutSurfelsTask& task, std::uint32_t begin, std::uint32_t end)
{
    const std::size_t numBytes = std::size_t{end - begin} * sizeof(Base::CSurfelBitMask);
    void* const words = task.words + begin;
    if (task.oldWords == nullptr)
    {
        std::memset(words, 0, numBytes);
    }
    else if (task.oldWords != task.words)
    {
        std::memcpy(words, task.oldWords + begin, numBytes);
    }
}

/// Gives all the flag and says whether one did not have it.
bool flagWords(Base::CSurfelBitMask* words, std::uint32_t begin, std::uint32_t end)
{
    constexpr std::uint16_t c_cut = Base::CSurfelBitMask::SurfelFlagCut;
    std::uint16_t common = c_cut;
    for (std::uint32_t index = begin; index < end; ++index)
    {
        std::uint16_t& bits = words[index].bits;
        common = static_cast<std::uint16_t>(common & bits);
        bits = static_cast<std::uint16_t>(bits | c_cut);
    }
    return common != c_cut;
}

/// Collects consecutive surfels of the same place and cuts them at once.
class CStretch
{
public:
    CStretch(const SCutSurfelsTask& task, CutSurfelsKernel kernel, std::uint32_t begin)
        : m_task(task), m_kernel(kernel), m_begin(begin), m_end(begin)
    {}

    /// Adds the surfels from the last end to \p end - 1.
    void Add(ERunPlace place, std::uint32_t end)
    {
        if (place != m_place)
        {
            Finish();
            m_place = place;
        }
        m_end = end;
    }

    /// Cuts what has been added.
    void Finish()
    {
        if (m_begin < m_end)
        {
            m_hasChanged = cut() || m_hasChanged;
            m_begin = m_end;
        }
    }

    /// Whether a word has got the flag.
    [[nodiscard]] bool HasChanged() const { return m_hasChanged; }

private:
    [[nodiscard]] bool cut() const
    {
        switch (m_place)
        {
            case ERunPlace::Unpainted:
                return false;
            case ERunPlace::Painted:
                return flagWords(m_task.words, m_begin, m_end);
            default:
                return m_kernel(m_task, m_begin, m_end);
        }
    }

    const SCutSurfelsTask& m_task;
    CutSurfelsKernel m_kernel;
    ERunPlace m_place = ERunPlace::Unknown;
    std::uint32_t m_begin;
    std::uint32_t m_end;
    bool m_hasChanged = false;
};

}  // namespace

bool CutRuns(const SCutSurfelsTask& task, CutSurfelsKernel kernel, const SSurfelRuns& runs,
             std::uint32_t begin, std::uint32_t end)
{
    // Copied group by group, as fast as memory allows and shortly before they are looked at, and
    // then worked on in place: most words only have to be copied.
    SCutSurfelsTask inPlace = task;
    inPlace.oldWords = task.words;
    CStretch stretch(inPlace, kernel, begin);
    // The end may be the largest integer, so that nothing is added to it.
    for (std::uint32_t first = begin; first < end;)
    {
        const SSurfelRunGroup& group = runs.groups[first / c_surfelsPerGroup];
        const std::uint32_t endOfGroup = first + std::min(end - first, c_surfelsPerGroup);
        copyWords(task, first, endOfGroup);
        const ERunPlace place = JudgeRun(task, group.whole, c_maxNumWordsOfGroup);
        if (place != ERunPlace::Unknown || !group.hasSmallRuns)
        {
            stretch.Add(place, endOfGroup);
            first = endOfGroup;
        }
        while (first < endOfGroup)
        {
            const SSurfelRun& run = runs.runs[first / c_surfelsPerRun];
            first += std::min(endOfGroup - first, c_surfelsPerRun);
            stretch.Add(JudgeRun(task, run, c_maxNumWordsOfRun), first);
        }
    }
    stretch.Finish();
    return stretch.HasChanged();
}

}  // namespace DataLayer
