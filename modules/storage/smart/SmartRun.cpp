#include <storage/Events.h>
#include <storage/Texts.h>
#include <storage/smart/SmartTest.h>

#include <common/ErrorText.h>
#include <common/smart/SmartProgram.h>

namespace krel5::modules::storage {
namespace {

Outcome cannotRun(TestHost& host, std::string const& reason)
{
    host.problem({kEventSmartNotRead, {{"Reason", reason}}});
    return Outcome::CannotRun;
}

bool isDeviceType(std::string const& text)
{
    constexpr std::size_t kLongest = 100;
    constexpr char kAllowed[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789,/+-_";
    return text.size() <= kLongest && text.find_first_not_of(kAllowed) == text.npos;
}

} // namespace

std::optional<Outcome> endedBadly(TestHost& host, ChildResult const& child, ChildLimits const& limits)
{
    if (child.m_leftBehind != 0)
        host.warning({kEventSmartProgramLeft, {{"Process", std::to_string(child.m_leftBehind)}}});
    std::string const seconds = std::to_string(static_cast<long>(limits.m_seconds));
    switch (child.m_end) {
    case ChildResult::End::Exited:
        return std::nullopt;
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
    case ChildResult::End::Lost:
        return cannotRun(host, host.text(kTextLost));
    }
    return Outcome::CannotRun;
}

Outcome judgeSmartRun(TestHost& host, ChildResult const& child, ChildLimits const& limits,
                      SmartOptions const& options)
{
    if (auto const end = endedBadly(host, child, limits))
        return *end;
    return judgeSmart(host, parseSmartReport(child.m_output), child.m_status, options);
}

std::optional<Outcome> refusedSmart(TestHost& host, std::string const& device, SmartOptions const& options,
                                    std::string const& program)
{
    if (!isDeviceType(options.m_deviceType)) {
        host.problem({kEventSmartBadDeviceType,
                      {{"Type", options.m_deviceType}, {"Reason", host.text(kTextTypeCharacters)}}});
        return Outcome::BadParameters;
    }
    if (program.empty()) {
        cannotRun(host, host.text(kTextNoSmartctl));
        return Outcome::NotSupported; // by this machine, not by the drive
    }
    if (!device.starts_with('/')) { // it could be taken for an option
        host.problem(
            {kEventSmartNotSupported, {{"Reason", host.text(kTextNoDevicePath, {{"Device", device}})}}});
        return Outcome::NotSupported;
    }
    return std::nullopt;
}

Outcome runSmartTest(TestHost& host, std::string const& device, SmartOptions const& options,
                     std::string const& program)
{
    if (auto const refused = refusedSmart(host, device, options, program))
        return *refused;
    // A drive that answers only some questions lets each of the others run into its time-out.
    ChildLimits limits;
    limits.m_seconds = 180;
    ChildResult const child = runChild(smartWords(program, device, options.m_deviceType, true), limits,
                                       [&host] { return host.stopRequested(); });
    return judgeSmartRun(host, child, limits, options);
}

} // namespace krel5::modules::storage
