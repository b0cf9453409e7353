#include <libKrel5/basics/ModuleIdentity.h>

namespace krel5 {

static bool s_closedForFactories = false;

zel::ModuleImp& ModuleIdentity::module()
{
    static auto* const s_module = new zel::ModuleImp("uninitialized");
    return *s_module;
}

bool ModuleIdentity::isClosedForFactories() { return s_closedForFactories; }
void ModuleIdentity::closeForFactories() { s_closedForFactories = true; }

} // namespace krel5
