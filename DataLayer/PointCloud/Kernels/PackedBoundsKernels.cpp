#include "DataLayer/PointCloud/Kernels/PackedBoundsKernels.h"

namespace DataLayer::PackedBounds
{

std::vector<SKernel> GetKernels()
{
    std::vector<SKernel> kernels;
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx512f"))
    {
        kernels.push_back({"avx512", BoundAvx512});
    }
    if (__builtin_cpu_supports("avx2"))
    {
        kernels.push_back({"avx2", BoundAvx2});
    }
#endif
    kernels.push_back({"vector128", BoundVector128});
    return kernels;
}

}  // namespace DataLayer::PackedBounds
