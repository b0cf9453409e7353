#pragma once

#include <zel/model/vocabulary/ModuleTypeImp.h>

namespace krel5 {

class KrelException;

/// What the module core needs to know of the facade that is in charge.
struct Facade
{
    enum class Kind { Diag, SysInfo, Indicator };

    char const* className; ///< stands in error texts: "DiagModule"
    Kind kind;             ///< decides which options the command line has
    zel::ModuleTypeImp const& (*type)();
    void (*internalErrorPost)(KrelException const& error);
    /// Refuses the start, with InvalidInitException, of a module that lacks what its kind cannot do without: a
    /// callback, or the capabilities that say which devices it is for. So it decides what a start means that
    /// has no devices to look for: an error, or a module with nothing to list. Called when the module-init
    /// callback has run, before even -version is answered.
    void (*checkSetUp)();
};

} // namespace krel5
