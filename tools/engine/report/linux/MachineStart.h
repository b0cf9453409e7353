#pragma once
// When the machine was started, to tell whether it went down since.

#include <engine/report/Records.h>

#include <string>

namespace engine {

struct MachineStart
{
    std::string id; ///< another one after each start; empty: not known
    Time time;      ///< by the clock as it is now

    static MachineStart current();
};

} // namespace engine
