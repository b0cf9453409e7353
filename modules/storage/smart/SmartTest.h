#pragma once
// Runs smartctl on a drive and judges what it says.
//
//     Outcome outcome = judgeSmart(host, parseSmartReport(text), exitStatus);
//
// Thread rule: plain functions on values.

#include <common/ChildProcess.h>
#include <common/TestHost.h>
#include <common/smart/SmartReport.h>

#include <optional>
#include <string>

namespace krel5::modules::storage {

/// `exitStatus` is smartctl's bit mask (smartctl(8), "EXIT STATUS"); bits that the report names count, too.
///
/// Pass needs an assessment by the drive, and a report without doubts. Faults: "SmartFailing" (Reason),
/// "SmartAttributeFailing" (Id, Name, Value, Threshold), "SmartCriticalWarning" (Bits, Meaning),
/// "SmartSelfTestFailed" (Type, Status, Hours, Lba) for a failure that no later self-test outdates,
/// "SmartSelfTestUnnamed" where only the exit status tells of one, "SmartTooManyPending" (Id, Name, Count,
/// Most). Warnings: "SmartTooWarm" (Temperature, Source), which is no fault of the drive;
/// "SmartAttributeUsedUp" (as above); signs of a drive that has begun to die: "SmartCount" (Id, Name, Count,
/// Meaning), "SmartMediaErrors", "SmartGrownDefects", "SmartUncorrected" (Count), "SmartSpareLow" (Spare,
/// Threshold), "SmartWorn" (PercentageUsed), "SmartAttributeFailedBefore" (as above),
/// "SmartUnnamedFailedBefore" where the list names none, "SmartErrorLog", "SmartSelfTestLog" when only
/// outdated self-tests failed, "SmartCommandFailed"; "SmartDoubtful" (Reason) beside a fault. Problems:
/// "SmartNotSupported" and, where the drive offers health and does not answer, or not so that it is
/// understood, "SmartNotRead" (Reason); "SmartRefused" (Reason); "SmartBadDeviceType" (Type, Reason). Notes:
/// "SmartAge" (Temperature, Hours), "SmartWear" (PercentageUsed, Spare, Threshold), "SmartLinkErrors"
/// (Count), "SmartHealth" (Passed, Attributes).
Outcome judgeSmart(TestHost& host, SmartReport const& report, int exitStatus,
                   SmartOptions const& options = {});

/// Judges how smartctl ended and what it printed. One that had to be ended says nothing of what the drive
/// offers: CannotRun, with the warning "SmartProgramLeft" (Process) when it could not be ended.
Outcome judgeSmartRun(TestHost& host, ChildResult const& child, ChildLimits const& limits,
                      SmartOptions const& options = {});

/// Nothing: smartctl can be asked about the device with these options.
std::optional<Outcome> refusedSmart(TestHost& host, std::string const& device, SmartOptions const& options,
                                    std::string const& program);

/// Nothing: it ran to its end by itself.
std::optional<Outcome> endedBadly(TestHost& host, ChildResult const& child, ChildLimits const& limits);

/// Runs smartctl on the device and judges what it prints. NotSupported where the program is not installed
/// (`program` is empty), BadParameters for a device type of other characters than letters, digits and , / + -
/// _
Outcome runSmartTest(TestHost& host, std::string const& device, SmartOptions const& options = {},
                     std::string const& program = findProgram("smartctl"));

} // namespace krel5::modules::storage
