#include <array>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Base/Support/VekoException.h"
#include "DataLayer/Base3D/CTriangulation.h"
#include "DataLayer/Base3D/PointCloudEditing/CCachedModelsCutter.h"
#include "DataLayer/DataContainer/CCachedModel.h"
#include "Tests/Oracle/CaseKinds.h"
#include "Tests/Oracle/Scenes.h"
#include "Tests/Support/CLogCapture.h"

// Models that are cut with one selection or with a list of them.

namespace Oracle
{
namespace
{

using MeshPointer = std::shared_ptr<const Geometry::CTriangulation>;

constexpr int c_infoLevel = 2;

enum EKind : std::uint8_t
{
    Same = 0,
    Mesh = 1,
    Surfels = 2,
};

/// A model that builds the mesh it was given for that.
class CBuildingModel : public DataLayer::CCachedModel
{
public:
    CBuildingModel(const LqMatrix4Rd& matrix,
                   std::shared_ptr<const Base::ISurfelCollection> collection, MeshPointer mesh)
        : CCachedModel(matrix, std::move(collection), UniqueId(L"model")), m_mesh(std::move(mesh))
    {}

    [[nodiscard]] MeshPointer BuildCTriangulation() override { return m_mesh; }

private:
    MeshPointer m_mesh;
};

/// @return its index
std::int32_t AppendMesh(CCaseRandom& random, CNamedArrays& cases,
                        const std::vector<LqVector3f>& vertices)
{
    for (const LqVector3f& vertex : vertices)
    {
        AppendPoint(cases, "vertices", vertex);
    }
    cases.EndList<float>("vertices", "vertex_offsets");
    const auto numVertices = static_cast<std::uint32_t>(vertices.size());
    if (numVertices > 0)
    {
        for (std::uint32_t corner = 3 * random.Below(2 * numVertices); corner > 0; --corner)
        {
            cases.Append<std::uint32_t>("triangles", random.Below(numVertices));
        }
    }
    cases.EndList<std::uint32_t>("triangles", "triangle_offsets");
    return static_cast<std::int32_t>(cases.GetCount("vertex_offsets") - 2);
}

[[nodiscard]] MeshPointer MakeMesh(const CNamedArrays& cases, std::int32_t index)
{
    if (index < 0)
    {
        return nullptr;
    }
    auto mesh = std::make_shared<Geometry::CTriangulation>();
    mesh->vertices =
        GetPoints(cases, "vertices", "vertex_offsets", static_cast<std::size_t>(index));
    const auto corners = cases.GetList<std::uint32_t>("triangles", "triangle_offsets",
                                                      static_cast<std::size_t>(index));
    for (std::size_t corner = 0; corner < corners.size(); corner += 3)
    {
        mesh->triangles.push_back({corners[corner], corners[corner + 1], corners[corner + 2]});
    }
    return mesh;
}

/// What is to be told of a new model, besides its geometry.
[[nodiscard]] bool IsWellFormed(const DataLayer::CCachedModel& model)
{
    return model.GetMatrix() == c_matIdentityD && model.GetUniqueId().GetValue() == L"model";
}

void AppendLog(const TestSupport::CLogCapture& log, CNamedArrays& answers)
{
    for (const Logging::SLogRecord& record : log.GetRecords())
    {
        std::string text = std::to_string(record.level);
        text += ' ';
        for (const wchar_t character : record.message)
        {
            text += static_cast<char>(character);
        }
        const auto bytes = std::as_bytes(std::span<const char>(text));
        answers.Append<std::uint8_t>(
            "log", {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
    }
    answers.EndList<std::uint8_t>("log", "log_offsets");
}

}  // namespace

void DeclareCachedModelCases(CNamedArrays& cases)
{
    DeclareSelections(cases);
    DeclareCollections(cases);
    cases.DeclareLists<float>("vertices", "vertex_offsets", {3});
    cases.DeclareLists<std::uint32_t>("triangles", "triangle_offsets", {3});
    cases.DeclareLists<std::uint32_t>("chosen", "chosen_offsets");
    cases.Declare<std::uint8_t>("use_list");
    cases.Declare<std::uint8_t>("model_alive");
    cases.Declare<double>("model_matrix", {16});
    cases.Declare<std::int32_t>("model_collection");
    cases.Declare<std::int32_t>("model_mesh");
    cases.Declare<std::int32_t>("built_mesh");
}

void GenerateCachedModelCase(CCaseRandom& random, CNamedArrays& cases)
{
    const std::size_t firstSelection = cases.GetCount("selection_width");
    const bool useList = random.OneIn(2);
    const std::uint32_t numSelections = useList ? random.Below(4) : 1;
    // At least one to aim at, also when the list is empty.
    for (std::uint32_t selection = 0; selection < std::max(1U, numSelections); ++selection)
    {
        AppendSelection(random, cases);
        if (selection < numSelections)
        {
            cases.Append<std::uint32_t>("chosen",
                                        static_cast<std::uint32_t>(firstSelection + selection));
        }
    }
    cases.EndList<std::uint32_t>("chosen", "chosen_offsets");
    cases.Append<std::uint8_t>("use_list", useList ? 1 : 0);
    cases.Append<std::uint8_t>("model_alive", random.OneIn(40) ? 0 : 1);
    const LqMatrix4Rd matrix = random.OneIn(2) ? c_matIdentityD : random.Transform();
    AppendMatrix(cases, "model_matrix", matrix);

    const auto points = [&](std::uint32_t count) {
        return ScreenPoints(random, cases, firstSelection, matrix, count);
    };
    const std::uint32_t count = SurfelCount(random) / 2;
    const std::uint32_t style = random.Below(8);
    const bool hasCollection = style < 5 && style != 0;
    std::int32_t collection = -1;
    if (hasCollection)
    {
        collection =
            static_cast<std::int32_t>(AppendCollection(random, cases, points(count), false));
    }
    cases.Append<std::int32_t>("model_collection", collection);
    // A model with both mostly has as many of the one as of the other.
    const std::uint32_t numVertices = random.OneIn(3) ? SurfelCount(random) / 2 : count;
    const bool hasMesh = style >= 4 && style != 7;
    cases.Append<std::int32_t>("model_mesh",
                               hasMesh ? AppendMesh(random, cases, points(numVertices)) : -1);
    cases.Append<std::int32_t>(
        "built_mesh", !hasMesh && random.OneIn(2) ? AppendMesh(random, cases, points(count)) : -1);
}

void AnswerCachedModelCases(const CNamedArrays& cases, CNamedArrays& answers)
{
    answers.Declare<std::int32_t>("error");
    answers.Declare<std::uint8_t>("kind");
    answers.Declare<std::uint8_t>("well_formed");
    answers.Declare<std::int32_t>("stored_mesh");
    answers.DeclareLists<std::uint8_t>("log", "log_offsets");
    answers.DeclareLists<float>("new_vertices", "new_vertex_offsets", {3});
    answers.DeclareLists<std::uint32_t>("new_triangles", "new_triangle_offsets", {3});
    for (std::size_t index = 0; index < cases.GetCount("use_list"); ++index)
    {
        const std::int32_t collection = cases.Get<std::int32_t>("model_collection")[index];
        const std::int32_t meshIndex = cases.Get<std::int32_t>("model_mesh")[index];
        const std::int32_t builtIndex = cases.Get<std::int32_t>("built_mesh")[index];
        const MeshPointer mesh = MakeMesh(cases, meshIndex);
        const MeshPointer built = MakeMesh(cases, builtIndex);
        auto model = std::make_shared<CBuildingModel>(
            GetMatrix(cases, "model_matrix", index),
            collection < 0 ? nullptr : MakeCollection(cases, static_cast<std::size_t>(collection)),
            built);
        model->SetTriangulation(mesh);
        const DataLayer::CCachedModelsCutter cutter(model);
        if (cases.Get<std::uint8_t>("model_alive")[index] == 0)
        {
            model = nullptr;
        }

        std::vector<std::shared_ptr<const Base::SRegionSelectionInfo>> selections;
        for (const std::uint32_t selection :
             cases.GetList<std::uint32_t>("chosen", "chosen_offsets", index))
        {
            selections.push_back(MakeSelection(cases, selection));
        }
        std::shared_ptr<DataLayer::CCachedModel> result;
        std::int32_t error = 0;
        {
            const TestSupport::CLogCapture log(c_infoLevel);
            try
            {
                result = cases.Get<std::uint8_t>("use_list")[index] != 0
                             ? cutter.Apply(selections)
                             : cutter.Apply(selections.front());
            }
            catch (const VekoException& exception)
            {
                error = static_cast<std::int32_t>(exception.GetCodeLine());
            }
            AppendLog(log, answers);
        }
        answers.Append<std::int32_t>("error", error);
        const MeshPointer stored = model == nullptr ? mesh : model->GetTriangulation();
        answers.Append<std::int32_t>("stored_mesh", stored == nullptr ? -1
                                                    : stored == mesh  ? meshIndex
                                                                      : builtIndex);
        std::uint8_t kind = Same;
        bool isWellFormed = true;
        if (result != model && result != nullptr)
        {
            isWellFormed = IsWellFormed(*result);
            kind = result->GetTriangulation() != nullptr ? Mesh : Surfels;
            if (kind == Mesh)
            {
                for (const LqVector3f& vertex : result->GetTriangulation()->vertices)
                {
                    AppendPoint(answers, "new_vertices", vertex);
                }
                for (const auto& triangle : result->GetTriangulation()->triangles)
                {
                    answers.Append<std::uint32_t>("new_triangles",
                                                  std::span<const std::uint32_t>(triangle));
                }
            }
            else
            {
                for (const ScanAPI::SimpleVec3f& position :
                     result->GetSurfelCollection()->GetAllPositions())
                {
                    AppendPoint(answers, "new_vertices", {position.x, position.y, position.z});
                }
            }
        }
        answers.Append<std::uint8_t>("kind", kind);
        answers.Append<std::uint8_t>("well_formed", isWellFormed ? 1 : 0);
        answers.EndList<float>("new_vertices", "new_vertex_offsets");
        answers.EndList<std::uint32_t>("new_triangles", "new_triangle_offsets");
    }
}

}  // namespace Oracle
