#include "Tests/Base/Interfaces/Plugin/AccessorPlugin.h"

#include <memory>

#include "Base/Support/VekoException.h"

namespace
{

class CForeignAccess : public Base::AElementAccessBase
{};

}  // namespace

#define PLUGIN_EXPORT extern "C" __attribute__((visibility("default")))

PLUGIN_EXPORT float PluginReadFirstX(const Base::ISurfelCollection& collection)
{
    return collection.GetReadAccessor<Base::CSCElementDefinitionPosition>().At(0).x;
}

PLUGIN_EXPORT Base::AElementAccessBase* PluginMakePositionAccess(const void* firstElement,
                                                                 std::size_t stride)
{
    using Access = Base::TElementAccessRead<Base::CSCElementDefinitionPosition>;
    return std::make_unique<Access>(firstElement, stride).release();
}

PLUGIN_EXPORT Base::AElementAccessBase* PluginMakeForeignAccess()
{
    return std::make_unique<CForeignAccess>().release();
}

PLUGIN_EXPORT void PluginThrow()
{
    ThrowVekoException("Plugin", 7, "PluginThrow", L"%s", L"from the plugin");
}

PLUGIN_EXPORT bool PluginCatch(void (*function)())
{
    try
    {
        function();
    }
    catch (const VekoException&)
    {
        return true;
    }
    return false;
}
