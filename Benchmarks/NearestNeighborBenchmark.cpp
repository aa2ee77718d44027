// Builds the nearest-neighbour index over a surface of fused points about 1 apart and asks it for
// the neighbours of a scan of the same surface within 2.25, one query in twenty farther away than
// that; beside nanoflann, where it is installed, on the same points and queries in the same run.
// All on one thread.

#include <benchmark/benchmark.h>
#include <tbb/global_control.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "DataLayer/PointCloud/CNearestNeighborIndex.h"

#if defined(VEKO2_HAS_NANOFLANN)
#include <nanoflann.hpp>
#endif

namespace
{

using DataLayer::CNearestNeighborIndex;

constexpr float c_bound = 2.25F;
constexpr std::size_t c_mostQueries = 1000000;

/// A rolling landscape.
float heightAt(float x, float y)
{
    return 20.0F * std::sin(x / 50.0F) * std::cos(y / 70.0F) +
           4.0F * std::sin(x / 9.0F + y / 31.0F);
}

/// Positions row by row over a square of the landscape, moved at random by up to \p jitter.
std::vector<LqVector3f> makeRows(std::size_t count, float side, float jitter, std::uint32_t seed)
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> offset(-jitter, jitter);
    const auto columns = static_cast<std::size_t>(std::ceil(std::sqrt(static_cast<double>(count))));
    const float spacing = side / static_cast<float>(columns);
    std::vector<LqVector3f> rows(count);
    for (std::size_t i = 0; i < count; ++i)
    {
        const float x = static_cast<float>(i % columns) * spacing + offset(random);
        const float y = static_cast<float>(i / columns) * spacing + offset(random);
        rows[i] = {x, y, heightAt(x, y) + 0.3F * offset(random)};
    }
    return rows;
}

struct SScene
{
    std::vector<LqVector3f> points;
    std::vector<LqVector3f> scanOrder;
    std::vector<LqVector3f> shuffled;
};

const SScene& getScene(std::int64_t pointCount)
{
    static std::map<std::int64_t, SScene> scenes;
    const auto [entry, isNew] = scenes.try_emplace(pointCount);
    SScene& scene = entry->second;
    if (isNew)
    {
        const float side = std::sqrt(static_cast<float>(pointCount));
        scene.points = makeRows(static_cast<std::size_t>(pointCount), side, 0.35F, 1);
        const std::size_t queryCount = std::min(c_mostQueries, 10 * scene.points.size());
        scene.scanOrder = makeRows(queryCount, side, 0.5F, 2);
        std::mt19937 random(3);
        for (LqVector3f& query : scene.scanOrder)
        {
            query.z += random() % 20 == 0 ? 6.0F : 0.0F;
        }
        scene.shuffled = scene.scanOrder;
        std::shuffle(scene.shuffled.begin(), scene.shuffled.end(), random);
    }
    return scene;
}

const std::vector<LqVector3f>& getQueries(const benchmark::State& state)
{
    const SScene& scene = getScene(state.range(0));
    return state.range(1) == 0 ? scene.scanOrder : scene.shuffled;
}

CNearestNeighborIndex makeIndex(const std::vector<LqVector3f>& points, std::string_view kernel)
{
    return CNearestNeighborIndex(
        {reinterpret_cast<const std::byte*>(points.data()), sizeof(LqVector3f), points.size()},
        kernel);
}

/// Asks for one neighbour after the other, round and round.
template <typename Find>
void runQueries(benchmark::State& state, const Find& find)
{
    const std::vector<LqVector3f>& queries = getQueries(state);
    std::size_t next = 0;
    for (auto unused : state)
    {
        static_cast<void>(unused);
        benchmark::DoNotOptimize(find(queries[next]));
        next = next + 1 == queries.size() ? 0 : next + 1;
    }
    state.SetItemsProcessed(state.iterations());
    state.SetLabel(state.range(1) == 0 ? "scan order" : "shuffled");
}

