#include "DataLayer/Base3D/PointCloudEditing/Kernels/CutRuns.h"

#include <algorithm>
#include <array>
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

/// Positions of more bytes than these do not stay in the farthest cache either.
constexpr std::size_t c_maximumCachedBytes = 0x2000000;

/// Makes the new words the old ones.
void CopyWords(const SCutSurfelsTask& task, std::uint32_t begin, std::uint32_t end)
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
bool FlagWords(Base::CSurfelBitMask* words, std::uint32_t begin, std::uint32_t end)
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

using Places = std::array<ERunPlace, SSurfelRuns::c_runsPerGroup>;

/// The places of the runs of the group that begins with surfel \p begin. \p end may lie before the
/// group's own end.
Places JudgeGroup(const SCutSurfelsTask& task, const SSurfelRuns& runs, std::uint32_t begin,
                  std::uint32_t end)
{
    const SSurfelRunGroup& group = runs.groups[begin / c_surfelsPerGroup];
    const ERunPlace whole = JudgeRun(task, group.whole, c_maxNumWordsOfGroup);
    Places places;
    places.fill(whole);
    if (whole == ERunPlace::Unknown && group.hasSmallRuns)
    {
        const std::size_t firstRun = begin / c_surfelsPerRun;
        const std::size_t numRuns = (end - begin - 1) / c_surfelsPerRun + 1;
        for (std::size_t run = 0; run < numRuns; ++run)
        {
            places[run] = JudgeRun(task, runs.runs[firstRun + run], c_maxNumWordsOfRun);
        }
    }
    return places;
}

bool AreAllUnknown(const Places& places)
{
    return std::all_of(places.begin(), places.end(),
                       [](ERunPlace place) { return place == ERunPlace::Unknown; });
}

/// How many runs behind run \p run of a group the next one lies that is left to the kernel, as far
/// as is known: up to the end of the next group, whose places are \p following.
std::uint32_t DistanceToUnknown(const Places& places, const Places& following, std::uint32_t run)
{
    constexpr std::uint32_t c_runsPerGroup = SSurfelRuns::c_runsPerGroup;
    std::uint32_t next = run + 1;
    while (next < 2 * c_runsPerGroup &&
           (next < c_runsPerGroup ? places[next] : following[next - c_runsPerGroup]) !=
               ERunPlace::Unknown)
    {
        ++next;
    }
    return next - run;
}

/// Cuts a group whose new words are the old ones so far, run by run, while the next one's positions
/// are on their way.
bool CutInPlace(const SCutSurfelsTask& task, CutSurfelsKernel kernel, const Places& places,
                const Places& following, std::uint32_t begin, std::uint32_t end)
{
    SCutSurfelsTask inPlace = task;
    inPlace.oldWords = task.words;
    inPlace.isStreamed = false;
    bool hasChanged = false;
    for (std::uint32_t run = 0; begin < end; ++run)
    {
        const std::uint32_t next = begin + std::min(end - begin, c_surfelsPerRun);
        if (places[run] == ERunPlace::Painted)
        {
            hasChanged = FlagWords(task.words, begin, next) || hasChanged;
        }
        else if (places[run] == ERunPlace::Unknown)
        {
            inPlace.fetchDistance =
                task.positionStride * c_surfelsPerRun * DistanceToUnknown(places, following, run);
            hasChanged = kernel(inPlace, begin, next) || hasChanged;
        }
        begin = next;
    }
    return hasChanged;
}

}  // namespace

bool DoRunsPay(const SCutSurfelsTask& task, const SCutSurfelsKernel& kernel,
               const SSurfelRuns& runs, std::uint32_t count)
{
    // For fewer there is no telling, and little to lose.
    constexpr std::uint32_t c_leastSamples = 16;
    constexpr std::uint32_t c_mostSamples = 128;
    const std::uint32_t numRuns = count / c_surfelsPerRun;
    const std::uint32_t numSamples = std::min(count / c_surfelsPerGroup / 4, c_mostSamples);
    if (numSamples < c_leastSamples)
    {
        return true;
    }
    std::uint32_t numUnknown = 0;
    for (std::uint32_t sample = 0; sample < numSamples; ++sample)
    {
        // Multiples of the golden ratio lie evenly, and in step with no row of a scan.
        constexpr std::uint32_t c_goldenRatio = 0x9E3779B9;
        const std::uint64_t part = sample * c_goldenRatio;
        const std::size_t run = part * numRuns >> 32;
        const SSurfelRunGroup& group = runs.groups[run / SSurfelRuns::c_runsPerGroup];
        ERunPlace place = JudgeRun(task, group.whole, c_maxNumWordsOfGroup);
        if (place == ERunPlace::Unknown && group.hasSmallRuns)
        {
            place = JudgeRun(task, runs.runs[run], c_maxNumWordsOfRun);
        }
        numUnknown += place == ERunPlace::Unknown ? 1 : 0;
    }
    // A run costs more than its part of a stretch, and most where its positions come from memory.
    const bool areCached = count * task.positionStride <= c_maximumCachedBytes;
    const std::uint32_t mostUnknown =
        kernel.mostOpenRuns * numSamples / SSurfelRuns::c_runsPerGroup;
    return numUnknown <= (areCached ? mostUnknown * 3 / 2 : mostUnknown);
}

bool CutRuns(const SCutSurfelsTask& task, CutSurfelsKernel kernel, const SSurfelRuns& runs,
             std::uint32_t begin, std::uint32_t end)
{
    if (begin == end)
    {
        return false;
    }
    bool hasChanged = false;
    // The surfels from here on are left to the kernel, which copies their words as it goes.
    std::uint32_t beginOfUnknown = begin;
    const auto cutUnknown = [&](std::uint32_t endOfUnknown) {
        if (beginOfUnknown != endOfUnknown)
        {
            hasChanged = kernel(task, beginOfUnknown, endOfUnknown) || hasChanged;
        }
    };
    // The end may be the largest integer, so that nothing is added to it.
    const auto endOfGroup = [&](std::uint32_t first) {
        return first + std::min(end - first, c_surfelsPerGroup);
    };
    // Behind the last group its own places: there the next range may be much the same.
    Places following = JudgeGroup(task, runs, begin, endOfGroup(begin));
    for (std::uint32_t first = begin; first < end;)
    {
        const Places places = following;
        const std::uint32_t next = endOfGroup(first);
        if (next < end)
        {
            following = JudgeGroup(task, runs, next, endOfGroup(next));
        }
        if (!AreAllUnknown(places))
        {
            cutUnknown(first);
            // The whole group in one go is as fast as memory allows.
            CopyWords(task, first, next);
            hasChanged = CutInPlace(task, kernel, places, following, first, next) || hasChanged;
            beginOfUnknown = next;
        }
        first = next;
    }
    cutUnknown(end);
    return hasChanged;
}

}  // namespace DataLayer
