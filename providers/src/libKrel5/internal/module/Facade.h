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
};

} // namespace krel5
