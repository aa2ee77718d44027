// The third cut of a collection and those after it, when runs of surfels answer for themselves,
// beside the first, the plain loop, and a loop that only moves the bytes that a first cut has to
// move.

#include <tbb/global_control.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Base/Interfaces/IPointCloudSupport.h"
#include "Benchmarks/BenchmarkProgram.h"
#include "Benchmarks/CViewWithoutRuns.h"
#include "Benchmarks/CutScene.h"
#include "Benchmarks/MovedBytes.h"
#include "Benchmarks/PlainCut.h"
#include "DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMask.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"
#include "DataLayer/PointCloud/ISurfelRuns.h"

namespace
{

using Words = std::vector<Base::CSurfelBitMask>;
using Cutter = DataLayer::CCutPointCloudWithPixelMask;
using DataLayer::CSurfelCollectionView;

void SetRates(benchmark::State& state, const SCutScene& scene)
{
    const std::int64_t numSurfels = state.iterations() * std::int64_t{scene.count};
    state.SetItemsProcessed(numSurfels);
    state.SetBytesProcessed(numSurfels * static_cast<std::int64_t>(scene.stride + 4));
}

/// Cuts a view that has been cut twice before. \p hasFlags: whether the surfels have flags before
/// the cut, which are to be copied then.
template <typename View>
void Cut(benchmark::State& state, const SCutScene& scene, bool hasFlags)
{
    const auto selection = scene.MakeSelection();
    const auto view = scene.MakeView<View>();
    const std::vector<Cutter::SInputData> inputs{
        {view, hasFlags ? Words(scene.count) : Words(), c_matIdentityD}};
    const Cutter cutter(selection);
    Words expected(scene.count);
    const bool hasChanged = CutPlainly(*selection, *view, expected);
    Cutter::Results results;
    for (unsigned stroke = 0; stroke < 3; ++stroke)
    {
        cutter.Compute(inputs, results);
        if (results[0].first != hasChanged || !(results[0].second == expected))
        {
            state.SkipWithError("a cut is not what the plain loop makes of it");
            return;
        }
    }
    for ([[maybe_unused]] auto iteration : state)
    {
        cutter.Compute(inputs, results);
        benchmark::DoNotOptimize(results.front().second.data());
    }
    SetRates(state, scene);
}

void PlainLoop(benchmark::State& state, const SCutScene& scene)
{
    const auto selection = scene.MakeSelection();
    const auto view = scene.MakeView<CSurfelCollectionView>();
    const Words flags(scene.count);
    Words words;
    for ([[maybe_unused]] auto iteration : state)
    {
        words = flags;
        benchmark::DoNotOptimize(CutPlainly(*selection, *view, words));
    }
    SetRates(state, scene);
}

void Move(benchmark::State& state, const SCutScene& scene, const MovedBytes::SForm& form)
{
    const Words oldWords(scene.count);
    Words words(scene.count);
    const std::vector<std::byte>& positions = scene.GetPositions();
    for ([[maybe_unused]] auto iteration : state)
    {
        form.move({positions.data(), scene.stride, oldWords, words});
    }
    SetRates(state, scene);
}

/// Makes the runs, as a second cut does.
void MakeRuns(benchmark::State& state, const SCutScene& scene)
{
    std::size_t numBytes = 0;
    static_cast<void>(scene.GetPositions());
    for ([[maybe_unused]] auto iteration : state)
    {
        const auto view = scene.MakeView<CSurfelCollectionView>();
        const auto support =
            std::dynamic_pointer_cast<const DataLayer::ISurfelRuns>(view->GetPointCloudSupport());
        benchmark::DoNotOptimize(support->FindSurfelRuns());
        const DataLayer::SSurfelRuns* const runs = support->FindSurfelRuns();
        numBytes =
            runs->runs.size() * sizeof runs->runs[0] + runs->groups.size() * sizeof runs->groups[0];
    }
    SetRates(state, scene);
    state.counters["bytes_per_item"] =
        static_cast<double>(numBytes) / static_cast<double>(scene.count);
}

void AddOnOneThread(const char* path, const std::string& form, const std::string& caseName,
                    const SCutScene& scene,
                    std::function<void(benchmark::State&, const SCutScene&)> body)
{
    BenchmarkProgram::Add(path, form, caseName, scene.count,
                          [scene, body = std::move(body)](benchmark::State& state) {
                              const tbb::global_control control(
                                  tbb::global_control::max_allowed_parallelism, 1);
                              body(state, scene);
                          });
}

void AddCase(const SCutScene& scene)
{
    const auto add = [&](const std::string& form, auto body) {
        AddOnOneThread("RepeatedStroke", form, scene.GetName(), scene, std::move(body));
    };
    add("Veko2",
        [](auto& state, const SCutScene& what) { Cut<CSurfelCollectionView>(state, what, true); });
    add("Veko2:noflags",
        [](auto& state, const SCutScene& what) { Cut<CSurfelCollectionView>(state, what, false); });
    add("Veko2:first",
        [](auto& state, const SCutScene& what) { Cut<CViewWithoutRuns>(state, what, true); });
    add("Plain", PlainLoop);
    for (const MovedBytes::SForm& form : MovedBytes::GetForms())
    {
        add("Limit:" + form.name,
            [form](auto& state, const SCutScene& what) { Move(state, what, form); });
    }
}

void AddAll()
{
    for (const std::uint32_t count : {1000, 10'000, 1'000'000, 10'000'000})
    {
        for (const std::size_t stride : {16, 12})
        {
            for (const int percent : {1, 10, 50})
            {
                AddCase({count, stride, false, percent});
            }
            const SCutScene scene{count, stride, false, 1};
            AddOnOneThread("SurfelRuns", "Veko2", "Stride" + std::to_string(stride), scene,
                           MakeRuns);
        }
        AddCase({count, 16, true, 10});
    }
}

}  // namespace

int main(int argc, char** argv)
{
    return BenchmarkProgram::Run(argc, argv, AddAll);
}
