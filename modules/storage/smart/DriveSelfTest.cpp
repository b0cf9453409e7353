#include <storage/smart/DriveSelfTest.h>

#include <storage/Events.h>
#include <storage/Texts.h>
#include <storage/smart/SmartTest.h>

#include <common/smart/SmartEvidence.h>
#include <common/smart/SmartProgram.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <thread>

namespace krel5::modules::storage {
namespace {

constexpr std::chrono::milliseconds kStep{20};
constexpr double kAnswerSeconds = 180;   // of a drive that answers only some questions
constexpr double kEndingSeconds = 3;     // of the command that ends the test
constexpr double kBeginningSeconds = 60; // until a test that was begun is seen

using Strings = std::vector<std::string>;

class DriveSelfTest
{
public:
    DriveSelfTest(TestHost& host, DriveSelfTestSettings const& settings, DriveSelfTestAccess const& access)
        : m_host(host), m_settings(settings), m_access(access)
    {}

    Outcome run()
    {
        if (auto const end = look({"-a"}))
            return *end;
        m_before = m_report;
        if (m_report.m_selfTestRuns) { // a second one would end it
            m_host.problem({kEventSelfTestBusy, {}});
            return Outcome::CannotRun;
        }
        if (auto const end = begin())
            return *end;
        if (auto const end = waitForIt())
            return *end;
        return judge();
    }

private:
    std::string typeText() const { return m_host.text(m_settings.isExtended ? kTextExtended : kTextShort); }

    /// Nothing: m_report is what the drive says now.
    std::optional<Outcome> look(Strings const& wanted)
    {
        ChildResult const child =
            m_access.ask(wanted, kAnswerSeconds, [this] { return m_host.stopRequested(); });
        ChildLimits limits;
        limits.m_seconds = kAnswerSeconds;
        if (auto const end = endedBadly(m_host, child, limits))
            return end;
        m_report = parseSmartReport(child.m_output);
        if (!m_report.m_readable || (child.m_status & (kNotParsed | kNotOpened)) != 0)
            return whatIsInTheWay(child.m_status);
        return std::nullopt;
    }

    Outcome whatIsInTheWay(int status)
    {
        Outcome const outcome = judgeSmart(m_host, m_report, status, m_settings.options);
        if (outcome != Outcome::Pass)
            return outcome;
        m_host.problem({kEventSmartNotRead, {{"Reason", m_host.text(kTextNotOpened)}}});
        return Outcome::CannotRun;
    }

    std::optional<Outcome> begin()
    {
        ChildResult const child = m_access.ask({"-t", m_settings.isExtended ? "long" : "short"},
                                               kAnswerSeconds, [this] { return m_host.stopRequested(); });
        ChildLimits limits;
        limits.m_seconds = kAnswerSeconds;
        if (auto const end = endedBadly(m_host, child, limits)) {
            if (end == Outcome::Stopped)
                endIt();
            return end;
        }
        if ((child.m_status & (kNotParsed | kNotOpened | kCommandFailed)) != 0) {
            auto const errors = parseSmartReport(child.m_output).m_errors;
            m_host.problem(
                {kEventSelfTestNone,
                 {{"Reason", errors.empty() ? m_host.text(kTextSelfTestRefused) : errors.front()}}});
            return Outcome::NotSupported;
        }
        auto const minutes = m_settings.isExtended ? m_report.m_extendedMinutes : m_report.m_shortMinutes;
        m_host.note({kEventSelfTestBegun,
                     {{"Type", typeText()},
                      {"Minutes", minutes ? std::to_string(*minutes) : m_host.text(kTextUnknown)}}});
        return std::nullopt;
    }

    void endIt() const
    {
        m_access.ask({"-X"}, kEndingSeconds, [] { return false; });
    }

    bool pauses(double seconds)
    {
        for (double const begin = m_access.now(); m_access.now() - begin < seconds; m_access.wait(kStep))
            if (m_host.stopRequested())
                return false;
        return true;
    }

    /// A new line in the log, or another one than was there.
    bool hasNewEntry() const
    {
        auto const& now = m_report.m_selfTests;
        auto const& then = m_before.m_selfTests;
        if (now.empty())
            return false;
        return now.size() != then.size() || now[0].m_hours != then[0].m_hours ||
               now[0].m_kind != then[0].m_kind || now[0].m_status != then[0].m_status;
    }

