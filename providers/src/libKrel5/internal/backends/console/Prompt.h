#pragma once
// How a console asks.

namespace zel {
class MessageBoxImp;
}

namespace krel5 {

/// Asks on the terminal, or reads what was piped in, whatever surface the box would like. Leaves the box
/// without an answer when nobody is there. A stop request ends the wait with the cancel answer.
void presentOnConsole(zel::MessageBoxImp& box);

} // namespace krel5
