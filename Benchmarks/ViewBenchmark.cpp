// Draws a scan of a rough ball in full HD: the whole picture, and the samples alone, which is what
// takes a step for each point. The plain form goes point by point; the limit only reads the
// positions. On all threads, but for the plain form.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "Application/Pictures/CDepthBuffer.h"
#include "Application/Pictures/CPictureProjection.h"
#include "Application/Pictures/CPointRenderer.h"
#include "Application/Pictures/CPointSamples.h"
#include "Application/Pictures/CPointSplatter.h"
#include "Application/Pictures/CScanPainter.h"
#include "Application/View/CCamera.h"
#include "Base/Math/PointTransform.h"
#include "Base/Support/ParallelFor.h"
#include "Benchmarks/BenchmarkProgram.h"
#include "Benchmarks/BenchmarkScene.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"

namespace
{

using Application::CDepthBuffer;
using Application::CPictureProjection;
using Application::CPointSamples;

constexpr std::size_t c_stride = sizeof(LqVector3f);
constexpr std::size_t c_blockSize = 32768;

using Positions = std::vector<std::byte>;

/// The last positions are kept, for the forms that follow.
const std::shared_ptr<const Positions>& GetPositions(std::size_t count)
{
    static std::shared_ptr<const Positions> positions;
    if (positions == nullptr || positions->size() != count * c_stride)
    {
        positions =
            std::make_shared<const Positions>(BenchmarkScene::MakePositions(count, c_stride));
    }
    return positions;
}

std::shared_ptr<const Base::ISurfelCollection> MakeCollection(std::size_t count)
{
    const auto& positions = GetPositions(count);
    return std::make_shared<DataLayer::CSurfelCollectionView>(positions, count, positions->data(),
                                                              c_stride);
}

/// The ball fills the height of the picture.
Application::CView MakeView()
{
    Application::CCamera::SParameters parameters;
    parameters.eye = {0.0, -3.0, 0.0};
    parameters.fieldOfView = 42.0;
    parameters.nearDistance = 1.0;
    parameters.farDistance = 10.0;
    parameters.width = BenchmarkScene::c_viewWidth;
    parameters.height = BenchmarkScene::c_viewHeight;
    return Application::CCamera(parameters).MakeView();
}

template <typename Body>
void ForEachBlock(std::size_t count, const Body& body)
{
    Base::ParallelFor(static_cast<std::uint32_t>((count + c_blockSize - 1) / c_blockSize),
                      [&](std::uint32_t block) {
                          const std::size_t begin = std::size_t{block} * c_blockSize;
                          body(begin, std::min(begin + c_blockSize, count));
                      });
}

void ReadPositions(std::size_t count)
{
    const std::byte* const bytes = GetPositions(count)->data();
    ForEachBlock(count, [&](std::size_t begin, std::size_t end) {
        std::uint64_t sums[4] = {};
        std::uint64_t values[4];
        for (std::size_t offset = begin * c_stride; offset + sizeof values <= end * c_stride;
             offset += sizeof values)
        {
            std::memcpy(values, bytes + offset, sizeof values);
            for (std::size_t part = 0; part < 4; ++part)
            {
                sums[part] += values[part];
            }
        }
        benchmark::DoNotOptimize(sums);
    });
}

void PaintPlainly(const CPictureProjection& projection, std::size_t count, CDepthBuffer& buffer)
{
    const LqMatrix4Rf chain = projection.MakeChain(c_matIdentityD);
    const auto width = static_cast<float>(projection.GetWidth());
    const auto height = static_cast<float>(projection.GetHeight());
    const std::byte* const bytes = GetPositions(count)->data();
    for (std::size_t index = 0; index < count; ++index)
    {
        LqVector3f position;
        std::memcpy(&position, bytes + index * c_stride, sizeof position);
        const auto clip = TransformHomogeneous(chain, position.x, position.y, position.z);
        const float perW = 1.0F / clip.w;
        const float z = clip.z * perW;
        const float x = (clip.x * perW + 1.0F) * (0.5F * width);
        const float y = (1.0F - clip.y * perW) * (0.5F * height);
        if (clip.w > 0.0F && z >= 0.0F && z <= 1.0F && x >= 0.0F && x < width && y >= 0.0F &&
            y < height)
        {
            const std::size_t sample =
                buffer.IndexOf(static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y));
            buffer.Draw(sample, CDepthBuffer::Pack(clip.w, 0, {}));
        }
    }
}

