#include "DataLayer/Base3D/PointCloudEditing/Kernels/CutSurfelsKernels.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "DataLayer/PointCloud/ISurfelRuns.h"

namespace DataLayer
{

namespace
{

std::vector<std::string> KernelNames()
{
    std::vector<std::string> names;
    for (const SCutSurfelsKernel& kernel : GetCutSurfelsKernels())
    {
        names.emplace_back(kernel.name);
    }
    return names;
}

CutSurfelsKernel KernelOf(std::string_view name)
{
    for (const SCutSurfelsKernel& kernel : GetCutSurfelsKernels())
    {
        if (kernel.name == name)
        {
            return kernel.cut;
        }
    }
    return nullptr;
}

TEST(CutSurfelsKernels, ReferenceIsTheLast)
{
    EXPECT_EQ(KernelNames().back(), "scalar");
    EXPECT_EQ(KernelOf("scalar"), CutSurfelsScalar);
}

TEST(CutSurfelsKernels, EveryProcessorRunsTheCompilersVectors)
{
    EXPECT_EQ(KernelOf("vector128"), CutSurfelsVector128);
}

#if defined(__x86_64__)
TEST(CutSurfelsKernels, NewerInstructionsAreChosenWhereTheProcessorHasThem)
{
    EXPECT_EQ(KernelOf("avx2"), __builtin_cpu_supports("avx2") != 0 ? CutSurfelsAvx2 : nullptr);
    EXPECT_EQ(KernelOf("avx512"),
              __builtin_cpu_supports("avx512f") != 0 ? CutSurfelsAvx512 : nullptr);
}

TEST(CutSurfelsKernels, OnlyTheWidestLeaveFetchingToTheProcessorAndOnlyToOneFamily)
{
    for (const SCutSurfelsKernel& kernel : GetCutSurfelsKernels())
    {
        const bool isLeft = kernel.name == "avx512" && __builtin_cpu_is("amdfam19h") != 0;
        EXPECT_EQ(kernel.fetchDistance, isLeft ? 0U : 8192U) << kernel.name;
    }
}

TEST(CutSurfelsKernels, WidestVectorsComeFirst)
{
    const std::vector<std::string> order{"avx512", "avx2", "vector128", "scalar"};
    std::vector<std::string> expected;
    for (const std::string& name : order)
    {
        if (KernelOf(name) != nullptr)
        {
            expected.push_back(name);
        }
    }
    EXPECT_EQ(KernelNames(), expected);
}
#endif

TEST(CutSurfelsKernels, RunsPayLessForFasterOnes)
{
    for (const SCutSurfelsKernel& kernel : GetCutSurfelsKernels())
    {
        const std::uint32_t mostOpenRuns = kernel.name == "avx512" ? 4
                                           : kernel.name == "avx2" ? 6
                                                                   : SSurfelRuns::c_runsPerGroup;
        EXPECT_EQ(kernel.mostOpenRuns, mostOpenRuns) << kernel.name;
    }
}

}  // namespace

}  // namespace DataLayer
