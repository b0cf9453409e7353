#pragma once
// Events and alerts as the console shows them: text in, text out.

#include <zel/model/runs/AlertImp.h>
#include <zel/model/runs/TestRunEventImp.h>

#include <vector>

namespace krel5 {

/// The message, then one text a tip. Tips count from 0, while devices and tests count from 1. A message that
/// only informs and a tip have no line end of their own.
std::vector<zel::String> eventTexts(zel::TestRunEventImp const& event);
zel::String alertText(zel::AlertImp const& alert);

} // namespace krel5
