#pragma once
// What a drive itself has counted, before and after a test of it: errors that the system never heard of, or that nobody's
// read came by.
//
//     Outcome outcome = besideDriveCounts(host, driveReports("/dev/nvme0n1"), [&] { return runReadTest(...); });
//
// Thread rule: as for TestHost.

#include <common/ChildProcess.h>
#include <common/TestHost.h>
#include <common/smart/SmartReport.h>

#include <functional>
#include <optional>
#include <string>

namespace krel5::modules::storage {

/// What the drive says now; nothing where it, or the program that asks it, says nothing. Heeds a stop.
using DriveReports = std::function<std::optional<SmartReport>(std::function<bool()> const& stopping)>;

/// By smartctl; `program` is empty where there is none.
DriveReports driveReports(std::string const& device, std::string const& program = findProgram("smartctl"));

/// Runs the test. Faults: "SmartLostMore" (What, Count) where the count of what the drive could not correct rose meanwhile, as NVMe and
/// SCSI define it. Warnings: "SmartCountRose" (What, Count) for other counts. After a stop, the drive is not asked again.
Outcome besideDriveCounts(TestHost& host, DriveReports const& reports, std::function<Outcome()> const& test);

} // namespace krel5::modules::storage
