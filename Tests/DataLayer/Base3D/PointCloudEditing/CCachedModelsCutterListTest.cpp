#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <vector>

#include "Base/Support/VekoException.h"
#include "DataLayer/Base3D/PointCloudEditing/CCachedModelsCutter.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/CachedModels.h"
#include "Tests/Support/CLogCapture.h"
#include "Tests/Support/ExpectMissingAccessor.h"

namespace DataLayer
{

namespace
{

using Columns = std::vector<std::uint32_t>;
using Selections = std::vector<std::shared_ptr<const Base::SRegionSelectionInfo>>;
using TestSupport::CLogCapture;

/// Cuts with one selection per column.
std::shared_ptr<CCachedModel> CutColumns(const std::shared_ptr<CCachedModel>& model,
                                         const Columns& columns)
{
    Selections selections;
    for (const std::uint32_t column : columns)
    {
        selections.push_back(PaintColumn(column));
    }
    return CCachedModelsCutter(model).Apply(selections);
}

void ExpectInvalidModel(const CCachedModelsCutter& cutter)
{
    Selections selections;
    try
    {
        static_cast<void>(cutter.Apply(selections));
        FAIL() << "nothing was thrown";
    }
    catch (const VekoException& exception)
    {
        EXPECT_STREQ(exception.GetFilename(),
                     "DataLayer/Base3D/PointCloudEditing/CCachedModelsCutter");
        EXPECT_EQ(exception.GetCodeLine(), 126U);
        EXPECT_STREQ(exception.GetFunctionName(), "DataLayer::CCachedModelsCutter::Apply");
        EXPECT_EQ(exception.GetMessageText(), L"Invalid cached model");
    }
}

TEST(CCachedModelsCutterList, EmptyPointerThrows)
{
    ExpectInvalidModel(CCachedModelsCutter(nullptr));
}

TEST(CCachedModelsCutterList, DestroyedModelThrows)
{
    auto model = SurfelModel(SurfelsInColumns({1}));
    const CCachedModelsCutter cutter(model);
    model.reset();
    ExpectInvalidModel(cutter);
}

TEST(CCachedModelsCutterList, EmptyListReturnsTheModelItself)
{
    const auto surfelModel = SurfelModel(SurfelsInColumns({1, 2}));
    EXPECT_EQ(CutColumns(surfelModel, {}), surfelModel);
    const auto meshModel = MeshModel(MeshInColumns({1, 2}));
    EXPECT_EQ(CutColumns(meshModel, {}), meshModel);
}

TEST(CCachedModelsCutterList, NothingCutReturnsTheModelItself)
{
    const auto model = SurfelModel(SurfelsInColumns({1, 2}));
    EXPECT_EQ(CutColumns(model, {3, 3}), model);
}

TEST(CCachedModelsCutterList, SelectionsCutTheirUnion)
{
    const auto model = SurfelModel(SurfelsInColumns({1, 2, 3, 1, 2}));
    EXPECT_EQ(ColumnsOf(*CutColumns(model, {1, 3})->GetSurfelCollection()), (Columns{2, 2}));
}

TEST(CCachedModelsCutterList, OrderOfSelectionsDoesNotMatter)
{
    const auto model = SurfelModel(SurfelsInColumns({1, 2, 3, 1, 2}));
    EXPECT_EQ(ColumnsOf(*CutColumns(model, {3, 1})->GetSurfelCollection()), (Columns{2, 2}));
}

TEST(CCachedModelsCutterList, SelectionThatCutsNothingChangesNothing)
{
    const auto model = SurfelModel(SurfelsInColumns({1, 2, 2}));
    EXPECT_EQ(ColumnsOf(*CutColumns(model, {1, 3})->GetSurfelCollection()), (Columns{2, 2}));
    EXPECT_EQ(ColumnsOf(*CutColumns(model, {3, 1})->GetSurfelCollection()), (Columns{2, 2}));
}

TEST(CCachedModelsCutterList, OverlappingSelectionsCutTheirUnion)
{
    const auto model = SurfelModel(SurfelsInColumns({1, 2, 3}));
    Selections selections{
        TestSupport::MakeDeviceSelection(c_viewSize, c_viewSize, {{0, 0}, {1, 2}, {2, 2}, {3, 3}}),
        TestSupport::MakeDeviceSelection(c_viewSize, c_viewSize, {{0, 0}, {2, 2}, {3, 3}})};
    EXPECT_EQ(ColumnsOf(*CCachedModelsCutter(model).Apply(selections)->GetSurfelCollection()),
              (Columns{3}));
}

TEST(CCachedModelsCutterList, SameSelectionTwiceCutsAsOnce)
{
    const auto model = SurfelModel(SurfelsInColumns({1, 2}));
    EXPECT_EQ(ColumnsOf(*CutColumns(model, {1, 1})->GetSurfelCollection()), (Columns{2}));
}

TEST(CCachedModelsCutterList, ListIsNotChanged)
{
    const auto model = SurfelModel(SurfelsInColumns({1, 2}));
    const Selections before{PaintColumn(1), PaintColumn(2)};
    Selections selections = before;
    EXPECT_NE(CCachedModelsCutter(model).Apply(selections), model);
    EXPECT_EQ(selections, before);
}

TEST(CCachedModelsCutterList, MeshVerticesUnderThePaintAreLeftOut)
{
    const auto model = MeshModel(MeshInColumns({1, 2, 2, 2, 3}));
    const auto cut = CutColumns(model, {1, 3});
    ASSERT_NE(cut, model);
    EXPECT_EQ(ColumnsOf(cut->GetTriangulation()->vertices), (Columns{2, 2, 2}));
    EXPECT_EQ(cut->GetTriangulation()->triangles,
              (std::vector<std::array<std::uint32_t, 3>>{{0, 1, 2}}));
    EXPECT_EQ(cut->GetSurfelCollection(), nullptr);
}

TEST(CCachedModelsCutterList, ModelWithBothIsClassifiedOnItsMesh)
{
    const auto surfels = SurfelsInColumns({2, 1, 2});
    const auto model = SurfelModel(surfels);
    model->SetTriangulation(MeshInColumns({1, 2, 3}));
    const auto cut = CutColumns(model, {1});
    EXPECT_EQ(ColumnsOf(cut->GetTriangulation()->vertices), (Columns{2, 3}));
    EXPECT_EQ(surfels->numGetCountCalls, 0U);
}

TEST(CCachedModelsCutterList, MatrixPlacesTheModelAndTheResultHasIdentity)
{
    const LqMatrix4Rd matrix = TestSupport::MakeTranslation(0.5, 0, 0);
    const auto surfelCut = CutColumns(SurfelModel(SurfelsInColumns({1, 2}), matrix), {3});
    EXPECT_EQ(ColumnsOf(*surfelCut->GetSurfelCollection()), (Columns{1}));
    EXPECT_EQ(surfelCut->GetMatrix(), c_matIdentityD);
    EXPECT_EQ(surfelCut->GetUniqueId(), c_modelId);
    const auto meshCut = CutColumns(MeshModel(MeshInColumns({1, 2}), matrix), {3});
    EXPECT_EQ(ColumnsOf(meshCut->GetTriangulation()->vertices), (Columns{1}));
    EXPECT_EQ(meshCut->GetMatrix(), c_matIdentityD);
    EXPECT_EQ(meshCut->GetUniqueId(), c_modelId);
}

TEST(CCachedModelsCutterList, SubsetIsAskedForInKeepMode)
{
    const auto surfels = SurfelsInColumns({1, 2});
    const auto model = SurfelModel(surfels);
    EXPECT_NE(CutColumns(model, {1}), model);
    EXPECT_EQ(surfels->lastMaskMode, Base::ISurfelCollection::MaskMode::Keep);
}

TEST(CCachedModelsCutterList, EverythingCutReturnsANewEmptyModel)
{
    const auto surfelModel = SurfelModel(SurfelsInColumns({1, 2}));
    const auto surfelCut = CutColumns(surfelModel, {1, 2});
    ASSERT_NE(surfelCut, surfelModel);
    EXPECT_EQ(surfelCut->GetSurfelCollection()->GetCount(), 0U);
    const auto meshModel = MeshModel(MeshInColumns({1, 2, 1}));
    const auto meshCut = CutColumns(meshModel, {1, 2});
    ASSERT_NE(meshCut, meshModel);
    EXPECT_TRUE(meshCut->GetTriangulation()->vertices.empty());
}

TEST(CCachedModelsCutterList, NoGeometryAtAllWarnsAndReturnsTheModelItself)
{
    const auto model = std::make_shared<CBuildingModel>(nullptr, MeshInColumns({1}));
    const CLogCapture capture(Logging::c_levelWarn);
    EXPECT_EQ(CutColumns(model, {1}), model);
    EXPECT_EQ(model->numBuilds, 0U);
    EXPECT_EQ(model->GetTriangulation(), nullptr);
    const auto records = capture.GetRecords();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].category, L"Veko2.CCachedModelsCutter");
    EXPECT_EQ(records[0].level, Logging::c_levelWarn);
    EXPECT_EQ(records[0].file, "DataLayer/Base3D/PointCloudEditing/CCachedModelsCutter");
    EXPECT_EQ(records[0].line, 145);
    EXPECT_EQ(records[0].function, "DataLayer::CCachedModelsCutter::Apply");
    EXPECT_EQ(records[0].message,
              L"Encountered empty cached model while applying regionselectioninfo.");
}

