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
#include <utility>
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
float HeightAt(float x, float y)
{
    return 20.0F * std::sin(x / 50.0F) * std::cos(y / 70.0F) +
           4.0F * std::sin(x / 9.0F + y / 31.0F);
}

/// Positions row by row over a square of the landscape, moved at random by up to \p jitter.
std::vector<LqVector3f> MakeRows(std::size_t count, float side, float jitter, std::uint32_t seed)
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
        rows[i] = {x, y, HeightAt(x, y) + 0.3F * offset(random)};
    }
    return rows;
}

struct SScene
{
    std::vector<LqVector3f> points;
    std::vector<LqVector3f> scanOrder;
    std::vector<LqVector3f> shuffled;
};

const SScene& GetScene(std::int64_t pointCount)
{
    static std::map<std::int64_t, SScene> scenes;
    const auto [entry, isNew] = scenes.try_emplace(pointCount);
    SScene& scene = entry->second;
    if (isNew)
    {
        const float side = std::sqrt(static_cast<float>(pointCount));
        scene.points = MakeRows(static_cast<std::size_t>(pointCount), side, 0.35F, 1);
        const std::size_t queryCount = std::min(c_mostQueries, 10 * scene.points.size());
        scene.scanOrder = MakeRows(queryCount, side, 0.5F, 2);
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

CNearestNeighborIndex MakeIndex(const std::vector<LqVector3f>& points, std::string_view kernel)
{
    return CNearestNeighborIndex(
        {reinterpret_cast<const std::byte*>(points.data()), sizeof(LqVector3f), points.size()},
        kernel);
}

void SetBuildFigures(benchmark::State& state, std::int64_t count, std::size_t bytes)
{
    state.SetItemsProcessed(state.iterations() * count);
    if (bytes > 0)
    {
        state.counters["bytes_per_item"] = static_cast<double>(bytes) / static_cast<double>(count);
    }
}

void BuildIndex(benchmark::State& state, std::int64_t count)
{
    const SScene& scene = GetScene(count);
    std::size_t bytes = 0;
    for (auto unused : state)
    {
        static_cast<void>(unused);
        bytes = MakeIndex(scene.points, {}).GetMemorySize();
    }
    SetBuildFigures(state, count, bytes);
}

void BuildPeer(benchmark::State& state, std::int64_t count, const Peers::SNearestNeighborPeer& peer)
{
    const auto searcher = peer.make(GetScene(count).points);
    for (auto unused : state)
    {
        static_cast<void>(unused);
        searcher->Build();
    }
    SetBuildFigures(state, count, searcher->GetMemorySize());
}

float SquaredDistance(const LqVector3f& a, const LqVector3f& b)
{
    const float x = a.x - b.x;
    const float y = a.y - b.y;
    const float z = a.z - b.z;
    return (x * x + y * y) + z * z;
}

constexpr std::size_t c_numSamples = 20000;

/// The squared distance of what was found, or the bound's for nothing.
float DistanceOf(const SScene& scene, const LqVector3f& query, std::int32_t found)
{
    return found < 0 ? c_bound * c_bound
                     : SquaredDistance(query, scene.points[static_cast<std::size_t>(found)]);
}

/// Our distances for the first shuffled queries of a scene, which is asked for once.
const std::vector<float>& GetExpected(std::int64_t pointCount)
{
    static std::map<std::int64_t, std::vector<float>> distances;
    const auto [entry, isNew] = distances.try_emplace(pointCount);
    if (isNew)
    {
        const SScene& scene = GetScene(pointCount);
        const CNearestNeighborIndex index = MakeIndex(scene.points, {});
        for (std::size_t i = 0; i < std::min(c_numSamples, scene.shuffled.size()); ++i)
        {
            const LqVector3f& query = scene.shuffled[i];
            entry->second.push_back(
                DistanceOf(scene, query, index.FindNearestNeighbor(query, c_bound, nullptr)));
        }
    }
    return entry->second;
}

/// Asks for the neighbours of all queries, after a sample of the answers is checked. Which of
/// several points at the same distance is found is free, and others add up the squares in their own
/// order.
template <typename Find>
void RunQueries(benchmark::State& state, std::int64_t pointCount, bool isShuffled, const Find& find)
{
    constexpr float c_relativeError = 1e-5F;
    const SScene& scene = GetScene(pointCount);
    const std::vector<float>& expected = GetExpected(pointCount);
    for (std::size_t i = 0; i < expected.size(); ++i)
    {
        const LqVector3f& query = scene.shuffled[i];
        const float distance = DistanceOf(scene, query, find(query));
        if (std::abs(distance - expected[i]) > c_relativeError * expected[i])
        {
            state.SkipWithError("finds other neighbours");
            return;
        }
    }
    const std::vector<LqVector3f>& queries = isShuffled ? scene.shuffled : scene.scanOrder;
    for (auto unused : state)
    {
        static_cast<void>(unused);
        for (const LqVector3f& query : queries)
        {
            benchmark::DoNotOptimize(find(query));
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(queries.size()));
}

/// A peer's tree over a scene, built when it is first asked for and kept for both orders.
class CKeptSearcher
{
public:
    CKeptSearcher(Peers::SNearestNeighborPeer peer, std::int64_t pointCount)
        : m_peer(std::move(peer)), m_pointCount(pointCount)
    {}

    [[nodiscard]] Peers::INearestNeighborSearcher& Get()
    {
        if (m_searcher == nullptr)
        {
            m_searcher = m_peer.make(GetScene(m_pointCount).points);
            m_searcher->Build();
        }
        return *m_searcher;
    }

private:
    Peers::SNearestNeighborPeer m_peer;
    std::int64_t m_pointCount;
    std::unique_ptr<Peers::INearestNeighborSearcher> m_searcher;
};

void QueryIndex(benchmark::State& state, std::int64_t count, bool isShuffled,
                const std::string& kernel)
{
    const CNearestNeighborIndex index = MakeIndex(GetScene(count).points, kernel);
    RunQueries(state, count, isShuffled, [&](const LqVector3f& query) {
        return index.FindNearestNeighbor(query, c_bound, nullptr);
    });
}

void QueryPeer(benchmark::State& state, std::int64_t count, bool isShuffled,
               Peers::INearestNeighborSearcher& searcher)
{
    RunQueries(state, count, isShuffled,
               [&](const LqVector3f& query) { return searcher.Find(query, c_bound); });
}

/// Registers the forms of each size one after the other, so that they meet the same machine.
void AddAll()
{
    const auto peers = Peers::GetNearestNeighborSearchers();
    for (const std::int64_t count : {1000, 10'000, 100'000, 1'000'000, 5'000'000})
    {
        BenchmarkProgram::Add("NearestNeighborBuild", "Veko2", "Surface", count,
                              [=](benchmark::State& state) { BuildIndex(state, count); });
        std::vector<std::shared_ptr<CKeptSearcher>> searchers;
        for (const Peers::SNearestNeighborPeer& peer : peers)
        {
            BenchmarkProgram::Add("NearestNeighborBuild", "Peer:" + peer.name, "Surface", count,
                                  [=](benchmark::State& state) { BuildPeer(state, count, peer); });
            searchers.push_back(std::make_shared<CKeptSearcher>(peer, count));
        }
        for (const bool isShuffled : {false, true})
        {
            const std::string order = isShuffled ? "Shuffled" : "ScanOrder";
            for (const std::string_view name : CNearestNeighborIndex::GetKernelNames())
            {
                const std::string kernel(name);
                BenchmarkProgram::Add(
                    "NearestNeighborQuery", "Veko2:" + kernel, order, count,
                    [=](benchmark::State& state) { QueryIndex(state, count, isShuffled, kernel); });
            }
            for (std::size_t peer = 0; peer < peers.size(); ++peer)
            {
                BenchmarkProgram::Add("NearestNeighborQuery", "Peer:" + peers[peer].name, order,
                                      count,
                                      [=, searcher = searchers[peer]](benchmark::State& state) {
                                          QueryPeer(state, count, isShuffled, searcher->Get());
                                      });
            }
        }
    }
}

}  // namespace

int main(int argc, char** argv)
{
    const tbb::global_control oneThread(tbb::global_control::max_allowed_parallelism, 1);
    return BenchmarkProgram::Run(argc, argv, AddAll);
}
