#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <vector>

#include "Base/Support/VekoException.h"
#include "DataLayer/Base3D/PointCloudEditing/CCachedModelsCutter.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/CachedModels.h"
#include "Tests/Support/CLogCapture.h"

namespace DataLayer
{

namespace
{

using Columns = std::vector<std::uint32_t>;
using TestSupport::CLogCapture;

/// Expects a VekoException with this place and text from cutting with column 1.
void ExpectThrow(const CCachedModelsCutter& cutter, unsigned line, const wchar_t* message)
{
    try
    {
        static_cast<void>(cutter.Apply(PaintColumn(1)));
        FAIL() << "nothing was thrown";
    }
    catch (const VekoException& exception)
    {
        EXPECT_STREQ(exception.GetFilename(),
                     "DataLayer/Base3D/PointCloudEditing/CCachedModelsCutter");
        EXPECT_EQ(exception.GetCodeLine(), line);
        EXPECT_STREQ(exception.GetFunctionName(), "DataLayer::CCachedModelsCutter::Apply");
        EXPECT_EQ(exception.GetMessageText(), message);
    }
}

TEST(CCachedModelsCutterOneSelection, EmptyPointerThrows)
{
    ExpectThrow(CCachedModelsCutter(nullptr), 51, L"Invalid cached model");
}

TEST(CCachedModelsCutterOneSelection, DestroyedModelThrows)
{
    auto model = SurfelModel(SurfelsInColumns({1}));
    const CCachedModelsCutter cutter(model);
    model.reset();
    ExpectThrow(cutter, 51, L"Invalid cached model");
}

TEST(CCachedModelsCutterOneSelection, NothingCutReturnsTheModelItself)
{
    const auto model = SurfelModel(SurfelsInColumns({1, 2}));
    EXPECT_EQ(CCachedModelsCutter(model).Apply(PaintColumn(3)), model);
    EXPECT_EQ(model->GetTriangulation(), nullptr);
}

TEST(CCachedModelsCutterOneSelection, SurfelsUnderThePaintAreLeftOut)
{
    const auto model = SurfelModel(SurfelsInColumns({1, 2, 3, 1, 2}));
    const auto cut = CCachedModelsCutter(model).Apply(PaintColumn(1));
    ASSERT_NE(cut, nullptr);
    ASSERT_NE(cut, model);
    EXPECT_EQ(ColumnsOf(*cut->GetSurfelCollection()), (Columns{2, 3, 2}));
    EXPECT_EQ(cut->GetTriangulation(), nullptr);
}

TEST(CCachedModelsCutterOneSelection, SubsetIsAskedForInKeepMode)
{
    const auto surfels = SurfelsInColumns({1, 2});
    const auto model = SurfelModel(surfels);
    EXPECT_NE(CCachedModelsCutter(model).Apply(PaintColumn(1)), model);
    EXPECT_EQ(surfels->lastMaskMode, Base::ISurfelCollection::MaskMode::Keep);
}

TEST(CCachedModelsCutterOneSelection, MeshVerticesUnderThePaintAreLeftOut)
{
    const auto model = MeshModel(MeshInColumns({1, 2, 3, 2, 3}));
    const auto cut = CCachedModelsCutter(model).Apply(PaintColumn(1));
    ASSERT_NE(cut, model);
    EXPECT_EQ(ColumnsOf(cut->GetTriangulation()->vertices), (Columns{2, 3, 2, 3}));
    EXPECT_EQ(cut->GetTriangulation()->triangles,
              (std::vector<std::array<std::uint32_t, 3>>{{0, 1, 2}, {1, 2, 3}}));
    EXPECT_EQ(cut->GetSurfelCollection(), nullptr);
}

TEST(CCachedModelsCutterOneSelection, ModelItselfIsNotChanged)
{
    const auto mesh = MeshInColumns({1, 2, 3});
    const Geometry::CTriangulation before = *mesh;
    const auto model = MeshModel(mesh);
    const auto cut = CCachedModelsCutter(model).Apply(PaintColumn(1));
    EXPECT_EQ(model->GetTriangulation(), mesh);
    EXPECT_EQ(mesh->vertices, before.vertices);
    EXPECT_EQ(mesh->triangles, before.triangles);
    EXPECT_NE(cut->GetTriangulation(), mesh);
}

TEST(CCachedModelsCutterOneSelection, MatrixPlacesTheSurfelsAndTheResultHasIdentity)
{
    const LqMatrix4Rd matrix = TestSupport::MakeTranslation(0.5, 0, 0);
    const auto surfelModel = SurfelModel(SurfelsInColumns({1, 2}), matrix);
    const auto cut = CCachedModelsCutter(surfelModel).Apply(PaintColumn(3));
    ASSERT_NE(cut, surfelModel);
    EXPECT_EQ(ColumnsOf(*cut->GetSurfelCollection()), (Columns{1}));
    EXPECT_EQ(cut->GetMatrix(), c_matIdentityD);
    EXPECT_EQ(cut->GetUniqueId(), c_modelId);
}

TEST(CCachedModelsCutterOneSelection, MatrixPlacesTheMeshAndTheResultHasIdentity)
{
    const LqMatrix4Rd matrix = TestSupport::MakeTranslation(0.5, 0, 0);
    const auto meshModel = MeshModel(MeshInColumns({1, 2}), matrix);
    const auto cut = CCachedModelsCutter(meshModel).Apply(PaintColumn(3));
    ASSERT_NE(cut, meshModel);
    EXPECT_EQ(ColumnsOf(cut->GetTriangulation()->vertices), (Columns{1}));
    EXPECT_EQ(cut->GetMatrix(), c_matIdentityD);
    EXPECT_EQ(cut->GetUniqueId(), c_modelId);
}

TEST(CCachedModelsCutterOneSelection, ModelWithBothIsClassifiedOnSurfelsAndCutAsMesh)
{
    // Only the second surfel is cut, and with it vertex 1, wherever that lies.
    const auto model = SurfelModel(SurfelsInColumns({2, 1, 2}));
    model->SetTriangulation(MeshInColumns({1, 2, 3}));
    const auto cut = CCachedModelsCutter(model).Apply(PaintColumn(1));
    ASSERT_NE(cut, model);
    EXPECT_EQ(ColumnsOf(cut->GetTriangulation()->vertices), (Columns{1, 3}));
    EXPECT_EQ(cut->GetSurfelCollection(), nullptr);
}

TEST(CCachedModelsCutterOneSelection, ModelWithBothMayHaveFewerSurfelsThanVertices)
{
    const auto model = SurfelModel(SurfelsInColumns({2, 1}));
    model->SetTriangulation(MeshInColumns({3, 2, 3, 2}));
    const auto cut = CCachedModelsCutter(model).Apply(PaintColumn(1));
    EXPECT_EQ(ColumnsOf(cut->GetTriangulation()->vertices), (Columns{3}));
}

TEST(CCachedModelsCutterOneSelection, ModelWithBothMayHaveMoreSurfelsThanVertices)
{
    const auto model = SurfelModel(SurfelsInColumns({2, 1, 2, 1, 2}));
    model->SetTriangulation(MeshInColumns({3, 2}));
    const auto cut = CCachedModelsCutter(model).Apply(PaintColumn(1));
    EXPECT_EQ(ColumnsOf(cut->GetTriangulation()->vertices), (Columns{3}));
}

TEST(CCachedModelsCutterOneSelection, MissingMeshIsBuiltStoredAndCut)
{
    const auto mesh = MeshInColumns({1, 2, 3});
    const auto model = std::make_shared<CBuildingModel>(nullptr, mesh);
    const auto cut = CCachedModelsCutter(model).Apply(PaintColumn(2));
    EXPECT_EQ(model->numBuilds, 1U);
    EXPECT_EQ(model->GetTriangulation(), mesh);
    EXPECT_EQ(ColumnsOf(cut->GetTriangulation()->vertices), (Columns{1, 3}));
}

TEST(CCachedModelsCutterOneSelection, BuiltMeshStaysWhenNothingIsCut)
{
    const auto mesh = MeshInColumns({1, 2});
    const auto model = std::make_shared<CBuildingModel>(nullptr, mesh);
    EXPECT_EQ(CCachedModelsCutter(model).Apply(PaintColumn(3)), model);
    EXPECT_EQ(model->GetTriangulation(), mesh);
}

TEST(CCachedModelsCutterOneSelection, BuiltMeshStaysWhenTheCutThrows)
{
    const auto mesh = MeshInColumns({1, 2});
    mesh->triangles.push_back({0, 1, 99});
    const auto model = std::make_shared<CBuildingModel>(nullptr, mesh);
    EXPECT_THROW(static_cast<void>(CCachedModelsCutter(model).Apply(PaintColumn(1))),
                 VekoException);
    EXPECT_EQ(model->GetTriangulation(), mesh);
}

TEST(CCachedModelsCutterOneSelection, BuiltMeshIsNotBuiltAgain)
{
    const auto model = std::make_shared<CBuildingModel>(nullptr, MeshInColumns({1, 2}));
    const CCachedModelsCutter cutter(model);
    EXPECT_NE(cutter.Apply(PaintColumn(1)), model);
    EXPECT_NE(cutter.Apply(PaintColumn(2)), model);
    EXPECT_EQ(model->numBuilds, 1U);
}

TEST(CCachedModelsCutterOneSelection, NoGeometryAtAllThrows)
{
    const auto model = std::make_shared<CBuildingModel>(nullptr, nullptr);
    ExpectThrow(CCachedModelsCutter(model), 77,
                L"Encountered empty cached model while applying regionselectioninfo!");
    EXPECT_EQ(model->numBuilds, 1U);
}

TEST(CCachedModelsCutterOneSelection, ModelWithSurfelsOrMeshIsNotAskedToBuild)
{
    const auto surfelModel = SurfelModel(SurfelsInColumns({1}));
    EXPECT_NE(CCachedModelsCutter(surfelModel).Apply(PaintColumn(1)), surfelModel);
    EXPECT_EQ(surfelModel->numBuilds, 0U);
    const auto meshModel = MeshModel(MeshInColumns({1}));
    EXPECT_NE(CCachedModelsCutter(meshModel).Apply(PaintColumn(1)), meshModel);
    EXPECT_EQ(meshModel->numBuilds, 0U);
}

TEST(CCachedModelsCutterOneSelection, CountThatChangesMeanwhileThrows)
{
    const auto surfels = SurfelsInColumns({1, 2, 3});
    surfels->onGetCount = [&] { return surfels->numGetCountCalls <= 2 ? 3U : 4U; };
    const CLogCapture capture(Logging::c_levelInfo);
    ExpectThrow(CCachedModelsCutter(SurfelModel(surfels)), 105, L"Invalid copy mask vector size!");
    EXPECT_EQ(capture.GetRecords().size(), 1U) << "the message comes before the check";
}

TEST(CCachedModelsCutterOneSelection, TooManySurfelsThrow)
{
    const auto surfels = SurfelsInColumns({1});
    surfels->SetCount(0x100000000ULL);
    const auto model = SurfelModel(surfels);
    EXPECT_THROW(static_cast<void>(CCachedModelsCutter(model).Apply(PaintColumn(1))),
                 std::length_error);
}

TEST(CCachedModelsCutterOneSelection, EverythingCutReturnsANewEmptySurfelModel)
{
    const auto model = SurfelModel(SurfelsInColumns({1, 1}));
    const auto cut = CCachedModelsCutter(model).Apply(PaintColumn(1));
    ASSERT_NE(cut, model);
    EXPECT_EQ(cut->GetSurfelCollection()->GetCount(), 0U);
    EXPECT_EQ(cut->GetUniqueId(), c_modelId);
}

TEST(CCachedModelsCutterOneSelection, EverythingCutReturnsANewEmptyMeshModel)
{
    const auto model = MeshModel(MeshInColumns({1, 1, 1}));
    const auto cut = CCachedModelsCutter(model).Apply(PaintColumn(1));
    ASSERT_NE(cut, model);
    EXPECT_TRUE(cut->GetTriangulation()->vertices.empty());
    EXPECT_TRUE(cut->GetTriangulation()->triangles.empty());
}

TEST(CCachedModelsCutterOneSelection, InfoNamesTheNumberOfSurfelsNotOfHits)
{
    const auto model = SurfelModel(SurfelsInColumns({1, 2, 3, 2, 3}));
    const CLogCapture capture(Logging::c_levelInfo);
    EXPECT_NE(CCachedModelsCutter(model).Apply(PaintColumn(1)), model);
    const auto records = capture.GetRecords();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].category, L"Veko2.CCachedModelsCutter");
    EXPECT_EQ(records[0].level, Logging::c_levelInfo);
    EXPECT_EQ(records[0].file, "DataLayer/Base3D/PointCloudEditing/CCachedModelsCutter");
    EXPECT_EQ(records[0].line, 97);
    EXPECT_EQ(records[0].function, "DataLayer::CCachedModelsCutter::Apply");
    EXPECT_EQ(records[0].message, L"Output (matched) data: 5 ");
}

