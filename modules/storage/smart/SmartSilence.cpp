#include <storage/Events.h>
#include <storage/Texts.h>
#include <storage/smart/SmartSilence.h>

#include <algorithm>
#include <initializer_list>

namespace krel5::modules::storage {
namespace {

bool containsOneOf(std::string const& text, std::initializer_list<char const*> pieces)
{
    return std::any_of(pieces.begin(), pieces.end(),
                       [&text](char const* piece) { return text.find(piece) != std::string::npos; });
}

/// Why there is nothing to judge.
struct Silence
{
    std::string m_reason;
    bool m_unanswered = false; ///< the drive was asked and gave no proper answer
};

Outcome notRead(TestHost& host, Silence const& silence)
{
    Report const report{kEventSmartNotRead, {{"Reason", silence.m_reason}}};
    if (containsOneOf(silence.m_reason, {"Permission denied", "Operation not permitted"})) {
        host.problem({kEventSmartRefused, {{"Reason", silence.m_reason}}});
        return Outcome::InsufficientPrivilege;
    }
    if (containsOneOf(silence.m_reason, {"No such device", "No such file"})) {
        host.problem(report);
        return Outcome::NoDevice;
    }
    // What a drive or a controller that is dying makes of a question.
    bool const broken =
        containsOneOf(silence.m_reason, {"Input/output error", "I/O error", "timed out", "timeout", "aborted",
                                         "device busy", "resource busy", "mandatory SMART command failed"});
    if (silence.m_unanswered || broken) {
        host.problem(report);
        return Outcome::CannotRun;
    }
    host.problem({kEventSmartNotSupported, {{"Reason", silence.m_reason}}});
    return Outcome::NotSupported;
}

std::optional<Silence> silenceOf(TestHost& host, SmartEvidence const& evidence)
{
    SmartReport const& report = evidence.report();
    if (!report.m_readable)
        return Silence{host.text(kTextNoJson, {{"Status", std::to_string(evidence.status())}}), true};
    if (evidence.isBad())
        return std::nullopt;
    std::string const errors = joined(report.m_errors);
    if (evidence.hasBit(kNotParsed | kNotOpened))
        return Silence{errors.empty() ? host.text(kTextNotOpened) : errors, errors.empty()};
    if (!report.m_doubts.empty())
        return std::nullopt;
    if (report.m_available == false)
        return Silence{host.text(kTextNoSmart)};
    if (report.m_enabled == false)
        return Silence{host.text(kTextSmartOff)};
    if (!evidence.saysAnything())
        return Silence{errors.empty() ? host.text(kTextNoHealth) : errors, evidence.hasBit(kCommandFailed)};
    return std::nullopt;
}

} // namespace

std::string joined(std::vector<std::string> const& texts)
{
    std::string out;
    for (std::string const& text : texts)
        out += (out.empty() ? "" : "; ") + text;
    return out;
}

std::optional<Outcome> judgeSilence(TestHost& host, SmartEvidence const& evidence,
                                    SmartOptions const& options)
{
    auto const silence = silenceOf(host, evidence);
    if (!silence)
        return std::nullopt;
    // The rest of the command line is ours, and right.
    if (evidence.hasBit(kNotParsed) && !options.m_deviceType.empty()) {
        host.problem(
            {kEventSmartBadDeviceType, {{"Type", options.m_deviceType}, {"Reason", silence->m_reason}}});
        return Outcome::BadParameters;
    }
    return notRead(host, *silence);
}

} // namespace krel5::modules::storage
