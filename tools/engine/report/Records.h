#pragma once
// What a report says of a session, record by record. The runner makes them, ReportWriter puts each on disk as one line,
// ReportReader brings them back, and the renderers turn them into pages. docs/report-format.md has the lines.
//
// Texts are UTF-8 as they came: whoever shows them makes them harmless for where they go. Times are UTC.

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace engine {

using Time = std::chrono::system_clock::time_point;
using Facts = std::vector<std::pair<std::string, std::string>>; ///< name and value, in order

/// The first record: who tests what, and with what.
struct SessionBegan
{
    Time time;
    std::string engineVersion;
    std::string command; ///< as it was typed, quoted for a shell
    std::string machine; ///< maker and model
    std::string serial;  ///< of the machine; empty: not known or not readable
    std::string hostname;
    std::string system; ///< distribution and kernel
    Facts facts;        ///< processors, memory, drives ...: what a person wants to see at the head of a page
    std::string plan;   ///< its name or file; empty: chosen by hand
    std::size_t plannedRuns = 0;
};

/// Which run: a number unique in its report.
using RunId = std::uint64_t;

struct DeviceNamed
{
    std::string guid, name, description, type, location; ///< location: what the machine calls it ("/dev/sda")
};

/// Written and synced before the module is started: after a crash of the machine it names what was running.
struct RunBegan
{
    Time time;
    RunId run = 0;
    std::string moduleGuid, moduleVersion, program; ///< program: path
    std::string test, testName;                     ///< key, and what a person reads
    DeviceNamed device;
    Facts parameters; ///< the values that the run was given, a seed among them
    bool destructive = false;
    unsigned forSeconds = 0;   ///< 0: once
    unsigned limitSeconds = 0; ///< 0: none
    std::string again;         ///< the command that makes this run again
};

/// Of a test: an error, a warning, an information.
struct RunEvent
{
    Time time;
    RunId run = 0;
    std::string type; ///< of EventTypeImp, as text: "ERROR", "WARNING", ...
    std::string key, code, message, file;
    int line = 0;
    std::string deviceName;
    std::vector<std::string> tips;
};

/// A question of a test, and what it was answered.
struct RunQuestion
{
    Time time;
    RunId run = 0;
    std::string title, text, answer;
    bool wasAnswered = false; ///< false: by nobody, the answer is the cancel or the default one
};

/// Each ten percent, so that after a crash the report says how far the test came.
struct RunProgress
{
    Time time;
    RunId run = 0;
    int percent = 0;
    unsigned pass = 1;
};

struct RunEnded
{
    Time time;
    RunId run = 0;
    std::string result; ///< of TestResultImp, as text: "PASS"
    std::string note; ///< why, where the result does not say it: "killed by SIGSEGV", "the settings force it"
    double seconds = 0;
    unsigned passes = 1;
    std::optional<int> exitStatus; ///< of the module; absent: ended by a signal, or never started
    std::string signal;            ///< "SIGSEGV"; empty: none
    std::string output;            ///< the module's last words on standard output and error; bounded
    std::string logTail;           ///< the last lines of its log, where it did not end well; bounded
};

/// Something that was asked for and not run, with the reason.
struct RunSkipped
{
    Time time;
    std::string moduleGuid, test, deviceName;
    std::string result; ///< of TestResultImp, as text: "NO DEVICE"
    std::string reason;
};

/// The last record. Without it the session did not end: the engine or the machine went down.
struct SessionEnded
{
    Time time;
    std::string verdict; ///< in a word: "PASS", "FAIL", "STOPPED", "BROKEN", "NOT TESTED"
    int exitStatus = 0;
    double seconds = 0;
};

/// One value that was read while the tests ran.
struct WatchedValue
{
    std::string key, name, text;  ///< text: as a person reads it
    std::optional<double> number; ///< in the unit; absent: it is none
    std::string unit;             ///< base unit: "celsius"; empty: a plain number
};

/// What an indicator module read of a device beside the tests.
struct WatchReadings
{
    Time time;
    std::string moduleGuid;
    DeviceNamed device;
    std::vector<WatchedValue> readings;
};

/// An alert of such a module that came or went, or what became of the module itself.
struct WatchNote
{
    Time time;
    std::string moduleGuid;
    std::string
        what; ///< "alertRaised", "alertCleared", "moduleFailed", "moduleSilent", "moduleHeard", "leftOut"
    std::string deviceName, title, message;
    std::vector<std::string> tips;
};

using Record = std::variant<SessionBegan, RunBegan, RunEvent, RunQuestion, RunProgress, RunEnded, RunSkipped,
                            SessionEnded, WatchReadings, WatchNote>;

} // namespace engine
