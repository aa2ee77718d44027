#pragma once

#include "Application/Pictures/Kernels/SampleRows.h"
#include "Application/Pictures/Kernels/TDots.h"
#include "Application/Pictures/Kernels/TRadii.h"
#include "Application/Pictures/Kernels/TTones.h"

// Included by each kernel's source once. The unnamed namespace keeps what is compiled for one
// instruction set out of the others' code.
namespace Application
{
namespace
{

/// The kernels with the vectors of one instruction set.
template <typename Vector>
constexpr SSampleRowsKernels MakeSampleRowsKernels(const char* name)
{
    SSampleRowsKernels kernels;
    kernels.name = name;
    kernels.findRadii = [](const SDotsTask& task, std::uint32_t row, std::uint8_t* radii) {
        TRadii<Vector>(task, row).Find(radii);
    };
    kernels.drawDots = [](const SDotsTask& task, std::uint32_t row, const SDotsTarget& target) {
        TDots<Vector>(task, row, target).Draw();
    };
    kernels.unpack = TTones<Vector>::Unpack;
    kernels.findTones = [](const SShadingTask& task, std::uint32_t row, std::uint8_t* tones) {
        TTones<Vector>(task).Find(row, tones);
    };
    return kernels;
}

}  // namespace
}  // namespace Application