CPointSamples Paint(const CPictureProjection& projection, const Base::ISurfelCollection& collection)
{
    std::vector<Application::CScanPainter> painters;
    painters.emplace_back(projection, collection, c_matIdentityD,
                          std::span<const Base::CSurfelBitMask>(), 0, false);
    return Application::CScanPainter::PaintAll(painters, projection,
                                               Application::CPointSplatter::FindReach(1))
        .samples;
}

bool AreEqual(const CDepthBuffer& plain, const CPointSamples& samples)
{
    for (std::uint32_t row = 0; row < plain.GetHeight(); ++row)
    {
        for (std::uint32_t column = 0; column < plain.GetWidth(); ++column)
        {
            if (plain.Get(plain.IndexOf(column, row)) != samples.Get(column, row))
            {
                return false;
            }
        }
    }
    return true;
}

/// Runs \p work with the collection of \p count points.
template <typename Work>
void Run(benchmark::State& state, std::size_t count, const Work& work)
{
    const auto collection = MakeCollection(count);
    for (auto unused : state)
    {
        static_cast<void>(unused);
        work(collection);
    }
    const auto numPoints = static_cast<std::int64_t>(count);
    state.SetItemsProcessed(state.iterations() * numPoints);
    state.SetBytesProcessed(state.iterations() * numPoints * static_cast<std::int64_t>(c_stride));
}

void AddSize(std::size_t count)
{
    using Collection = std::shared_ptr<const Base::ISurfelCollection>;
    const auto size = static_cast<std::int64_t>(count);
    const std::string samplesOnly = "ScanOrder,SamplesOnly,ThreadsAll";
    const std::string whole = "ScanOrder,ThreadsAll";
    const auto readOnly = [count](benchmark::State& state) {
        Run(state, count, [count](const Collection&) { ReadPositions(count); });
    };
    BenchmarkProgram::Add("View", "Veko2", samplesOnly, size, [count](benchmark::State& state) {
        const CPictureProjection projection(MakeView(), 1);
        CDepthBuffer plain(projection.GetWidth(), projection.GetHeight());
        PaintPlainly(projection, count, plain);
        if (!AreEqual(plain, Paint(projection, *MakeCollection(count))))
        {
            state.SkipWithError("draws another picture than the plain form");
            return;
        }
        Run(state, count, [&](const Collection& collection) {
            benchmark::DoNotOptimize(Paint(projection, *collection));
        });
    });
    BenchmarkProgram::Add("View", "Plain", samplesOnly, size, [count](benchmark::State& state) {
        const CPictureProjection projection(MakeView(), 1);
        Run(state, count, [&](const Collection&) {
            CDepthBuffer buffer(projection.GetWidth(), projection.GetHeight());
            PaintPlainly(projection, count, buffer);
        });
    });
    BenchmarkProgram::Add("View", "Limit", samplesOnly, size, readOnly);
    BenchmarkProgram::Add("View", "Veko2", whole, size, [count](benchmark::State& state) {
        const Application::CPointRenderer renderer(MakeView());
        Run(state, count, [&](const Collection& collection) {
            Application::CPointRenderer::SScan scan;
            scan.collection = collection;
            benchmark::DoNotOptimize(renderer.Render({scan}));
        });
    });
    BenchmarkProgram::Add("View", "Limit", whole, size, readOnly);
}

}  // namespace

int main(int argc, char** argv)
{
    return BenchmarkProgram::Run(argc, argv, [] {
        for (const std::size_t count :
             {std::size_t{1000}, std::size_t{100000}, std::size_t{1000000}, std::size_t{10000000}})
        {
            AddSize(count);
        }
    });
}
