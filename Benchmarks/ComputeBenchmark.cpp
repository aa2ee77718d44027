// Compute() over one collection, beside the plain loop that it stands for and beside a loop that
// only moves the same bytes, which is the speed of memory. Positions are read once, flags read and
// written once; the rate counts these bytes.

#include <tbb/global_control.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Base/Interfaces/CSurfelBitMask.h"
#include "Benchmarks/BenchmarkProgram.h"
#include "Benchmarks/BenchmarkScene.h"
#include "Benchmarks/CViewWithoutRuns.h"
#include "Benchmarks/MovedBytes.h"
#include "Benchmarks/Peers/Peers.h"
#include "Benchmarks/PlainCut.h"
#include "DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMask.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"

namespace
{

using Base::CSurfelBitMask;
using Words = std::vector<CSurfelBitMask>;
using Cutter = DataLayer::CCutPointCloudWithPixelMask;

/// The part of the view that the lasso paints.
constexpr double c_lassoFraction = 0.1;

const std::shared_ptr<const Base::SRegionSelectionInfo>& GetSelection()
{
    static const auto selection = BenchmarkScene::MakeSelection(
        BenchmarkScene::PaintPolygon(BenchmarkScene::MakeLasso(c_lassoFraction)));
    return selection;
}

/// What every benchmark needs to know.
struct SArguments
{
    std::uint32_t count;
    std::size_t stride;
    std::size_t numThreads;
};

void SetRates(benchmark::State& state, const SArguments& arguments)
{
    const std::int64_t numSurfels = state.iterations() * std::int64_t{arguments.count};
    state.SetItemsProcessed(numSurfels);
    state.SetBytesProcessed(numSurfels * static_cast<std::int64_t>(arguments.stride + 4));
}

void Compute(benchmark::State& state, const SArguments& arguments)
{
    const tbb::global_control control(tbb::global_control::max_allowed_parallelism,
                                      arguments.numThreads);
    const auto positions = std::make_shared<const std::vector<std::byte>>(
        BenchmarkScene::MakePositions(arguments.count, arguments.stride));
    const auto collection = std::make_shared<CViewWithoutRuns>(positions, arguments.count,
                                                               positions->data(), arguments.stride);
    const std::vector<Cutter::SInputData> inputs{
        {collection, Words(arguments.count), c_matIdentityD}};
    const Cutter cutter(GetSelection());
    Cutter::Results results;
    for ([[maybe_unused]] auto iteration : state)
    {
        cutter.Compute(inputs, results);
        benchmark::DoNotOptimize(results.front().second.data());
    }
    SetRates(state, arguments);
}

void PlainLoop(benchmark::State& state, const SArguments& arguments)
{
    const auto positions = BenchmarkScene::MakePositions(arguments.count, arguments.stride);
    const DataLayer::CSurfelCollectionView collection(nullptr, arguments.count, positions.data(),
                                                      arguments.stride);
    const Words flags(arguments.count);
    const auto& selection = GetSelection();
    Words words;
    for ([[maybe_unused]] auto iteration : state)
    {
        words = flags;
        benchmark::DoNotOptimize(CutPlainly(*selection, collection, words));
    }
    SetRates(state, arguments);
}

void MoveBytes(benchmark::State& state, const SArguments& arguments, const MovedBytes::SForm& form)
{
    const tbb::global_control control(tbb::global_control::max_allowed_parallelism,
                                      arguments.numThreads);
    const auto positions = BenchmarkScene::MakePositions(arguments.count, arguments.stride);
    const Words flags(arguments.count);
    Words words(arguments.count);
    for ([[maybe_unused]] auto iteration : state)
    {
        form.move({positions.data(), arguments.stride, flags, words});
    }
    SetRates(state, arguments);
}

std::size_t CountCut(const Words& words)
{
    return static_cast<std::size_t>(std::count_if(
        words.begin(), words.end(), [](CSurfelBitMask word) { return word.bits != 0; }));
}

/// How many surfels a peer selects must be about what the mask cuts, whose pixels follow the lasso
/// by half a pixel.
bool IsNear(std::size_t numSelected, std::size_t numCut)
{
    const std::size_t allowed = 5 + numCut / 100;
    return numSelected <= numCut + allowed && numCut <= numSelected + allowed;
}

void SelectWithPeer(benchmark::State& state, const SArguments& arguments,
                    const Peers::SClassifierPeer& peer)
{
    const auto positions = BenchmarkScene::MakePositions(arguments.count, arguments.stride);
    const DataLayer::CSurfelCollectionView collection(nullptr, arguments.count, positions.data(),
                                                      arguments.stride);
    const Base::SRegionSelectionInfo& selection = *GetSelection();
    const LqMatrix4Rf matrix = selection.transform1 * selection.transform2;
    Words words(arguments.count);
    static_cast<void>(CutPlainly(selection, collection, words));
    std::vector<LqVector3f> points(arguments.count);
    for (std::uint32_t index = 0; index < arguments.count; ++index)
    {
        points[index] = collection.GetPositions().At(index);
    }
    const auto classifier =
        peer.make(points, {matrix, BenchmarkScene::c_viewWidth, BenchmarkScene::c_viewHeight,
                           BenchmarkScene::MakeLasso(c_lassoFraction)});
    std::size_t numSelected = 0;
    for ([[maybe_unused]] auto iteration : state)
    {
        numSelected = classifier->CountSelected();
    }
    if (!IsNear(numSelected, CountCut(words)))
    {
        state.SkipWithError("selects other points");
    }
    SetRates(state, arguments);
}

void AddAll()
{
    const std::size_t allThreads = std::thread::hardware_concurrency();
    for (const std::uint32_t count : {1000, 100'000, 1'000'000, 10'000'000})
    {
        for (const std::size_t stride : {12, 16})
        {
            const auto add = [&](const std::string& form, const char* suffix,
                                 std::size_t numThreads, auto body) {
                BenchmarkProgram::Add("Compute", form, "Stride" + std::to_string(stride) + suffix,
                                      count,
                                      [arguments = SArguments{count, stride, numThreads},
                                       body](benchmark::State& state) { body(state, arguments); });
            };
            add("Veko2", "", 1, Compute);
            add("Plain", "", 1, PlainLoop);
            if (stride == 16)
            {
                for (const Peers::SClassifierPeer& peer : Peers::GetClassifiers())
                {
                    BenchmarkProgram::Add("Compute", "Peer:" + peer.name, "Stride16", count,
                                          [=](benchmark::State& state) {
                                              SelectWithPeer(state, {count, stride, 1}, peer);
                                          });
                }
            }
            add("Veko2", ",ThreadsAll", allThreads, Compute);
            for (const MovedBytes::SForm& limit : MovedBytes::GetForms())
            {
                const auto move = [limit](benchmark::State& state, const SArguments& arguments) {
                    MoveBytes(state, arguments, limit);
                };
                add("Limit:" + limit.name, "", 1, move);
                add("Limit:" + limit.name, ",ThreadsAll", allThreads, move);
            }
        }
    }
}

}  // namespace

int main(int argc, char** argv)
{
    return BenchmarkProgram::Run(argc, argv, AddAll);
}
