#include <libKrel5/internal/module/ErrorReporting.h>

#include <libKrel5/basics/OwnProcess.h>
#include <libKrel5/internal/module/ModuleCommon.h>

#include <zel/foundation/ExitGuard.h>
#include <zel/foundation/Logger.h>
#include <zel/foundation/OStream.h>
#include <zel/foundation/System.h>

#include <exception>

namespace krel5 {
namespace {

Facade const* s_facade = nullptr; // set before threads exist

zel::Logger& logger()
{
    static zel::Logger& s_logger = zel::LogFactory::getLogger("krel5.ModuleCommon");
    return s_logger;
}

void whereToLook()
{
    zel::CString const file = zel::LogFactory::currentFile();
    if (!file.empty())
        ErrorReporting::tell(zel::String("The log has the details: ") + zel::String(file));
}

/// What the module's code threw and nobody knows by its type, with what it says of itself: that is no part of the exception's
/// text, whose words are fixed.
class UnknownException : public KrelException
{
public:
    UnknownException(char const* call, zel::String const& told)
        : KrelException(KrelString(zel::String("Unknown \"...\" Exception in ") + call)), m_told(told)
    {}
    zel::String const& told() const { return m_told; }

private:
    zel::String m_told;
};

// As the person at the console reads it: what was thrown comes first, on one line, since the engine makes a note of that.
zel::String textForEngine(KrelException const& error)
{
    constexpr std::size_t kMost = 4096; // units; what() may be as long as anybody likes
    zel::String const text = ErrorReporting::withoutStackTrace(error.toString().zelString());
    auto const* const unknown = dynamic_cast<UnknownException const*>(&error);
    if (!unknown || unknown->told().empty())
        return text;
    zel::String const& told = unknown->told();
    return (told.size() > kMost ? told.substr(0, kMost) + " ..." : told).withoutControls(false) + "\n" + text;
}

void reportFault(zel::String const& text)
{
    ZEL_LOG_LINE(logger(), zel::LogLevel::Error, 1243) << text;
    zel::OStream::out().flush();
    ErrorReporting::tell(text);
    whereToLook();
    ModuleCommon::sendInternalError(text); // last: it may wait for a lock that the faulting code holds
}

void reportEarlyExit()
{
    char const* const text = "The module's own code ended the process before the library had a verdict; this "
                             "counts as an internal error.";
    ZEL_LOG(logger(), zel::LogLevel::Critical) << text;
    ErrorReporting::tell(text);
    ModuleCommon::sendInternalError(text);
    ModuleCommon::closeConnection();
}

// An exception that nobody caught, from main before start() or from a thread of the module.
[[noreturn]] void onTerminate()
{
    guarded(
        "module code",
        [] {
            if (std::exception_ptr const current = std::current_exception())
                std::rethrow_exception(current);
            throw KrelException("std::terminate was called");
        },
        [](KrelException const& error) {
            ZEL_LOG(logger(), zel::LogLevel::Critical) << error.toString();
            ErrorReporting::tell(ErrorReporting::withoutStackTrace(error.toString().zelString()));
            whereToLook();
            ModuleCommon::sendInternalError(textForEngine(error));
        });
    ErrorReporting::endProcess(TestResult::INTERNALERROR());
}

// While the library is loaded: static objects of the module may throw before anything else is called.
[[maybe_unused]] bool const s_terminateIsKnown = (OwnProcess::setTerminate(onTerminate), true);

} // namespace

Facade const* ErrorReporting::facade() { return s_facade; }

void ErrorReporting::putInCharge(Facade const& facade) { s_facade = &facade; }

void ErrorReporting::install(Facade const& facade, bool running)
{
    putInCharge(facade);
    int const status = TestResult::INTERNALERROR().value();
    OwnProcess::catchFaults(status, reportFault);
    if (running)
        OwnProcess::guardExit(status, reportEarlyExit);
}

void ErrorReporting::post(KrelException const& error)
{
    if (s_facade)
        s_facade->internalErrorPost(error);
    else
        internalErrorPost(error);
}

void ErrorReporting::internalErrorPost(KrelException const& error)
{
    if (ModuleCommon::isInsideInitCallback())
        throw error;
    ZEL_LOG_LINE(logger(), zel::LogLevel::Error, 1243) << error.toString();
    zel::OStream::out().flush();
    tell(withoutStackTrace(error.toString().zelString()));
    whereToLook();
    ModuleCommon::sendInternalError(textForEngine(error));
    ModuleCommon::runExitStep();
    if (OwnProcess::isOurs())
        endProcess(TestResult::INTERNALERROR());
}

TestResult ErrorReporting::withOutputChecked(TestResult const& result)
{
    zel::OStream::out().flush();
    if (!zel::OStream::out().failed())
        return result;
    char const* const text = "Standard output could not be written; the report is not complete.";
    ZEL_LOG(logger(), zel::LogLevel::Error) << text;
    tell(text);
    return result == TestResult::PASS() && OwnProcess::isOurs() ? TestResult::INTERNALERROR() : result;
}

void ErrorReporting::endProcess(TestResult const& result)
{
    zel::ExitGuard::disarm();
    zel::System::exitProcess(withOutputChecked(result).value());
}

void ErrorReporting::tell(zel::String const& line)
{
    zel::OStream::err() << line.withoutControls(true) << zel::endl;
}

zel::String ErrorReporting::withoutStackTrace(zel::String const& text)
{
    zel::String shown;
    for (zel::String const& line : text.split('\n')) {
        if (line.empty() || line == zel::String("Stack Trace:") || line.startsWith("  #"))
            continue;
        shown += (shown.empty() ? zel::String() : zel::String("\n")) + line;
    }
    return shown;
}

void guarded(char const* call, std::function<void()> const& body,
             std::function<void(KrelException const&)> const& handle)
{
    try {
        body();
    } catch (zel::Exception const& e) {
        handle(InternalException(zel::String("Internal Exception in ") + call, e));
    } catch (KrelException const& e) {
        handle(KrelException(KrelString(zel::String("Exception in ") + call), e));
    } catch (std::exception const& e) {
        zel::String const told = zel::String("std::exception: ") + e.what();
        ZEL_LOG(logger(), zel::LogLevel::Error) << told;
        ErrorReporting::tell(told);
        handle(UnknownException(call, told));
    } catch (...) {
        handle(UnknownException(call, zel::String()));
    }
}

} // namespace krel5
