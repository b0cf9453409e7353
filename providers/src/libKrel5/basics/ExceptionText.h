#pragma once
// The text of an exception, put together when somebody reads it: to look up the names of a trace costs a
// hundred times what it costs to take its addresses, and most exceptions are caught by code that knows what to do.

#include <zel/foundation/StackTrace.h>

#include <memory>
#include <mutex>
#include <optional>

namespace krel5 {

/// The trace that `take(framesToSkip)` gives; nothing when that throws: describing one failure never turns it
/// into another.
std::optional<zel::StackTrace> takenTrace(zel::StackTrace (*take)(unsigned), unsigned framesToSkip);
/// Its names, or a fixed text where it could not be taken or rendered.
zel::String traceText(std::optional<zel::StackTrace> const& trace);

/// Shared by all copies of an exception. Thread rule: any thread may read.
class ExceptionText
{
public:
    /// What stands before the trace, the trace, and what stands behind it.
    ExceptionText(zel::String before, std::optional<zel::StackTrace> trace, zel::String after);
    /// What stands before the text of the cause; a null cause has none.
    ExceptionText(zel::String before, std::shared_ptr<ExceptionText const> cause);

    /// Lives as long as this.
    zel::String const& whole() const;

private:
    mutable std::mutex m_mutex; // guards m_whole
    mutable std::optional<zel::String> m_whole;
    zel::String m_before, m_after;
    std::optional<zel::StackTrace> m_trace;
    std::shared_ptr<ExceptionText const> m_cause;
    bool m_hasTrace;
};

} // namespace krel5
