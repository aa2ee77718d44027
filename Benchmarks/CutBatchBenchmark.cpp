// The pixel-mask cut operation over whole batches, each cut for the first time: many small entities
// and few large ones, with none, one in a hundred and all of them under the paint. The rate counts
// entities. The limit is the classification alone, of all entities' surfels in one call.
//
// CutBatchMemory counts surfels, and the most memory that is in use during a call beyond what was
// before.

#include <tbb/global_control.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Base/Interfaces/IPointCloudSupport.h"
#include "Base/Interfaces/SRegionSelectionInfo.h"
#include "Base/Interfaces/SyncableEntityMap.h"
#include "Benchmarks/BenchmarkProgram.h"
#include "Benchmarks/CViewWithoutRuns.h"
#include "Benchmarks/PeakMemory.h"
#include "DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMask.h"
#include "DataLayer/Base3D/PointCloudEditing/CCutWithPixelMaskSyncableEntityCollectionModifyOperation.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"

namespace
{

using Operation = DataLayer::CCutWithPixelMaskSyncableEntityCollectionModifyOperation;

constexpr std::uint32_t c_viewWidth = 1920;
constexpr std::uint32_t c_viewHeight = 1080;

/// An identifier that is counted up, so that making the scene draws none.
Base::CEntityID MakeID(std::uint32_t number)
{
    std::array<std::uint8_t, 16> bytes{};
    for (std::size_t index = 0; index < 4; ++index)
    {
        bytes[index] = static_cast<std::uint8_t>(number >> (8 * index));
    }
    return Base::CEntityID(bytes);
}

class CEntity : public Base::IGeometricEntity
{
public:
    CEntity(Base::CEntityID id, std::shared_ptr<const Base::ISurfelCollection> collection)
        : m_id(id), m_collection(std::move(collection))
    {}

