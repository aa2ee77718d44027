#include "Application/Pictures/Kernels/SampleRowsKernels.h"

namespace Application
{

std::vector<SSampleRowsKernels> GetSampleRowsKernels()
{
    std::vector<SSampleRowsKernels> kernels;
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx512f"))
    {
        kernels.push_back(c_sampleRowsAvx512);
    }
    if (__builtin_cpu_supports("avx2"))
    {
        kernels.push_back(c_sampleRowsAvx2);
    }
#endif
    kernels.push_back(c_sampleRowsVector128);
    return kernels;
}

const SSampleRowsKernels& GetFastestSampleRowsKernels()
{
    static const SSampleRowsKernels fastest = GetSampleRowsKernels().front();
    return fastest;
}

}  // namespace Application
