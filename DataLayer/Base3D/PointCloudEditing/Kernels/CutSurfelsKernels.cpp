#include "DataLayer/Base3D/PointCloudEditing/Kernels/CutSurfelsKernels.h"

namespace DataLayer
{

std::vector<SCutSurfelsKernel> GetCutSurfelsKernels()
{
    std::vector<SCutSurfelsKernel> kernels;
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx512f"))
    {
        kernels.push_back({"avx512", CutSurfelsAvx512, 4});
        // These, with such vectors the Zen 4, have what follows in a stream sooner if nobody asks.
        if (__builtin_cpu_is("amdfam19h"))
        {
            kernels.back().fetchDistance = 0;
        }
    }
    if (__builtin_cpu_supports("avx2"))
    {
        kernels.push_back({"avx2", CutSurfelsAvx2, 6});
    }
#endif
    kernels.push_back({"vector128", CutSurfelsVector128});
    kernels.push_back({"scalar", CutSurfelsScalar});
    return kernels;
}

}  // namespace DataLayer
