#include <storage/Events.h>
#include <storage/SmartReport.h>
#include <storage/Texts.h>

#include <algorithm>
#include <initializer_list>

namespace krel5::modules::storage {
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

bool containsOneOf(std::string const& text, std::initializer_list<char const*> pieces)
{
    return std::any_of(pieces.begin(), pieces.end(),
                       [&text](char const* piece) { return contains(text, piece); });
}

/// Why there is nothing to judge.
struct Mute
{
    std::string m_reason;
    bool m_unanswered = false; ///< the drive was asked and gave no proper answer
};

Outcome notRead(TestHost& host, Mute const& mute)
{
    Report const report{kEventSmartNotRead, {{"Reason", mute.m_reason}}};
    if (containsOneOf(mute.m_reason, {"Permission denied", "Operation not permitted"})) {
        host.problem({kEventSmartRefused, {{"Reason", mute.m_reason}}});
        return Outcome::InsufficientPrivilege;
    }
    if (containsOneOf(mute.m_reason, {"No such device", "No such file"})) {
        host.problem(report);
        return Outcome::NoDevice;
    }
    // What a drive or a controller that is dying makes of a question.
    bool const broken =
        containsOneOf(mute.m_reason, {"Input/output error", "I/O error", "timed out", "timeout", "aborted",
                                      "device busy", "resource busy", "mandatory SMART command failed"});
    if (mute.m_unanswered || broken) {
        host.problem(report);
        return Outcome::CannotRun;
    }
    host.problem({kEventSmartNotSupported, {{"Reason", mute.m_reason}}});
    return Outcome::NotSupported;
}

// Words that smartctl has used: "now" and "FAILING_NOW".
bool failsNow(SmartAttribute const& attribute)
{
    return attribute.m_whenFailed == "now" || attribute.m_whenFailed == "FAILING_NOW";
}

/// The newest self-test that came to an end; null when there is none.
SelfTest const* lastSelfTest(SmartReport const& report)
{
    auto const newest = std::find_if(report.m_selfTests.begin(), report.m_selfTests.end(),
                                     [](SelfTest const& test) { return test.m_passed.has_value(); });
    return newest == report.m_selfTests.end() ? nullptr : &*newest;
}

bool saysFailing(SmartReport const& report, int exitStatus)
{
    SelfTest const* const selfTest = lastSelfTest(report);
    return report.m_passed == false || (exitStatus & (kDiskFailing | kBelowThreshold)) != 0 ||
           std::any_of(report.m_attributes.begin(), report.m_attributes.end(), failsNow) ||
           (report.m_nvme && report.m_nvme->m_criticalWarning != 0) || (selfTest && !*selfTest->m_passed);
}

bool saysHealth(SmartReport const& report)
{
    return report.m_passed || report.m_nvme || !report.m_attributes.empty() || lastSelfTest(report) ||
           report.m_grownDefects || report.m_uncorrected;
}

/// Why the report says nothing about the drive's health; nothing when it does. Bad news counts whatever else
/// the report says, also that there is no SMART or that it is switched off.
std::optional<Mute> whyMute(TestHost& host, SmartReport const& report, int exitStatus)
{
    if (!report.m_readable)
        return Mute{host.text(kTextNoJson, {{"Status", std::to_string(exitStatus)}}), true};
    if (saysFailing(report, exitStatus))
        return std::nullopt;
    std::string const errors = joined(report.m_errors);
    if (exitStatus & (kNotParsed | kNotOpened))
        return Mute{errors.empty() ? host.text(kTextNotOpened) : errors, errors.empty()};
    if (report.m_available == false)
        return Mute{host.text(kTextNoSmart)};
    if (report.m_enabled == false)
        return Mute{host.text(kTextSmartOff)};
    if (!saysHealth(report))
        return Mute{errors.empty() ? host.text(kTextNoHealth) : errors, (exitStatus & kCommandFailed) != 0};
    return std::nullopt;
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
    constexpr unsigned kMostNamed = 30; // a drive has room for so many attributes
    unsigned now = 0, before = 0;
    for (SmartAttribute const& attribute : report.m_attributes) {
        // Words that smartctl has used: "past" and "In_the_past".
        bool const failedBefore =
            !failsNow(attribute) && !attribute.m_whenFailed.empty() && attribute.m_whenFailed != "-";
        if (failsNow(attribute) && ++now <= kMostNamed)
            host.fault({kEventSmartAttributeFailing, valuesOf(attribute)});
        if (failedBefore && ++before <= kMostNamed)
            host.warning({kEventSmartAttributeFailedBefore, valuesOf(attribute)});
    }
    if (now == 0 && (exitStatus & kBelowThreshold))
        host.fault({kEventSmartFailing, {{"Reason", host.text(kTextBelowThreshold)}}});
    if (before == 0 && (exitStatus & kWasBelowThreshold))
        host.warning({kEventSmartUnnamedFailedBefore, {}});
    return now > 0 || (exitStatus & kBelowThreshold) != 0;
}

/// What a technician looks at first: counts that are zero on a sound drive.
void judgeCounts(TestHost& host, SmartReport const& report)
{
    struct Counted
    {
        int m_id;
        LocalText m_meaning;
    };
    // Attributes 5, 187, 197 and 198 mean this with nearly all makers of drives.
    Counted const counted[] = {{5, kTextReallocated},
                               {187, kTextUncorrectable},
                               {197, kTextPending},
                               {198, kTextOfflineUncorrectable}};
    auto const countOf = [&report](int id) {
        auto const found = std::find_if(report.m_attributes.begin(), report.m_attributes.end(),
                                        [id](SmartAttribute const& one) { return one.m_id == id; });
        return found != report.m_attributes.end() && found->m_count.value_or(0) > 0 ? &*found : nullptr;
    };
    for (Counted const& one : counted)
        if (SmartAttribute const* const attribute = countOf(one.m_id))
            host.warning({kEventSmartCount,
                          {{"Id", std::to_string(one.m_id)},
                           {"Name", attribute->m_name},
                           {"Count", std::to_string(*attribute->m_count)},
                           {"Meaning", host.text(one.m_meaning)}}});
    constexpr int kLinkErrors = 199;
    if (SmartAttribute const* const link = countOf(kLinkErrors))
        host.note({kEventSmartLinkErrors, {{"Count", std::to_string(*link->m_count)}}});
    if (report.m_grownDefects.value_or(0) > 0)
        host.warning({kEventSmartGrownDefects, {{"Count", std::to_string(*report.m_grownDefects)}}});
    if (report.m_uncorrected.value_or(0) > 0)
        host.warning({kEventSmartUncorrected, {{"Count", std::to_string(*report.m_uncorrected)}}});
}

std::string orUnknown(TestHost& host, std::optional<std::uint64_t> number)
{
    return number ? std::to_string(*number) : host.text(kTextUnknown);
}

void judgeWear(TestHost& host, NvmeHealth const& health)
{
    if (health.m_mediaErrors > 0)
        host.warning({kEventSmartMediaErrors, {{"Count", std::to_string(health.m_mediaErrors)}}});
    if (health.m_spare && health.m_spareThreshold && *health.m_spare < *health.m_spareThreshold)
        host.warning({kEventSmartSpareLow,
                      {{"Spare", std::to_string(*health.m_spare)},
                       {"Threshold", std::to_string(*health.m_spareThreshold)}}});
    if (health.m_percentageUsed >= 100)
        host.warning({kEventSmartWorn, {{"PercentageUsed", std::to_string(health.m_percentageUsed)}}});
    host.note({kEventSmartWear,
               {{"PercentageUsed", std::to_string(health.m_percentageUsed)},
                {"Spare", orUnknown(host, health.m_spare)},
                {"Threshold", orUnknown(host, health.m_spareThreshold)}}});
}

/// True when the drive warns.
bool judgeNvme(TestHost& host, NvmeHealth const& health)
{
    judgeWear(host, health);
    if (health.m_criticalWarning == 0)
        return false;
    std::vector<std::string> meanings;
    for (unsigned bit = 0; bit < std::size(kCriticalBits); ++bit)
        if (health.m_criticalWarning >> bit & 1u)
            meanings.push_back(host.text(kCriticalBits[bit]));
    host.fault({kEventSmartCriticalWarning,
                {{"Bits", std::to_string(health.m_criticalWarning)}, {"Meaning", joined(meanings)}}});
    return true;
}

/// True when the last word of the drive's self-tests is that it is faulty.
bool judgeSelfTests(TestHost& host, SmartReport const& report, int exitStatus)
{
    SelfTest const* const newest = lastSelfTest(report);
    if (newest && !*newest->m_passed) {
        host.fault({kEventSmartSelfTestFailed,
                    {{"Type", newest->m_type},
                     {"Status", newest->m_status},
                     {"Hours", orUnknown(host, newest->m_hours)},
                     {"Lba", orUnknown(host, newest->m_lba)}}});
        return true;
    }
    if (exitStatus & kSelfTestLog)
        host.warning({kEventSmartSelfTestLog, {}});
    return false;
}

void tellAge(TestHost& host, SmartReport const& report)
{
    if (!report.m_temperature && !report.m_hours)
        return;
    host.note({kEventSmartAge,
               {{"Temperature",
                 report.m_temperature ? std::to_string(*report.m_temperature) : host.text(kTextUnknown)},
                {"Hours", orUnknown(host, report.m_hours)}}});
}

} // namespace

Outcome judgeSmart(TestHost& host, SmartReport const& report, int exitStatus)
{
    if (auto const mute = whyMute(host, report, exitStatus))
        return notRead(host, *mute);
    bool failing = report.m_passed == false || (exitStatus & kDiskFailing) != 0;
    if (failing)
        host.fault({kEventSmartFailing, {{"Reason", host.text(kTextSaysFailing)}}});
    failing = judgeAttributes(host, report, exitStatus) || failing;
    failing = (report.m_nvme && judgeNvme(host, *report.m_nvme)) || failing;
    failing = judgeSelfTests(host, report, exitStatus) || failing;
    judgeCounts(host, report);
    if (exitStatus & kCommandFailed)
        host.warning({kEventSmartCommandFailed, {{"Reason", joined(report.m_errors)}}});
    if (exitStatus & kErrorLog)
        host.warning({kEventSmartErrorLog, {}});
    tellAge(host, report);
    host.note({kEventSmartHealth,
               {{"Passed", host.text(failing ? kTextNo : kTextYes)},
                {"Attributes", std::to_string(report.m_attributes.size())}}});
    return failing ? Outcome::Fail : Outcome::Pass;
}

} // namespace krel5::modules::storage
