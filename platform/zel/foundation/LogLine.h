#pragma once
// The text of one line of the log file. Internal to the foundation; the format is described in
// docs/logging.md.

#include <zel/foundation/Logger.h>

#include <chrono>
#include <optional>

namespace zel {

/// "2026-01-31T23:59:59.123Z debug krel5.Comm.Engine 1200 message" and a line feed, built in place where it
/// is short. Further lines of the message begin with a tab, other control characters are written as "\x1b",
/// so that no text can pass for a line of its own.
class LogLine
{
public:
    LogLine(std::chrono::system_clock::time_point time, LogLevel level, std::string_view category,
            std::string_view message);
    LogLine(LogLine const&) = delete;
    LogLine& operator=(LogLine const&) = delete;

    std::string_view text() const noexcept { return m_text; }

private:
    char m_inline[1024];
    std::string m_large;
    std::string_view m_text;
};

/// "trace" to "critical".
std::string_view logLevelName(LogLevel level) noexcept;

/// The level that a number from 0 to 5 or a name, in any case, stands for.
std::optional<LogLevel> logLevelFromText(String const& text);

} // namespace zel
