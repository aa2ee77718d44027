#include "DataLayer/Base3D/PointCloudEditing/Kernels/CutRuns.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <memory>
#include <vector>

#include "Base/Interfaces/IPointCloudSupport.h"
#include "DataLayer/Base3D/PointCloudEditing/Kernels/CCutMask.h"
#include "DataLayer/Base3D/PointCloudEditing/Kernels/CutSurfelsKernels.h"
#include "DataLayer/Base3D/PointCloudEditing/Kernels/JudgeRun.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/ScanScenes.h"

namespace DataLayer
{

namespace
{

using Words = std::vector<Base::CSurfelBitMask>;

/// How many surfels the kernel was given, by the last CountingKernel().
std::size_t g_numLookedAt = 0;

bool CountingKernel(const SCutSurfelsTask& task, std::uint32_t begin, std::uint32_t end)
{
    g_numLookedAt += end - begin;
    return CutSurfelsScalar(task, begin, end);
}

struct SCall
{
    std::uint32_t begin;
    bool isInPlace;
    bool isStreamed;
    std::uintptr_t fetchDistance;
};

/// What RecordingKernel() was called for.
std::vector<SCall> g_calls;

bool RecordingKernel(const SCutSurfelsTask& task, std::uint32_t begin, std::uint32_t /*end*/)
{
    g_calls.push_back({begin, task.oldWords == task.words, task.isStreamed, task.fetchDistance});
    return false;
}

/// A random scene with its runs, ready to be cut.
class CScene
{
public:
    CScene(std::uint64_t seed, bool isNasty)
        : m_scenes(seed),
          m_positions(m_scenes.MakePositions(1 + m_scenes.Below(30000), isNasty)),
          m_view(nullptr, m_positions.size(), m_positions.data(), sizeof(LqVector3f)),
          m_support(std::dynamic_pointer_cast<const ISurfelRuns>(m_view.GetPointCloudSupport())),
          m_selection(m_scenes.MakeSelection()),
          m_mask(*m_selection, BoundPaintedPixels(*m_selection)),
          m_oldWords(m_scenes.MakeBitMasks(m_positions.size()))
    {
        static_cast<void>(m_support->FindSurfelRuns());
        const LqMatrix4Rf matrix =
            LqMatrix4Rf(isNasty ? m_scenes.MakeTrafo() : c_matIdentityD) *
            (m_selection->transform1 * m_selection->transform2 * m_selection->transform3);
        for (std::size_t row = 0; row < 4; ++row)
        {
            m_task.clipX[row] = matrix(row, 0);
            m_task.clipY[row] = matrix(row, 1);
            m_task.clipW[row] = matrix(row, 3);
        }
        m_task.mask = &m_mask.Get();
        m_task.firstPosition = m_view.GetPositions().GetFirstElement();
        m_task.positionStride = sizeof(LqVector3f);
        m_task.numPositions = GetCount();
        m_task.oldWords = m_oldWords.empty() ? nullptr : m_oldWords.data();
    }

