#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "Base/Interfaces/IPointCloudSupport.h"
#include "DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMask.h"
#include "DataLayer/Base3D/PointCloudEditing/Kernels/CCutMask.h"
#include "DataLayer/Base3D/PointCloudEditing/Kernels/CutRuns.h"
#include "DataLayer/Base3D/PointCloudEditing/Kernels/CutSurfelsKernels.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"
#include "Fuzz/Support/CInputBytes.h"
#include "Fuzz/Support/FuzzTarget.h"
#include "Tests/Support/ReferenceCut.h"

namespace Fuzzing
{

namespace
{

using Words = std::vector<Base::CSurfelBitMask>;
using DataLayer::SCutSurfelsTask;

/// Two groups of runs, and a part of a third.
constexpr std::size_t c_manyPoints = 9000;

struct SScene
{
    std::shared_ptr<const Base::SRegionSelectionInfo> selection;
    LqMatrix4Rd trafo;
    /// A word of the input for each surfel, more, fewer or none.
    Words words;
    std::vector<LqVector3f> points;
};

std::shared_ptr<const Base::SRegionSelectionInfo> TakeSelection(CInputBytes& bytes)
{
    const std::uint32_t width = bytes.TakeBelow(71);
    const std::uint32_t height = bytes.TakeBelow(9);
    const auto paint = bytes.Take<std::uint64_t>();
    std::vector<std::uint8_t> mask(std::size_t{width} * height);
    for (std::size_t index = 0; index < mask.size(); ++index)
    {
        // 0 and 1, and sometimes what is neither.
        const auto bit = static_cast<std::uint8_t>(paint >> index % 64 & 1U);
        mask[index] = index % 37 == 36 ? static_cast<std::uint8_t>(2 * bit) : bit;
    }
    const auto first = bytes.TakeMatrix<LqMatrix4Rf, float>();
    const auto second = bytes.TakeMatrix<LqMatrix4Rf, float>();
    // The third one is the identity, or as wild as the others.
    const LqMatrix4Rf third = bytes.TakeBelow(2) == 0 ? LqMatrix4Rf(c_matIdentityD)
                                                      : bytes.TakeMatrix<LqMatrix4Rf, float>();
    return Base::MakeRegionSelection(first, second, third, std::move(mask), width, height);
}

SScene TakeScene(CInputBytes& bytes)
{
    SScene scene;
    scene.selection = TakeSelection(bytes);
    scene.trafo = bytes.TakeMatrix<LqMatrix4Rd, double>();
    const std::uint32_t wordsPerSurfel = bytes.TakeBelow(4);
    const auto word = bytes.Take<std::uint16_t>();
    const bool areMany = bytes.TakeBelow(8) == 7;
    const auto step = bytes.Take<float>();
    while (!bytes.IsAtEnd())
    {
        scene.points.push_back({bytes.Take<float>(), bytes.Take<float>(), bytes.Take<float>()});
    }
    const std::size_t given = scene.points.size();
    for (std::size_t index = 0; areMany && given > 0 && index < c_manyPoints; ++index)
    {
        const LqVector3f& point = scene.points[index % given];
        scene.points.push_back({point.x + step * static_cast<float>(index), point.y, point.z});
    }
    const std::size_t numWords[] = {0, scene.points.size(), scene.points.size() / 2,
                                    scene.points.size() + 3};
    scene.words.resize(numWords[wordsPerSurfel]);
    for (std::size_t index = 0; index < scene.words.size(); ++index)
    {
        scene.words[index].bits = static_cast<std::uint16_t>(word * (index + 1));
    }
    return scene;
}

/// The box of the points that are finite.
Geometry::CBox3D BoundPoints(const std::vector<LqVector3f>& points)
{
    Geometry::CBox3D box;
    for (const LqVector3f& point : points)
    {
        if (std::isfinite(point.x) && std::isfinite(point.y) && std::isfinite(point.z))
        {
            box.Extend(point);
        }
    }
    return box;
}

SCutSurfelsTask MakeTask(const SScene& scene, const DataLayer::CCutMask& mask)
{
    SCutSurfelsTask task;
    const Base::SRegionSelectionInfo& selection = *scene.selection;
    const LqMatrix4Rf matrix =
        LqMatrix4Rf(scene.trafo) *
        ((selection.transform1 * selection.transform2) * selection.transform3);
    for (std::size_t row = 0; row < 4; ++row)
    {
        task.clipX[row] = matrix(row, 0);
        task.clipY[row] = matrix(row, 1);
        task.clipW[row] = matrix(row, 3);
    }
    task.mask = &mask.Get();
    task.firstPosition = reinterpret_cast<const std::byte*>(scene.points.data());
    task.positionStride = sizeof(LqVector3f);
    task.numPositions = static_cast<std::uint32_t>(scene.points.size());
    return task;
}

/// The words before a kernel writes those of the first \p count surfels, whatever they were.
Words MakeUnwritten(Words words, std::size_t count)
{
    constexpr std::uint16_t c_unwritten = 0xA5A5;
    std::fill_n(words.begin(), count, Base::CSurfelBitMask{c_unwritten});
    return words;
}

/// Every kernel against the answer for all surfels that have a word, seen as one block.
void TestKernels(const SScene& scene, const DataLayer::SSurfelRuns* runs,
                 const TestSupport::SReferenceResult& expected)
{
    const DataLayer::CCutMask mask(*scene.selection,
                                   DataLayer::BoundPaintedPixels(*scene.selection));
    const auto count =
        static_cast<std::uint32_t>(std::min(scene.points.size(), expected.words.size()));
    for (const DataLayer::SCutSurfelsKernel& kernel : DataLayer::GetCutSurfelsKernels())
    {
        for (const bool isStreamed : {false, true})
        {
            Words words = MakeUnwritten(expected.words, count);
            SCutSurfelsTask task = MakeTask(scene, mask);
            task.oldWords = scene.words.empty() ? nullptr : scene.words.data();
            task.words = words.data();
            task.isStreamed = isStreamed;
            const bool hasChanged = kernel.cut(task, 0, count);
            if (words != expected.words || hasChanged != expected.hasChanged)
            {
                Fail("the kernel " + std::string(kernel.name) + " does what the definition says");
            }
            if (runs != nullptr)
            {
                Words byRuns = MakeUnwritten(expected.words, count);
                task.words = byRuns.data();
                const bool hasRunChanged = DataLayer::CutRuns(task, kernel.cut, *runs, 0, count);
                Require(byRuns == expected.words && hasRunChanged == expected.hasChanged,
                        "a cut by runs is the same as one of each surfel");
            }
        }
    }
}

}  // namespace

/// A selection, flags and a cloud of any bits, cut by the library, by each of its kernels, and by
/// the plainest form of the definition.
void TestInput(std::span<const std::uint8_t> input)
{
    CInputBytes bytes(input);
    const SScene scene = TakeScene(bytes);
    const auto collection = std::make_shared<const DataLayer::CSurfelCollectionView>(
        nullptr, scene.points.size(), scene.points.data(), sizeof(LqVector3f));
    const Geometry::CBox3D box = BoundPoints(scene.points);
    const auto expected = TestSupport::ReferenceCut(*scene.selection, scene.points, box.min,
                                                    box.max, scene.words, scene.trafo);

    const DataLayer::CCutPointCloudWithPixelMask cutter(scene.selection);
    DataLayer::CCutPointCloudWithPixelMask::Results results;
    // The later passes know the runs of large clouds.
    for (int pass = 0; pass < 3; ++pass)
    {
        cutter.Compute({{collection, scene.words, scene.trafo}}, results);
        Require(results.size() == 1 && results[0].first == expected.hasChanged &&
                    results[0].second == expected.words,
                "a cut is what the definition says, to the bit");
    }
    const bool isNear =
        TestSupport::ReferenceIntersectsRegion(*scene.selection, box.min, box.max, scene.trafo);
    Require(cutter.IntersectsRegion(scene.trafo, *collection) == isNear,
            "the box test is what the definition says");
    if (isNear && !scene.points.empty())
    {
        const auto support = collection->GetPointCloudSupport();
        const auto* const runs = dynamic_cast<const DataLayer::ISurfelRuns*>(support.get());
        const bool areMany = expected.words.size() >= c_manyPoints;
        TestKernels(scene, areMany && runs != nullptr ? runs->FindSurfelRuns() : nullptr, expected);
    }
}

}  // namespace Fuzzing
