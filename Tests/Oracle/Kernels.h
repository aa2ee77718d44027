#pragma once

#include <string>
#include <vector>

// The instruction sets for which the inner loops exist. Two programs are made: one takes the
// libraries as they are, the other one has them choose what it is told to.

namespace Oracle
{

/// The names of the kernels that this processor runs and that can be chosen here.
[[nodiscard]] std::vector<std::string> GetKernelNames();

/// Lets nothing but the kernels of that name answer from here on. Where there is none of that name
/// for a loop, its scalar one does. To be called before any other answer.
/// @throw std::runtime_error when there is no such kernel for any loop.
void UseKernel(const std::string& name);

/// @throw std::runtime_error when cases of that kind were answered without the kernel that was
/// asked for.
void CheckThatKernelRan(const std::string& kind);

}  // namespace Oracle