    [[nodiscard]] const std::vector<LqVector3f>& GetPositions() const { return m_positions; }
    [[nodiscard]] const SSurfelRuns& GetRuns() const { return *m_support->FindSurfelRuns(); }
    [[nodiscard]] std::uint32_t GetCount() const
    {
        return static_cast<std::uint32_t>(m_positions.size());
    }
    [[nodiscard]] const Words& GetOldWords() const { return m_oldWords; }
    /// A task that writes to \p words.
    [[nodiscard]] SCutSurfelsTask MakeTask(Words& words) const
    {
        SCutSurfelsTask task = m_task;
        task.words = words.data();
        return task;
    }

private:
    CScanScenes m_scenes;
    std::vector<LqVector3f> m_positions;
    CSurfelCollectionView m_view;
    std::shared_ptr<const ISurfelRuns> m_support;
    std::shared_ptr<const Base::SRegionSelectionInfo> m_selection;
    CCutMask m_mask;
    Words m_oldWords;
    SCutSurfelsTask m_task;
};

/// Words as a caller may leave them who expects every one to be written.
Words MakeLeftOvers(std::size_t count)
{
    return Words(count, Base::CSurfelBitMask{0x5A5A});
}

TEST(CutRuns, GivesTheWordsAndTheAnswerOfTheKernel)
{
    std::size_t numSurfels = 0;
    std::size_t numChanged = 0;
    g_numLookedAt = 0;
    constexpr std::size_t c_numScenes = 600;
    for (std::uint64_t seed = 0; seed < c_numScenes; ++seed)
    {
        const CScene scene(seed, seed % 2 == 0);
        Words expected = MakeLeftOvers(scene.GetCount());
        const bool hasChanged = CutSurfelsScalar(scene.MakeTask(expected), 0, scene.GetCount());
        Words words = MakeLeftOvers(scene.GetCount());
        ASSERT_EQ(
            CutRuns(scene.MakeTask(words), CountingKernel, scene.GetRuns(), 0, scene.GetCount()),
            hasChanged)
            << seed;
        ASSERT_TRUE(words == expected) << seed;
        numSurfels += scene.GetCount();
        numChanged += hasChanged ? 1 : 0;
    }
    // The scenes are worth nothing if nearly all of them end the same way.
    EXPECT_GT(numChanged, c_numScenes / 4);
    EXPECT_LT(numChanged, c_numScenes * 3 / 4);
    EXPECT_LT(g_numLookedAt, numSurfels / 2);
    EXPECT_GT(g_numLookedAt, numSurfels / 20);
}

TEST(CutRuns, GivesTheWordsOfTheReferenceByEveryKernel)
{
    for (std::uint64_t seed = 4000; seed < 4200; ++seed)
    {
        const CScene scene(seed, seed % 2 == 0);
        Words expected = MakeLeftOvers(scene.GetCount());
        const bool hasChanged = CutSurfelsScalar(scene.MakeTask(expected), 0, scene.GetCount());
        for (const SCutSurfelsKernel& kernel : GetCutSurfelsKernels())
        {
            Words words = MakeLeftOvers(scene.GetCount());
            SCutSurfelsTask task = scene.MakeTask(words);
            task.isStreamed = seed % 3 == 0;
            ASSERT_EQ(CutRuns(task, kernel.cut, scene.GetRuns(), 0, scene.GetCount()), hasChanged)
                << kernel.name << ", " << seed;
            ASSERT_TRUE(words == expected) << kernel.name << ", " << seed;
        }
    }
}

TEST(CutRuns, NothingToCutIsNoChange)
{
    const CScene scene(0, true);
    Words words(scene.GetCount());
    const SSurfelRuns noRuns;
    EXPECT_FALSE(CutRuns(scene.MakeTask(words), CutSurfelsScalar, noRuns, 0, 0));
}

TEST(CutRuns, AsksForThePositionsThatTheKernelReadsNext)
{
    std::size_t numFetched = 0;
    for (std::uint64_t seed = 5000; seed < 5100; ++seed)
    {
        const CScene scene(seed, false);
        Words words(scene.GetCount());
        g_calls.clear();
        static_cast<void>(
            CutRuns(scene.MakeTask(words), RecordingKernel, scene.GetRuns(), 0, scene.GetCount()));
        for (std::size_t call = 0; call + 1 < g_calls.size(); ++call)
        {
            const SCall& now = g_calls[call];
            const SCall& next = g_calls[call + 1];
            // Beyond the next group nothing has been judged by then.
            const std::uint32_t endOfJudged = (now.begin / 4096 + 2) * 4096;
            if (now.isInPlace && next.begin < endOfJudged)
            {
                ASSERT_EQ(now.fetchDistance, (next.begin - now.begin) * sizeof(LqVector3f)) << seed;
                ++numFetched;
            }
            else if (!now.isInPlace)
            {
                ASSERT_EQ(now.fetchDistance, SCutSurfelsTask().fetchDistance) << seed;
            }
        }
    }
    EXPECT_GT(numFetched, 200U);
}

TEST(CutRuns, WordsThatWereJustWrittenAreNotWrittenPastTheCache)
{
    std::size_t numInPlace = 0;
    for (std::uint64_t seed = 5000; seed < 5100; ++seed)
    {
        const CScene scene(seed, false);
        Words words(scene.GetCount());
        SCutSurfelsTask task = scene.MakeTask(words);
        task.isStreamed = true;
        g_calls.clear();
        static_cast<void>(CutRuns(task, RecordingKernel, scene.GetRuns(), 0, scene.GetCount()));
        for (const SCall& call : g_calls)
        {
            ASSERT_EQ(call.isStreamed, !call.isInPlace) << seed;
            numInPlace += call.isInPlace ? 1 : 0;
        }
    }
    EXPECT_GT(numInPlace, 200U);
}

TEST(CutRuns, WritesInPlaceWhereOldAndNewWordsAreTheSame)
{
    for (std::uint64_t seed = 1000; seed < 1100; ++seed)
    {
        const CScene scene(seed, seed % 2 == 0);
        Words words = scene.GetOldWords();
        words.resize(scene.GetCount());
        Words expected = words;
        SCutSurfelsTask task = scene.MakeTask(expected);
        task.oldWords = expected.data();
        const bool hasChanged = CutSurfelsScalar(task, 0, scene.GetCount());
        task.words = words.data();
        task.oldWords = words.data();
        ASSERT_EQ(CutRuns(task, CountingKernel, scene.GetRuns(), 0, scene.GetCount()), hasChanged);
        ASSERT_TRUE(words == expected) << seed;
    }
}

TEST(CutRuns, ShorterRangeLeavesTheOtherWordsAlone)
{
    for (std::uint64_t seed = 2000; seed < 2100; ++seed)
    {
        const CScene scene(seed, false);
        const std::uint32_t begin = scene.GetCount() / 8192 * 4096;
        const std::uint32_t end = begin + (scene.GetCount() - begin) * 3 / 4;
        Words expected = MakeLeftOvers(scene.GetCount());
        const bool hasChanged = CutSurfelsScalar(scene.MakeTask(expected), begin, end);
        Words words = MakeLeftOvers(scene.GetCount());
        ASSERT_EQ(CutRuns(scene.MakeTask(words), CountingKernel, scene.GetRuns(), begin, end),
                  hasChanged)
            << seed;
        ASSERT_TRUE(words == expected) << seed;
    }
}

TEST(CutRuns, RunsAreAskedOnlyWhereTheyAreSmallerThanTheirGroup)
{
    const CScene scene(1, false);
    SSurfelRuns runs;
    runs.runs.resize(scene.GetRuns().runs.size());  // Empty boxes, which no paint can touch.
    runs.groups = scene.GetRuns().groups;
    const float largest = std::numeric_limits<float>::max();
    for (const bool hasSmallRuns : {true, false})
    {
        for (SSurfelRunGroup& group : runs.groups)
        {
            group.whole.box.min = {-largest, -largest, -largest};
            group.whole.box.max = {largest, largest, largest};
            group.hasSmallRuns = hasSmallRuns;
        }
        Words words(scene.GetCount());
        g_numLookedAt = 0;
        static_cast<void>(
            CutRuns(scene.MakeTask(words), CountingKernel, runs, 0, scene.GetCount()));
        EXPECT_EQ(g_numLookedAt, hasSmallRuns ? 0 : scene.GetCount());
    }
}

constexpr std::uint32_t c_manyGroups = 1024;

Geometry::CBox3D MakeBoxOfAll()
{
    const float largest = std::numeric_limits<float>::max();
    Geometry::CBox3D box;
    box.min = {-largest, -largest, -largest};
    box.max = {largest, largest, largest};
    return box;
}

/// Groups that do not know, and of the sixteen runs of each so many that do not either.
SSurfelRuns MakeOpenRuns(std::uint32_t numGroups, std::uint32_t numOpen)
{
    SSurfelRuns runs;
    runs.groups.resize(numGroups);
    runs.runs.resize(std::size_t{numGroups} * SSurfelRuns::c_runsPerGroup);
    for (SSurfelRunGroup& group : runs.groups)
    {
        group.whole.box = MakeBoxOfAll();
        group.hasSmallRuns = true;
    }
    for (std::size_t run = 0; run < runs.runs.size(); ++run)
    {
        if (run % SSurfelRuns::c_runsPerGroup < numOpen)
        {
            runs.runs[run].box = MakeBoxOfAll();
        }
    }
    return runs;
}

/// Whether runs pay for a kernel that can be left four of sixteen whose positions come from memory.
bool DoPay(const SSurfelRuns& runs, std::size_t stride)
{
    const CScene scene(1, false);
    Words words(scene.GetCount());
    SCutSurfelsTask task = scene.MakeTask(words);
    task.positionStride = stride;
    return DoRunsPay(task, {"", CutSurfelsScalar, 4}, runs,
                     static_cast<std::uint32_t>(runs.groups.size()) * 4096);
}

TEST(CutRuns, PayWhileFewOfThemAreOpen)
{
    for (std::uint32_t numOpen = 0; numOpen <= 16; ++numOpen)
    {
        if (numOpen != 4)
        {
            EXPECT_EQ(DoPay(MakeOpenRuns(c_manyGroups, numOpen), 12), numOpen < 4) << numOpen;
        }
        // Of positions that stay in the cache half as many again.
        if (numOpen != 6)
        {
            EXPECT_EQ(DoPay(MakeOpenRuns(c_manyGroups, numOpen), 8), numOpen < 6) << numOpen;
        }
    }
}

TEST(CutRuns, PayLongerWhilePositionsFitTheFarthestCache)
{
    const CScene scene(1, false);
    Words words(scene.GetCount());
    SCutSurfelsTask task = scene.MakeTask(words);
    task.positionStride = 3;
    // One byte more than 32 MiB, and three less.
    constexpr std::uint32_t c_count = 11184811;
    const SSurfelRuns runs = MakeOpenRuns(c_count / 4096 + 1, 5);
    EXPECT_FALSE(DoRunsPay(task, {"", CutSurfelsScalar, 4}, runs, c_count));
    EXPECT_TRUE(DoRunsPay(task, {"", CutSurfelsScalar, 4}, runs, c_count - 1));
}

TEST(CutRuns, PayIsToldBy128RunsFromAllOverThem)
{
    const CScene scene(1, false);
    Words words(scene.GetCount());
    const SCutSurfelsTask task = scene.MakeTask(words);
    SSurfelRuns runs = MakeOpenRuns(c_manyGroups, 0);
    std::vector<std::size_t> judged;
    for (std::size_t run = 0; run < runs.runs.size(); ++run)
    {
        const SSurfelRun closed = runs.runs[run];
        runs.runs[run].box = MakeBoxOfAll();
        // A kernel that can be left none: the one open run is met, or it is not.
        if (!DoRunsPay(task, {"", CutSurfelsScalar, 0}, runs, c_manyGroups * 4096))
        {
            judged.push_back(run);
        }
        runs.runs[run] = closed;
    }
    ASSERT_EQ(judged.size(), 128U);
    EXPECT_EQ(judged.front(), 0U);
    for (std::size_t index = 1; index < judged.size(); ++index)
    {
        EXPECT_LT(judged[index] - judged[index - 1], 2 * runs.runs.size() / judged.size());
    }
}

TEST(CutRuns, PayWhereGroupsAnswer)
{
    SSurfelRuns runs = MakeOpenRuns(c_manyGroups, 16);
    for (SSurfelRunGroup& group : runs.groups)
    {
        group.whole.box = Geometry::CBox3D();
    }
    EXPECT_TRUE(DoPay(runs, 12));
}

TEST(CutRuns, DoNotPayWhereTheyAreNotAsked)
{
    SSurfelRuns runs = MakeOpenRuns(c_manyGroups, 0);
    for (SSurfelRunGroup& group : runs.groups)
    {
        group.hasSmallRuns = false;
    }
    EXPECT_FALSE(DoPay(runs, 12));
}

TEST(CutRuns, AlwaysPayWhereThereAreFew)
{
    EXPECT_TRUE(DoPay(MakeOpenRuns(63, 16), 12));
    EXPECT_FALSE(DoPay(MakeOpenRuns(64, 16), 12));
}

TEST(CutRuns, AlwaysPayForTheSlowestKernel)
{
    const CScene scene(1, false);
    Words words(scene.GetCount());
    EXPECT_TRUE(DoRunsPay(scene.MakeTask(words), {"", CutSurfelsScalar},
                          MakeOpenRuns(c_manyGroups, 16), c_manyGroups * 4096));
}

TEST(CutRuns, EveryRunIsWhereItIsJudgedToBe)
{
    std::size_t numRuns[3] = {};
    for (std::uint64_t seed = 3000; seed < 3300; ++seed)
    {
        const CScene scene(seed, seed % 2 == 0);
        Words words(scene.GetCount());
        SCutSurfelsTask task = scene.MakeTask(words);
        task.oldWords = nullptr;
        static_cast<void>(CutSurfelsScalar(task, 0, scene.GetCount()));
        const auto& runs = scene.GetRuns().runs;
        for (std::size_t run = 0; run < runs.size(); ++run)
        {
            const ERunPlace place = JudgeRun(task, runs[run], 100000);
            ++numRuns[static_cast<std::size_t>(place)];
            const std::size_t end = std::min<std::size_t>((run + 1) * 256, words.size());
            for (std::size_t index = run * 256; index < end; ++index)
            {
                const bool isPainted = words[index].bits != 0;
                ASSERT_FALSE(place == ERunPlace::Painted && !isPainted) << seed << ", " << index;
                ASSERT_FALSE(place == ERunPlace::Unpainted && isPainted) << seed << ", " << index;
            }
        }
    }
    for (const std::size_t number : numRuns)
    {
        EXPECT_GT(number, 1000);
    }
}

}  // namespace

}  // namespace DataLayer