    [[nodiscard]] std::shared_ptr<const Base::ISurfelCollection> GetSurfelCollection(
        bool /*forEditing*/) const override
    {
        return m_collection;
    }
    [[nodiscard]] const Base::CEntityID& GetID() const override { return m_id; }
    [[nodiscard]] std::shared_ptr<Base::IVekoSerializable> FindTag(
        const std::string& /*interfaceName*/) const override
    {
        return nullptr;
    }

private:
    Base::CEntityID m_id;
    std::shared_ptr<const Base::ISurfelCollection> m_collection;
};

/// Where runs are made of a collection's surfels they must not be.
std::shared_ptr<const Base::ISurfelCollection> MakeCollection(
    const std::shared_ptr<const std::vector<LqVector3f>>& positions, const LqVector3f* own,
    std::uint32_t numSurfels)
{
    constexpr std::uint32_t c_fewSurfels = 1000;
    if (numSurfels <= c_fewSurfels)
    {
        return std::make_shared<const DataLayer::CSurfelCollectionView>(positions, numSurfels, own,
                                                                        sizeof(LqVector3f));
    }
    return std::make_shared<const CViewWithoutRuns>(positions, numSurfels, own, sizeof(LqVector3f));
}

/// Entities side by side over the width of the view, each a column of surfels over its height.
Base::CEntityMapSyncBatch MakeBatch(std::uint32_t numEntities, std::uint32_t numSurfels)
{
    const auto positions =
        std::make_shared<std::vector<LqVector3f>>(std::size_t{numEntities} * numSurfels);
    std::vector<Base::CEntityMapSyncEntry> entries(numEntities,
                                                   Base::CEntityMapSyncEntry{MakeID(0), {}});
    for (std::uint32_t entity = 0; entity < numEntities; ++entity)
    {
        LqVector3f* const own = positions->data() + std::size_t{entity} * numSurfels;
        const float x =
            (2.0F * static_cast<float>(entity) + 1.0F) / static_cast<float>(numEntities) - 1.0F;
        for (std::uint32_t surfel = 0; surfel < numSurfels; ++surfel)
        {
            own[surfel] = {
                x, 0.99F - 1.98F * static_cast<float>(surfel) / static_cast<float>(numSurfels),
                0.5F};
        }
        const auto collection = MakeCollection(positions, own, numSurfels);
        // Built here, as an application has long done it when the user paints.
        static_cast<void>(collection->GetPointCloudSupport()->GetBoundingBox());
        Base::CEntityMapValue value;
        value.trafo = c_matIdentityD;
        value.entity = std::make_shared<const CEntity>(MakeID(entity + 1), collection);
        entries[entity] = {MakeID(entity + 1), std::move(value)};
    }
    return Base::CEntityMapSyncBatch(std::move(entries));
}

/// The left \p percent of the view painted.
std::shared_ptr<const Base::SRegionSelectionInfo> MakeSelection(std::int64_t percent)
{
    std::vector<std::uint8_t> mask(std::size_t{c_viewWidth} * c_viewHeight);
    for (std::size_t pixel = 0; pixel < mask.size(); ++pixel)
    {
        const auto column = static_cast<std::int64_t>(pixel % c_viewWidth);
        mask[pixel] = 100 * column < percent * c_viewWidth ? 1 : 0;
    }
    const LqMatrix4Rf identity(c_matIdentityD);
    return Base::MakeRegionSelection(identity, identity, identity, std::move(mask), c_viewWidth,
                                     c_viewHeight);
}

struct SArguments
{
    std::uint32_t numEntities;
    std::uint32_t numSurfels;  ///< Of each entity.
    std::int64_t painted;      ///< In percent of the view.
    std::size_t numThreads;
};

/// The latest batch, which the benchmarks of its size share.
const Base::CEntityMapSyncBatch& GetBatch(const SArguments& arguments)
{
    static Base::CEntityMapSyncBatch batch;
    static std::pair<std::uint32_t, std::uint32_t> key;
    const std::pair wanted(arguments.numEntities, arguments.numSurfels);
    if (key != wanted)
    {
        batch = Base::CEntityMapSyncBatch();
        batch = MakeBatch(arguments.numEntities, arguments.numSurfels);
        key = wanted;
    }
    return batch;
}

Operation MakeOperation(const SArguments& arguments)
{
    return Operation(ScanAPI::shared_not_null<const Base::SRegionSelectionInfo>(
                         MakeSelection(arguments.painted)),
                     c_matIdentityD);
}

void CutBatch(benchmark::State& state, const SArguments& arguments)
{
    const tbb::global_control control(tbb::global_control::max_allowed_parallelism,
                                      arguments.numThreads);
    const Base::CEntityMapSyncBatch& batch = GetBatch(arguments);
    const Operation operation = MakeOperation(arguments);
    const std::size_t numMessages = operation.ComputeModifications(batch).messages.size();
    if (numMessages != (arguments.painted == 0 ? 0 : arguments.numEntities))
    {
        state.SkipWithError("not every entity has a message");
        return;
    }
    for ([[maybe_unused]] auto _ : state)
    {
        const auto answer = operation.ComputeModifications(batch);
        benchmark::DoNotOptimize(answer.messages.data());
    }
    state.SetItemsProcessed(state.iterations() * arguments.numEntities);
}

void Classify(benchmark::State& state, const SArguments& arguments)
{
    const tbb::global_control control(tbb::global_control::max_allowed_parallelism,
                                      arguments.numThreads);
    const DataLayer::CCutPointCloudWithPixelMask cutter(MakeSelection(arguments.painted));
    std::vector<DataLayer::CCutPointCloudWithPixelMask::SInputData> inputs;
    for (const Base::CEntityMapSyncEntry& entry : GetBatch(arguments).GetEntries())
    {
        inputs.push_back(
            {entry.value.GetValue().entity->GetSurfelCollection(true), {}, c_matIdentityD});
    }
    for ([[maybe_unused]] auto _ : state)
    {
        DataLayer::CCutPointCloudWithPixelMask::Results results;
        cutter.Compute(inputs, results);
        benchmark::DoNotOptimize(results.data());
    }
    state.SetItemsProcessed(state.iterations() * arguments.numEntities);
}

void CountMemory(benchmark::State& state, const SArguments& arguments)
{
    const tbb::global_control control(tbb::global_control::max_allowed_parallelism,
                                      arguments.numThreads);
    const Base::CEntityMapSyncBatch& batch = GetBatch(arguments);
    const Operation operation = MakeOperation(arguments);
    std::size_t peak = 0;
    for ([[maybe_unused]] auto _ : state)
    {
        const PeakMemory::CScope scope;
        const auto answer = operation.ComputeModifications(batch);
        benchmark::DoNotOptimize(answer.messages.data());
        peak = std::max(peak, scope.GetPeak());
    }
    const double numSurfels = static_cast<double>(arguments.numEntities) * arguments.numSurfels;
    state.counters["bytes_per_item"] = static_cast<double>(peak) / numSurfels;
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(numSurfels));
}

void AddBatches(std::uint32_t numEntities, std::uint32_t numSurfels)
{
    for (const std::int64_t painted : {0, 1, 100})
    {
        if (painted == 1 && numEntities < 100)
        {
            continue;  // No entity lies there.
        }
        for (const bool isParallel : {false, true})
        {
            const SArguments arguments{
                numEntities, numSurfels, painted,
                isParallel ? std::thread::hardware_concurrency() : std::size_t{1}};
            const std::string caseName = "Surfels" + std::to_string(numSurfels) + ",Painted" +
                                         std::to_string(painted) +
                                         (isParallel ? ",ThreadsAll" : "");
            const auto add = [&](const char* path, const char* form, std::int64_t size,
                                 void (*body)(benchmark::State&, const SArguments&)) {
                BenchmarkProgram::Add(path, form, caseName, size,
                                      [=](benchmark::State& state) { body(state, arguments); });
            };
            add("CutBatch", "Veko2", numEntities, CutBatch);
            if (painted == 100)
            {
                add("CutBatch", "Limit:Compute", numEntities, Classify);
                add("CutBatchMemory", "Veko2", std::int64_t{numEntities} * numSurfels, CountMemory);
            }
        }
    }
}

}  // namespace

int main(int argc, char** argv)
{
    return BenchmarkProgram::Run(argc, argv, [] {
        AddBatches(10, 100);
        for (const std::uint32_t numEntities : {1000, 10'000, 100'000, 1'000'000})
        {
            AddBatches(numEntities, 100);
        }
        AddBatches(10, 1'000'000);
    });
}
