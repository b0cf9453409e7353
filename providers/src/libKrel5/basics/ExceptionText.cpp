#include <libKrel5/basics/ExceptionText.h>

namespace krel5 {

// Not inlined: the number of frames between the trace and the thrower is part of KrelException.cpp.
[[gnu::noinline]] std::optional<zel::StackTrace> takenTrace(zel::StackTrace (*take)(unsigned),
                                                            unsigned framesToSkip)
{
    try {
        return take(framesToSkip);
    } catch (...) {
        return std::nullopt;
    }
}

zel::String traceText(std::optional<zel::StackTrace> const& trace)
{
    try {
        if (trace)
            return trace->toString();
    } catch (...) {
        // Said below.
    }
    return "!!! exception while constructing stack trace !!!";
}

ExceptionText::ExceptionText(zel::String before, std::optional<zel::StackTrace> trace, zel::String after)
    : m_before(std::move(before)), m_after(std::move(after)), m_trace(std::move(trace)), m_hasTrace(true)
{}

ExceptionText::ExceptionText(zel::String before, std::shared_ptr<ExceptionText const> cause)
    : m_before(std::move(before)), m_cause(std::move(cause)), m_hasTrace(false)
{}

zel::String const& ExceptionText::whole() const
{
    std::lock_guard<std::mutex> const guard(m_mutex);
    if (!m_whole) {
        zel::String const middle = m_hasTrace ? traceText(m_trace)
                                   : m_cause  ? m_cause->whole()
                                              : zel::String();
        m_whole = m_before + middle + m_after;
    }
    return *m_whole;
}

} // namespace krel5
