#pragma once
// The terminal behind a descriptor.

#include <cstddef>

namespace engine {

struct TerminalSize
{
    std::size_t columns = 0, rows = 0; ///< 0: not known
};

constexpr int kStandardOutput = 1;
constexpr int kStandardError = 2;

/// Nothing known of what is no terminal.
TerminalSize terminalSize(int descriptor) noexcept;
/// Whether what is written there may have more than ASCII in it, as the environment says.
bool showsUnicode() noexcept;
/// Whether lines can be drawn again in their place: a terminal that moves its cursor.
bool canRedraw(int descriptor) noexcept;

} // namespace engine
