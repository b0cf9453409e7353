#pragma once
// Everything that a state holds, as lines of text: two states are equal when theirs are. Asks the records, and knows
// nothing of the serialized form.

#include <zel/model/runs/MessageBoxImp.h>
#include <zel/model/runs/TestRunImp.h>
#include <zel/model/state/StateManager.h>

#include <string>

namespace zel::test {

std::string dump(StateManager const& state);
std::string dump(MessageBoxImp const& box);
std::string dump(TestRunEventImp const& event);

} // namespace zel::test
