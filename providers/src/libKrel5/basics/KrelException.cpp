#include <krel5/KrelException.h>

#include <libKrel5/basics/DataHolderDefinition.h>
#include <libKrel5/basics/ExceptionLogger.h>
#include <libKrel5/basics/ExceptionText.h>
#include <libKrel5/basics/OwnProcess.h>

#include <zel/foundation/Exception.h>

namespace krel5 {

struct KrelExceptionInternalData
{
    std::shared_ptr<ExceptionText const> text; // null: empty
    mutable std::optional<KrelString> shown;   // what toString() hands out
};

template class DataHolder<KrelExceptionInternalData>;

zel::Logger& exceptionLogger()
{
    static zel::Logger& logger = zel::LogFactory::getLogger("krel5.KrelException");
    return logger;
}

// Not inlined: the number of frames between the trace and the thrower is part of the code.
[[gnu::noinline]] void KrelException::setMessageWithStackTrace(zel::String const& message)
{
    OwnProcess::showUncaught();
    constexpr unsigned kOwnFrames = 3; // takenTrace, this operation, the exception's constructor
    auto trace = takenTrace(&zel::StackTrace::getCurrentStackTrace, kOwnFrames);
    data() = {std::make_shared<ExceptionText>(message + "\nStack Trace:\n", std::move(trace), zel::String()),
              {}};
}

void KrelException::setMessageWithCause(zel::String const& message, zel::Exception const& cause)
{
    OwnProcess::showUncaught();
    data() = {std::make_shared<ExceptionText>(message + ":\n" + cause.getMessage() + "\n", cause.stackTrace(),
                                              "\n"),
              {}};
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

KrelException::KrelException(std::string const& message)
{
    zel::TraceScope const scope(exceptionLogger(), "KrelException Ctor from std::string", __LINE__);
    setMessageWithStackTrace(message);
}

KrelException::KrelException(std::string_view message)
{
    zel::TraceScope const scope(exceptionLogger(), "KrelException Ctor from std::string_view", __LINE__);
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
    data().text = std::make_shared<ExceptionText>(message.zelString() + ":\n", cause.data().text);
}

KrelException::KrelException(KrelException const& other) = default;
KrelException& KrelException::operator=(KrelException const& other) = default;
KrelException::~KrelException() = default;

KrelString const& KrelException::toString() const
{
    KrelExceptionInternalData const& record = data();
    if (!record.shown)
        record.shown = record.text ? KrelString(record.text->whole()) : KrelString();
    return *record.shown;
}

KrelExceptionInternalData& KrelException::data() { return m_holder.data(); }

KrelExceptionInternalData const& KrelException::data() const { return m_holder.data(); }

} // namespace krel5
