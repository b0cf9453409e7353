#pragma once
// krel5-engine why: for each device, what stands in the way of a test.

#include <engine/commands/Situation.h>

#include <string>

namespace engine {

/// Throws InvalidArgumentException for a word that is no test.
std::string whyText(Situation const& situation, std::string const& word, bool isAdministrator);

} // namespace engine
