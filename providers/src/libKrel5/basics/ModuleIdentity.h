#pragma once
// Which module this process is, and whether it may still make objects: what every room may have to ask.

#include <zel/model/module/ModuleImp.h>

namespace krel5 {

/// Thread rule: main thread, before any other exists; the queries afterwards from any thread.
struct ModuleIdentity
{
    /// The module record, made on first need.
    static zel::ModuleImp& module();
    static zel::String const& guid() { return module().guid(); }

    /// Whether objects can no longer be made: the module is described, and others may have read it.
    static bool isClosedForFactories();
    static void closeForFactories();
};

} // namespace krel5
