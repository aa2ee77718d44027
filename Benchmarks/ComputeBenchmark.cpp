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
#include "Base/Math/PointTransform.h"
#include "Base/Support/ParallelFor.h"
#include "Benchmarks/BenchmarkProgram.h"
#include "Benchmarks/BenchmarkScene.h"
#include "Benchmarks/Peers/Peers.h"
#include "DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMask.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"

namespace
{

using Base::CSurfelBitMask;
using Words = std::vector<CSurfelBitMask>;
using Cutter = DataLayer::CCutPointCloudWithPixelMask;

constexpr std::uint32_t c_surfelsPerBlock = 65536;

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
    const auto collection = std::make_shared<DataLayer::CSurfelCollectionView>(
        positions, arguments.count, positions->data(), arguments.stride);
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

/// What is written when the projection is taken down from its definition, without a thought for
/// speed.
bool CutPlainly(const Base::SRegionSelectionInfo& selection, const LqMatrix4Rf& matrix,
                const DataLayer::CSurfelCollectionView& collection, Words& words)
{
    const auto& positions = collection.GetPositions();
    const float width = static_cast<float>(selection.maskWidth);
    const float height = static_cast<float>(selection.maskHeight);
    bool hasChanged = false;
    for (std::uint32_t index = 0; index < words.size(); ++index)
    {
        const LqVector3f device = TransformPoint(matrix, positions.At(index));
        const float x = ((device.x + 1.0F) * width) * 0.5F;
        const float y = ((1.0F - device.y) * height) * 0.5F;
        if (y >= 1.0F && y < height && x >= 1.0F && x < width)
        {
            const auto pixel =
                static_cast<std::uint32_t>(y) * selection.maskWidth + static_cast<std::uint32_t>(x);
            std::uint16_t& bits = words[index].bits;
            if (selection.maskData[pixel] == 1 && (bits & CSurfelBitMask::SurfelFlagCut) == 0)
            {
                bits |= CSurfelBitMask::SurfelFlagCut;
                hasChanged = true;
            }
        }
    }
    return hasChanged;
}

void PlainLoop(benchmark::State& state, const SArguments& arguments)
{
    const auto positions = BenchmarkScene::MakePositions(arguments.count, arguments.stride);
    const DataLayer::CSurfelCollectionView collection(nullptr, arguments.count, positions.data(),
                                                      arguments.stride);
    const Words flags(arguments.count);
    const auto& selection = GetSelection();
    const LqMatrix4Rf matrix = selection->transform1 * selection->transform2;
    Words words;
    for ([[maybe_unused]] auto iteration : state)
    {
        words = flags;
        benchmark::DoNotOptimize(CutPlainly(*selection, matrix, collection, words));
    }
    SetRates(state, arguments);
}

void MoveBytes(benchmark::State& state, const SArguments& arguments)
{
    const tbb::global_control control(tbb::global_control::max_allowed_parallelism,
                                      arguments.numThreads);
    const auto positions = BenchmarkScene::MakePositions(arguments.count, arguments.stride);
    const Words flags(arguments.count);
    Words words(arguments.count);
    const std::uint32_t numBlocks = (arguments.count + c_surfelsPerBlock - 1) / c_surfelsPerBlock;
    std::vector<std::uint64_t> sums(numBlocks);
    for ([[maybe_unused]] auto iteration : state)
    {
        Base::ParallelFor(numBlocks, [&](std::uint32_t block) {
            const std::size_t begin = std::size_t{block} * c_surfelsPerBlock;
            const std::size_t end = std::min<std::size_t>(begin + c_surfelsPerBlock, words.size());
            std::copy(flags.begin() + static_cast<std::ptrdiff_t>(begin),
                      flags.begin() + static_cast<std::ptrdiff_t>(end),
                      words.begin() + static_cast<std::ptrdiff_t>(begin));
            std::uint64_t sum = 0;
            const std::size_t firstByte = begin * arguments.stride;
            const std::size_t numBytes = (end - begin) * arguments.stride;
            for (std::size_t offset = 0; offset + sizeof sum <= numBytes; offset += sizeof sum)
            {
                std::uint64_t value = 0;
                std::memcpy(&value, positions.data() + firstByte + offset, sizeof value);
                sum ^= value;
            }
            sums[block] = sum;
        });
        benchmark::DoNotOptimize(sums.data());
        benchmark::DoNotOptimize(words.data());
        benchmark::ClobberMemory();
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
    static_cast<void>(CutPlainly(selection, matrix, collection, words));
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
            const auto add = [&](const char* form, const char* suffix, std::size_t numThreads,
                                 void (*body)(benchmark::State&, const SArguments&)) {
                BenchmarkProgram::Add("Compute", form, "Stride" + std::to_string(stride) + suffix,
                                      count,
                                      [arguments = SArguments{count, stride, numThreads},
                                       body](benchmark::State& state) { body(state, arguments); });
            };
            add("Veko2", "", 1, Compute);
            add("Plain", "", 1, PlainLoop);
            add("Limit", "", 1, MoveBytes);
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
            add("Limit", ",ThreadsAll", allThreads, MoveBytes);
        }
    }
}

}  // namespace

int main(int argc, char** argv)
{
    return BenchmarkProgram::Run(argc, argv, AddAll);
}
