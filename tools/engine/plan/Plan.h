#pragma once
// What is to be run: the answer to what a person asked for, before anything is started.

#include <zel/model/vocabulary/CapabilityImp.h>

#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace zel {
class DeviceImp;
}

namespace engine {

/// Of what a test draws at random. Where nobody set it, and it is a UINT64 without a range, each run is given one,
/// so that the report has it and the run can be made again.
constexpr char kSeedParameter[] = "Seed";

/// One test on one device, by one process of its module.
struct PlannedRun
{
    std::string program; ///< path of the module
    std::string moduleGuid, moduleVersion;
    std::string test, testName;             ///< key, and what a person reads
    zel::DeviceImp const* device = nullptr; ///< of the machine's state, which outlives the plan; never null
    std::vector<std::pair<std::string, std::string>>
        parameters;              ///< key and text, beside what the settings say
    zel::CapabilityImp optional; ///< of devices that the test may use beside its own
    bool interactive = false, destructive = false, parallel = false;
    unsigned shutdownSeconds = 5;     ///< what the test asks for between stop and SIGTERM
    std::chrono::seconds forTime{0};  ///< go on for this long; 0: once
    std::chrono::seconds limit{0};    ///< then it is stopped; 0: none
    std::chrono::seconds expected{0}; ///< how long a pass takes, about; 0: unknown
    std::string again;                ///< the command that makes this run again
    bool drawsSeed = false;           ///< it has a parameter "Seed" that nobody set
};

/// What was asked for and cannot be run.
struct Refusal
{
    std::string moduleGuid, test, deviceName; ///< the last two may be empty
    std::string result; ///< of TestResultImp, as text: "NO DEVICE", "INSUFFICIENT PRIVILEGE"
    std::string reason;
    bool isAskedFor = false; ///< by name; the verdict counts it. Otherwise it just does not apply here.
};

struct Plan
{
    std::string name;             ///< "quick", a file; empty: chosen by hand
    std::vector<PlannedRun> runs; ///< in the order in which they begin
    std::vector<Refusal> refusals;
};

} // namespace engine
