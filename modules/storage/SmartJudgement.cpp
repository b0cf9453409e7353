#include <storage/ChildProcess.h>
#include <storage/SmartReport.h>
#include <storage/Texts.h>

#include <common/ErrorText.h>

namespace krel5::modules {
namespace {

// Bits of smartctl's exit status; smartctl(8).
constexpr int kNotParsed = 1 << 0;
constexpr int kNotOpened = 1 << 1;
constexpr int kCommandFailed = 1 << 2;
constexpr int kDiskFailing = 1 << 3;
constexpr int kBelowThreshold = 1 << 4;
constexpr int kWasBelowThreshold = 1 << 5;
constexpr int kErrorLog = 1 << 6;
constexpr int kSelfTestLog = 1 << 7;

// NVM Express Base Specification, SMART / Health Information log, Critical Warning.
constexpr LocalText kCriticalBits[] = {kTextSpareLow, kTextTemperature,  kTextReliability,
                                       kTextReadOnly, kTextBackupFailed, kTextRegionReadOnly};

std::string joined(std::vector<std::string> const& texts)
{
    std::string out;
    for (std::string const& text : texts)
        out += (out.empty() ? "" : "; ") + text;
    return out;
}

bool contains(std::string const& text, char const* piece) { return text.find(piece) != std::string::npos; }

Outcome notRead(TestHost& host, std::string const& reason)
{
    if (contains(reason, "Permission denied") || contains(reason, "Operation not permitted")) {
        host.problem({"SmartRefused", {{"Reason", reason}}});
        return Outcome::InsufficientPrivilege;
    }
    host.problem({"SmartNotSupported", {{"Reason", reason}}});
    bool const gone = contains(reason, "No such device") || contains(reason, "No such file");
    return gone ? Outcome::NoDevice : Outcome::NotSupported;
}

/// Why the report says nothing about the drive's health; empty when it does.
std::string whyMute(TestHost& host, SmartReport const& report, int exitStatus)
{
    if (!report.m_readable)
        return host.text(kTextNoJson, {{"Status", std::to_string(exitStatus)}});
    if (exitStatus & (kNotParsed | kNotOpened)) {
        std::string const errors = joined(report.m_errors);
        return errors.empty() ? host.text(kTextNotOpened) : errors;
    }
    if (report.m_available == false)
        return host.text(kTextNoSmart);
    if (report.m_enabled == false)
        return host.text(kTextSmartOff);
    bool const failing = (exitStatus & (kDiskFailing | kBelowThreshold)) != 0;
    if (!report.m_passed && !report.m_nvme && report.m_attributes.empty() && !failing) {
        std::string const errors = joined(report.m_errors);
        return errors.empty() ? host.text(kTextNoHealth) : errors;
    }
    return "";
}

std::vector<std::pair<std::string, std::string>> valuesOf(SmartAttribute const& attribute)
{
    return {{"Id", std::to_string(attribute.m_id)},
            {"Name", attribute.m_name},
            {"Value", std::to_string(attribute.m_value)},
            {"Threshold", std::to_string(attribute.m_threshold)}};
}

/// True when an attribute fails now.
bool judgeAttributes(TestHost& host, SmartReport const& report, int exitStatus)
{
    bool now = false, before = false;
    for (SmartAttribute const& attribute : report.m_attributes) {
        // Words that smartctl has used: "now" and "FAILING_NOW", "past" and "In_the_past".
        bool const failsNow = attribute.m_whenFailed == "now" || attribute.m_whenFailed == "FAILING_NOW";
        bool const failedBefore =
            !failsNow && !attribute.m_whenFailed.empty() && attribute.m_whenFailed != "-";
        if (failsNow)
            host.fault({"SmartAttributeFailing", valuesOf(attribute)});
        if (failedBefore)
            host.warning({"SmartAttributeFailedBefore", valuesOf(attribute)});
        now = now || failsNow;
        before = before || failedBefore;
    }
    if (!now && (exitStatus & kBelowThreshold))
        host.fault({"SmartFailing", {{"Reason", host.text(kTextBelowThreshold)}}});
    if (!before && (exitStatus & kWasBelowThreshold))
        host.warning({"SmartUnnamedFailedBefore", {}});
    return now || (exitStatus & kBelowThreshold) != 0;
}

/// True when the drive warns.
bool judgeNvme(TestHost& host, NvmeHealth const& health)
{
    if (health.m_mediaErrors > 0)
        host.warning({"SmartMediaErrors", {{"Count", std::to_string(health.m_mediaErrors)}}});
    if (health.m_percentageUsed >= 100)
        host.warning({"SmartWorn", {{"PercentageUsed", std::to_string(health.m_percentageUsed)}}});
    if (health.m_criticalWarning == 0)
        return false;
    std::vector<std::string> meanings;
    for (unsigned bit = 0; bit < std::size(kCriticalBits); ++bit)
        if (health.m_criticalWarning >> bit & 1u)
            meanings.push_back(host.text(kCriticalBits[bit]));
    host.fault({"SmartCriticalWarning",
                {{"Bits", std::to_string(health.m_criticalWarning)}, {"Meaning", joined(meanings)}}});
    return true;
}

} // namespace

Outcome judgeSmart(TestHost& host, SmartReport const& report, int exitStatus)
{
    if (std::string const reason = whyMute(host, report, exitStatus); !reason.empty())
        return notRead(host, reason);
    bool failing = report.m_passed == false || (exitStatus & kDiskFailing) != 0;
    if (failing)
        host.fault({"SmartFailing", {{"Reason", host.text(kTextSaysFailing)}}});
    failing = judgeAttributes(host, report, exitStatus) || failing;
    failing = (report.m_nvme && judgeNvme(host, *report.m_nvme)) || failing;
    if (exitStatus & kCommandFailed)
        host.warning({"SmartCommandFailed", {{"Reason", joined(report.m_errors)}}});
    if (exitStatus & kErrorLog)
        host.warning({"SmartErrorLog", {}});
    if (exitStatus & kSelfTestLog)
        host.warning({"SmartSelfTestLog", {}});
    host.note({"SmartHealth",
               {{"Passed", host.text(failing ? kTextNo : kTextYes)},
                {"Attributes", std::to_string(report.m_attributes.size())}}});
    return failing ? Outcome::Fail : Outcome::Pass;
}

Outcome runSmartTest(TestHost& host, std::string const& device)
{
    std::string const program = findProgram("smartctl");
    if (program.empty())
        return notRead(host, host.text(kTextNoSmartctl));
    if (device.empty() || device[0] != '/') // it could be taken for an option
        return notRead(host, host.text(kTextNoDevicePath, {{"Device", device}}));
    ChildResult const child =
        runChild({program, "--json", "-a", device}, ChildLimits(), [&host] { return host.stopRequested(); });
    switch (child.m_end) {
    case ChildResult::End::Exited:
        return judgeSmart(host, parseSmartReport(child.m_output), child.m_status);
    case ChildResult::End::Stopped:
        return Outcome::Stopped;
    case ChildResult::End::TimedOut:
        return notRead(host, host.text(kTextTimedOut));
    case ChildResult::End::TooMuchOutput:
        return notRead(host, host.text(kTextTooMuch));
    case ChildResult::End::Signalled:
        return notRead(host, host.text(kTextSignal, {{"Signal", std::to_string(child.m_status)}}));
    case ChildResult::End::NotStarted:
        return notRead(host, program + ": " + errorText(child.m_status));
    }
    return Outcome::CannotRun;
}

} // namespace krel5::modules
