// Both forms of Apply() on surfel models and mesh models: the first cut of a model whose bounding
// box is known, which leaves out a tenth of it. Results are released after the time is taken.
//
// The limit reads what has to be read and writes what is kept into fresh memory: every position for
// each selection, all else once. It knows beforehand what is kept.

#include <tbb/global_control.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Base/Interfaces/IPointCloudSupport.h"
#include "Base/Support/LargePages.h"
#include "Benchmarks/BenchmarkProgram.h"
#include "Benchmarks/BenchmarkScene.h"
#include "Benchmarks/KeptRuns.h"
#include "Benchmarks/Peers/Peers.h"
#include "Benchmarks/PlainCut.h"
#include "DataLayer/Base3D/CTriangulation.h"
#include "DataLayer/Base3D/PointCloudEditing/CCachedModelsCutter.h"
#include "DataLayer/DataContainer/CCachedModel.h"
#include "DataLayer/PointCloud/CSurfelCollectionMinimal.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"

namespace
{

using DataLayer::CCachedModel;
using DataLayer::CCachedModelsCutter;
using DataLayer::CSurfelCollectionMinimal;
using Surfel = DataLayer::CCompactSurfelPositionNormal;
using Surfels = CSurfelCollectionMinimal::Surfels;
using Triangle = std::array<std::uint32_t, 3>;
using Selections = std::vector<std::shared_ptr<const Base::SRegionSelectionInfo>>;

const CCachedModel::UniqueId c_modelId(L"benchmark");

struct SArguments
{
    std::int64_t count;
    std::size_t numSelections;
    std::size_t numThreads;
};

/// One lasso in the middle, or two beside it that overlap there. Either way a tenth of the ball
/// lies under the paint.
Selections MakeSelections(std::size_t numSelections)
{
    Selections selections;
    for (std::size_t index = 0; index < numSelections; ++index)
    {
        const bool isSingle = numSelections == 1;
        auto lasso = BenchmarkScene::MakeLasso(isSingle ? 0.055 : 0.035);
        for (auto& corner : lasso)
        {
            corner[0] += isSingle ? 0.0 : (index == 0 ? -80.0 : 80.0);
        }
        selections.push_back(BenchmarkScene::MakeSelection(BenchmarkScene::PaintPolygon(lasso)));
    }
    return selections;
}

/// For each surfel a word that is 0 when it is kept.
std::vector<Base::CSurfelBitMask> CutPlainly(const Selections& selections,
                                             const Base::ISurfelCollection& collection)
{
    std::vector<Base::CSurfelBitMask> words(collection.GetCount());
    for (const auto& selection : selections)
    {
        static_cast<void>(::CutPlainly(*selection, collection, words));
    }
    return words;
}

template <typename Vector>
void ResizeFresh(Vector& elements, std::size_t count, bool isInLargePages)
{
    if (isInLargePages)
    {
        Base::ResizeInLargePages(elements, count);
    }
    else
    {
        elements.resize(count);
    }
}

/// Times \p body, which makes a result; before each time \p prepare is called, and the result is
/// released, without being timed.
template <typename Prepare, typename Body>
void Measure(benchmark::State& state, const SArguments& arguments, const Prepare& prepare,
             const Body& body)
{
    const tbb::global_control control(tbb::global_control::max_allowed_parallelism,
                                      arguments.numThreads);
    // The first use of memory that the system has to provide takes several times as long as the
    // rest.
    prepare();
    {
        auto unmeasured = body();
        benchmark::DoNotOptimize(unmeasured);
    }
    for ([[maybe_unused]] auto iteration : state)
    {
        state.PauseTiming();
        prepare();
        {
            state.ResumeTiming();
            auto result = body();
            benchmark::DoNotOptimize(result);
            state.PauseTiming();
        }
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * arguments.count);
}

const auto c_nothing = [] {};

/// A ball of surfels, and what the selections leave of it.
struct SSurfelScene
{
    std::shared_ptr<CSurfelCollectionMinimal> collection =
        std::make_shared<CSurfelCollectionMinimal>();
    Selections selections;
    KeptRuns::Blocks keptRuns;
    Surfels kept;

