#pragma once
// A report as a whole: records by the run that they are of. Plain values.

#include <engine/report/Records.h>
#include <engine/report/Verdict.h>

#include <cstddef>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace engine {

struct RunReport
{
    RunBegan began;
    std::vector<RunEvent> events; ///< the first ones; a module may raise any number
    std::size_t eventsLeftOut = 0;
    std::vector<RunQuestion> questions;
    std::optional<RunProgress> progress; ///< the last one
    std::optional<RunEnded> ended;
};

/// One reading of a device over the time of the session.
struct WatchedSeries
{
    struct Point
    {
        Time time;
        double value = 0;
    };

    std::string moduleGuid;
    DeviceNamed device;
    std::string key, name, unit;
    std::string lastText, leastText, mostText; ///< the latter two are empty for what is no number
    double least = 0, most = 0;
    /// Evenly thinned out where there are many: of two neighbours the greater stays.
    std::vector<Point> points;
    unsigned every = 1, skipped = 0; ///< how many readings stand behind a point, and behind the one to come
};

/// What became of a session, or of a run.
enum class Stage {
    Ended,
    Running,    ///< its engine still writes the report
    Interrupted ///< engine or machine went down meanwhile
};

struct Session
{
    SessionBegan began;
    std::string bootId; ///< of the machine's start in which it ran; empty: not known
    std::vector<RunReport> runs;
    std::vector<RunSkipped> skipped;
    std::vector<WatchedSeries> watched; ///< in the order in which they began
    std::vector<WatchNote> notes;       ///< of watched modules; the first ones
    std::size_t notesLeftOut = 0;
    std::optional<SessionEnded> ended;
    Time lastTime;                   ///< of the last record
    bool isWritten = false;          ///< an engine has the report open
    bool isTorn = false;             ///< the last line was not written to its end
    std::vector<std::string> damage; ///< lines that cannot be read, "{file}:{line}: {reason}"; the first ones
    std::size_t damageLeftOut = 0;

    Stage stage() const { return ended ? Stage::Ended : isWritten ? Stage::Running : Stage::Interrupted; }
    /// "PASS", "FAIL" ...; "RUNNING", "DID NOT END", unless what is there is a FAIL already.
    std::string verdict() const;
    Grade grade() const; ///< of the verdict; Broken for what did not end, or is damaged
    /// Its result; "RUNNING", "DID NOT END", or "END NOT WRITTEN" where the session went on after it.
    std::string resultOf(RunReport const& run) const;
    Grade gradeOf(RunReport const& run) const;
    /// Seconds, of a run that did not end up to the last record.
    double secondsOf(RunReport const& run) const;
    double seconds() const;
};

/// Puts a session together, record by record.
class SessionBuilder
{
public:
    static constexpr std::size_t kMostEvents = 1000;  ///< that are kept of a run
    static constexpr std::size_t kMostRuns = 200'000; ///< in a report
    static constexpr std::size_t kMostSeries = 5000;  ///< of what was watched; further ones are not kept
    static constexpr std::size_t kMostPoints = 1000;  ///< of a series

    /// The reason why the record does not fit; empty when it was taken.
    std::string add(Record record);
    Session const& session() const { return m_session; }
    Session& session() { return m_session; }
    bool hasBegun() const { return m_hasBegun; }

private:
    std::string take(SessionBegan&& record);
    std::string take(RunBegan&& record);
    std::string take(RunEvent&& record);
    std::string take(RunQuestion&& record);
    std::string take(RunProgress&& record);
    std::string take(RunEnded&& record);
    std::string take(RunSkipped&& record);
    std::string take(SessionEnded&& record);
    std::string take(WatchReadings&& record);
    std::string take(WatchNote&& record);
    RunReport* find(RunId run);

    Session m_session;
    std::unordered_map<RunId, std::size_t> m_runs;         // index in the session's list
    std::unordered_map<std::string, std::size_t> m_series; // module, device and key
    bool m_hasBegun = false;
};

/// What a person calls the module: the name of its program; the guid where that is not known.
std::string moduleName(RunBegan const& run);
/// Of a module of which only the guid is known: its name, where another run of the session tells it.
std::string moduleName(Session const& session, std::string const& guid);
/// "Walking ones": the name of the test, else its key.
std::string testName(RunBegan const& run);
/// "ACME Drive (/dev/sda)".
std::string deviceName(DeviceNamed const& device);

} // namespace engine
