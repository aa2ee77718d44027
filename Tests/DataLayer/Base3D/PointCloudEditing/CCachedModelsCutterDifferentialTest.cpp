#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "Base/Interfaces/IPointCloudSupport.h"
#include "DataLayer/Base3D/PointCloudEditing/CCachedModelsCutter.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/CachedModels.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/RandomCuts.h"
#include "Tests/Support/ReferenceCut.h"

namespace DataLayer
{

namespace
{

using Positions = std::vector<LqVector3f>;
using Selections = std::vector<std::shared_ptr<const Base::SRegionSelectionInfo>>;

constexpr std::uint64_t c_numCases = 400;

/// As bytes, so that a NaN equals itself.
bool AreSameBits(const Positions& left, const Positions& right)
{
    return left.size() == right.size() &&
           (left.empty() ||
            std::memcmp(left.data(), right.data(), left.size() * sizeof(LqVector3f)) == 0);
}

Positions PositionsOf(const Base::ISurfelCollection& collection)
{
    Positions positions;
    for (const ScanAPI::SimpleVec3f& position : collection.GetAllPositions())
    {
        positions.push_back({position.x, position.y, position.z});
    }
    return positions;
}

Geometry::CBox3D BoundFinite(const Positions& positions)
{
    Geometry::CBox3D box;
    for (const LqVector3f& position : positions)
    {
        if (std::isfinite(position.x) && std::isfinite(position.y) && std::isfinite(position.z))
        {
            box.Extend(position);
        }
    }
    return box;
}

/// What is cut, and with what.
struct SCase
{
    SRandomInput input;
    Selections selections;
};

SCase MakeCase(std::uint64_t seed, std::uint64_t numSelections)
{
    CRandomCuts random(seed);
    SCase result;
    for (std::uint64_t index = 0; index < numSelections; ++index)
    {
        result.selections.push_back(random.MakeSelection());
    }
    result.input = random.MakeInput(*result.selections.front());
    return result;
}

/// Which positions stay, in plain loops.
std::vector<bool> ReferenceKept(const SCase& cut, const Geometry::CBox3D& box)
{
    std::vector<bool> kept(cut.input.positions.size(), true);
    for (const auto& selection : cut.selections)
    {
        const auto result = TestSupport::ReferenceCut(*selection, cut.input.positions, box.min,
                                                      box.max, {}, cut.input.trafo);
        for (std::size_t index = 0; index < kept.size(); ++index)
        {
            kept[index] = kept[index] && result.words[index].bits == 0;
        }
    }
    return kept;
}

Positions Select(const Positions& positions, const std::vector<bool>& kept)
{
    Positions selected;
    for (std::size_t index = 0; index < positions.size(); ++index)
    {
        if (kept[index])
        {
            selected.push_back(positions[index]);
        }
    }
    return selected;
}

/// A strip over the vertices.
std::shared_ptr<Geometry::CTriangulation> MakeMesh(const Positions& positions)
{
    auto mesh = std::make_shared<Geometry::CTriangulation>();
    mesh->vertices = positions;
    for (std::uint32_t index = 0; index + 2 < positions.size(); ++index)
    {
        mesh->triangles.push_back({index, index + 1, index + 2});
    }
    return mesh;
}

std::vector<std::array<std::uint32_t, 3>> SelectTriangles(const Geometry::CTriangulation& mesh,
                                                          const std::vector<bool>& kept)
{
    std::vector<std::array<std::uint32_t, 3>> triangles;
    for (const auto& triangle : mesh.triangles)
    {
        std::array<std::uint32_t, 3> renumbered{};
        bool isKept = true;
        for (std::size_t corner = 0; corner < 3; ++corner)
        {
            isKept = isKept && kept[triangle[corner]];
            renumbered[corner] = static_cast<std::uint32_t>(
                std::count(kept.begin(), kept.begin() + triangle[corner], true));
        }
        if (isKept)
        {
            triangles.push_back(renumbered);
        }
    }
    return triangles;
}

/// Cuts a surfel model with \p apply and compares; says whether something was cut.
template <typename Apply>
bool CheckSurfelModel(const SCase& cut, const Apply& apply)
{
    const auto& support = *cut.input.collection->GetPointCloudSupport();
    const std::vector<bool> kept = ReferenceKept(cut, support.GetBoundingBox().box);
    const std::shared_ptr<CCachedModel> model = SurfelModel(cut.input.collection, cut.input.trafo);
    const std::shared_ptr<CCachedModel> result = apply(CCachedModelsCutter(model));
    const bool isCut = std::count(kept.begin(), kept.end(), false) > 0;
    EXPECT_EQ(result != model, isCut);
    EXPECT_TRUE(AreSameBits(PositionsOf(*result->GetSurfelCollection()),
                            Select(cut.input.positions, kept)));
    return isCut;
}

/// Cuts a mesh model with \p apply and compares; says whether something was cut.
template <typename Apply>
bool CheckMeshModel(const SCase& cut, const Apply& apply)
{
    const std::vector<bool> kept = ReferenceKept(cut, BoundFinite(cut.input.positions));
    const auto mesh = MakeMesh(cut.input.positions);
    const std::shared_ptr<CCachedModel> model = MeshModel(mesh, cut.input.trafo);
    const std::shared_ptr<CCachedModel> result = apply(CCachedModelsCutter(model));
    const bool isCut = std::count(kept.begin(), kept.end(), false) > 0;
    EXPECT_EQ(result != model, isCut);
    EXPECT_TRUE(
        AreSameBits(result->GetTriangulation()->vertices, Select(cut.input.positions, kept)));
    EXPECT_EQ(result->GetTriangulation()->triangles, SelectTriangles(*mesh, kept));
    return isCut;
}

TEST(CCachedModelsCutterDifferential, OneSelectionEqualsTheReference)
{
    unsigned numCut = 0;
    for (std::uint64_t seed = 0; seed < c_numCases && !testing::Test::HasFailure(); ++seed)
    {
        SCOPED_TRACE(seed);
        const SCase cut = MakeCase(seed, 1);
        const auto apply = [&](const CCachedModelsCutter& cutter) {
            return cutter.Apply(cut.selections.front());
        };
        numCut += CheckSurfelModel(cut, apply) ? 1 : 0;
        numCut += CheckMeshModel(cut, apply) ? 1 : 0;
    }
    EXPECT_GT(numCut, c_numCases / 4);
}

TEST(CCachedModelsCutterDifferential, ListOfSelectionsEqualsTheReference)
{
    unsigned numCut = 0;
    for (std::uint64_t seed = 0; seed < c_numCases && !testing::Test::HasFailure(); ++seed)
    {
        SCOPED_TRACE(seed);
        SCase cut = MakeCase(5000 + seed, 1 + seed % 3);
        const auto apply = [&](const CCachedModelsCutter& cutter) {
            return cutter.Apply(cut.selections);
        };
        numCut += CheckSurfelModel(cut, apply) ? 1 : 0;
        numCut += CheckMeshModel(cut, apply) ? 1 : 0;
    }
    EXPECT_GT(numCut, c_numCases / 4);
}

}  // namespace

}  // namespace DataLayer
