// Both forms of Apply() on a surfel model and on a mesh model, beside a plain copy of the model's
// geometry.

#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

#include "Benchmarks/BenchmarkProgram.h"
#include "Benchmarks/BenchmarkScene.h"
#include "DataLayer/Base3D/CTriangulation.h"
#include "DataLayer/Base3D/PointCloudEditing/CCachedModelsCutter.h"
#include "DataLayer/DataContainer/CCachedModel.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"

namespace
{

using DataLayer::CCachedModel;
using Selections = std::vector<std::shared_ptr<const Base::SRegionSelectionInfo>>;

const CCachedModel::UniqueId c_modelId(L"benchmark");

std::shared_ptr<const Base::ISurfelCollection> MakeSurfels(std::size_t count)
{
    const auto positions = std::make_shared<const std::vector<std::byte>>(
        BenchmarkScene::MakePositions(count, sizeof(LqVector3f)));
    return std::make_shared<DataLayer::CSurfelCollectionView>(positions, count, positions->data(),
                                                              sizeof(LqVector3f));
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

std::shared_ptr<CCachedModel> MakeSurfelModel(std::int64_t count)
{
    return std::make_shared<CCachedModel>(c_matIdentityD,
                                          MakeSurfels(static_cast<std::size_t>(count)), c_modelId);
}

std::shared_ptr<CCachedModel> MakeMeshModel(std::int64_t count)
{
    return std::make_shared<CCachedModel>(c_matIdentityD, MakeMesh(static_cast<std::size_t>(count)),
                                          c_modelId);
}

void ApplyOne(benchmark::State& state, std::int64_t count,
              const std::shared_ptr<CCachedModel>& model)
{
    const DataLayer::CCachedModelsCutter cutter(model);
    const auto selection = BenchmarkScene::MakeSelection(960, 300);
    for ([[maybe_unused]] auto iteration : state)
    {
        benchmark::DoNotOptimize(cutter.Apply(selection));
    }
    state.SetItemsProcessed(state.iterations() * count);
}

void ApplyTwo(benchmark::State& state, std::int64_t count,
              const std::shared_ptr<CCachedModel>& model)
{
    const DataLayer::CCachedModelsCutter cutter(model);
    Selections selections{BenchmarkScene::MakeSelection(860, 250),
                          BenchmarkScene::MakeSelection(1060, 250)};
    for ([[maybe_unused]] auto iteration : state)
    {
        benchmark::DoNotOptimize(cutter.Apply(selections));
    }
    state.SetItemsProcessed(state.iterations() * count);
}

void SurfelsOneSelection(benchmark::State& state, std::int64_t count)
{
    ApplyOne(state, count, MakeSurfelModel(count));
}

void SurfelsTwoSelections(benchmark::State& state, std::int64_t count)
{
    ApplyTwo(state, count, MakeSurfelModel(count));
}

void SurfelsPlainCopy(benchmark::State& state, std::int64_t count)
{
    const auto positions =
        BenchmarkScene::MakePositions(static_cast<std::size_t>(count), sizeof(LqVector3f));
    for ([[maybe_unused]] auto iteration : state)
    {
        benchmark::DoNotOptimize(std::vector<std::byte>(positions).data());
    }
    state.SetItemsProcessed(state.iterations() * count);
}

void MeshOneSelection(benchmark::State& state, std::int64_t count)
{
    ApplyOne(state, count, MakeMeshModel(count));
}

void MeshTwoSelections(benchmark::State& state, std::int64_t count)
{
    ApplyTwo(state, count, MakeMeshModel(count));
}

void MeshPlainCopy(benchmark::State& state, std::int64_t count)
{
    const auto mesh = MakeMesh(static_cast<std::size_t>(count));
    for ([[maybe_unused]] auto iteration : state)
    {
        Geometry::CTriangulation copy(*mesh);
        benchmark::DoNotOptimize(copy.vertices.data());
        benchmark::DoNotOptimize(copy.triangles.data());
    }
    state.SetItemsProcessed(state.iterations() * count);
}

void AddAll()
{
    const auto add = [](const char* path, const char* form, const char* caseName,
                        std::int64_t count, void (*body)(benchmark::State&, std::int64_t)) {
        BenchmarkProgram::Add(path, form, caseName, count,
                              [count, body](benchmark::State& state) { body(state, count); });
    };
    for (const std::int64_t count : {1000, 10'000'000})
    {
        add("ApplySurfels", "Veko2", "OneSelection", count, SurfelsOneSelection);
        add("ApplySurfels", "Limit", "OneSelection", count, SurfelsPlainCopy);
        add("ApplySurfels", "Veko2", "TwoSelections", count, SurfelsTwoSelections);
        add("ApplySurfels", "Limit", "TwoSelections", count, SurfelsPlainCopy);
    }
    for (const std::int64_t count : {1000, 5'000'000})
    {
        add("ApplyMesh", "Veko2", "OneSelection", count, MeshOneSelection);
        add("ApplyMesh", "Limit", "OneSelection", count, MeshPlainCopy);
        add("ApplyMesh", "Veko2", "TwoSelections", count, MeshTwoSelections);
        add("ApplyMesh", "Limit", "TwoSelections", count, MeshPlainCopy);
    }
}

}  // namespace

int main(int argc, char** argv)
{
    return BenchmarkProgram::Run(argc, argv, AddAll);
}
