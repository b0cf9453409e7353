#pragma once
// The terminal behind standard output or standard error.

#include <cstddef>

namespace engine {

struct TerminalSize
{
    std::size_t columns = 0, rows = 0; ///< 0: not known
};

constexpr int kStandardOutput = 1, kStandardError = 2;

/// Nothing known of what is no terminal.
TerminalSize terminalSize(int descriptor) noexcept;
/// Whether lines can be drawn again in their place: a terminal that moves its cursor.
bool canRedraw(int descriptor) noexcept;

} // namespace engine
