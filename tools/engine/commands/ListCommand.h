#pragma once
// krel5-engine list: which tests there are, and which of them apply to this machine.

#include <engine/commands/Situation.h>

#include <string>
#include <vector>

namespace engine {

struct ListRequest
{
    std::vector<std::string> modules; ///< as typed; empty: all
    bool json = false;
    bool all = false; ///< parameters of the tests, and modules without tests, too
};

/// Throws InvalidArgumentException for a module that there is not.
std::string listText(Situation const& situation, ListRequest const& request);
std::string listJson(Situation const& situation, ListRequest const& request);

} // namespace engine
