#pragma once
// What the checking code of a shipped module needs from whoever runs it. The module's `main` adapts it to
// krel5::DiagModule; unit tests and benchmarks record what comes through it.
//
//     Outcome runPatterns(TestHost& host, Region const& region)
//     {
//         while (work left) {
//             if (host.stopRequested())
//                 return Outcome::Stopped;
//             host.progress(percent);
//         }
//         return Outcome::Pass;
//     }
//
// Thread rule: only the thread that called the checking code calls the host. Worker threads hand their
// findings to that thread and poll an atomic for the stop request (see Workers.h).

#include <common/EventKey.h>
#include <common/LocalText.h>

#include <string>
#include <utility>
#include <vector>

namespace krel5::modules {

/// How a check ended. Every outcome but Pass, Fail and Stopped is preceded by one `problem` that says why.
enum class Outcome {
    Pass,
    Fail,                  ///< at least one fault was found, whether or not a stop ended the check early
    Stopped,               ///< a stop was requested before any fault was found
    BadParameters,         ///< a parameter's value cannot be used on this machine
    InsufficientPrivilege, ///< the system refused what an administrator would get
    CannotRun,             ///< the machine lacks what the check needs
    NotSupported,          ///< the device does not offer what the check asks it for
    NotApplicable,         ///< the check has no meaning on this machine
    NoDevice,              ///< the device went away
    NoMedia                ///< the device has nothing in it that could be tested
};

/// Something found or worth saying: the key of the event it is sent as, and the values of that event's
/// variables in the order in which they are to be shown. Names have no blanks.
struct Report
{
    EventKey m_eventKey;
    std::vector<std::pair<std::string, std::string>> m_values;
    char const* m_file; ///< where the checking code made the report
    int m_line;

    // Built-ins, since clang 14 has no std::source_location.
    Report(EventKey eventKey, std::vector<std::pair<std::string, std::string>> values,
           char const* file = __builtin_FILE(), int line = __builtin_LINE())
        : m_eventKey(eventKey), m_values(std::move(values)), m_file(file), m_line(line)
    {}
};

/// A fault of the hardware under test.
struct Fault : Report
{
    using Report::Report;
};

struct TestHost
{
    virtual ~TestHost() = default;

    /// Whole percent done, 0 to 100; values that do not grow may be dropped.
    virtual void progress(int percent) = 0;
    /// True from the first stop request on. Cheap enough to be asked every few milliseconds.
    virtual bool stopRequested() = 0;
    /// One fault, sent as an error event. The caller bounds how many it sends.
    virtual void fault(Fault const& fault) = 0;
    /// Something a person should look at that does not fail the check, sent as a warning event.
    virtual void warning(Report const& report) { note(report); }
    /// Why the check cannot run as asked, sent as an error event; the check then ends with an outcome that
    /// says so.
    virtual void problem(Report const& report) = 0;
    /// A fact for the reader of the run (a seed, a count, a speed), sent as an informative event. The console
    /// shows its text as it is, so that the text brings its line end.
    virtual void note(Report const& report) = 0;
    /// A note for whoever waits now, about something that takes long: never held back.
    virtual void signOfLife(Report const& report) { note(report); }
    /// The text in the person's language, for a value of a report; English unless the host knows better.
    virtual std::string text(LocalText const& text, TextValues const& values = {})
    {
        return filledIn(text.m_english, values);
    }
};

} // namespace krel5::modules
