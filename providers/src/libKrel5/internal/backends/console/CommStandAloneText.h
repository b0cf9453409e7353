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
/// The text as the console shows it. One that nobody wrote, so that its key shows, is a line of its own: a key brings
/// no line end, and what comes next would stick to it.
zel::String shownText(zel::LocalizedStringImp const& text);

} // namespace krel5
