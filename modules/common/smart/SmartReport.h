#pragma once
// What a drive says of its own health, as smartctl prints it in JSON.
//
//     SmartReport report = parseSmartReport(text);
//     SmartEvidence evidence(report, exitStatus, options);
//
// Thread rule: plain functions on values.

#include <common/smart/SmartJson.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace krel5::modules {

struct SmartAttribute
{
    enum class Failed { Never, Before, Now };
    int m_id = 0; ///< 1 to 255; zero when it could not be read
    std::string m_name;
    std::optional<std::uint64_t> m_value, m_threshold;
    Failed m_failed = Failed::Never; ///< whether its value is, or was once, at or below the threshold
    /// True: the drive is about to fail when the threshold is reached. False: it has served its time.
    std::optional<bool> m_prefailure;
    /// What the drive counts, beside the value that it rates itself with.
    std::optional<std::uint64_t> m_count;
};

/// How much of a solid-state drive's life is over, in percent.
struct Wear
{
    std::optional<std::uint64_t> m_percentageUsed; ///< of the rated life; may exceed 100
    /// Spare space that is left, and where the drive starts to warn.
    std::optional<std::uint64_t> m_spare, m_spareThreshold;
};

/// A self-test that the drive remembers.
struct SelfTest
{
    enum class Kind { Short, Extended, Other };
    Kind m_kind = Kind::Other;
    std::string m_type, m_status;
    std::optional<bool> m_passed;         ///< absent when it did not come to an end
    std::optional<std::uint64_t> m_hours; ///< power-on hours at its end
    std::optional<std::uint64_t> m_lba;   ///< first sector that failed
};

/// What smartctl left out is absent.
struct SmartReport
{
    bool m_readable = false; ///< the text was a JSON object
    /// Not empty: some of what is there was not understood, and something bad may have been missed.
    std::vector<Doubt> m_doubts;
    int m_exitStatus = 0; ///< as the report has it
    std::vector<std::string> m_errors;
    std::optional<bool> m_available, m_enabled;
    std::optional<bool> m_passed; ///< the drive's own assessment
    std::vector<SmartAttribute> m_attributes;
    std::optional<std::uint64_t> m_criticalWarning; ///< bits of the NVMe SMART / Health log, byte 0
    std::optional<std::uint64_t> m_mediaErrors;
    std::optional<std::uint64_t> m_errorLogEntries; ///< of NVMe, over the drive's life
    Wear m_wear;
    std::vector<SelfTest> m_selfTests; ///< the newest first
    bool m_selfTestsAreAta = false;
    std::optional<SelfTest> m_latestSelfTest; ///< ATA's status byte of self-tests, which needs no log
    bool m_selfTestRuns = false;
    std::optional<std::uint64_t> m_selfTestPercent; ///< done of the one that runs
    /// How long one takes, as the drive estimates.
    std::optional<std::uint64_t> m_shortMinutes, m_extendedMinutes;
    std::optional<std::int64_t> m_temperature; ///< degrees Celsius
    /// Of the drive, as it states them: up to where it may work all the time, and up to where at all.
    std::optional<std::int64_t> m_warmest, m_hottest;
    std::optional<std::uint64_t> m_hours; ///< powered on
    bool m_scsiTooWarm = false;           ///< a SCSI or SAS drive says so, and that it says nothing else
    /// Of SCSI and SAS drives: sectors replaced since they left the factory, and errors that were not
    /// corrected.
    std::optional<std::uint64_t> m_grownDefects, m_uncorrected;
};

/// No numbers that JSON cannot hold: counts of more than 64 bits are the largest one. Never throws for the
/// text's sake. A member that is there and is not what it should be is left out, and a doubt.
SmartReport parseSmartReport(std::string_view json);

struct SmartOptions
{
    std::string m_deviceType; ///< what smartctl takes after -d; empty: it finds out
    /// More sectors that wait for their replacement, or that were found unreadable, are a fault; absent: no
    /// number of them is.
    std::optional<std::uint64_t> m_mostPending;
};

} // namespace krel5::modules
