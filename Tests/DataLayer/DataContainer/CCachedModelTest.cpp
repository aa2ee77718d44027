#include "DataLayer/DataContainer/CCachedModel.h"

#include <gtest/gtest.h>

#include <memory>

#include "DataLayer/PointCloud/CSurfelCollectionMinimal.h"

namespace DataLayerTest
{

namespace
{

using DataLayer::CCachedModel;

const CCachedModel::UniqueId c_id(L"model \x03B1");

LqMatrix4Rd MakeMatrix()
{
    LqMatrix4Rd matrix = c_matIdentityD;
    matrix(3, 0) = 4.5;
    return matrix;
}

class CDestroyedModel : public CCachedModel
{
public:
    explicit CDestroyedModel(bool& isDestroyed)
        : CCachedModel(c_matIdentityD, std::shared_ptr<const Geometry::CTriangulation>(), c_id),
          m_isDestroyed(isDestroyed)
    {}
    ~CDestroyedModel() override { m_isDestroyed = true; }

    [[nodiscard]] std::shared_ptr<const Geometry::CTriangulation> BuildCTriangulation() override
    {
        return std::make_shared<Geometry::CTriangulation>();
    }

private:
    bool& m_isDestroyed;
};

TEST(CCachedModel, MeshModel_KeepsWhatItWasGiven)
{
    const std::shared_ptr<const Geometry::CTriangulation> mesh =
        std::make_shared<Geometry::CTriangulation>();
    const CCachedModel model(MakeMatrix(), mesh, c_id);
    EXPECT_EQ(model.GetUniqueId(), c_id);
    EXPECT_EQ(model.GetMatrix(), MakeMatrix());
    EXPECT_EQ(model.GetTriangulation(), mesh);
    EXPECT_EQ(model.GetSurfelCollection(), nullptr);
}

TEST(CCachedModel, SurfelModel_KeepsWhatItWasGiven)
{
    const std::shared_ptr<const Base::ISurfelCollection> surfels =
        std::make_shared<DataLayer::CSurfelCollectionMinimal>();
    const CCachedModel model(MakeMatrix(), surfels, c_id);
    EXPECT_EQ(model.GetUniqueId(), c_id);
    EXPECT_EQ(model.GetMatrix(), MakeMatrix());
    EXPECT_EQ(model.GetSurfelCollection(), surfels);
    EXPECT_EQ(model.GetTriangulation(), nullptr);
}

TEST(CCachedModel, SetTriangulation_StandsBesideTheSurfels)
{
    const std::shared_ptr<const Base::ISurfelCollection> surfels =
        std::make_shared<DataLayer::CSurfelCollectionMinimal>();
    const auto mesh = std::make_shared<Geometry::CTriangulation>();
    CCachedModel model(MakeMatrix(), surfels, c_id);
    model.SetTriangulation(mesh);
    EXPECT_EQ(model.GetTriangulation(), mesh);
    EXPECT_EQ(model.GetSurfelCollection(), surfels);
}

TEST(CCachedModel, BuildCTriangulation_IsEmptyUnlessOverridden)
{
    CCachedModel model(MakeMatrix(), std::shared_ptr<const Base::ISurfelCollection>(), c_id);
    EXPECT_EQ(model.BuildCTriangulation(), nullptr);

    bool isDestroyed = false;
    CDestroyedModel derived(isDestroyed);
    CCachedModel& asBase = derived;
    EXPECT_NE(asBase.BuildCTriangulation(), nullptr);
    EXPECT_EQ(asBase.GetTriangulation(), nullptr);
}

TEST(CCachedModel, Destructor_IsVirtual)
{
    bool isDestroyed = false;
    std::unique_ptr<CCachedModel> model = std::make_unique<CDestroyedModel>(isDestroyed);
    model.reset();
    EXPECT_TRUE(isDestroyed);
}

}  // namespace

}  // namespace DataLayerTest