TEST(CCachedModelsCutterList, NoWarningWithoutItsLevel)
{
    const auto model = std::make_shared<CBuildingModel>(nullptr);
    const CLogCapture capture(0);
    EXPECT_EQ(CutColumns(model, {1}), model);
    EXPECT_TRUE(capture.GetRecords().empty());
}

TEST(CCachedModelsCutterList, CutWritesNoMessage)
{
    const auto model = SurfelModel(SurfelsInColumns({1, 2}));
    const CLogCapture capture(Logging::c_levelDebug);
    EXPECT_NE(CutColumns(model, {1}), model);
    EXPECT_TRUE(capture.GetRecords().empty());
}

TEST(CCachedModelsCutterList, CountThatChangesMeanwhileIsNotChecked)
{
    const auto surfels = SurfelsInColumns({1, 2, 3, 1, 1});
    surfels->onGetCount = [&] { return surfels->numGetCountCalls == 1 ? 3U : 5U; };
    const auto cut = CutColumns(SurfelModel(surfels), {1});
    EXPECT_EQ(ColumnsOf(*cut->GetSurfelCollection()), (Columns{2, 3}));
}

TEST(CCachedModelsCutterList, TooManySurfelsThrow)
{
    const auto surfels = SurfelsInColumns({1});
    surfels->SetCount(0x100000000ULL);
    const auto model = SurfelModel(surfels);
    EXPECT_THROW(static_cast<void>(CutColumns(model, {1})), std::length_error);
    EXPECT_THROW(static_cast<void>(CutColumns(model, {})), std::length_error);
}

TEST(CCachedModelsCutterList, MissingPositionsThrow)
{
    const auto surfels = SurfelsInColumns({1});
    surfels->SetPositionAccess(nullptr);
    const auto model = SurfelModel(surfels);
    TestSupport::ExpectMissingAccessor([&] { static_cast<void>(CutColumns(model, {1})); });
}

}  // namespace

}  // namespace DataLayer
