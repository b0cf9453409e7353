#pragma once
// What a drive says of its own health, as smartctl prints it in JSON.
//
//     SmartReport report = parseSmartReport(text);
//     Outcome outcome = judgeSmart(host, report, exitStatus);
//
// Thread rule: plain functions on values.

#include <common/TestHost.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace krel5::modules {

struct SmartAttribute
{
    int m_id = 0;
    std::string m_name;
    std::int64_t m_value = 0;
    std::int64_t m_threshold = 0;
    std::string m_whenFailed; ///< "", "now", "past"
};

struct NvmeHealth
{
    std::uint64_t m_criticalWarning = 0; ///< bits of the SMART / Health log, byte 0
    std::uint64_t m_mediaErrors = 0;
    std::uint64_t m_percentageUsed = 0; ///< of the rated life; may exceed 100
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
};

/// Never throws for the text's sake. Members of another type than expected count as left out; lists and texts
/// are cut at 1000 entries and 1000 bytes.
SmartReport parseSmartReport(std::string_view json);

/// `exitStatus` is smartctl's bit mask (smartctl(8), "EXIT STATUS"). Faults: "SmartFailing" (Reason),
/// "SmartAttributeFailing" (Id, Name, Value, Threshold), "SmartCriticalWarning" (Bits, Meaning). Warnings:
/// "SmartAttributeFailedBefore" (as above), "SmartUnnamedFailedBefore" where the list names none,
/// "SmartMediaErrors" (Count), "SmartWorn" (PercentageUsed), "SmartErrorLog",
/// "SmartSelfTestLog", "SmartCommandFailed". Problems: "SmartNotSupported" (Reason), "SmartRefused" (Reason).
/// Note: "SmartHealth" (Passed, Attributes).
Outcome judgeSmart(TestHost& host, SmartReport const& report, int exitStatus);

/// Runs smartctl on the device and judges what it prints. NotSupported where the program is not installed.
Outcome runSmartTest(TestHost& host, std::string const& device);

} // namespace krel5::modules