    explicit SSurfelScene(const SArguments& arguments)
        : selections(MakeSelections(arguments.numSelections))
    {
        const auto count = static_cast<std::size_t>(arguments.count);
        Surfels surfels(count);
        for (std::size_t index = 0; index < count; ++index)
        {
            surfels[index] = {BenchmarkScene::PointOnBall(index, count),
                              static_cast<std::uint16_t>(index % 1000)};
        }
        collection->SetSurfels(std::move(surfels));
        kept = KeepPlainly();
        const auto words = CutPlainly(selections, *collection);
        keptRuns =
            KeptRuns::FindRuns(count, [&](std::size_t index) { return words[index].bits == 0; });
    }

    [[nodiscard]] Surfels KeepPlainly() const
    {
        const auto words = CutPlainly(selections, *collection);
        Surfels result;
        for (std::size_t index = 0; index < words.size(); ++index)
        {
            if (words[index].bits == 0)
            {
                result.push_back(collection->GetSurfel(index));
            }
        }
        return result;
    }

    /// As the model is when it is cut the first time.
    void Refresh() const
    {
        collection->Reserve(collection->GetCount());
        static_cast<void>(collection->GetPointCloudSupport()->GetBoundingBox());
    }
};

/// The latest scene, which the forms of its size share.
template <typename Scene>
const Scene& GetScene(const SArguments& arguments)
{
    static std::unique_ptr<Scene> scene;
    static std::pair<std::int64_t, std::size_t> key;
    const std::pair wanted(arguments.count, arguments.numSelections);
    if (scene == nullptr || key != wanted)
    {
        scene.reset();
        scene = std::make_unique<Scene>(arguments);
        key = wanted;
    }
    return *scene;
}

std::shared_ptr<CCachedModel> ApplyAll(const CCachedModelsCutter& cutter, Selections selections)
{
    return selections.size() == 1 ? cutter.Apply(selections.front()) : cutter.Apply(selections);
}

bool IsSame(const Surfel& left, const Surfel& right)
{
    return left.position == right.position && left.normal == right.normal;
}

void CutSurfels(benchmark::State& state, const SArguments& arguments)
{
    const auto& scene = GetScene<SSurfelScene>(arguments);
    const auto model = std::make_shared<CCachedModel>(
        c_matIdentityD, std::shared_ptr<const Base::ISurfelCollection>(scene.collection),
        c_modelId);
    const CCachedModelsCutter cutter(model);
    const auto result = ApplyAll(cutter, scene.selections);
    const auto* const answer =
        dynamic_cast<const CSurfelCollectionMinimal*>(result->GetSurfelCollection().get());
    if (answer == nullptr || answer->GetCount() != scene.kept.size() ||
        !std::equal(scene.kept.begin(), scene.kept.end(), &answer->GetSurfel(0), IsSame))
    {
        state.SkipWithError("the surfels are not those that the plain loop keeps");
        return;
    }
    Measure(
        state, arguments, [&] { scene.Refresh(); },
        [&] { return ApplyAll(cutter, scene.selections); });
    state.counters["kept"] =
        static_cast<double>(scene.kept.size()) / static_cast<double>(arguments.count);
}

void CutSurfelsPlainly(benchmark::State& state, const SArguments& arguments)
{
    const auto& scene = GetScene<SSurfelScene>(arguments);
    Measure(state, arguments, c_nothing, [&] { return scene.KeepPlainly(); });
}

void MoveSurfels(benchmark::State& state, const SArguments& arguments, bool isInLargePages)
{
    const auto& scene = GetScene<SSurfelScene>(arguments);
    const Surfel* const surfels = &scene.collection->GetSurfel(0);
    Measure(state, arguments, c_nothing, [&] {
        for (std::size_t pass = 1; pass < arguments.numSelections; ++pass)
        {
            KeptRuns::ReadAll(surfels, static_cast<std::size_t>(arguments.count));
        }
        Surfels kept;
        ResizeFresh(kept, scene.kept.size(), isInLargePages);
        KeptRuns::CopyRuns(scene.keptRuns, surfels, kept.data());
        return kept;
    });
}

/// A ball of about \p numTriangles triangles, two per quad of a square grid.
std::shared_ptr<const Geometry::CTriangulation> MakeMesh(std::size_t numTriangles)
{
    const auto side =
        static_cast<std::uint32_t>(std::ceil(std::sqrt(static_cast<double>(numTriangles) / 2.0)));
    auto mesh = std::make_shared<Geometry::CTriangulation>();
    const std::size_t numVertices = std::size_t{side + 1} * (side + 1);
    mesh->vertices.reserve(numVertices);
    for (std::size_t index = 0; index < numVertices; ++index)
    {
        mesh->vertices.push_back(BenchmarkScene::PointOnBall(index, numVertices));
    }
    mesh->triangles.reserve(std::size_t{2} * side * side);
    for (std::uint32_t row = 0; row < side; ++row)
    {
        for (std::uint32_t column = 0; column < side; ++column)
        {
            const std::uint32_t corner = row * (side + 1) + column;
            mesh->triangles.push_back({corner, corner + 1, corner + side + 1});
            mesh->triangles.push_back({corner + 1, corner + side + 2, corner + side + 1});
        }
    }
    return mesh;
}

std::vector<Base::CSurfelBitMask> CutPlainly(const Selections& selections,
                                             const Geometry::CTriangulation& mesh)
{
    return CutPlainly(selections,
                      DataLayer::CSurfelCollectionView(nullptr, mesh.vertices.size(),
                                                       mesh.vertices.data(), sizeof(LqVector3f)));
}

/// What is written without a thought for speed.
Geometry::CTriangulation CutMeshPlainly(const Geometry::CTriangulation& mesh,
                                        const Selections& selections)
{
    const auto words = CutPlainly(selections, mesh);
    Geometry::CTriangulation kept;
    std::vector<std::int64_t> newIndices(mesh.vertices.size(), -1);
    for (std::size_t index = 0; index < mesh.vertices.size(); ++index)
    {
        if (words[index].bits == 0)
        {
            newIndices[index] = static_cast<std::int64_t>(kept.vertices.size());
            kept.vertices.push_back(mesh.vertices[index]);
        }
    }
    for (const auto& [a, b, c] : mesh.triangles)
    {
        if (newIndices[a] >= 0 && newIndices[b] >= 0 && newIndices[c] >= 0)
        {
            kept.triangles.push_back({static_cast<std::uint32_t>(newIndices[a]),
                                      static_cast<std::uint32_t>(newIndices[b]),
                                      static_cast<std::uint32_t>(newIndices[c])});
        }
    }
    return kept;
}

/// A ball of triangles, and what the selections leave of it.
struct SMeshScene
{
    std::shared_ptr<const Geometry::CTriangulation> mesh;
    Selections selections;
    std::vector<bool> isRemoved;
    KeptRuns::Blocks keptVertices;
    KeptRuns::Blocks keptTriangles;
    Geometry::CTriangulation kept;