TEST(CCachedModelsCutterOneSelection, NothingCutWritesNoMessage)
{
    const auto model = SurfelModel(SurfelsInColumns({1, 2}));
    const CLogCapture capture(Logging::c_levelDebug);
    EXPECT_EQ(CCachedModelsCutter(model).Apply(PaintColumn(3)), model);
    EXPECT_TRUE(capture.GetRecords().empty());
}

TEST(CCachedModelsCutterOneSelection, NoMessageWithoutItsLevel)
{
    const auto model = SurfelModel(SurfelsInColumns({1, 2}));
    const CLogCapture capture(Logging::c_levelWarn);
    EXPECT_NE(CCachedModelsCutter(model).Apply(PaintColumn(1)), model);
    EXPECT_TRUE(capture.GetRecords().empty());
}

TEST(CCachedModelsCutterOneSelection, ModelThatIsReleasedMeanwhileLivesUntilTheEnd)
{
    const auto surfels = SurfelsInColumns({1, 2});
    std::shared_ptr<CCachedModel> model = SurfelModel(surfels);
    const std::weak_ptr<CCachedModel> observer = model;
    const CCachedModelsCutter cutter(model);
    surfels->onGetElementAccess = [&] { model.reset(); };
    const auto cut = cutter.Apply(PaintColumn(1));
    EXPECT_EQ(ColumnsOf(*cut->GetSurfelCollection()), (Columns{2}));
    EXPECT_TRUE(observer.expired());
}

TEST(CCachedModelsCutterOneSelection, SelectionIsReleasedAtTheEnd)
{
    const auto model = SurfelModel(SurfelsInColumns({1}));
    const auto selection = PaintColumn(1);
    EXPECT_NE(CCachedModelsCutter(model).Apply(selection), model);
    EXPECT_EQ(selection.use_count(), 1);
}

}  // namespace

}  // namespace DataLayer
