#pragma once
// The devices of a state manager, as text for people or programs.

#include <string>

namespace zel {
class StateManager;
}

namespace listing {

/// An indented tree, each device with its properties below its name.
std::string text(zel::StateManager const& state);
/// An array of devices; each holds its properties, with type and value, and its children.
std::string json(zel::StateManager const& state);
/// <Devices> with nested <Device> elements.
std::string xml(zel::StateManager const& state);

/// With what a terminal would take as a command as an escape: a tree captured elsewhere may hold anything.
std::string harmless(std::string const& text);

/// Calls `visit(device)` for each device without parent, in the order in which they were found.
template <typename Visit>
void forEachTop(zel::StateManager const& state, Visit visit)
{
    for (std::size_t i = 0; i < state.deviceCount(); ++i)
        if (!state.parentOf(*state.deviceAtIndex(i)))
            visit(*state.deviceAtIndex(i));
}

} // namespace listing
