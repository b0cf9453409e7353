#pragma once

#include <cstddef>
#include <vector>

namespace zel::wire {

inline constexpr std::size_t kNoParent = static_cast<std::size_t>(-1);

/// Of things that stand below one another, those whose step up would close a ring, one a ring. `parents[i]` is the
/// index of what i stands below, or kNoParent. Costs linear time.
std::vector<std::size_t> ringClosers(std::vector<std::size_t> const& parents);

} // namespace zel::wire
