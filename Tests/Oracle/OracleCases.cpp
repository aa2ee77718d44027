#include <array>
#include <exception>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>

#include "Tests/Oracle/CaseKinds.h"
#include "Tests/Oracle/Kernels.h"

// Makes cases, and answers cases with this library; the other answers are those of the Python
// modules beside this file. Arguments are pairs of a name and a value:
//
//     --kind KIND           what is compared
//     --cases FILE          where the cases are
//     --answers FILE        where the answers go
//     --seed, --first, --count NUMBER
//                           makes that many cases first, starting at that index of the seed
//     --kernel NAME         the instruction set that has to answer, where this program can choose
//     --kernels all         only prints the names of those that it can choose

namespace Oracle
{

std::span<const SCaseKind> GetCaseKinds()
{
    static constexpr std::array<SCaseKind, 9> kinds = {{
        {"arithmetic", DeclareArithmeticCases, GenerateArithmeticCase, AnswerArithmeticCases},
        {"box", DeclareBoxCases, GenerateBoxCase, AnswerBoxCases},
        {"normal", DeclareNormalCases, GenerateNormalCase, AnswerNormalCases},
        {"freeze", DeclareFreezeCases, GenerateFreezeCase, AnswerFreezeCases},
        {"nearest", DeclareNearestCases, GenerateNearestCase, AnswerNearestCases},
        {"cut", DeclareCutCases, GenerateCutCase, AnswerCutCases},
        {"cut-operation", DeclareCutOperationCases, GenerateCutOperationCase,
         AnswerCutOperationCases},
        {"small-component-operation", DeclareSmallComponentCases, GenerateSmallComponentCase,
         AnswerSmallComponentCases},
        {"cached-model", DeclareCachedModelCases, GenerateCachedModelCase, AnswerCachedModelCases},
    }};
    return kinds;
}

namespace
{

constexpr std::uint64_t c_leastCountForKernels = 20;

void Run(std::map<std::string, std::string>& options)
{
    if (options.contains("--kernels"))
    {
        for (const std::string& name : GetKernelNames())
        {
            std::cout << name << '\n';
        }
        return;
    }
    if (options.contains("--kernel"))
    {
        UseKernel(options["--kernel"]);
    }
    else if (!GetKernelNames().empty())
    {
        throw std::runtime_error("This program needs --kernel, a name that --kernels all lists.");
    }
    const auto kinds = GetCaseKinds();
    std::size_t kind = 0;
    while (kind < kinds.size() && options["--kind"] != kinds[kind].name)
    {
        ++kind;
    }
    if (kind == kinds.size())
    {
        throw std::runtime_error("There is no kind of cases \"" + options["--kind"] + "\".");
    }

    CNamedArrays cases;
    if (options.contains("--seed"))
    {
        const std::uint64_t seed = std::stoull(options["--seed"]);
        const std::uint64_t first = std::stoull(options["--first"]);
        const std::uint64_t count = std::stoull(options["--count"]);
        kinds[kind].declare(cases);
        cases.Declare<std::uint8_t>("directed");
        for (std::uint64_t index = first; index < first + count; ++index)
        {
            CCaseRandom random(seed, kind, index);
            kinds[kind].generate(random, cases);
            // Only what the case holds in the end counts, not what was chosen for it.
            const auto& directed = random.GetDirectedBits();
            const bool isHeld = cases.AnyNew([&](double value) {
                return !directed.empty() && directed.contains(CCaseRandom::BitsOf(value));
            });
            cases.Append<std::uint8_t>("directed", isHeld ? 1 : 0);
        }
        cases.Write(options["--cases"]);
    }
    else
    {
        cases = CNamedArrays::Read(options["--cases"]);
    }
    CNamedArrays answers;
    kinds[kind].answer(cases, answers);
    // Few cases may do without any loop.
    if (options.contains("--kernel") && options.contains("--count") &&
        std::stoull(options["--count"]) >= c_leastCountForKernels)
    {
        CheckThatKernelRan(kinds[kind].name);
    }
    answers.Write(options["--answers"]);
}

}  // namespace
}  // namespace Oracle

int main(int argumentCount, char** arguments)
{
    try
    {
        std::map<std::string, std::string> options;
        for (int argument = 1; argument + 1 < argumentCount; argument += 2)
        {
            options[arguments[argument]] = arguments[argument + 1];
        }
        Oracle::Run(options);
        return 0;
    }
    catch (const std::exception& exception)
    {
        std::cerr << "Veko2_OracleCases: " << exception.what() << '\n';
        return 1;
    }
}