    explicit SMeshScene(const SArguments& arguments)
        : mesh(MakeMesh(static_cast<std::size_t>(arguments.count))),
          selections(MakeSelections(arguments.numSelections)),
          isRemoved(mesh->vertices.size()),
          kept(CutMeshPlainly(*mesh, selections))
    {
        const auto words = CutPlainly(selections, *mesh);
        for (std::size_t index = 0; index < isRemoved.size(); ++index)
        {
            isRemoved[index] = words[index].bits != 0;
        }
        keptVertices =
            KeptRuns::FindRuns(isRemoved.size(), [&](std::size_t i) { return !isRemoved[i]; });
        keptTriangles = KeptRuns::FindRuns(mesh->triangles.size(), [&](std::size_t index) {
            const auto& [a, b, c] = mesh->triangles[index];
            return !isRemoved[a] && !isRemoved[b] && !isRemoved[c];
        });
    }
};

void CutMesh(benchmark::State& state, const SArguments& arguments)
{
    const auto& scene = GetScene<SMeshScene>(arguments);
    const auto model = std::make_shared<CCachedModel>(c_matIdentityD, scene.mesh, c_modelId);
    const CCachedModelsCutter cutter(model);
    const auto answer = ApplyAll(cutter, scene.selections)->GetTriangulation();
    if (answer->vertices != scene.kept.vertices || answer->triangles != scene.kept.triangles)
    {
        state.SkipWithError("the mesh is not the one that the plain loop leaves");
        return;
    }
    Measure(state, arguments, c_nothing, [&] { return ApplyAll(cutter, scene.selections); });
    state.counters["kept"] = static_cast<double>(scene.kept.vertices.size()) /
                             static_cast<double>(scene.mesh->vertices.size());
}

void CutMeshPlainly(benchmark::State& state, const SArguments& arguments)
{
    const auto& scene = GetScene<SMeshScene>(arguments);
    Measure(state, arguments, c_nothing,
            [&] { return CutMeshPlainly(*scene.mesh, scene.selections); });
}

void MoveMesh(benchmark::State& state, const SArguments& arguments, bool isInLargePages)
{
    const auto& scene = GetScene<SMeshScene>(arguments);
    Measure(state, arguments, c_nothing, [&] {
        for (std::size_t pass = 1; pass < arguments.numSelections; ++pass)
        {
            KeptRuns::ReadAll(scene.mesh->vertices.data(), scene.mesh->vertices.size());
        }
        Geometry::CTriangulation kept;
        ResizeFresh(kept.vertices, scene.kept.vertices.size(), isInLargePages);
        KeptRuns::CopyRuns(scene.keptVertices, scene.mesh->vertices.data(), kept.vertices.data());
        ResizeFresh(kept.triangles, scene.kept.triangles.size(), isInLargePages);
        KeptRuns::CopyRuns(scene.keptTriangles, scene.mesh->triangles.data(),
                           kept.triangles.data());
        return kept;
    });
}

/// Peers remove in place, and are given what to remove.
void RemoveVertices(benchmark::State& state, const SArguments& arguments,
                    const Peers::SVertexRemoverPeer& peer)
{
    const auto& scene = GetScene<SMeshScene>(arguments);
    const auto remover = peer.make(*scene.mesh);
    remover->Restore();
    remover->Remove(scene.isRemoved);
    if (remover->GetCounts() != std::array{scene.kept.vertices.size(), scene.kept.triangles.size()})
    {
        state.SkipWithError("other numbers of vertices and triangles are left");
        return;
    }
    Measure(
        state, arguments, [&] { remover->Restore(); },
        [&] {
            remover->Remove(scene.isRemoved);
            return 0;
        });
}

void AddSize(std::int64_t count, std::size_t numSelections, bool isParallel, bool isMesh)
{
    const SArguments arguments{count, numSelections,
                               isParallel ? std::thread::hardware_concurrency() : std::size_t{1}};
    const std::string caseName =
        std::string(numSelections == 1 ? "OneSelection" : "TwoSelections") +
        (isParallel ? ",ThreadsAll" : "");
    const auto add = [&](const std::string& form, const auto& body) {
        BenchmarkProgram::Add(isMesh ? "ApplyMesh" : "ApplySurfels", form, caseName, count,
                              [=](benchmark::State& state) { body(state, arguments); });
    };
    add("Veko2", isMesh ? CutMesh : CutSurfels);
    const auto move = isMesh ? MoveMesh : MoveSurfels;
    add("Limit:SmallPages", [=](auto& state, const auto& with) { move(state, with, false); });
    add("Limit:LargePages", [=](auto& state, const auto& with) { move(state, with, true); });
    if (isParallel)
    {
        return;
    }
    add("Plain", isMesh
                     ? static_cast<void (*)(benchmark::State&, const SArguments&)>(CutMeshPlainly)
                     : CutSurfelsPlainly);
    if (isMesh)
    {
        for (const Peers::SVertexRemoverPeer& peer : Peers::GetVertexRemovers())
        {
            add("Peer:" + peer.name,
                [=](auto& state, const auto& with) { RemoveVertices(state, with, peer); });
        }
    }
}

void AddAll()
{
    for (const bool isMesh : {false, true})
    {
        for (const std::int64_t count : {1000, 100'000, 1'000'000, isMesh ? 5'000'000 : 10'000'000})
        {
            for (const std::size_t numSelections : {1, 2})
            {
                AddSize(count, numSelections, false, isMesh);
                AddSize(count, numSelections, true, isMesh);
            }
        }
    }
}

}  // namespace

int main(int argc, char** argv)
{
    return BenchmarkProgram::Run(argc, argv, AddAll);
}
