#include <memory>
#include <utility>
#include <vector>

#include "Base/Support/VekoException.h"
#include "DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMask.h"
#include "Tests/Oracle/CaseKinds.h"
#include "Tests/Oracle/Scenes.h"

// Whole calls of the classification: one selection, several collections.

namespace Oracle
{
namespace
{

using Cutter = DataLayer::CCutPointCloudWithPixelMask;

/// Cutting again must give the same, although a collection may prepare itself for it meanwhile, and
/// whatever the results hold beforehand.
constexpr int c_numCalls = 4;

[[nodiscard]] std::vector<Base::CSurfelBitMask> GetWords(const CNamedArrays& cases,
                                                         std::size_t index)
{
    std::vector<Base::CSurfelBitMask> words;
    for (const std::uint16_t word : cases.GetList<std::uint16_t>("words", "word_offsets", index))
    {
        words.push_back({word});
    }
    return words;
}

}  // namespace

void DeclareCutCases(CNamedArrays& cases)
{
    DeclareSelections(cases);
    DeclareCollections(cases);
    DeclareWords(cases);
    cases.Declare<std::uint64_t>("item_offsets");
    cases.Append<std::uint64_t>("item_offsets", 0);
    cases.Declare<std::uint32_t>("item_collection");
    cases.Declare<std::uint32_t>("item_words");
    cases.Declare<double>("item_trafo", {16});
}

void GenerateCutCase(CCaseRandom& random, CNamedArrays& cases)
{
    const std::size_t selection = cases.GetCount("selection_width");
    AppendSelection(random, cases);
    for (std::uint32_t items = random.OneIn(12) ? random.Below(4) : 1; items > 0; --items)
    {
        const LqMatrix4Rd trafo = random.OneIn(2) ? c_matIdentityD : random.Transform();
        const EOrder order = random.OneIn(60) ? EOrder::AsScan : EOrder::Any;
        const std::uint32_t count =
            order == EOrder::AsScan ? 3000 + random.Below(14000) : SurfelCount(random);
        const std::vector<LqVector3f> points =
            ScreenPoints(random, cases, selection, trafo, count, order);
        const bool mayLackPositions = random.OneIn(20);
        cases.Append<std::uint32_t>(
            "item_collection", AppendCollection(random, cases, points, mayLackPositions, order));
        cases.Append<std::uint32_t>("item_words", AppendWords(random, cases, count));
        AppendMatrix(cases, "item_trafo", trafo);
    }
    cases.EndList<std::uint32_t>("item_collection", "item_offsets");
}

void AnswerCutCases(const CNamedArrays& cases, CNamedArrays& answers)
{
    answers.Declare<std::uint8_t>("error");
    answers.Declare<std::uint8_t>("repeats_equal");
    answers.Declare<std::uint8_t>("changed");
    answers.Declare<std::uint8_t>("intersects");
    answers.DeclareLists<std::uint16_t>("result_words", "result_offsets");
    for (std::size_t index = 0; index < cases.GetCount("selection_width"); ++index)
    {
        const Cutter cutter(MakeSelection(cases, index));
        const std::size_t first = cases.Get<std::uint64_t>("item_offsets")[index];
        const std::size_t last = cases.Get<std::uint64_t>("item_offsets")[index + 1];
        std::vector<Cutter::SInputData> inputs;
        for (std::size_t item = first; item < last; ++item)
        {
            inputs.push_back(
                {MakeCollection(cases, cases.Get<std::uint32_t>("item_collection")[item]),
                 GetWords(cases, cases.Get<std::uint32_t>("item_words")[item]),
                 GetMatrix(cases, "item_trafo", item)});
            answers.Append<std::uint8_t>(
                "intersects",
                cutter.IntersectsRegion(inputs.back().trafo, *inputs.back().collection) ? 1 : 0);
        }

        // What stands in the results beforehand does not matter.
        Cutter::Results results(index % 4, {true, {{0xFFFF}}});
        bool hasFailed = false;
        bool repeatsEqual = true;
        try
        {
            cutter.Compute(inputs, results);
            Cutter::Results repeated;
            for (int call = 1; call < c_numCalls; ++call)
            {
                // New words, then those of the call before, all different.
                for (auto& [changed, words] : repeated)
                {
                    for (Base::CSurfelBitMask& word : words)
                    {
                        word.bits = static_cast<std::uint16_t>(~word.bits);
                    }
                }
                cutter.Compute(inputs, repeated);
                repeatsEqual = repeatsEqual && repeated == results;
            }
        }
        catch (const VekoException&)
        {
            hasFailed = true;
            results.assign(inputs.size(), {});
        }
        answers.Append<std::uint8_t>("error", hasFailed ? 1 : 0);
        answers.Append<std::uint8_t>("repeats_equal", repeatsEqual ? 1 : 0);
        for (const auto& [changed, words] : results)
        {
            answers.Append<std::uint8_t>("changed", changed ? 1 : 0);
            static_assert(sizeof(Base::CSurfelBitMask) == sizeof(std::uint16_t));
            answers.AppendList<std::uint16_t>(
                "result_words", "result_offsets",
                {reinterpret_cast<const std::uint16_t*>(words.data()), words.size()});
        }
    }
}

}  // namespace Oracle
