#pragma once
// Temperatures, frequencies, fans and throttle counters of a machine, read again and again
// (Documentation/hwmon/sysfs-interface.rst, Documentation/admin-guide/pm/cpufreq.rst,
// Documentation/ABI/testing/sysfs-devices-system-cpu).
//
// Thread rule: one thread at a time.

#include <common/evidence/MachineFolder.h>

#include <string>
#include <vector>

namespace krel5::modules::cpu {

/// One that was read, in the unit in which a person is told of it.
struct Seen
{
    std::string what; ///< "k10temp Tctl", "16 CPU", "nct6775 fan2", "core_throttle_count"
    char const* unit; ///< "°C", "MHz", "1/min", "×"
    double first = 0, least = 0, most = 0, last = 0;
    std::size_t count = 0;
};

class LoadWatch
{
public:
    explicit LoadWatch(MachineFolder const& machine);
    void look();
    /// Those that could be read at least once.
    std::vector<Seen> seen() const;

private:
    struct Source
    {
        Seen seen;
        std::vector<std::string> files; ///< one, or one of each processor
        double divisor;
        bool isMost; ///< the highest of the files, else their mean
    };
    void addChips();
    void addProcessors(std::string const& file, std::string what, char const* unit, double divisor,
                       bool isMost);

    MachineFolder const& m_machine;
    std::vector<Source> m_sources;
};

} // namespace krel5::modules::cpu
