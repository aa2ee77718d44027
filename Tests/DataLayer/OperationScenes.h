#pragma once

#include <functional>
#include <string>
#include <vector>

namespace TestSupport
{

/// One operation, on objects of its own that its functions share, and what may be seen of them.
struct SScene
{
    std::function<void()> operate;
    /// The bytes of what the operation gave; the same whenever it succeeds.
    std::function<std::string()> describeResult;
    /// The bytes of all that an operation that fails must leave alone: all that it is given by
    /// reference or by a pointer, which `operate` therefore does not make itself.
    std::function<std::string()> describeInputs;
};

/// Who takes part in an operation beside the thread that calls it.
enum class EHelpers
{
    Workers,       ///< the scheduler's, in loops
    GivenObjects,  ///< what it was given, such as a collection of the application's; workers or not
    Nobody,
};

/// An operation that the tests of all operations run.
struct SNamedScene
{
    std::string name;
    /// Makes it anew for each attempt.
    std::function<SScene()> make;
    EHelpers helpers = EHelpers::Workers;
};

/// The operations of the cutters and modify operations, those of collections and meshes, the copies
/// of records, and what everything else stands on: exceptions, messages, memory.
[[nodiscard]] std::vector<SNamedScene> MakeEditingScenes();
[[nodiscard]] std::vector<SNamedScene> MakeCollectionScenes();
[[nodiscard]] std::vector<SNamedScene> MakeRecordScenes();
[[nodiscard]] std::vector<SNamedScene> MakeSupportScenes();

}  // namespace TestSupport
