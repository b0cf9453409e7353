#pragma once

#include <zel/model/state/StateManager.h>

#include <string>
#include <string_view>

namespace zel::wire {

inline constexpr std::string_view kStateFormat = "zel-state";
inline constexpr unsigned kStateVersion = 1;

/// The whole document; docs/serialized-state.md has its form.
std::string writeState(StateManager const& state, std::string_view elementName);

} // namespace zel::wire
