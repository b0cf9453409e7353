#pragma once
// Starts the self-test that a drive has, and waits for its end.
//
//     Outcome outcome = runDriveSelfTest(host, "/dev/sda", {.isExtended = true});
//
// Thread rule: as for TestHost.

#include <common/ChildProcess.h>
#include <common/TestHost.h>
#include <common/smart/SmartReport.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace krel5::modules::storage {

struct DriveSelfTestSettings
{
    bool isExtended = false;       ///< reads the whole surface, which takes hours
    SmartOptions options{};        ///< how smartctl reaches the drive
    double pollSeconds = 5;        ///< from one question how far it is to the next
    double patienceSeconds = 3600; ///< without progress
};

/// What the test asks of the machine. `ask` gets smartctl's options and runs it, until `stopping`.
struct DriveSelfTestAccess
{
    std::function<ChildResult(std::vector<std::string> const& wanted, double seconds,
                              std::function<bool()> const& stopping)>
        ask;
    std::function<void(std::chrono::milliseconds)> wait;
    std::function<double()> now; ///< seconds, on a clock that never goes back
};

/// Pass needs that the test was seen to run, or a new line in the drive's log, and that the drive says "passed". A stop request
/// ends the test in the drive. Faults: "SmartSelfTestFailed" (Type, Status, Hours, Lba). Problems: "SelfTestNone" (Reason),
/// "SelfTestBusy" where one runs already, "SelfTestNotBegun", "SelfTestEnded" (Status) where something else has ended it,
/// "SelfTestStuck" (Minutes, Percent), those of smartctl's end. Notes: "SelfTestBegun" (Type, Minutes), "SelfTestPassed" (Type).
Outcome runDriveSelfTest(TestHost& host, DriveSelfTestSettings const& settings,
                         DriveSelfTestAccess const& access);

/// With smartctl on a drive of the running machine; the outcomes of runSmartTest where it cannot be asked.
Outcome runDriveSelfTest(TestHost& host, std::string const& device, DriveSelfTestSettings const& settings,
                         std::string const& program = findProgram("smartctl"));

} // namespace krel5::modules::storage
