// Cutters that several threads share, for some of which a collection or a mesh throws.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Base/Support/VekoException.h"
#include "DataLayer/Base3D/PointCloudEditing/CCachedModelsCutter.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMaskComputeTest.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/CachedModels.h"
#include "Tests/Support/ConcurrentCallers.h"

namespace DataLayer
{

namespace
{

using TestSupport::c_numCallers;
using TestSupport::CCallerFault;
using TestSupport::ExpectEverySecondGetsItsFault;
using TestSupport::IsThrowingCaller;
using Columns = std::vector<std::uint32_t>;
using Cutter = CCutPointCloudWithPixelMask;

/// Each with collections of its own, so that what they find out about themselves is found out while
/// others throw.
constexpr int c_numRounds = 2;

/// More than one thread works on.
constexpr std::size_t c_manySurfels = 70000;

/// The number of the caller whose thread this is.
thread_local std::size_t t_caller = 0;

/// Columns 1 and 2 by turns.
Columns MakeColumns()
{
    Columns columns(c_manySurfels, 1);
    for (std::size_t index = 1; index < columns.size(); index += 2)
    {
        columns[index] = 2;
    }
    return columns;
}

/// A collection that throws on the threads of throwing callers.
class CThrowingView : public CSurfelCollectionView
{
public:
    explicit CThrowingView(const std::vector<LqVector3f>& positions)
        : CSurfelCollectionView(nullptr, positions.size(), positions.data(), sizeof(LqVector3f))
    {}

    [[nodiscard]] std::shared_ptr<const Base::IPointCloudSupport> GetPointCloudSupport()
        const override
    {
        if (IsThrowingCaller(t_caller))
        {
            throw CCallerFault(t_caller);
        }
        return CSurfelCollectionView::GetPointCloudSupport();
    }
};

/// Cuts a model's column 1, with one selection or with a list, by turns.
std::shared_ptr<CCachedModel> CutFirstColumn(const CCachedModelsCutter& cutter, std::size_t caller)
{
    std::vector<std::shared_ptr<const Base::SRegionSelectionInfo>> selections(2, PaintColumn(1));
    return caller % 4 < 2 ? cutter.Apply(selections.front()) : cutter.Apply(selections);
}

TEST(ConcurrentCutterCalls, SomeCollectionsThrow_OthersAreCutAsAlways)
{
    const Cutter cutter(PaintColumn(1));
    const std::vector<LqVector3f> positions = PositionsInColumns(MakeColumns());
    Words expected(c_manySurfels);
    for (std::size_t index = 0; index < expected.size(); index += 2)
    {
        expected[index].bits = CSurfelBitMask::SurfelFlagCut;
    }
    for (int round = 0; round < c_numRounds; ++round)
    {
        const auto shared = std::make_shared<CSurfelCollectionView>(
            nullptr, positions.size(), positions.data(), sizeof(LqVector3f));
        std::vector<std::vector<Cutter::SInputData>> inputs(
            c_numCallers, {3, Cutter::SInputData{shared, {}, c_matIdentityD}});
        for (std::size_t caller = 0; caller < c_numCallers; ++caller)
        {
            if (IsThrowingCaller(caller))
            {
                const auto throwing = MakeCollection(positions);
                throwing->onGetElementAccess = [caller] { throw CCallerFault(caller); };
                inputs[caller][caller % 3].collection = throwing;
            }
        }
        ExpectEverySecondGetsItsFault([&](std::size_t caller) {
            return Compute(cutter, inputs[caller]) == Cutter::Results(3, {true, expected});
        });
    }
}

TEST(ConcurrentCutterCalls, SomeSupportsThrow_OthersIntersect)
{
    const Cutter cutter(PaintColumn(1));
    const std::vector<LqVector3f> positions = PositionsInColumns(MakeColumns());
    for (int round = 0; round < c_numRounds; ++round)
    {
        const CThrowingView collection(positions);
        ExpectEverySecondGetsItsFault([&](std::size_t caller) {
            t_caller = caller;
            return cutter.IntersectsRegion(c_matIdentityD, collection);
        });
    }
}

TEST(ConcurrentCutterCalls, SomeSurfelsOfOneModelThrow_OthersGetTheirCopy)
{
    const std::vector<LqVector3f> positions = PositionsInColumns(MakeColumns());
    const Columns expected(c_manySurfels / 2, 2);
    for (int round = 0; round < c_numRounds; ++round)
    {
        const auto model = SurfelModel(std::make_shared<CThrowingView>(positions));
        const CCachedModelsCutter cutter(model);
        ExpectEverySecondGetsItsFault([&](std::size_t caller) {
            t_caller = caller;
            return ColumnsOf(*CutFirstColumn(cutter, caller)->GetSurfelCollection()) == expected;
        });
    }
}

TEST(ConcurrentCutterCalls, SomeCutOneBrokenMesh_ThrowsForTheseOnly)
{
    const auto mesh = MeshInColumns(MakeColumns());
    mesh->triangles[7] = {0, 1, 70000};
    const auto model = MeshModel(mesh);
    const CCachedModelsCutter cutter(model);
    TestSupport::ExpectEverySecondThrows<VekoException>(
        [](std::size_t) {
            return std::string("Triangle 7 names vertex 70000, but there are only 70000.");
        },
        [&](std::size_t caller) {
            // Where nothing is cut, no triangle is looked at.
            return (IsThrowingCaller(caller) ? CutFirstColumn(cutter, caller)
                                             : cutter.Apply(PaintColumn(3))) == model;
        });
}

}  // namespace

}  // namespace DataLayer
