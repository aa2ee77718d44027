#include "Application/Pictures/Kernels/ProjectSurfelsKernels.h"

namespace Application
{

std::vector<SProjectSurfelsKernels> GetProjectSurfelsKernels()
{
    std::vector<SProjectSurfelsKernels> kernels;
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx512f"))
    {
        kernels.push_back({"avx512", ProjectSurfelsAvx512, DrawSurfelsAvx512});
    }
#endif
    kernels.push_back({"vector128", ProjectSurfelsVector128, DrawSurfelsVector128});
    return kernels;
}

}  // namespace Application
