#pragma once
// The terminal behind a descriptor.

#include <cstddef>

namespace engine {

struct TerminalSize
{
    std::size_t columns = 0, rows = 0; ///< 0: not known
};

constexpr int kStandardError = 2;

/// Nothing known of what is no terminal.
TerminalSize terminalSize(int descriptor) noexcept;
/// Whether lines can be drawn again in their place: a terminal that moves its cursor.
bool canRedraw(int descriptor) noexcept;

} // namespace engine