void BuildIndex(benchmark::State& state)
{
    const SScene& scene = getScene(state.range(0));
    std::size_t bytes = 0;
    for (auto unused : state)
    {
        static_cast<void>(unused);
        bytes = makeIndex(scene.points, {}).GetMemorySize();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.counters["bytes/point"] =
        static_cast<double>(bytes) / static_cast<double>(state.range(0));
}

void QueryIndex(benchmark::State& state, const std::string& kernel)
{
    const CNearestNeighborIndex index = makeIndex(getScene(state.range(0)).points, kernel);
    runQueries(state, [&index](const LqVector3f& query) {
        return index.FindNearestNeighbor(query, c_bound, nullptr);
    });
}

#if defined(VEKO2_HAS_NANOFLANN)

/// The points as nanoflann reads them.
struct SPoints
{
    const std::vector<LqVector3f>& points;

    [[nodiscard]] std::size_t kdtree_get_point_count() const { return points.size(); }
    [[nodiscard]] float kdtree_get_pt(std::size_t index, std::size_t axis) const
    {
        return axis == 0 ? points[index].x : axis == 1 ? points[index].y : points[index].z;
    }
    template <typename Box>
    bool kdtree_get_bbox(Box& /*box*/) const
    {
        return false;
    }
};

/// Keeps the nearest point within the bound, so that nanoflann as well leaves out what is farther.
class CNearestWithinBound
{
public:
    using DistanceType = float;
    using IndexType = std::uint32_t;

    [[nodiscard]] std::int32_t GetIndex() const { return m_index; }
    [[nodiscard]] bool full() const { return true; }
    [[nodiscard]] std::size_t size() const { return m_index < 0 ? 0 : 1; }
    [[nodiscard]] float worstDist() const { return m_squaredDistance; }
    bool addPoint(float squaredDistance, std::uint32_t index)
    {
        if (squaredDistance < m_squaredDistance)
        {
            m_squaredDistance = squaredDistance;
            m_index = static_cast<std::int32_t>(index);
        }
        return true;
    }

private:
    float m_squaredDistance = std::nextafter(c_bound * c_bound, 100.0F);
    std::int32_t m_index = -1;
};

using CNanoflannTree =
    nanoflann::KDTreeSingleIndexAdaptor<nanoflann::L2_Simple_Adaptor<float, SPoints>, SPoints, 3,
                                        std::uint32_t>;

std::int32_t findWithNanoflann(const CNanoflannTree& tree, const LqVector3f& query)
{
    CNearestWithinBound result;
    const float coordinates[3] = {query.x, query.y, query.z};
    tree.findNeighbors(result, coordinates, nanoflann::SearchParams());
    return result.GetIndex();
}

void BuildNanoflann(benchmark::State& state)
{
    const SPoints points{getScene(state.range(0)).points};
    std::size_t bytes = 0;
    for (auto unused : state)
    {
        static_cast<void>(unused);
        CNanoflannTree tree(3, points);
        tree.buildIndex();
        bytes = tree.usedMemory(tree) + points.points.size() * sizeof(LqVector3f);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.counters["bytes/point"] =
        static_cast<double>(bytes) / static_cast<double>(state.range(0));
}

/// Both must find neighbours for the same queries, or their times say nothing.
bool findSameQueries(const CNanoflannTree& tree, const SScene& scene)
{
    const CNearestNeighborIndex index = makeIndex(scene.points, {});
    return std::all_of(
        scene.scanOrder.begin(), scene.scanOrder.end(), [&](const LqVector3f& query) {
            const bool isFound = index.FindNearestNeighbor(query, c_bound, nullptr) >= 0;
            return isFound == (findWithNanoflann(tree, query) >= 0);
        });
}

void QueryNanoflann(benchmark::State& state)
{
    const SScene& scene = getScene(state.range(0));
    const SPoints points{scene.points};
    CNanoflannTree tree(3, points);
    tree.buildIndex();
    if (!findSameQueries(tree, scene))
    {
        state.SkipWithError("The index and nanoflann disagree");
        return;
    }
    runQueries(state, [&tree](const LqVector3f& query) { return findWithNanoflann(tree, query); });
}

#endif

/// Registers the forms of each size one after the other, so that they meet the same machine.
void registerAll(const std::vector<std::int64_t>& pointCounts)
{
    for (const std::int64_t count : pointCounts)
    {
        benchmark::RegisterBenchmark("Build/Index", BuildIndex)
            ->Arg(count)
            ->Unit(benchmark::kMillisecond);
#if defined(VEKO2_HAS_NANOFLANN)
        benchmark::RegisterBenchmark("Build/nanoflann", BuildNanoflann)
            ->Arg(count)
            ->Unit(benchmark::kMillisecond);
#endif
        for (const std::int64_t order : {0, 1})
        {
            for (const std::string_view kernel : CNearestNeighborIndex::GetKernelNames())
            {
                const std::string name(kernel);
                benchmark::RegisterBenchmark(("Query/Index/" + name).c_str(), QueryIndex, name)
                    ->Args({count, order});
            }
#if defined(VEKO2_HAS_NANOFLANN)
            benchmark::RegisterBenchmark("Query/nanoflann", QueryNanoflann)->Args({count, order});
#endif
        }
    }
}

}  // namespace

int main(int argc, char** argv)
{
    const tbb::global_control oneThread(tbb::global_control::max_allowed_parallelism, 1);
    benchmark::Initialize(&argc, argv);
    registerAll({1000, 100000, 1000000, 5000000});
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
