// Builds the nearest-neighbour index over a surface of fused points about 1 apart and asks it for
// the neighbours of a scan of the same surface within 2.25, one query in twenty farther away than
// that; beside the peers on the same points and queries. All on one thread.

#include <tbb/global_control.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "Benchmarks/BenchmarkProgram.h"
#include "Benchmarks/Peers/Peers.h"
#include "DataLayer/PointCloud/CNearestNeighborIndex.h"

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

CNearestNeighborIndex makeIndex(const std::vector<LqVector3f>& points, std::string_view kernel)
{
    return CNearestNeighborIndex(
        {reinterpret_cast<const std::byte*>(points.data()), sizeof(LqVector3f), points.size()},
        kernel);
}

/// Asks for one neighbour after the other, round and round.
template <typename Find>
void runQueries(benchmark::State& state, const std::vector<LqVector3f>& queries, const Find& find)
{
    std::size_t next = 0;
    for (auto unused : state)
    {
        static_cast<void>(unused);
        benchmark::DoNotOptimize(find(queries[next]));
        next = next + 1 == queries.size() ? 0 : next + 1;
    }
    state.SetItemsProcessed(state.iterations());
}

void setBuildFigures(benchmark::State& state, std::int64_t count, std::size_t bytes)
{
    state.SetItemsProcessed(state.iterations() * count);
    if (bytes > 0)
    {
        state.counters["bytes_per_item"] = static_cast<double>(bytes) / static_cast<double>(count);
    }
}

void buildIndex(benchmark::State& state, std::int64_t count)
{
    const SScene& scene = getScene(count);
    std::size_t bytes = 0;
    for (auto unused : state)
    {
        static_cast<void>(unused);
        bytes = makeIndex(scene.points, {}).GetMemorySize();
    }
    setBuildFigures(state, count, bytes);
}

void buildPeer(benchmark::State& state, std::int64_t count, const Peers::SNearestNeighborPeer& peer)
{
    const auto searcher = peer.make(getScene(count).points);
    for (auto unused : state)
    {
        static_cast<void>(unused);
        searcher->Build();
    }
    setBuildFigures(state, count, searcher->GetMemorySize());
}

float squaredDistance(const LqVector3f& a, const LqVector3f& b)
{
    const float x = a.x - b.x;
    const float y = a.y - b.y;
    const float z = a.z - b.z;
    return (x * x + y * y) + z * z;
}

/// All must find neighbours at the same distances, or their times say nothing. Which of several at
/// the same distance is free, and others add up the squares in their own order.
template <typename Find>
bool findsTheSame(const SScene& scene, const Find& find)
{
    constexpr std::size_t c_numSamples = 20000;
    constexpr float c_relativeError = 1e-5F;
    const CNearestNeighborIndex index = makeIndex(scene.points, {});
    for (std::size_t i = 0; i < std::min(c_numSamples, scene.shuffled.size()); ++i)
    {
        const LqVector3f& query = scene.shuffled[i];
        const auto distance = [&](std::int32_t found) {
            return found < 0
                       ? c_bound * c_bound
                       : squaredDistance(query, scene.points[static_cast<std::size_t>(found)]);
        };
        const float expected = distance(index.FindNearestNeighbor(query, c_bound, nullptr));
        if (std::abs(distance(find(query)) - expected) > c_relativeError * expected)
        {
            return false;
        }
    }
    return true;
}

template <typename Find>
void checkAndRunQueries(benchmark::State& state, const SScene& scene, bool isShuffled,
                        const Find& find)
{
    if (!findsTheSame(scene, find))
    {
        state.SkipWithError("finds other neighbours");
        return;
    }
    runQueries(state, isShuffled ? scene.shuffled : scene.scanOrder, find);
}

/// Registers the forms of each size one after the other, so that they meet the same machine.
void addAll()
{
    const auto peers = Peers::GetNearestNeighborSearchers();
    for (const std::int64_t count : {1000, 100'000, 1'000'000, 5'000'000})
    {
        BenchmarkProgram::Add("NearestNeighborBuild", "Veko2", "Surface", count,
                              [=](benchmark::State& state) { buildIndex(state, count); });
        for (const Peers::SNearestNeighborPeer& peer : peers)
        {
            BenchmarkProgram::Add("NearestNeighborBuild", "Peer:" + peer.name, "Surface", count,
                                  [=](benchmark::State& state) { buildPeer(state, count, peer); });
        }
        for (const bool isShuffled : {false, true})
        {
            const std::string order = isShuffled ? "Shuffled" : "ScanOrder";
            for (const std::string_view name : CNearestNeighborIndex::GetKernelNames())
            {
                const std::string kernel(name);
                BenchmarkProgram::Add("NearestNeighborQuery", "Veko2:" + kernel, order, count,
                                      [=](benchmark::State& state) {
                                          const SScene& scene = getScene(count);
                                          const auto index = makeIndex(scene.points, kernel);
                                          const auto find = [&](const LqVector3f& query) {
                                              return index.FindNearestNeighbor(query, c_bound,
                                                                               nullptr);
                                          };
                                          checkAndRunQueries(state, scene, isShuffled, find);
                                      });
            }
            for (const Peers::SNearestNeighborPeer& peer : peers)
            {
                BenchmarkProgram::Add("NearestNeighborQuery", "Peer:" + peer.name, order, count,
                                      [=](benchmark::State& state) {
                                          const SScene& scene = getScene(count);
                                          const auto searcher = peer.make(scene.points);
                                          searcher->Build();
                                          const auto find = [&](const LqVector3f& query) {
                                              return searcher->Find(query, c_bound);
                                          };
                                          checkAndRunQueries(state, scene, isShuffled, find);
                                      });
            }
        }
    }
}

}  // namespace

int main(int argc, char** argv)
{
    const tbb::global_control oneThread(tbb::global_control::max_allowed_parallelism, 1);
    return BenchmarkProgram::Run(argc, argv, addAll);
}
