#pragma once
// What a SMART report and the exit status that came with it amount to, taken together: neither says something
// that the other one denies.
//
//     SmartEvidence evidence(report, exitStatus, options);
//     if (evidence.isBad())
//         ...
//
// Thread rule: a plain value; refers to the report and the options, which outlive it.

#include <common/smart/SmartReport.h>

namespace krel5::modules {

// Bits of smartctl's exit status; smartctl(8).
constexpr int kNotParsed = 1 << 0;
constexpr int kNotOpened = 1 << 1;
constexpr int kCommandFailed = 1 << 2;
constexpr int kDiskFailing = 1 << 3;
constexpr int kBelowThreshold = 1 << 4;    ///< of an attribute of pre-failure
constexpr int kWasBelowThreshold = 1 << 5; ///< of any attribute, in the past
constexpr int kErrorLog = 1 << 6;
constexpr int kSelfTestLog = 1 << 7; ///< failures in it; for ATA those only that no extended one outdates

class SmartEvidence
{
public:
    SmartEvidence(SmartReport const& report, int exitStatus, SmartOptions const& options)
        : m_report(report), m_status(exitStatus | report.m_exitStatus), m_options(options)
    {}

    SmartReport const& report() const noexcept { return m_report; }
    bool hasBit(int bit) const noexcept { return (m_status & bit) != 0; }
    int status() const noexcept { return m_status; }

    /// The temperature of the drive. When it is too high, that is no fault of the drive.
    static bool isTemperature(SmartAttribute const& attribute) noexcept;
    /// Foretells a failure now. Where smartctl does not tell the two kinds of attributes apart, its exit
    /// status does.
    bool isPrefailing(SmartAttribute const& attribute) const noexcept;
    bool isFailing(SmartAttribute const& attribute) const noexcept
    {
        return isPrefailing(attribute) && !isTemperature(attribute);
    }
    /// One that counts sectors, more of them than were asked for.
    bool hasTooManyPending(SmartAttribute const& attribute) const noexcept;

    /// The drive, or the exit status, calls it failing, and not only for its temperature.
    bool saysFailing() const noexcept;
    /// The exit status tells of a failing attribute that the report does not name.
    bool hasUnnamedFailing() const noexcept;
    /// NVMe warns of more than the temperature.
    bool hasCriticalWarning() const noexcept;
    /// NVMe or SCSI warns of the temperature, and of nothing else.
    bool isTooWarm() const noexcept;

    /// A self-test that failed and that no later one outdates; null when there is none in the report.
    SelfTest const* failedSelfTest() const noexcept;
    /// Only the exit status tells of such a self-test.
    bool hasUnnamedSelfTest() const noexcept;
    bool hasFailedSelfTests() const noexcept;

    /// Any of the above that is a fault.
    bool isBad() const noexcept;
    /// The drive has assessed itself.
    bool hasAssessment() const noexcept { return m_report.m_passed || m_report.m_criticalWarning; }
    /// It says anything at all of its health.
    bool saysAnything() const noexcept;

private:
    /// The temperature explains why the drive calls itself failing.
    bool isExplainedByWarmth() const noexcept;
    template <typename Test>
    bool anyAttribute(Test test) const noexcept;

    SmartReport const& m_report;
    int m_status;
    SmartOptions const& m_options;
};

} // namespace krel5::modules
