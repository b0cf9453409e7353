#pragma once
// The state as a text that leaves the process and comes back equal: over pipes, in messages, in files.
// docs/serialized-state.md has the form.
//
//     std::string const text = zel::Serializable::serializeUtf8(state, "StateManager");
//     zel::StateManager received;
//     zel::Serializable::deserializeUtf8(text, received); // throws, and `received` is as it was
//     zel::StateManager::instance().mergeWithTracking(received);
//
// Thread rule: none of its own; nobody changes the manager meanwhile.

#include <zel/foundation/Exception.h>
#include <zel/foundation/Export.h>
#include <zel/foundation/String.h>
#include <zel/foundation/xml/XmlReader.h>

#include <string>
#include <string_view>

namespace zel {

class StateManager;

/// A text that is no serialized state, by its form or by what it says.
using DeserializationException = XmlException;

class ZEL_EXPORT Serializable
{
public:
    /// Everything that the manager holds, below an element of that name. Changes noted for somebody else and
    /// handles are not part of it. Throws InvalidArgumentException for a name that XML does not allow.
    static std::string serializeUtf8(StateManager const& state, std::string_view elementName);
    static String serialize(StateManager const& state, String const& elementName);

    /// Reads what serialize() wrote, whatever the name of the outer element, into `into`, which is empty
    /// (StateException otherwise): who has a state already merges. Throws DeserializationException for
    /// anything else, and `into` stays empty. What is read counts as no change.
    static void deserializeUtf8(std::string_view text, StateManager& into);
    static void deserialize(String const& text, StateManager& into);
};

} // namespace zel
