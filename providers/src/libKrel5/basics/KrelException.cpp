#include <krel5/KrelException.h>

#include <libKrel5/basics/DataHolderDefinition.h>
#include <libKrel5/basics/ExceptionLogger.h>
#include <libKrel5/basics/OwnProcess.h>
#include <libKrel5/basics/StackTraceText.h>

#include <zel/foundation/Exception.h>

namespace krel5 {

struct KrelExceptionInternalData
{
    KrelString text;
};

template class DataHolder<KrelExceptionInternalData>;

zel::Logger& exceptionLogger()
{
    static zel::Logger& logger = zel::LogFactory::getLogger("krel5.KrelException");
    return logger;
}

// Not inlined, here and below: the number of frames between the trace and the thrower is part of the code.
[[gnu::noinline]] zel::String stackTraceText(zel::StackTrace (*takeTrace)(unsigned), unsigned framesToSkip)
{
    try {
        return takeTrace(framesToSkip).toString();
    } catch (...) {
        return "!!! exception while constructing stack trace !!!";
    }
}

[[gnu::noinline]] void KrelException::setMessageWithStackTrace(zel::String const& message)
{
    OwnProcess::showUncaught();
    constexpr unsigned kOwnFrames = 3; // stackTraceText, this operation, the exception's constructor
    data().text =
        message + "\nStack Trace:\n" + stackTraceText(&zel::StackTrace::getCurrentStackTrace, kOwnFrames);
}

void KrelException::setMessageWithCause(zel::String const& message, zel::Exception const& cause)
{
    OwnProcess::showUncaught();
    data().text = message + ":\n" + cause.getMessage() + "\n" + cause.getStackTrace() + "\n";
}

KrelException::KrelException() = default;

KrelException::KrelException(KrelString const& message)
{
    zel::TraceScope const scope(exceptionLogger(), "KrelException Ctor from KrelString", __LINE__);
    setMessageWithStackTrace(message.zelString());
}

KrelException::KrelException(char const* message)
{
    zel::TraceScope const scope(exceptionLogger(), "KrelException Ctor from const char*", __LINE__);
    setMessageWithStackTrace(message);
}

KrelException::KrelException(zel::String const& message)
{
    zel::TraceScope const scope(exceptionLogger(), "KrelException Ctor from zel::String", __LINE__);
    setMessageWithStackTrace(message);
}

KrelException::KrelException(KrelString const& message, zel::Exception const& cause)
{
    zel::TraceScope const scope(exceptionLogger(), "KrelException Ctor from KrelString, zel::Exception",
                                __LINE__);
    setMessageWithCause(message.zelString(), cause);
}

KrelException::KrelException(KrelString const& message, KrelException const& cause)
{
    zel::TraceScope const scope(exceptionLogger(), "KrelException Ctor from KrelString, KrelException",
                                __LINE__);
    data().text = message + ":\n" + cause.toString();
}

KrelException::KrelException(KrelException const& other) = default;
KrelException& KrelException::operator=(KrelException const& other) = default;
KrelException::~KrelException() = default;

KrelString const& KrelException::toString() const { return data().text; }

KrelExceptionInternalData& KrelException::data() { return m_holder.data(); }

KrelExceptionInternalData const& KrelException::data() const { return m_holder.data(); }

} // namespace krel5
