#include <algorithm>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

#include "Base/Interfaces/IPointCloudSupport.h"
#include "Base/Interfaces/SRegionSelectionInfo.h"
#include "Base/Interfaces/SyncableEntityMap.h"
#include "Base/Math/PointTransform.h"
#include "Base/Math/UxBoundingBox3D.h"
#include "DataLayer/Base3D/PointCloudEditing/CCutWithPixelMaskSyncableEntityCollectionModifyOperation.h"
#include "DataLayer/PointCloud/CSurfelCollectionMinimal.h"
#include "DataLayer/PointCloud/QNormal.h"
#include "Tests/DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMaskTestPeer.h"
#include "Tests/Oracle/CaseKinds.h"
#include "Tests/Oracle/Scenes.h"

// The small pieces of arithmetic, each by itself.

namespace Oracle
{
namespace
{

[[nodiscard]] Geometry::CBox3D GetBox(const CNamedArrays& cases, const std::string& name,
                                      std::size_t index)
{
    const auto sides = cases.Get<float>(name).subspan(6 * index, 6);
    Geometry::CBox3D box;
    box.min = {sides[0], sides[1], sides[2]};
    box.max = {sides[3], sides[4], sides[5]};
    return box;
}

void AppendBox(CNamedArrays& arrays, const std::string& name, const Geometry::CBox3D& box)
{
    AppendPoint(arrays, name, box.min);
    AppendPoint(arrays, name, box.max);
}

[[nodiscard]] Geometry::CBox3D RandomBox(CCaseRandom& random)
{
    Geometry::CBox3D box;
    if (!random.OneIn(40))
    {
        box.Extend(random.Point(-2.0F, 2.0F));
        box.Extend(random.Point(-2.0F, 2.0F));
    }
    return box;
}

}  // namespace

void DeclareArithmeticCases(CNamedArrays& cases)
{
    cases.Declare<double>("a", {16});
    cases.Declare<double>("b", {16});
    cases.Declare<float>("point", {3});
    cases.Declare<float>("size", {2});
}

void GenerateArithmeticCase(CCaseRandom& random, CNamedArrays& cases)
{
    AppendMatrix(cases, "a", random.Transform());
    AppendMatrix(cases, "b", random.Transform());
    AppendPoint(cases, "point", random.WithDirected(random.Point(-4.0F, 4.0F)));
    cases.Append<float>("size", static_cast<float>(random.Below(5000)));
    const auto bits = static_cast<std::uint32_t>(random.Bits());
    cases.Append<float>("size", static_cast<float>(bits >> random.Below(32)));
}

void AnswerArithmeticCases(const CNamedArrays& cases, CNamedArrays& answers)
{
    answers.Declare<float>("converted", {16});
    answers.Declare<float>("product", {16});
    answers.Declare<double>("double_product", {16});
    answers.Declare<float>("transformed", {3});
    answers.Declare<float>("viewport", {3});
    for (std::size_t index = 0; index < cases.GetCount("a"); ++index)
    {
        const LqMatrix4Rd a = GetMatrix(cases, "a", index);
        const LqMatrix4Rd b = GetMatrix(cases, "b", index);
        const LqMatrix4Rf floatA(a);
        const auto coordinates = cases.Get<float>("point").subspan(3 * index, 3);
        const LqVector3f point{coordinates[0], coordinates[1], coordinates[2]};
        const auto size = cases.Get<float>("size").subspan(2 * index, 2);
        AppendMatrix(answers, "converted", floatA);
        AppendMatrix(answers, "product", floatA * LqMatrix4Rf(b));
        AppendMatrix(answers, "double_product", a * b);
        AppendPoint(answers, "transformed", TransformPoint(floatA, point));
        AppendPoint(
            answers, "viewport",
            DataLayer::CCutPointCloudWithPixelMaskTestPeer::ApplyViewport(point, size[0], size[1]));
    }
}

void DeclareBoxCases(CNamedArrays& cases)
{
    cases.Declare<float>("box", {6});
    cases.Declare<float>("other_box", {6});
    cases.Declare<float>("matrix", {16});
    cases.Declare<float>("points", {4, 3});
}

void GenerateBoxCase(CCaseRandom& random, CNamedArrays& cases)
{
    AppendBox(cases, "box", RandomBox(random));
    AppendBox(cases, "other_box", RandomBox(random));
    AppendMatrix(cases, "matrix", LqMatrix4Rf(random.Transform()));
    for (int point = 0; point < 4; ++point)
    {
        AppendPoint(cases, "points", random.Point(-2.0F, 2.0F));
    }
}

void AnswerBoxCases(const CNamedArrays& cases, CNamedArrays& answers)
{
    answers.Declare<float>("transformed_box", {6});
    answers.Declare<float>("extended_box", {6});
    answers.Declare<std::uint8_t>("is_empty");
    answers.Declare<std::uint8_t>("intersects");
    for (std::size_t index = 0; index < cases.GetCount("box"); ++index)
    {
        const Geometry::CBox3D box = GetBox(cases, "box", index);
        UxBoundingBox3D transformed;
        transformed.box = box;
        transformed.Transform(GetFloatMatrix(cases, "matrix", index));
        AppendBox(answers, "transformed_box", transformed.box);

        Geometry::CBox3D extended;
        const auto coordinates = cases.Get<float>("points").subspan(12 * index, 12);
        for (std::size_t point = 0; point < 12; point += 3)
        {
            extended.Extend(coordinates[point], coordinates[point + 1], coordinates[point + 2]);
        }
        AppendBox(answers, "extended_box", extended);
        answers.Append<std::uint8_t>("is_empty", box.IsEmpty() ? 1 : 0);
        answers.Append<std::uint8_t>("intersects",
                                     box.Intersects(GetBox(cases, "other_box", index)) ? 1 : 0);
    }
}

void DeclareNormalCases(CNamedArrays& cases)
{
    cases.Declare<float>("vector", {3});
    cases.Declare<std::uint16_t>("code");
}

void GenerateNormalCase(CCaseRandom& random, CNamedArrays& cases)
{
    LqVector3f vector;
    if (random.OneIn(3))
    {
        // On the borders of the code's triangles.
        const auto step = [&] { return static_cast<float>(random.Below(129)); };
        vector.x = random.Nudged(step());
        vector.y = random.Nudged(step());
        vector.z = step();
    }
    else
    {
        vector = random.Point(-1.0F, 1.0F);
    }
    AppendPoint(cases, "vector", random.WithDirected(vector));
    cases.Append<std::uint16_t>("code", static_cast<std::uint16_t>(random.Bits()));
}

void AnswerNormalCases(const CNamedArrays& cases, CNamedArrays& answers)
{
    answers.Declare<std::uint16_t>("encoded");
    answers.Declare<float>("decoded", {3});
    answers.Declare<float>("decoded_again", {3});
    const auto vectors = cases.Get<float>("vector");
    const auto codes = cases.Get<std::uint16_t>("code");
    for (std::size_t index = 0; index < codes.size(); ++index)
    {
        const auto vector = vectors.subspan(3 * index, 3);
        const std::uint16_t encoded = DataLayer::EncodeQNormal(vector[0], vector[1], vector[2]);
        answers.Append<std::uint16_t>("encoded", encoded);
        AppendPoint(answers, "decoded_again", DataLayer::DecodeQNormal(encoded));
        AppendPoint(answers, "decoded", DataLayer::DecodeQNormal(codes[index]));
    }
}

void DeclareFreezeCases(CNamedArrays& cases)
{
    DeclareWords(cases);
}

void GenerateFreezeCase(CCaseRandom& random, CNamedArrays& cases)
{
    static_cast<void>(AppendWords(random, cases, random.Below(random.OneIn(50) ? 700 : 70)));
}

void AnswerFreezeCases(const CNamedArrays& cases, CNamedArrays& answers)
{
    answers.Declare<std::uint8_t>("changed");
    answers.Declare<std::uint16_t>("frozen_words");
    // Entries without an entity are never cut, only frozen.
    const ScanAPI::shared_not_null<const Base::SRegionSelectionInfo> selection(
        Base::MakeRegionSelection({}, {}, {}, {}, 0, 0));
    const std::size_t count = cases.GetCount("word_offsets") - 1;
    constexpr std::size_t c_entriesPerBatch = 500;
    for (std::size_t first = 0; first < count; first += c_entriesPerBatch)
    {
        const std::size_t last = std::min(count, first + c_entriesPerBatch);
        std::vector<Base::CEntityMapSyncEntry> entries(last - first + 1);
        for (std::size_t index = first; index < last; ++index)
        {
            std::vector<Base::CSurfelBitMask> words;
            for (const std::uint16_t word :
                 cases.GetList<std::uint16_t>("words", "word_offsets", index))
            {
                words.push_back({word});
            }
            Base::CEntityMapValue value;
            value.mask = std::make_shared<const Base::CSurfelCollectionMask>(std::move(words));
            entries[index - first].value = value;
        }
        // One that always changes, so that there is a message for each.
        Base::CEntityMapValue changing;
        changing.mask = std::make_shared<const Base::CSurfelCollectionMask>(
            std::vector<Base::CSurfelBitMask>{{Base::CSurfelBitMask::SurfelFlagsOutlier}});
        entries.back().value = changing;

        const DataLayer::CCutWithPixelMaskSyncableEntityCollectionModifyOperation operation(
            selection, c_matIdentityD);
        const Base::CEntityMapModifyBatch batch = operation.ComputeModifications(entries);
        std::uint32_t numChanged = 1;
        for (std::size_t index = 0; index + 1 < entries.size(); ++index)
        {
            const auto& oldMask = entries[index].value.GetValue().mask;
            const auto& newMask = batch.messages.at(index).GetNewState().mask.GetValue();
            const bool changed = oldMask != newMask;
            numChanged += changed ? 1U : 0U;
            answers.Append<std::uint8_t>("changed", changed ? 1 : 0);
            for (const Base::CSurfelBitMask word : newMask->GetBitMasks())
            {
                answers.Append<std::uint16_t>("frozen_words", word.bits);
            }
        }
        if (operation.GetNumModifiedPackets() != numChanged)
        {
            throw std::runtime_error("The freeze counts other masks than it replaces.");
        }
    }
}

void DeclareNearestCases(CNamedArrays& cases)
{
    cases.DeclareLists<float>("points", "point_offsets", {3});
    cases.DeclareLists<float>("queries", "query_offsets", {3});
    cases.Declare<float>("bound");
}

void GenerateNearestCase(CCaseRandom& random, CNamedArrays& cases)
{
    const bool isLarge = random.OneIn(200);
    const float extent = random.OneOf({1.0F, 4.0F, 16.0F});
    for (std::uint32_t count = random.Below(isLarge ? 3000 : 90); count > 0; --count)
    {
        AppendPoint(cases, "points", random.Point(-extent, extent));
    }
    cases.EndList<float>("points", "point_offsets");
    for (std::uint32_t count = random.Below(isLarge ? 300 : 40); count > 0; --count)
    {
        AppendPoint(cases, "queries", random.Point(-extent, extent));
    }
    cases.EndList<float>("queries", "query_offsets");
    cases.Append<float>("bound", random.OneIn(2)       ? 2.25F
                                 : random.IsDirected() ? random.DirectedFloat()
                                                       : random.Between(0.0F, extent));
}

void AnswerNearestCases(const CNamedArrays& cases, CNamedArrays& answers)
{
    answers.Declare<std::int32_t>("neighbors");
    const auto bounds = cases.Get<float>("bound");
    for (std::size_t index = 0; index < bounds.size(); ++index)
    {
        DataLayer::CSurfelCollectionMinimal cloud;
        for (const LqVector3f& point : GetPoints(cases, "points", "point_offsets", index))
        {
            cloud.AddSurfelNoReset({point, 0});
        }
        cloud.ForceUpdate();
        const auto support = cloud.GetPointCloudSupport();
        const INearestNeighborSearch* const search = support->GetNearestNeighborSearch();
        for (const LqVector3f& query : GetPoints(cases, "queries", "query_offsets", index))
        {
            answers.Append<std::int32_t>(
                "neighbors", search->FindNearestNeighbor(query, bounds[index], nullptr));
        }
    }
}

}  // namespace Oracle
