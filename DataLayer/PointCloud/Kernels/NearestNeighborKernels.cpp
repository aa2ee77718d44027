#include "DataLayer/PointCloud/Kernels/NearestNeighborKernels.h"

namespace DataLayer::NearestNeighbor
{

std::vector<SKernel> GetKernels()
{
    std::vector<SKernel> kernels;
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx512f"))
    {
        kernels.push_back({"avx512", FindAvx512});
    }
    if (__builtin_cpu_supports("avx2"))
    {
        kernels.push_back({"avx2", FindAvx2});
    }
    kernels.push_back({"sse2", FindSse2});
#endif
    kernels.push_back({"scalar", FindScalar});
    return kernels;
}

}  // namespace DataLayer::NearestNeighbor