    /// Nothing: it runs no more.
    std::optional<Outcome> waitForIt()
    {
        double const begun = m_access.now();
        double progressed = begun;
        std::optional<std::uint64_t> percent;
        for (;;) {
            if (!pauses(m_settings.pollSeconds)) {
                endIt();
                return Outcome::Stopped;
            }
            if (auto const end = look({"-c", "-l", "selftest"})) {
                if (end == Outcome::Stopped)
                    endIt();
                return end;
            }
            double const now = m_access.now();
            m_hasRun = m_hasRun || m_report.m_selfTestRuns;
            if (!m_report.m_selfTestRuns && (m_hasRun || hasNewEntry()))
                return std::nullopt;
            if (!m_report.m_selfTestRuns && now - begun > kBeginningSeconds) {
                m_host.problem({kEventSelfTestNotBegun, {}});
                return Outcome::CannotRun;
            }
            if (m_report.m_selfTestPercent != percent) {
                percent = m_report.m_selfTestPercent;
                progressed = now;
            }
            if (percent)
                m_host.progress(static_cast<int>(*percent));
            if (now - progressed > patience()) {
                endIt();
                m_host.problem(
                    {kEventSelfTestStuck,
                     {{"Minutes", std::to_string(std::lround((now - progressed) / 60))},
                      {"Percent", percent ? std::to_string(*percent) : m_host.text(kTextUnknown)}}});
                return Outcome::CannotRun;
            }
        }
    }

    // A drive that does not say how far it is has as long as it takes by its own estimate, twice.
    double patience() const
    {
        auto const minutes = m_settings.isExtended ? m_report.m_extendedMinutes : m_report.m_shortMinutes;
        double const whole =
            m_report.m_selfTestPercent ? 0 : 120.0 * static_cast<double>(minutes.value_or(0));
        return std::max(m_settings.patienceSeconds, whole);
    }

    Outcome judge()
    {
        SelfTest const none;
        SelfTest const& entry = m_report.m_selfTests.empty() ? none : m_report.m_selfTests[0];
        SelfTest const& latest = m_report.m_latestSelfTest ? *m_report.m_latestSelfTest : entry;
        std::optional<bool> const& passed = latest.m_passed;
        std::string const status = !latest.m_status.empty()  ? latest.m_status
                                   : !entry.m_status.empty() ? entry.m_status
                                                             : m_host.text(kTextUnknown);
        if (passed == true && m_report.m_doubts.empty()) {
            m_host.note({kEventSelfTestPassed, {{"Type", typeText()}}});
            return Outcome::Pass;
        }
        if (passed == false) {
            auto const number = [this](std::optional<std::uint64_t> const& value) {
                return value ? std::to_string(*value) : m_host.text(kTextUnknown);
            };
            bool const isNamed = entry.m_passed == false;
            m_host.fault({kEventSmartSelfTestFailed,
                          {{"Type", typeText()},
                           {"Status", status},
                           {"Hours", number(isNamed ? entry.m_hours : std::nullopt)},
                           {"Lba", number(isNamed ? entry.m_lba : std::nullopt)}}});
            return Outcome::Fail;
        }
        m_host.problem({kEventSelfTestEnded, {{"Status", status}}});
        return Outcome::CannotRun;
    }

    TestHost& m_host;
    DriveSelfTestSettings const& m_settings;
    DriveSelfTestAccess const& m_access;
    SmartReport m_before, m_report;
    bool m_hasRun = false;
};

} // namespace

Outcome runDriveSelfTest(TestHost& host, DriveSelfTestSettings const& settings,
                         DriveSelfTestAccess const& access)
{
    return DriveSelfTest(host, settings, access).run();
}

Outcome runDriveSelfTest(TestHost& host, std::string const& device, DriveSelfTestSettings const& settings,
                         std::string const& program)
{
    if (auto const refused = refusedSmart(host, device, settings.options, program))
        return *refused;
    DriveSelfTestAccess access;
    access.ask = [&](Strings const& wanted, double seconds, std::function<bool()> const& stopping) {
        ChildLimits limits;
        limits.m_seconds = seconds;
        limits.m_secondsToDie = std::min(limits.m_secondsToDie, seconds);
        return runChild(smartWords(program, device, settings.options.m_deviceType, true, wanted), limits,
                        stopping);
    };
    access.wait = [](std::chrono::milliseconds time) { std::this_thread::sleep_for(time); };
    access.now = [] {
        return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
    };
    return runDriveSelfTest(host, settings, access);
}

} // namespace krel5::modules::storage
