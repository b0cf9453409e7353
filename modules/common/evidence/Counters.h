#pragma once
// The machine's own error counters: which there are, and what they say now.
//
//     MachineCounters counters(machine);             // looks where they are; some hundred files
//     std::vector<CounterValue> before = counters.read();
//
// Read, where a machine has them: sys/devices/system/edac/mc (Documentation/ABI/testing/sysfs-devices-edac), proc/interrupts
// and sys/devices/system/cpu/cpu*/thermal_throttle, sys/bus/pci/devices/*/aer_dev_* (sysfs-bus-pci-devices-aer_stats),
// sys/block/*/device/{ioerr_cnt,iotmo_cnt}, sys/class/net/*/statistics. Needs no privilege. Nothing is read that would
// wake or ask a device: hwmon chips only where they are the processor's own.
//
// Thread rule: one thread.

#include <common/EventKey.h>
#include <common/evidence/MachineFolder.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace krel5::modules::evidence {

/// What a rise means.
enum class Gravity {
    Uncorrected, ///< something was lost
    Corrected,   ///< the hardware made it good; a part that is about to fail shows so first
    Observed     ///< worth a look, and no statement about a part's health by itself
};

/// Whose it is. What serves the whole machine counts for every test; what serves one device counts for the
/// tests of that device and of those that hang on it.
enum class Kind { Machine, Processor, Bus, Drive, Network };

struct Counter
{
    EventKey event;
    Gravity gravity;
    Kind kind;
    std::string part; ///< as a person finds it: a label, an address, a name
    std::string path; ///< of the file
    std::string word; ///< the row of the file that counts; empty: the file is the number
    HeldFile file;    ///< empty: too many are held already, or it is a table that several counters share
};

struct CounterValue
{
    std::size_t counter; ///< index into MachineCounters::all(); for interrupts, that of the row
    std::string part;
    std::uint64_t value;
};

struct HotPart
{
    std::string part;
    double degrees; ///< Celsius, as the limit
    double limit;
};

class MachineCounters
{
public:
    explicit MachineCounters(MachineFolder const& machine);

    std::vector<Counter> const& all() const { return m_counters; }
    /// Of those that can be read now, in the order of all().
    std::vector<CounterValue> read() const;
    /// Processors that are now at their critical temperature, or beyond.
    std::vector<HotPart> hotParts() const;
    bool countsMemoryErrors() const { return m_countsMemoryErrors; }

private:
    void findMemory();
    void findMemoryOfRow(std::string const& folder, std::string const& name);
    void findProcessors();
    void findBus();
    void findDrives();
    void findNetwork();
    void findTemperatures();
    void add(EventKey event, Gravity gravity, Kind kind, std::string part, std::string path,
             std::string word = {});
    void readInterrupts(std::vector<CounterValue>& values) const;

    MachineFolder const& m_machine;
    std::vector<Counter> m_counters;
    std::vector<std::pair<std::string, double>> m_temperatures; ///< file without its ending, limit
    std::size_t m_held = 0;
    bool m_countsMemoryErrors = false;
};

/// Whether the firmware says that the main memory has an error correction.
bool hasErrorCorrection(MachineFolder const& machine);

} // namespace krel5::modules::evidence
