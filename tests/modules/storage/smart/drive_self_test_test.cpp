// A drive, as smartctl tells of it, whose self-test passes, fails, is ended, hangs, or was never begun: none of the latter is a
// pass.
#include <modules/RecordingHost.h>

#include <storage/Events.h>
#include <storage/smart/DriveSelfTest.h>

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace krel5::modules::storage {
namespace {

using test::RecordingHost;
using test::valueOf;

std::string number(int value) { return std::to_string(value); }

// What each bus says while a test runs (`percent` done), and when its newest one ended with `result`.
std::string ata(int percent, int result, int)
{
    int const status = percent < 100 ? 0xF0 | (100 - percent) / 10 : result << 4;
    return R"({"smart_status":{"passed":true},"ata_smart_data":{"self_test":{"status":{"value":)" +
           number(status) + R"(,"string":"of the byte"},"polling_minutes":{"short":2,"extended":100}}}})";
}
std::string nvme(int percent, int result, int hours)
{
    std::string const running =
        R"("current_self_test_operation":{"value":)" + number(percent < 100 ? 2 : 0) + "}" +
        (percent < 100 ? R"(,"current_self_test_completion_percent":)" + number(percent) : "");
    std::string const table =
        R"("table":[{"self_test_code":{"value":2,"string":"Extended"},"self_test_result":{"value":)" +
        number(result) + R"(,"string":"of the log"},"power_on_hours":)" + number(hours) + R"(,"lba":55}])";
    return R"({"smart_status":{"passed":true},"nvme_self_test_log":{)" + running + "," + table + "}}";
}
std::string scsi(int percent, int result, int hours)
{
    return R"({"smart_status":{"passed":true},"scsi_extended_self_test_seconds":600,"scsi_self_test_0":{"code":{"value":2,
        "string":"Background long"},"result":{"value":)" +
           number(percent < 100 ? 15 : result) + R"(,"string":"of the log"},"power_on_time":{"hours":)" +
           number(hours) + R"(}}})";
}

/// Takes `seconds` for its self-test; time passes while it is waited for.
struct PaperDriveWithTest
{
    std::string (*says)(int percent, int result, int hours) = ata;
    double seconds = 300;
    double hangsAt = 1e9; ///< of these seconds
    int result = 0;
    int before = 0;  ///< of the test that the drive remembers
    int refusal = 0; ///< exit status of the order to begin
    bool takesItAndDoesNothing = false;
    std::function<std::string(std::string)> bend = [](std::string text) { return text; };

    double time = 0, begun = -1;
    std::string orders;

    DriveSelfTestAccess access()
    {
        return {[this](auto const& wanted, double, auto const& stopping) { return answer(wanted, stopping); },
                [this](std::chrono::milliseconds one) { time += 1e-3 * static_cast<double>(one.count()); },
                [this] { return time; }};
    }
    ChildResult answer(std::vector<std::string> const& wanted, std::function<bool()> const& stopping)
    {
        ChildResult child;
        child.m_end = stopping() ? ChildResult::End::Stopped : ChildResult::End::Exited;
        if (wanted[0] == "-t" || wanted[0] == "-X") {
            orders += (orders.empty() ? "" : " ") + (wanted[0] == "-t" ? wanted[1] : wanted[0]);
            child.m_status = wanted[0] == "-t" ? refusal : 0;
            child.m_output =
                R"({"smartctl":{"exit_status":0,"messages":[{"string":"no such test","severity":"error"}]}})";
            if (wanted[0] == "-t" && refusal == 0 && !takesItAndDoesNothing)
                begun = time;
            return child;
        }
        double const elapsed = begun < 0 ? 1e9 : std::min(time - begun, hangsAt);
        int const percent = elapsed >= seconds ? 100 : static_cast<int>(100 * elapsed / seconds);
        child.m_output = bend(says(percent, begun < 0 ? before : result, begun < 0 || percent < 100 ? 7 : 8));
        return child;
    }
};

struct Case
{
    char const* what;
    std::function<void(PaperDriveWithTest&)> change;
    Outcome outcome;
    char const *says, *orders;
};

TEST(DriveSelfTest, endsAsTheDriveSaysAndNothingElseIsAPass)
{
    Case const cases[] = {
        {"passes", [](auto&) {}, Outcome::Pass, "", "long"},
        {"passed before, fails now", [](auto& d) { d.result = 7; }, Outcome::Fail, "SmartSelfTestFailed",
         "long"},
        {"failed before, passes now", [](auto& d) { d.before = 7; }, Outcome::Pass, "", "long"},
        {"ended by a reset", [](auto& d) { d.result = 2; }, Outcome::CannotRun, "SelfTestEnded", "long"},
        {"is over before it was seen", [](auto& d) { d.seconds = 1, d.says = nvme; }, Outcome::Pass, "",
         "long"},
        {"passed before, nothing begins now", [](auto& d) { d.takesItAndDoesNothing = true; },
         Outcome::CannotRun, "SelfTestNotBegun", "long"},
        {"smartctl cannot", [](auto& d) { d.refusal = 1; }, Outcome::NotSupported, "SelfTestNone", "long"},
        {"the drive refuses", [](auto& d) { d.refusal = 4; }, Outcome::NotSupported, "SelfTestNone", "long"},
        {"hangs half way", [](auto& d) { d.hangsAt = 150; }, Outcome::CannotRun, "SelfTestStuck", "long -X"},
        {"one runs already", [](auto& d) { d.begun = 0; }, Outcome::CannotRun, "SelfTestBusy", ""},
        {"says nothing of it",
         [](auto& d) {
             d.bend = [](std::string) { return std::string(R"({"smart_status":{"passed":true}})"); };
         },
         Outcome::CannotRun, "SelfTestNotBegun", "long"},
        {"says nothing at all",
         [](auto& d) { d.bend = [](std::string) { return std::string("no drive\n"); }; }, Outcome::CannotRun,
         "SmartNotRead", ""},
        {"garbage on the way",
         [](auto& d) {
             d.bend = [&d](std::string text) {
                 return d.begun >= 0 && d.time > 100 ? text.substr(0, 90) : text;
             };
         },
         Outcome::CannotRun, "SmartNotRead", "long"},
    };
    for (auto const says : {ata, nvme, scsi})
        for (Case const& one : cases) {
            PaperDriveWithTest drive;
            drive.says = says;
            one.change(drive);
            DriveSelfTestSettings settings;
            settings.isExtended = true;
            RecordingHost host;
            EXPECT_EQ(one.outcome, runDriveSelfTest(host, settings, drive.access()))
                << one.what << drive.says(1, 1, 1);
            std::string said;
            for (Report const& fault : host.m_faults)
                said += fault.m_eventKey.text();
            for (Report const& problem : host.m_problems)
                said += problem.m_eventKey.text();
            EXPECT_EQ(one.says, said) << one.what << drive.says(1, 1, 1);
            EXPECT_EQ(one.orders, drive.orders) << one.what;
            EXPECT_LT(drive.time, 3 * 3600) << one.what;
        }
}

TEST(DriveSelfTest, aFailureIsToldWithItsPlaceAndProgressIsTheDrives)
{
    PaperDriveWithTest drive;
    drive.says = nvme;
    drive.result = 7;
    RecordingHost host;
    EXPECT_EQ(Outcome::Fail, runDriveSelfTest(host, {.isExtended = true}, drive.access()));
    ASSERT_EQ(1u, host.m_faults.size());
    EXPECT_EQ("55", valueOf(host.m_faults[0], "Lba"));
    EXPECT_EQ("8", valueOf(host.m_faults[0], "Hours"));
    EXPECT_EQ("of the log", valueOf(host.m_faults[0], "Status"));
    ASSERT_GT(host.m_progress.size(), 10u);
    EXPECT_TRUE(std::is_sorted(host.m_progress.begin(), host.m_progress.end()));
    EXPECT_NEAR(50, host.m_progress[host.m_progress.size() / 2], 5);
}

TEST(DriveSelfTest, aStopEndsTheTestInTheDriveAsWell)
{
    for (int const polls : {0, 1, 5, 1000}) {
        PaperDriveWithTest drive;
        RecordingHost host;
        host.m_pollsBeforeStop = polls;
        EXPECT_EQ(Outcome::Stopped, runDriveSelfTest(host, {}, drive.access()));
        EXPECT_EQ(polls == 0 ? "" : "short -X", drive.orders) << polls;
        EXPECT_LE(drive.time, 0.02 * polls + 0.1) << "each question is 20 ms later";
    }
}

TEST(DriveSelfTest, aProgramThatHangsIsNoPass)
{
    for (auto const end :
         {ChildResult::End::TimedOut, ChildResult::End::Signalled, ChildResult::End::NotStarted,
          ChildResult::End::TooMuchOutput, ChildResult::End::Lost})
        for (int const from : {0, 1, 2}) {
            PaperDriveWithTest drive;
            DriveSelfTestAccess access = drive.access();
            int asked = 0;
            access.ask = [&, real = access.ask](auto const& wanted, double seconds, auto const& stopping) {
                ChildResult child = real(wanted, seconds, stopping);
                if (asked++ >= from)
                    child.m_end = end;
                return child;
            };
            RecordingHost host;
            EXPECT_EQ(Outcome::CannotRun, runDriveSelfTest(host, {}, access));
            EXPECT_EQ(1u, host.m_problems.size());
        }
}

} // namespace
} // namespace krel5::modules::storage
