#include "Application/Files/CInputError.h"
#include "Application/View/CView.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

/// The text of a view file. One that is accepted must survive being written and read again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view json(reinterpret_cast<const char*>(data), size);
    try
    {
        const auto view = Application::CView::FromJson(json, "view.json");
        const std::string written = view.ToJson();
        if (Application::CView::FromJson(written, "view.json").ToJson() != written)
        {
            std::abort();
        }
    }
    catch (const Application::CInputError&)
    {}
    return 0;
}
