// Fuses a scan of a rough ball with floating bits beside it and finds its small components; the
// same with the flagging of its surfels behind it; and, where nanoflann or PCL are installed, what
// their users do: Euclidean cluster extraction, with half the voxel size for tolerance. Sizes from
// 10^5 to 10^7 points in scan order and shuffled. "B/point" is the most memory that was in use
// above what was before, by input point.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "Application/Fusion/CScanFuser.h"
#include "Base/Interfaces/SyncableEntityMap.h"
#include "Benchmarks/BenchmarkScene.h"
#include "DataLayer/Base3D/PointCloudEditing/CSmallComponentModifyOperation.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"

#if defined(VEKO2_HAS_NANOFLANN)
#include <nanoflann.hpp>
#endif

#if defined(VEKO2_HAS_PCL)
#include <pcl/point_cloud.h>
#include <pcl/point_types.h>
#include <pcl/search/kdtree.h>
#include <pcl/segmentation/extract_clusters.h>
#endif

namespace
{

using Application::CScanFuser;

/// One floating bit, of so many points, for each ten thousand points.
constexpr std::size_t c_bitSize = 20;
constexpr std::size_t c_pointsPerBit = 10000;

class CScanEntity : public Base::IGeometricEntity
{
public:
    explicit CScanEntity(const std::vector<LqVector3f>& points)
        : m_collection(std::make_shared<DataLayer::CSurfelCollectionView>(
              nullptr, points.size(), points.data(), sizeof(LqVector3f)))
    {}

    std::shared_ptr<const Base::ISurfelCollection> GetSurfelCollection(bool) const override
    {
        return m_collection;
    }
    const Base::CEntityID& GetID() const override { return m_id; }
    std::shared_ptr<Base::IVekoSerializable> FindTag(const std::string&) const override
    {
        return nullptr;
    }

private:
    std::shared_ptr<const Base::ISurfelCollection> m_collection;
    Base::CEntityID m_id;
};

std::vector<LqVector3f> MakePoints(std::size_t count, bool isShuffled)
{
    std::mt19937 random(1);
    std::uniform_real_distribution<float> place(-4.0F, 4.0F);
    std::uniform_real_distribution<float> offset(-0.001F, 0.001F);
    std::vector<LqVector3f> points(count);
    LqVector3f bit;
    for (std::size_t index = 0; index < count; ++index)
    {
        const std::size_t inRun = index % c_pointsPerBit;
        if (inRun == 0)
        {
            bit = {2.0F + place(random) / 8.0F, place(random), place(random)};
        }
        points[index] = inRun < c_bitSize ? LqVector3f{bit.x + offset(random), bit.y, bit.z}
                                          : BenchmarkScene::PointOnBall(index, count);
    }
    if (isShuffled)
    {
        std::shuffle(points.begin(), points.end(), random);
    }
    return points;
}

/// A figure of this process in bytes, as the system tells it.
double ReadMemory(const std::string& name)
{
    std::ifstream status("/proc/self/status");
    std::string word;
    while (status >> word)
    {
        if (word == name + ":")
        {
            double kibibytes = 0.0;
            status >> kibibytes;
            return kibibytes * 1024.0;
        }
    }
    return 0.0;
}

/// Measures the most memory in use from its construction on.
class CPeakMemory
{
public:
    CPeakMemory()
    {
        malloc_trim(0);
        std::ofstream("/proc/self/clear_refs") << "5";
        m_before = ReadMemory("VmRSS");
    }

