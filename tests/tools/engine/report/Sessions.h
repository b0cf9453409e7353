#pragma once
// Sessions as tests need them.

#include <engine/report/Records.h>
#include <engine/report/Session.h>

#include <string>
#include <vector>

namespace engine::test {

inline Time at(int seconds)
{
    return Time(std::chrono::milliseconds(1'795'360'989'042 + 1000LL * seconds)); // 2026-11-22T15:23:09.042Z
}

inline SessionBegan sessionBegan()
{
    return {at(0),
            "5.0.0",
            "krel5-engine run --plan quick",
            "ACME Roadrunner",
            "SN 123",
            "amsel",
            "Debian 12, Linux 6.1",
            {{"Processor", "2 x 3.2 GHz"}, {"Memory", "24 GiB"}},
            "quick",
            3};
}

inline RunBegan runBegan(RunId run, std::string const& test = "read",
                         std::string const& device = "ACME Drive")
{
    RunBegan record;
    record.time = at(static_cast<int>(run));
    record.run = run;
    record.moduleGuid = "11111111-2222-3333-4444-555555555555";
    record.moduleVersion = "1.2.3";
    record.program = "/usr/libexec/krel5/storage";
    record.test = test;
    record.testName = test == "read" ? "Read all blocks" : test;
    record.device = {"guid of " + device, device, "a drive", "HardDrive", "/dev/sda"};
    record.parameters = {{"Seed", "42"}};
    record.limitSeconds = 600;
    record.again = "krel5-engine run storage:" + test + " --device /dev/sda --set Seed=42";
    return record;
}

inline RunEnded runEnded(RunId run, std::string const& result, int second = 20)
{
    RunEnded record;
    record.time = at(second);
    record.run = run;
    record.result = result;
    record.seconds = 12.5;
    record.exitStatus = result == "PASS" ? 0 : 23;
    return record;
}

inline RunEvent failure(RunId run)
{
    return {at(15),
            run,
            "ERR",
            "BadSector",
            "17",
            "Block 7 cannot be read.",
            "modules/storage/ReadTest.cpp",
            64,
            "ACME Drive",
            {"Replace the cable.", "Replace the drive."}};
}

/// A drive's temperature, watched beside the tests.
inline WatchReadings warmth(double degrees, int second)
{
    std::string const text = std::to_string(static_cast<int>(degrees)) + " °C";
    return {at(second),
            "sensors",
            {"guid of ACME Drive", "ACME Drive", "", "HardDrive", "/dev/sda"},
            {{"Temperature", "Temperature", text, degrees, "celsius"}, {"State", "", "spins", {}, ""}}};
}

/// One that passed, one that failed, one that is not supported, one that could not be run.
inline std::vector<Record> failedSession()
{
    RunEnded failed = runEnded(2, "FAIL");
    failed.output = "reading...\nno answer\n";
    failed.logTail = "error 5\n";
    return {sessionBegan(),
            runBegan(1),
            warmth(-5.5, 3),
            RunProgress{at(5), 1, 10, 1},
            runEnded(1, "PASS", 9),
            warmth(61, 10),
            WatchNote{at(11),
                      "sensors",
                      "alertRaised",
                      "ACME Drive",
                      "A drive is hot",
                      "It has 61 degrees",
                      {"Is there a fan?"}},
            runBegan(2, "write", "ACME Drive 2"),
            failure(2),
            RunQuestion{at(16), 2, "Go on?", "The drive is slow.", "Yes", true},
            failed,
            runBegan(3, "smart"),
            runEnded(3, "NOT SUPPORTED", 21),
            warmth(40, 22),
            RunSkipped{at(22), "11111111-2222-3333-4444-555555555555", "erase", "ACME Drive",
                       "INSUFFICIENT PRIVILEGE", "only root may do that"},
            SessionEnded{at(23), "FAIL", 23, 23.0}};
}

/// As an engine leaves it that goes down while its second run is on its way.
inline std::vector<Record> interruptedSession()
{
    return {sessionBegan(), runBegan(1), runEnded(1, "PASS", 9), runBegan(2, "write", "ACME Drive 2"),
            RunProgress{at(40), 2, 40, 3}};
}

inline Session sessionOf(std::vector<Record> const& records)
{
    SessionBuilder builder;
    for (Record const& record : records)
        builder.add(record);
    return builder.session();
}

} // namespace engine::test
