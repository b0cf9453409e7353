#include <common/smart/SelfTestLog.h>
#include <common/smart/SmartEvidence.h>

#include <algorithm>

namespace krel5::modules {
namespace {

// NVM Express Base Specification, SMART / Health Information log, Critical Warning.
constexpr std::uint64_t kTemperatureWarning = 1 << 1;

} // namespace

template <typename Test>
bool SmartEvidence::anyAttribute(Test test) const noexcept
{
    return std::any_of(m_report.m_attributes.begin(), m_report.m_attributes.end(), test);
}

bool SmartEvidence::isTemperature(SmartAttribute const& attribute) noexcept
{
    return attribute.m_id == 190 || attribute.m_id == 194;
}

bool SmartEvidence::isPrefailing(SmartAttribute const& attribute) const noexcept
{
    return attribute.m_failed == SmartAttribute::Failed::Now &&
           attribute.m_prefailure.value_or(hasBit(kBelowThreshold));
}

bool SmartEvidence::hasTooManyPending(SmartAttribute const& attribute) const noexcept
{
    bool const countsSectors = attribute.m_id == 197 || attribute.m_id == 198;
    return countsSectors && m_options.m_mostPending &&
           attribute.m_count.value_or(0) > *m_options.m_mostPending;
}

bool SmartEvidence::isExplainedByWarmth() const noexcept
{
    return isTooWarm() || (anyAttribute([this](SmartAttribute const& one) { return isPrefailing(one); }) &&
                           !anyAttribute([this](SmartAttribute const& one) { return isFailing(one); }));
}

bool SmartEvidence::saysFailing() const noexcept
{
    return (m_report.m_passed == false || hasBit(kDiskFailing)) && !isExplainedByWarmth();
}

bool SmartEvidence::hasUnnamedFailing() const noexcept
{
    return hasBit(kBelowThreshold) &&
           !anyAttribute([this](SmartAttribute const& one) { return isPrefailing(one); });
}

bool SmartEvidence::hasCriticalWarning() const noexcept
{
    return (m_report.m_criticalWarning.value_or(0) & ~kTemperatureWarning) != 0;
}

bool SmartEvidence::isTooWarm() const noexcept
{
    return m_report.m_criticalWarning == kTemperatureWarning || m_report.m_scsiTooWarm;
}

SelfTest const* SmartEvidence::failedSelfTest() const noexcept
{
    SelfTest const* const standing = standingFailure(m_report.m_selfTests, hasBit(kSelfTestLog));
    if (standing)
        return standing;
    bool const latestFailed = m_report.m_latestSelfTest && m_report.m_latestSelfTest->m_passed == false;
    return latestFailed ? &*m_report.m_latestSelfTest : nullptr;
}

// SCSI and NVMe: the bit stands for outdated failures, too.
bool SmartEvidence::hasUnnamedSelfTest() const noexcept
{
    return hasBit(kSelfTestLog) && !failedSelfTest() && (m_report.m_selfTestsAreAta || !hasFailedSelfTests());
}

bool SmartEvidence::hasFailedSelfTests() const noexcept
{
    return std::any_of(m_report.m_selfTests.begin(), m_report.m_selfTests.end(),
                       [](SelfTest const& test) { return test.m_passed == false; });
}

bool SmartEvidence::isBad() const noexcept
{
    return saysFailing() || hasUnnamedFailing() || hasCriticalWarning() || failedSelfTest() ||
           hasUnnamedSelfTest() || anyAttribute([this](SmartAttribute const& one) {
               return isFailing(one) || hasTooManyPending(one);
           });
}

bool SmartEvidence::saysAnything() const noexcept
{
    bool const tested = std::any_of(m_report.m_selfTests.begin(), m_report.m_selfTests.end(),
                                    [](SelfTest const& test) { return test.m_passed.has_value(); });
    return hasAssessment() || tested || !m_report.m_attributes.empty() || m_report.m_mediaErrors ||
           m_report.m_wear.m_percentageUsed || m_report.m_wear.m_spare || m_report.m_grownDefects ||
           m_report.m_uncorrected;
}

} // namespace krel5::modules
