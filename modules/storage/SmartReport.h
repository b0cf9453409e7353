#pragma once
// What a drive says of its own health, as smartctl prints it in JSON.
//
//     SmartReport report = parseSmartReport(text);
//     Outcome outcome = judgeSmart(host, report, exitStatus);
//
// Thread rule: plain functions on values.

#include <common/TestHost.h>
#include <storage/ChildProcess.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace krel5::modules::storage {

struct SmartAttribute
{
    int m_id = 0;
    std::string m_name;
    std::int64_t m_value = 0;
    std::int64_t m_threshold = 0;
    std::string m_whenFailed; ///< "", "now", "past"
    /// What the drive counts, beside the value that it rates itself with.
    std::optional<std::uint64_t> m_count;
};

struct NvmeHealth
{
    std::uint64_t m_criticalWarning = 0; ///< bits of the SMART / Health log, byte 0
    std::uint64_t m_mediaErrors = 0;
    std::uint64_t m_percentageUsed = 0; ///< of the rated life; may exceed 100
    /// Spare space that is left, and where the drive starts to warn, in percent.
    std::optional<std::uint64_t> m_spare, m_spareThreshold;
};

/// A self-test that the drive has in its log.
struct SelfTest
{
    std::string m_type, m_status;
    std::optional<bool> m_passed;         ///< absent when it did not come to an end
    std::optional<std::uint64_t> m_hours; ///< power-on hours at its end
    std::optional<std::uint64_t> m_lba;   ///< first sector that failed
};

/// What smartctl left out is absent.
struct SmartReport
{
    bool m_readable = false; ///< the text was a JSON object
    std::vector<std::string> m_errors;
    std::optional<bool> m_available, m_enabled;
    std::optional<bool> m_passed;
    std::vector<SmartAttribute> m_attributes;
    std::optional<NvmeHealth> m_nvme;
    std::vector<SelfTest> m_selfTests;         ///< the newest first
    std::optional<std::int64_t> m_temperature; ///< degrees Celsius
    std::optional<std::uint64_t> m_hours;      ///< powered on
    /// Of SCSI and SAS drives: sectors replaced since they left the factory, and errors that were not
    /// corrected.
    std::optional<std::uint64_t> m_grownDefects, m_uncorrected;
};

/// No numbers that JSON cannot hold: counts of more than 64 bits are the largest one. Never throws for the
/// text's sake. Members of another type than expected count as left out; lists and texts are cut at 1000
/// entries and 1000 bytes.
SmartReport parseSmartReport(std::string_view json);

/// `exitStatus` is smartctl's bit mask (smartctl(8), "EXIT STATUS").
///
/// Faults, the drive's own verdict: "SmartFailing" (Reason), "SmartAttributeFailing" (Id, Name, Value,
/// Threshold), "SmartCriticalWarning" (Bits, Meaning), "SmartSelfTestFailed" (Type, Status, Hours, Lba) when
/// the newest self-test that came to an end failed. Warnings, signs of a drive that has begun to die:
/// "SmartCount" (Id, Name, Count, Meaning), "SmartMediaErrors", "SmartGrownDefects", "SmartUncorrected"
/// (Count), "SmartSpareLow" (Spare, Threshold), "SmartWorn" (PercentageUsed), "SmartAttributeFailedBefore"
/// (as above), "SmartUnnamedFailedBefore" where the list names none, "SmartErrorLog", "SmartSelfTestLog" when
/// only older self-tests failed, "SmartCommandFailed". Problems: "SmartNotSupported" and, where the drive
/// offers health and does not answer, "SmartNotRead" (Reason); "SmartRefused" (Reason). Notes: "SmartAge"
/// (Temperature, Hours), "SmartWear" (PercentageUsed, Spare, Threshold), "SmartLinkErrors" (Count),
/// "SmartHealth" (Passed, Attributes).
Outcome judgeSmart(TestHost& host, SmartReport const& report, int exitStatus);

/// Judges how smartctl ended and what it printed. One that had to be ended says nothing of what the drive
/// offers: CannotRun, with the warning "SmartProgramLeft" (Process) when it could not be ended.
Outcome judgeSmartRun(TestHost& host, ChildResult const& child, ChildLimits const& limits);

/// Runs smartctl on the device and judges what it prints. NotSupported where the program is not installed
/// (`program` is empty).
Outcome runSmartTest(TestHost& host, std::string const& device,
                     std::string const& program = findProgram("smartctl"));

} // namespace krel5::modules::storage
