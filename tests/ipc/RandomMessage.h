#pragma once
// A message of each kind, filled with values that nobody would expect, and what it says as text.

#include <zel/ipc/Message.h>

#include <memory>
#include <string>
#include <vector>

namespace zel::test {

/// Of each row of the table its type code.
std::vector<int> allTypeCodes();
/// With a state of its own where it has one.
std::unique_ptr<Message> randomMessage(int typeCode, unsigned seed);
/// Asks the body, and knows nothing of its form on the wire: equal for messages that say the same.
std::string dump(Message const& message);

} // namespace zel::test
