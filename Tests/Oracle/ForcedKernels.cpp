#include <algorithm>
#include <atomic>
#include <cstdint>
#include <stdexcept>

#include "DataLayer/Base3D/PointCloudEditing/Kernels/CutSurfelsKernels.h"
#include "DataLayer/PointCloud/Kernels/NearestNeighborKernels.h"
#include "Tests/Oracle/Kernels.h"

// Takes the place of the two lists of kernels. The real ones are compiled under the names below.

namespace DataLayer
{
[[nodiscard]] std::vector<SCutSurfelsKernel> GetAllCutSurfelsKernels();
namespace NearestNeighbor
{
[[nodiscard]] std::vector<SKernel> GetAllKernels();
}
}  // namespace DataLayer

namespace Oracle
{
namespace
{

struct SChoice
{
    std::string name;
    DataLayer::SCutSurfelsKernel cut{};
    DataLayer::NearestNeighbor::SKernel find{};
    std::atomic<std::uint64_t> numCuts = 0;
    std::atomic<std::uint64_t> numFinds = 0;
};

SChoice s_choice;

bool CutCounted(const DataLayer::SCutSurfelsTask& task, std::uint32_t begin, std::uint32_t end)
{
    s_choice.numCuts.fetch_add(1, std::memory_order_relaxed);
    return s_choice.cut.cut(task, begin, end);
}

DataLayer::NearestNeighbor::SNeighbor FindCounted(const DataLayer::NearestNeighbor::STree& tree,
                                                  const float* query,
                                                  DataLayer::NearestNeighbor::SNeighbor limit)
{
    s_choice.numFinds.fetch_add(1, std::memory_order_relaxed);
    return s_choice.find.find(tree, query, limit);
}

/// The kernel of that name, or the last, which is the scalar one.
template <typename Kernel>
[[nodiscard]] Kernel Choose(const std::vector<Kernel>& kernels, const std::string& name)
{
    const auto found = std::find_if(kernels.begin(), kernels.end(),
                                    [&](const Kernel& kernel) { return kernel.name == name; });
    return found != kernels.end() ? *found : kernels.back();
}

}  // namespace

std::vector<std::string> GetKernelNames()
{
    std::vector<std::string> names;
    for (const auto& kernel : DataLayer::GetAllCutSurfelsKernels())
    {
        names.emplace_back(kernel.name);
    }
    for (const auto& kernel : DataLayer::NearestNeighbor::GetAllKernels())
    {
        if (std::find(names.begin(), names.end(), kernel.name) == names.end())
        {
            names.emplace_back(kernel.name);
        }
    }
    return names;
}

void UseKernel(const std::string& name)
{
    const std::vector<std::string> names = GetKernelNames();
    if (std::find(names.begin(), names.end(), name) == names.end())
    {
        throw std::runtime_error("This processor has no kernel " + name);
    }
    s_choice.name = name;
    s_choice.cut = Choose(DataLayer::GetAllCutSurfelsKernels(), name);
    s_choice.find = Choose(DataLayer::NearestNeighbor::GetAllKernels(), name);
}

void CheckThatKernelRan(const std::string& kind)
{
    const bool searches = kind == "nearest" || kind == "small-component-operation";
    const bool isChosen =
        searches ? s_choice.find.name == s_choice.name : s_choice.cut.name == s_choice.name;
    if (isChosen && (searches ? s_choice.numFinds : s_choice.numCuts) == 0)
    {
        throw std::runtime_error("The kernel " + s_choice.name + " did not run.");
    }
}

}  // namespace Oracle

namespace DataLayer
{

std::vector<SCutSurfelsKernel> GetCutSurfelsKernels()
{
    return {{Oracle::s_choice.cut.name, Oracle::CutCounted}};
}

namespace NearestNeighbor
{

std::vector<SKernel> GetKernels()
{
    return {{Oracle::s_choice.find.name, Oracle::FindCounted}};
}

}  // namespace NearestNeighbor
}  // namespace DataLayer
