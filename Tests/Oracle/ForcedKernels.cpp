#include <algorithm>
#include <atomic>
#include <cstdint>
#include <stdexcept>

#include "DataLayer/Base3D/PointCloudEditing/Kernels/CutSurfelsKernels.h"
#include "DataLayer/PointCloud/Kernels/NearestNeighborKernels.h"
#include "DataLayer/PointCloud/Kernels/NeighborCells.h"
#include "Tests/Oracle/Kernels.h"

// Takes the place of the lists of kernels. The real ones are compiled under the names below; the
// one of the cells has this file's kernel in every place.

namespace DataLayer
{
[[nodiscard]] std::vector<SCutSurfelsKernel> GetAllCutSurfelsKernels();
namespace NearestNeighbor
{
[[nodiscard]] std::vector<SKernel> GetAllKernels();
}
namespace NeighborCells
{
std::size_t LookChosen(const SLookup& lookup, const SSurfels& surfels, std::uint16_t* states,
                       std::uint32_t* open);
}
}  // namespace DataLayer

namespace Oracle
{
namespace
{

struct SLookKernel
{
    std::string_view name;
    DataLayer::NeighborCells::LookFunction look;
};

[[nodiscard]] std::vector<SLookKernel> GetLookKernels()
{
    std::vector<SLookKernel> kernels;
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx512f"))
    {
        kernels.push_back({"avx512", DataLayer::NeighborCells::LookAvx512});
    }
    if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma"))
    {
        kernels.push_back({"avx2", DataLayer::NeighborCells::LookAvx2});
    }
#endif
    kernels.push_back({"scalar", DataLayer::NeighborCells::LookScalar});
    return kernels;
}

struct SChoice
{
    std::string name;
    DataLayer::SCutSurfelsKernel cut{};
    DataLayer::NearestNeighbor::SKernel find{};
    SLookKernel look{};
    std::atomic<std::uint64_t> numCuts = 0;
    std::atomic<std::uint64_t> numFinds = 0;
    std::atomic<std::uint64_t> numLooks = 0;
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
    s_choice.look = Choose(GetLookKernels(), name);
}

void CheckThatKernelRan(const std::string& kind)
{
    const auto check = [](std::string_view name, std::uint64_t numCalls) {
        if (name == s_choice.name && numCalls == 0)
        {
            throw std::runtime_error("The kernel " + s_choice.name + " did not run.");
        }
    };
    if (kind == "small-component-operation")
    {
        check(s_choice.look.name, s_choice.numLooks);
    }
    else if (kind == "nearest")
    {
        check(s_choice.find.name, s_choice.numFinds);
    }
    else
    {
        check(s_choice.cut.name, s_choice.numCuts);
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

namespace NeighborCells
{

std::size_t LookChosen(const SLookup& lookup, const SSurfels& surfels, std::uint16_t* states,
                       std::uint32_t* open)
{
    Oracle::s_choice.numLooks.fetch_add(1, std::memory_order_relaxed);
    return Oracle::s_choice.look.look(lookup, surfels, states, open);
}

}  // namespace NeighborCells
}  // namespace DataLayer
