#include <string>

#include "Application/Files/CInputError.h"
#include "Application/View/CView.h"
#include "Fuzz/Support/FuzzTarget.h"

namespace Fuzzing
{

/// The text of a view file. One that is accepted must survive being written and read again.
void TestInput(std::span<const std::uint8_t> input)
{
    const std::string_view json(reinterpret_cast<const char*>(input.data()), input.size());
    try
    {
        const auto view = Application::CView::FromJson(json, "view.json");
        const std::string written = view.ToJson();
        Require(Application::CView::FromJson(written, "view.json") == view,
                "a view that is written reads as the same view");
    }
    catch (const Application::CInputError&)
    {}
}

}  // namespace Fuzzing
