// Fuses a scan of a rough ball with floating bits beside it and finds its small components; the
// same with the flagging of its surfels behind it, which is what cleaning a scan is; and the peers'
// clusters, with half the voxel size for tolerance. In scan order and shuffled, on all threads.
// Memory is the most that was in use above what was before.

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
#include "Benchmarks/BenchmarkProgram.h"
#include "Benchmarks/BenchmarkScene.h"
#include "Benchmarks/Peers/Peers.h"
#include "DataLayer/Base3D/PointCloudEditing/CSmallComponentModifyOperation.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"

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

/// The last points are kept, for the forms that follow.
const std::vector<LqVector3f>& GetPoints(std::size_t count, bool isShuffled)
{
    static std::vector<LqVector3f> points;
    static bool isLastShuffled = false;
    if (points.size() != count || isShuffled != isLastShuffled)
    {
        points = MakePoints(count, isShuffled);
        isLastShuffled = isShuffled;
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

/// How many points are in the floating bits.
std::uint64_t CountBitPoints(std::size_t count)
{
    return c_bitSize * (count / c_pointsPerBit) + std::min(c_bitSize, count % c_pointsPerBit);
}

/// Runs \p work on a scan of \p count points; it answers how many points it found small.
template <typename Work>
void RunOnScan(benchmark::State& state, std::size_t count, bool isShuffled, const Work& work)
{
    const std::vector<LqVector3f>& points = GetPoints(count, isShuffled);
    double peak = 0.0;
    for (auto unused : state)
    {
        static_cast<void>(unused);
        state.PauseTiming();
        const CPeakMemory memory;
        state.ResumeTiming();
        const std::uint64_t numSmall = work(points);
        state.PauseTiming();
        peak = std::max(peak, memory.GetBytes());
        if (numSmall != CountBitPoints(count))
        {
            state.SkipWithError("finds other points than the floating bits");
            break;
        }
        state.ResumeTiming();
    }
    const auto numPoints = static_cast<std::int64_t>(count);
    state.SetItemsProcessed(state.iterations() * numPoints);
    state.counters["bytes_per_item"] = peak / static_cast<double>(count);
}

/// Between the size of a bit and that of the ball.
std::size_t GetMinimumPoints(std::size_t count)
{
    return std::min(count, c_pointsPerBit) / 2;
}

CScanFuser::SParameters MakeParameters(std::size_t count)
{
    CScanFuser::SParameters parameters;
    parameters.minimumPoints = GetMinimumPoints(count);
    parameters.minimumFraction = 0.0;
    return parameters;
}

std::vector<CScanFuser::SScan> MakeScans(const std::vector<LqVector3f>& points)
{
    return {{Base::CUniqueID(), std::make_shared<CScanEntity>(points), c_matIdentityD, nullptr}};
}

std::uint64_t Fuse(const std::vector<LqVector3f>& points)
{
    return CScanFuser(MakeParameters(points.size()))
        .Fuse(MakeScans(points))
        .report.numSmallComponentPoints;
}

std::uint64_t FuseAndFlag(const std::vector<LqVector3f>& points)
{
    const std::vector<CScanFuser::SScan> scans = MakeScans(points);
    CScanFuser::SFusion fusion = CScanFuser(MakeParameters(points.size())).Fuse(scans);
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
}

/// Half the voxel size that the fuser takes: what the others need to find the same clusters, and
/// kind to them, since their time grows with its square.
float ClusterTolerance(std::size_t count)
{
    return static_cast<float>(4.0 * std::sqrt(12.566370614359172 / static_cast<double>(count)));
}

/// The forms of each size one after the other, so that they meet the same machine.
void AddAll()
{
    const auto peers = Peers::GetClusterExtractions();
    for (const std::size_t count : {1000, 100'000, 1'000'000, 10'000'000, 50'000'000})
    {
        for (const bool isShuffled : {false, true})
        {
            const auto add =
                [&](const std::string& path, const std::string& form,
                    const std::function<std::uint64_t(const std::vector<LqVector3f>&)>& work) {
                    BenchmarkProgram::Add(
                        path, form, isShuffled ? "Shuffled,ThreadsAll" : "ScanOrder,ThreadsAll",
                        static_cast<std::int64_t>(count), [=](benchmark::State& state) {
                            RunOnScan(state, count, isShuffled, work);
                        });
                };
            add("Fuse", "Veko2", Fuse);
            add("Clean", "Veko2", FuseAndFlag);
            for (const Peers::SClusterPeer& peer : peers)
            {
                // Shuffled, the large ones take minutes to say the same.
                if (count <= (isShuffled ? 1'000'000 : peer.largestCount))
                {
                    add("Clean", "Peer:" + peer.name, [=](const std::vector<LqVector3f>& points) {
                        return peer.countSmall(points, ClusterTolerance(count),
                                               GetMinimumPoints(count));
                    });
                }
            }
        }
    }
}

}  // namespace

int main(int argc, char** argv)
{
    return BenchmarkProgram::Run(argc, argv, AddAll);
}
