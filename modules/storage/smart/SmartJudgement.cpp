#include <common/smart/SmartEvidence.h>
#include <storage/Events.h>
#include <storage/Texts.h>
#include <storage/smart/SmartSilence.h>
#include <storage/smart/SmartTest.h>

#include <algorithm>

namespace krel5::modules::storage {
namespace {

// NVM Express Base Specification, SMART / Health Information log, Critical Warning.
constexpr LocalText kCriticalBits[] = {kTextSpareLow, kTextTemperature,  kTextReliability,
                                       kTextReadOnly, kTextBackupFailed, kTextRegionReadOnly};

template <typename Number>
std::string orUnknown(TestHost& host, std::optional<Number> number)
{
    return number ? std::to_string(*number) : host.text(kTextUnknown);
}

TextValues valuesOf(TestHost& host, SmartAttribute const& attribute)
{
    return {{"Id", std::to_string(attribute.m_id)},
            {"Name", attribute.m_name},
            {"Value", orUnknown(host, attribute.m_value)},
            {"Threshold", orUnknown(host, attribute.m_threshold)}};
}

void warnOfWarmth(TestHost& host, SmartReport const& report, std::string const& source)
{
    host.warning(
        {kEventSmartTooWarm, {{"Temperature", orUnknown(host, report.m_temperature)}, {"Source", source}}});
}

void judgeAssessment(TestHost& host, SmartEvidence const& evidence)
{
    if (evidence.saysFailing())
        host.fault({kEventSmartFailing,
                    {{"Reason", host.text(evidence.report().m_passed == true ? kTextStatusSaysFailing
                                                                             : kTextSaysFailing)}}});
    if (evidence.hasUnnamedFailing())
        host.fault({kEventSmartFailing, {{"Reason", host.text(kTextBelowThreshold)}}});
}

void judgeAttribute(TestHost& host, SmartEvidence const& evidence, SmartAttribute const& attribute)
{
    switch (attribute.m_failed) {
    case SmartAttribute::Failed::Never:
        return;
    case SmartAttribute::Failed::Before:
        return host.warning({kEventSmartAttributeFailedBefore, valuesOf(host, attribute)});
    case SmartAttribute::Failed::Now:
        if (evidence.isFailing(attribute))
            return host.fault({kEventSmartAttributeFailing, valuesOf(host, attribute)});
        if (SmartEvidence::isTemperature(attribute))
            return warnOfWarmth(host, evidence.report(),
                                host.text(kTextWarmAttribute, valuesOf(host, attribute)));
        host.warning({kEventSmartAttributeUsedUp, valuesOf(host, attribute)});
    }
}

void judgeAttributes(TestHost& host, SmartEvidence const& evidence)
{
    // As many as a drive has room for. A list that is longer is in doubt, which is said.
    constexpr std::size_t kMostNamed = 30;
    std::size_t named = 0;
    for (bool const faults : {true, false})
        for (SmartAttribute const& attribute : evidence.report().m_attributes)
            if (attribute.m_failed != SmartAttribute::Failed::Never &&
                evidence.isFailing(attribute) == faults && ++named <= kMostNamed)
                judgeAttribute(host, evidence, attribute);
    if (named == 0 && evidence.hasBit(kWasBelowThreshold))
        host.warning({kEventSmartUnnamedFailedBefore, {}});
}

/// The one of that id with the highest count; null when it counts nothing.
SmartAttribute const* countOf(SmartReport const& report, int id)
{
    SmartAttribute const* most = nullptr;
    for (SmartAttribute const& one : report.m_attributes)
        if (one.m_id == id && one.m_count.value_or(0) > (most ? *most->m_count : 0))
            most = &one;
    return most;
}

/// What a technician looks at first: counts that are zero on a sound drive.
void judgeCounts(TestHost& host, SmartEvidence const& evidence, SmartOptions const& options)
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
    for (Counted const& one : counted) {
        SmartAttribute const* const attribute = countOf(evidence.report(), one.m_id);
        if (!attribute)
            continue;
        TextValues values = {{"Id", std::to_string(one.m_id)},
                             {"Name", attribute->m_name},
                             {"Count", std::to_string(*attribute->m_count)}};
        if (evidence.hasTooManyPending(*attribute)) {
            values.emplace_back("Most", std::to_string(*options.m_mostPending));
            host.fault({kEventSmartTooManyPending, values});
        } else {
            values.emplace_back("Meaning", host.text(one.m_meaning));
            host.warning({kEventSmartCount, values});
        }
    }
    constexpr int kLinkErrors = 199;
    if (SmartAttribute const* const link = countOf(evidence.report(), kLinkErrors))
        host.note({kEventSmartLinkErrors, {{"Count", std::to_string(*link->m_count)}}});
}

void warnOfCount(TestHost& host, EventKey event, std::optional<std::uint64_t> count)
{
    if (count.value_or(0) > 0)
        host.warning({event, {{"Count", std::to_string(*count)}}});
}

void judgeWear(TestHost& host, Wear const& wear)
{
    if (wear.m_spare && wear.m_spareThreshold && *wear.m_spare < *wear.m_spareThreshold)
        host.warning({kEventSmartSpareLow,
                      {{"Spare", std::to_string(*wear.m_spare)},
                       {"Threshold", std::to_string(*wear.m_spareThreshold)}}});
    if (wear.m_percentageUsed.value_or(0) >= 100)
        host.warning({kEventSmartWorn, {{"PercentageUsed", std::to_string(*wear.m_percentageUsed)}}});
    if (wear.m_percentageUsed || wear.m_spare)
        host.note({kEventSmartWear,
                   {{"PercentageUsed", orUnknown(host, wear.m_percentageUsed)},
                    {"Spare", orUnknown(host, wear.m_spare)},
                    {"Threshold", orUnknown(host, wear.m_spareThreshold)}}});
}

void judgeCriticalWarning(TestHost& host, SmartEvidence const& evidence)
{
    if (evidence.isTooWarm())
        warnOfWarmth(host, evidence.report(),
                     host.text(evidence.report().m_scsiTooWarm ? kTextWarmScsi : kTextWarmNvme));
    if (!evidence.hasCriticalWarning())
        return;
    std::uint64_t const bits = *evidence.report().m_criticalWarning;
    std::vector<std::string> meanings;
    for (unsigned bit = 0; bits >> bit != 0; ++bit)
        if (bits >> bit & 1u)
            meanings.push_back(host.text(bit < std::size(kCriticalBits) ? kCriticalBits[bit] : kTextUnknown));
    host.fault({kEventSmartCriticalWarning, {{"Bits", std::to_string(bits)}, {"Meaning", joined(meanings)}}});
}

void judgeSelfTests(TestHost& host, SmartEvidence const& evidence)
{
    SelfTest const* const failed = evidence.failedSelfTest();
    if (failed)
        host.fault({kEventSmartSelfTestFailed,
                    {{"Type", failed->m_type.empty() ? host.text(kTextUnknown) : failed->m_type},
                     {"Status", failed->m_status.empty() ? host.text(kTextUnknown) : failed->m_status},
                     {"Hours", orUnknown(host, failed->m_hours)},
                     {"Lba", orUnknown(host, failed->m_lba)}}});
    else if (evidence.hasUnnamedSelfTest())
        host.fault({kEventSmartSelfTestUnnamed, {}});
    else if (evidence.hasFailedSelfTests())
        host.warning({kEventSmartSelfTestLog, {}});
}

void tellAge(TestHost& host, SmartReport const& report)
{
    if (report.m_temperature || report.m_hours)
        host.note({kEventSmartAge,
                   {{"Temperature", orUnknown(host, report.m_temperature)},
                    {"Hours", orUnknown(host, report.m_hours)}}});
}

std::string textOf(TestHost& host, std::vector<Doubt> const& doubts)
{
    std::vector<std::string> texts;
    for (Doubt const& doubt : doubts)
        switch (doubt.m_kind) {
        case Doubt::Kind::NotUnderstood:
            texts.push_back(host.text(kTextNotUnderstood, {{"Member", doubt.m_member}}));
            break;
        case Doubt::Kind::Twice:
            texts.push_back(host.text(kTextTwice, {{"Member", doubt.m_member}}));
            break;
        case Doubt::Kind::TooMany:
            texts.push_back(host.text(kTextTooManyEntries, {{"Member", doubt.m_member}}));
            break;
        case Doubt::Kind::Others:
            texts.push_back(host.text(kTextOtherDoubts));
            break;
        }
    return joined(texts);
}

Outcome conclude(TestHost& host, SmartEvidence const& evidence)
{
    SmartReport const& report = evidence.report();
    std::string const doubts = textOf(host, report.m_doubts);
    if (!evidence.isBad() && (!doubts.empty() || !evidence.hasAssessment())) {
        std::string const reason = doubts.empty() ? host.text(kTextNoAssessment) : doubts;
        host.problem({kEventSmartNotRead, {{"Reason", reason}}});
        return Outcome::CannotRun;
    }
    if (!doubts.empty())
        host.warning({kEventSmartDoubtful, {{"Reason", doubts}}});
    bool const warm = report.m_passed == false || evidence.isTooWarm();
    LocalText const& passed = evidence.isBad() ? kTextNo : warm ? kTextYesButWarm : kTextYes;
    host.note({kEventSmartHealth,
               {{"Passed", host.text(passed)}, {"Attributes", std::to_string(report.m_attributes.size())}}});
    return evidence.isBad() ? Outcome::Fail : Outcome::Pass;
}

} // namespace

Outcome judgeSmart(TestHost& host, SmartReport const& report, int exitStatus, SmartOptions const& options)
{
    SmartEvidence const evidence(report, exitStatus, options);
    if (auto const outcome = judgeSilence(host, evidence, options))
        return *outcome;
    judgeAssessment(host, evidence);
    judgeAttributes(host, evidence);
    judgeCriticalWarning(host, evidence);
    judgeSelfTests(host, evidence);
    judgeCounts(host, evidence, options);
    warnOfCount(host, kEventSmartMediaErrors, report.m_mediaErrors);
    warnOfCount(host, kEventSmartGrownDefects, report.m_grownDefects);
    warnOfCount(host, kEventSmartUncorrected, report.m_uncorrected);
    judgeWear(host, report.m_wear);
    if (evidence.hasBit(kCommandFailed))
        host.warning({kEventSmartCommandFailed, {{"Reason", joined(report.m_errors)}}});
    if (evidence.hasBit(kErrorLog))
        host.warning({kEventSmartErrorLog, {}});
    tellAge(host, report);
    return conclude(host, evidence);
}

} // namespace krel5::modules::storage
