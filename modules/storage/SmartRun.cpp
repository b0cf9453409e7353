#include <storage/Events.h>
#include <storage/SmartReport.h>
#include <storage/Texts.h>

#include <common/ErrorText.h>

namespace krel5::modules::storage {
namespace {

Outcome cannotRun(TestHost& host, std::string const& reason)
{
    host.problem({kEventSmartNotRead, {{"Reason", reason}}});
    return Outcome::CannotRun;
}

} // namespace

Outcome judgeSmartRun(TestHost& host, ChildResult const& child, ChildLimits const& limits)
{
    if (child.m_leftBehind != 0)
        host.warning({kEventSmartProgramLeft, {{"Process", std::to_string(child.m_leftBehind)}}});
    std::string const seconds = std::to_string(static_cast<long>(limits.m_seconds));
    switch (child.m_end) {
    case ChildResult::End::Exited:
        return judgeSmart(host, parseSmartReport(child.m_output), child.m_status);
    case ChildResult::End::Stopped:
        return Outcome::Stopped;
    case ChildResult::End::TimedOut:
        return cannotRun(host, host.text(kTextTimedOut, {{"Seconds", seconds}}));
    case ChildResult::End::TooMuchOutput:
        return cannotRun(host, host.text(kTextTooMuch));
    case ChildResult::End::Signalled:
        return cannotRun(host, host.text(kTextSignal, {{"Signal", std::to_string(child.m_status)}}));
    case ChildResult::End::NotStarted:
        return cannotRun(host, host.text(kTextNotStarted, {{"Reason", errorText(child.m_status)}}));
    }
    return Outcome::CannotRun;
}

Outcome runSmartTest(TestHost& host, std::string const& device, std::string const& program)
{
    if (program.empty()) {
        cannotRun(host, host.text(kTextNoSmartctl));
        return Outcome::NotSupported; // by this machine, not by the drive
    }
    if (device.empty() || device[0] != '/') { // it could be taken for an option
        host.problem(
            {kEventSmartNotSupported, {{"Reason", host.text(kTextNoDevicePath, {{"Device", device}})}}});
        return Outcome::NotSupported;
    }
    // A drive that answers only some questions lets each of the others run into its time-out.
    ChildLimits limits;
    limits.m_seconds = 180;
    ChildResult const child =
        runChild({program, "--json", "-a", device}, limits, [&host] { return host.stopRequested(); });
    return judgeSmartRun(host, child, limits);
}

} // namespace krel5::modules::storage
