#pragma once
// Answers typed by the person at the console.

#include <zel/foundation/Export.h>
#include <zel/foundation/String.h>

#include <functional>

namespace zel {

struct ZEL_EXPORT Console
{
    /// Whether somebody can be asked: standard input is a terminal, or text waits on it. Whoever writes into
    /// a pipe may be slow to begin: it is waited for up to a second.
    static bool canAsk();
    /// Whether what is typed shows: standard input is a terminal.
    static bool echoes();
    /// Reads one line of at most 64 KiB, without its end. False at the end of input, on an error, and as soon
    /// as `stopped` answers true (it is asked at least ten times a second while waiting).
    static bool readLine(String& line, std::function<bool()> const& stopped);
};

} // namespace zel