    [[nodiscard]] double GetBytes() const { return ReadMemory("VmHWM") - m_before; }

private:
    double m_before = 0.0;
};

/// Runs \p work on a scan of the asked size and order; it answers how many points it found small.
template <typename Work>
void RunOnScan(benchmark::State& state, const Work& work)
{
    const std::vector<LqVector3f> points =
        MakePoints(static_cast<std::size_t>(state.range(0)), state.range(1) != 0);
    double peak = 0.0;
    std::size_t numSmall = 0;
    for (auto unused : state)
    {
        static_cast<void>(unused);
        state.PauseTiming();
        const CPeakMemory memory;
        state.ResumeTiming();
        numSmall = work(points);
        state.PauseTiming();
        peak = std::max(peak, memory.GetBytes());
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.counters["B/point"] = peak / static_cast<double>(state.range(0));
    state.counters["small"] = static_cast<double>(numSmall);
    state.SetLabel(state.range(1) != 0 ? "shuffled" : "scan order");
}

CScanFuser::SParameters MakeParameters()
{
    CScanFuser::SParameters parameters;
    parameters.minimumPoints = c_pointsPerBit / 2;
    parameters.minimumFraction = 0.0;
    return parameters;
}

std::vector<CScanFuser::SScan> MakeScans(const std::vector<LqVector3f>& points)
{
    return {{Base::CUniqueID(), std::make_shared<CScanEntity>(points), c_matIdentityD, nullptr}};
}

void Fuse(benchmark::State& state)
{
    RunOnScan(state, [](const std::vector<LqVector3f>& points) {
        return CScanFuser(MakeParameters()).Fuse(MakeScans(points)).report.numSmallComponentPoints;
    });
}

void FuseAndFlag(benchmark::State& state)
{
    RunOnScan(state, [](const std::vector<LqVector3f>& points) {
        const std::vector<CScanFuser::SScan> scans = MakeScans(points);
        CScanFuser::SFusion fusion = CScanFuser(MakeParameters()).Fuse(scans);
        Base::CEntityMapSyncEntry entry;
        entry.key = scans[0].key;
        Base::CEntityMapValue value;
        value.entity = scans[0].entity;
        entry.value = std::move(value);
        const DataLayer::CSmallComponentModifyOperation operation(fusion.content);
        const auto batch = operation.ComputeModifications(Base::CEntityMapSyncBatch({entry}));
        const auto mask = batch.messages.at(0).GetNewState().mask.GetValue();
        return static_cast<std::uint64_t>(
            std::count_if(mask->GetBitMasks().begin(), mask->GetBitMasks().end(),
                          [](Base::CSurfelBitMask word) { return word.bits != 0; }));
    });
}

#if defined(VEKO2_HAS_NANOFLANN) || defined(VEKO2_HAS_PCL)

/// Half the voxel size that the fuser takes: what the others need to find the same clusters, and
/// kind to them, since their time grows with its square.
float ClusterTolerance(std::size_t count)
{
    return static_cast<float>(4.0 * std::sqrt(12.566370614359172 / static_cast<double>(count)));
}

#endif

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

/// Euclidean cluster extraction as it is commonly written: a tree, a radius search for every point,
/// and a cluster for all that can be reached.
void ExtractClustersByTree(benchmark::State& state)
{
    RunOnScan(state, [](const std::vector<LqVector3f>& points) {
        const SPoints adaptor{points};
        const nanoflann::KDTreeSingleIndexAdaptor<nanoflann::L2_Simple_Adaptor<float, SPoints>,
                                                  SPoints, 3, std::uint32_t>
            tree(3, adaptor);
        const float tolerance = ClusterTolerance(points.size());
        std::vector<bool> isReached(points.size());
        std::vector<std::pair<std::uint32_t, float>> found;
        std::vector<std::uint32_t> cluster;
        std::uint64_t numSmall = 0;
        for (std::uint32_t seed = 0; seed < points.size(); ++seed)
        {
            if (isReached[seed])
            {
                continue;
            }
            isReached[seed] = true;
            cluster.assign(1, seed);
            for (std::size_t next = 0; next < cluster.size(); ++next)
            {
                const LqVector3f& point = points[cluster[next]];
                const float coordinates[3] = {point.x, point.y, point.z};
                tree.radiusSearch(coordinates, tolerance * tolerance, found,
                                  nanoflann::SearchParams(32, 0.0F, false));
                for (const auto& [index, distance] : found)
                {
                    if (!isReached[index])
                    {
                        isReached[index] = true;
                        cluster.push_back(index);
                    }
                }
            }
            numSmall += cluster.size() < c_pointsPerBit / 2 ? cluster.size() : 0;
        }
        return numSmall;
    });
}

#endif

#if defined(VEKO2_HAS_PCL)

void ExtractClusters(benchmark::State& state)
{
    RunOnScan(state, [](const std::vector<LqVector3f>& points) {
        auto cloud = std::make_shared<pcl::PointCloud<pcl::PointXYZ>>();
        cloud->reserve(points.size());
        for (const LqVector3f& point : points)
        {
            cloud->push_back(pcl::PointXYZ(point.x, point.y, point.z));
        }
        pcl::EuclideanClusterExtraction<pcl::PointXYZ> extraction;
        extraction.setClusterTolerance(ClusterTolerance(points.size()));
        extraction.setSearchMethod(std::make_shared<pcl::search::KdTree<pcl::PointXYZ>>());
        extraction.setInputCloud(cloud);
        std::vector<pcl::PointIndices> clusters;
        extraction.extract(clusters);
        std::uint64_t numSmall = 0;
        for (const pcl::PointIndices& cluster : clusters)
        {
            numSmall += cluster.indices.size() < c_pointsPerBit / 2 ? cluster.indices.size() : 0;
        }
        return numSmall;
    });
}

#endif

/// The forms of each size one after the other, so that they meet the same machine.
void RegisterAll(const std::vector<std::int64_t>& counts)
{
    for (const std::int64_t count : counts)
    {
        for (const std::int64_t order : {0, 1})
        {
            const auto registerOne = [&](const char* name, void (*function)(benchmark::State&)) {
                benchmark::RegisterBenchmark(name, function)
                    ->Args({count, order})
                    ->Unit(benchmark::kMillisecond)
                    ->UseRealTime();
            };
            registerOne("Fuse", Fuse);
            registerOne("FuseAndFlag", FuseAndFlag);
#if defined(VEKO2_HAS_NANOFLANN)
            registerOne("ExtractClusters/nanoflann", ExtractClustersByTree);
#endif
#if defined(VEKO2_HAS_PCL)
            registerOne("ExtractClusters/PCL", ExtractClusters);
#endif
        }
    }
}

}  // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    RegisterAll({1000, 100000, 1000000, 10000000, 50000000});
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
