#pragma once
// Watches the machine's own counters while a test runs, and says what rose.
//
//     EvidenceWatch watch("/");
//     watch.beginTest("/dev/sda");
//     Outcome outcome = check(host);
//     outcome = watch.judge(host, outcome, {});   // sends events; what could not be corrected is FAIL
//
// A rise that concerns every test (memory, processors), or the device under test and the bus functions on the way to it,
// counts for the verdict. A rise of another device is told as a warning: it is no evidence against the one under test.
//
// Thread rule: one thread.

#include <common/TestHost.h>
#include <common/evidence/Counters.h>

#include <optional>
#include <string>
#include <vector>

namespace krel5::modules::evidence {

struct EvidenceRules
{
    bool m_correctedFails = false;   ///< errors that were corrected fail the test as well
    bool m_tellsOfHidden = false;    ///< says when corrected memory errors would not be seen
    bool m_leavesOutNetwork = false; ///< for a module that counts those itself
};

class EvidenceWatch
{
public:
    explicit EvidenceWatch(std::string const& root) : m_machine(root) {}

    /// Looks where counters are and what they say. `osLocator`: the device under test, "/dev/sda" or "eth0"; empty, or
    /// one that is no such device: a test of what serves the whole machine.
    void beginTest(std::string const& osLocator);
    /// Tells what rose since beginTest, or since the last call, and returns the outcome that follows from it.
    Outcome judge(TestHost& host, Outcome outcome, EvidenceRules const& rules);

private:
    struct Rise
    {
        std::size_t counter;
        std::vector<std::string> parts;
        std::uint64_t count;
    };
    std::vector<Rise> risesSinceLast();
    bool concernsTest(Counter const& counter) const;

    MachineFolder m_machine;
    std::optional<MachineCounters> m_counters;
    std::vector<CounterValue> m_last;
    std::string m_name; ///< of the device under test
    std::string m_way;  ///< its folder, in which the functions on the way to it stand; of some drives several
    bool m_isFirst = true;
    bool m_isShortageTold = false;
};

} // namespace krel5::modules::evidence
