// Compute() over one collection that is cut for the first time, beside the plain loop that it
// stands for, loops that only move the same bytes, which is the speed of memory, and the peers.
// Positions are read once, flags read and written once; the rate counts these bytes. Then the
// preparation of a selection, whose items are pixels.

#include <tbb/global_control.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Base/Interfaces/CSurfelBitMask.h"
#include "Benchmarks/BenchmarkProgram.h"
#include "Benchmarks/BenchmarkScene.h"
#include "Benchmarks/CViewWithoutRuns.h"
#include "Benchmarks/CutScene.h"
#include "Benchmarks/MovedBytes.h"
#include "Benchmarks/Peers/Peers.h"
#include "Benchmarks/PlainCut.h"
#include "DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMask.h"
#include "DataLayer/Base3D/PointCloudEditing/Kernels/CCutMask.h"
#include "DataLayer/Base3D/PointCloudEditing/Kernels/CutSurfelsKernels.h"

namespace
{

using Base::CSurfelBitMask;
using Words = std::vector<CSurfelBitMask>;
using Cutter = DataLayer::CCutPointCloudWithPixelMask;

void SetRates(benchmark::State& state, const SCutScene& scene)
{
    const std::int64_t numSurfels = state.iterations() * std::int64_t{scene.count};
    state.SetItemsProcessed(numSurfels);
    state.SetBytesProcessed(numSurfels * static_cast<std::int64_t>(scene.stride + 4));
}

/// What the definition makes of a scene; that of the last one is kept.
const Words& GetExpected(const SCutScene& scene)
{
    static Words expected;
    static std::string name;
    const std::string newName = scene.GetName() + "/" + std::to_string(scene.count);
    if (name != newName)
    {
        expected.assign(scene.count, CSurfelBitMask());
        static_cast<void>(
            CutPlainly(*scene.MakeSelection(), *scene.MakeView<CViewWithoutRuns>(), expected));
        name = newName;
    }
    return expected;
}

void Compute(benchmark::State& state, const SCutScene& scene)
{
    const std::vector<Cutter::SInputData> inputs{
        {scene.MakeView<CViewWithoutRuns>(), Words(scene.count), c_matIdentityD}};
    const Cutter cutter(scene.MakeSelection());
    Cutter::Results results;
    cutter.Compute(inputs, results);
    if (!(results.front().second == GetExpected(scene)))
    {
        state.SkipWithError("the cut is not what the plain loop makes of it");
        return;
    }
    for ([[maybe_unused]] auto iteration : state)
    {
        cutter.Compute(inputs, results);
        benchmark::DoNotOptimize(results.front().second.data());
    }
    SetRates(state, scene);
}

/// One kernel by itself, in blocks and past the cache as Compute() runs the fastest one.
void RunKernel(benchmark::State& state, const SCutScene& scene,
               const DataLayer::SCutSurfelsKernel& kernel)
{
    constexpr std::uint32_t c_surfelsPerBlock = 65536;
    const auto selection = scene.MakeSelection();
    const DataLayer::CCutMask mask(*selection, DataLayer::BoundPaintedPixels(*selection));
    const LqMatrix4Rf matrix =
        (selection->transform1 * selection->transform2) * selection->transform3;
    const Words oldWords(scene.count);
    Words words(scene.count);
    DataLayer::SCutSurfelsTask task;
    for (std::size_t row = 0; row < 4; ++row)
    {
        task.clipX[row] = matrix(row, 0);
        task.clipY[row] = matrix(row, 1);
        task.clipW[row] = matrix(row, 3);
    }
    task.mask = &mask.Get();
    task.firstPosition = scene.GetPositions().data();
    task.positionStride = scene.stride;
    task.numPositions = scene.count;
    task.fetchDistance = kernel.fetchDistance;
    task.oldWords = oldWords.data();
    task.words = words.data();
    task.isStreamed = scene.count > DataLayer::c_maximumCachedSurfels;
    const auto run = [&] {
        bool hasChanged = false;
        for (std::uint32_t begin = 0; begin < scene.count; begin += c_surfelsPerBlock)
        {
            const std::uint32_t end = std::min(begin + c_surfelsPerBlock, scene.count);
            hasChanged = kernel.cut(task, begin, end) || hasChanged;
        }
        return hasChanged;
    };
    static_cast<void>(run());
    if (!(words == GetExpected(scene)))
    {
        state.SkipWithError("the cut is not what the plain loop makes of it");
        return;
    }
    for ([[maybe_unused]] auto iteration : state)
    {
        benchmark::DoNotOptimize(run());
    }
    SetRates(state, scene);
}

void RunPlainly(benchmark::State& state, const SCutScene& scene)
{
    const auto view = scene.MakeView<CViewWithoutRuns>();
    const auto selection = scene.MakeSelection();
    const Words flags(scene.count);
    Words words;
    for ([[maybe_unused]] auto iteration : state)
    {
        words = flags;
        benchmark::DoNotOptimize(CutPlainly(*selection, *view, words));
    }
    SetRates(state, scene);
}

void MoveBytes(benchmark::State& state, const SCutScene& scene, const MovedBytes::SForm& form)
{
    const std::vector<std::byte>& positions = scene.GetPositions();
    const Words flags(scene.count);
    Words words(scene.count);
    for ([[maybe_unused]] auto iteration : state)
    {
        form.move({positions.data(), scene.stride, flags, words});
    }
    SetRates(state, scene);
}

/// How many surfels a peer selects must be about what the mask cuts, whose pixels follow the lasso
/// by half a pixel.
bool IsNear(std::size_t numSelected, std::size_t numCut)
{
    const std::size_t allowed = 5 + numCut / 100;
    return numSelected <= numCut + allowed && numCut <= numSelected + allowed;
}

void SelectWithPeer(benchmark::State& state, const SCutScene& scene,
                    const Peers::SClassifierPeer& peer)
{
    const auto view = scene.MakeView<CViewWithoutRuns>();
    std::vector<LqVector3f> points(scene.count);
    for (std::uint32_t index = 0; index < scene.count; ++index)
    {
        points[index] = view->GetPositions().At(index);
    }
    const auto selection = scene.MakeSelection();
    const auto classifier =
        peer.make(points, {selection->transform1 * selection->transform2,
                           BenchmarkScene::c_viewWidth, BenchmarkScene::c_viewHeight,
                           BenchmarkScene::MakeLasso(scene.percentPainted / 100.0)});
    std::size_t numSelected = 0;
    for ([[maybe_unused]] auto iteration : state)
    {
        numSelected = classifier->CountSelected();
    }
    const Words& expected = GetExpected(scene);
    const auto numCut = static_cast<std::size_t>(std::count_if(
        expected.begin(), expected.end(), [](CSurfelBitMask word) { return word.bits != 0; }));
    if (!IsNear(numSelected, numCut))
    {
        state.SkipWithError("selects other points");
    }
    SetRates(state, scene);
}

void AddScene(const SCutScene& scene, const std::vector<std::size_t>& threadCounts, bool hasPeers)
{
    using Body = std::function<void(benchmark::State&, const SCutScene&)>;
    for (const std::size_t numThreads : threadCounts)
    {
        const auto add = [&](const std::string& form, Body body) {
            BenchmarkProgram::Add(
                "Compute", form,
                scene.GetName() + (numThreads == 1 ? "" : ",Threads" + std::to_string(numThreads)),
                scene.count, [=, body = std::move(body)](benchmark::State& state) {
                    const tbb::global_control control(tbb::global_control::max_allowed_parallelism,
                                                      numThreads);
                    body(state, scene);
                });
        };
        add("Veko2", Compute);
        for (const MovedBytes::SForm& form : MovedBytes::GetForms())
        {
            add("Limit:" + form.name,
                [form](auto& state, const auto& what) { MoveBytes(state, what, form); });
        }
        if (numThreads > 1)
        {
            continue;
        }
        for (const DataLayer::SCutSurfelsKernel& kernel : DataLayer::GetCutSurfelsKernels())
        {
            add("Veko2:" + std::string(kernel.name),
                [kernel](auto& state, const auto& what) { RunKernel(state, what, kernel); });
        }
        add("Plain", RunPlainly);
        if (hasPeers)
        {
            for (const Peers::SClassifierPeer& peer : Peers::GetClassifiers())
            {
                add("Peer:" + peer.name,
                    [peer](auto& state, const auto& what) { SelectWithPeer(state, what, peer); });
            }
        }
    }
}

/// The lasso's mask of a full-HD view, shrunk to \p width by \p height.
std::shared_ptr<const Base::SRegionSelectionInfo> MakeSelection(std::uint32_t width,
                                                                std::uint32_t height)
{
    using BenchmarkScene::c_viewHeight;
    using BenchmarkScene::c_viewWidth;
    const std::vector<std::uint8_t> lasso =
        BenchmarkScene::PaintPolygon(BenchmarkScene::MakeLasso(0.1));
    std::vector<std::uint8_t> mask(std::size_t{width} * height);
    for (std::uint32_t row = 0; row < height; ++row)
    {
        for (std::uint32_t column = 0; column < width; ++column)
        {
            mask[std::size_t{row} * width + column] =
                lasso[std::size_t{row * c_viewHeight / height} * c_viewWidth +
                      column * c_viewWidth / width];
        }
    }
    const LqMatrix4Rf identity(c_matIdentityD);
    return Base::MakeRegionSelection(identity, identity, identity, std::move(mask), width, height);
}

void AddPreparation(std::uint32_t width, std::uint32_t height)
{
    const std::int64_t numPixels = std::int64_t{width} * height;
    BenchmarkProgram::Add("Prepare", "Veko2", "Painted10", numPixels, [=](auto& state) {
        const auto selection = MakeSelection(width, height);
        for ([[maybe_unused]] auto iteration : state)
        {
            const Cutter cutter(selection);
            benchmark::DoNotOptimize(&cutter);
        }
        state.SetItemsProcessed(state.iterations() * numPixels);
        state.SetBytesProcessed(state.iterations() * numPixels);
    });
}

void AddAll()
{
    for (const std::uint32_t count : {1000, 10'000, 100'000, 1'000'000, 10'000'000, 100'000'000})
    {
        AddScene({count, 16, false, 10}, {1, 2}, count <= 10'000'000);
        if (count <= 10'000'000)
        {
            AddScene({count, 16, false, 50}, {1}, false);
            AddScene({count, 12, false, 10}, {1}, false);
            // As the surfels of a minimal collection lie.
            AddScene({count, 14, false, 10}, {1}, false);
            AddScene({count, 16, true, 10}, {1}, false);
        }
    }
    AddPreparation(40, 25);
    AddPreparation(BenchmarkScene::c_viewWidth, BenchmarkScene::c_viewHeight);
}

}  // namespace

int main(int argc, char** argv)
{
    return BenchmarkProgram::Run(argc, argv, AddAll);
}
