#pragma once
// Temperatures, frequencies and fans of a machine, read again and again (Documentation/hwmon/sysfs-interface.rst,
// Documentation/admin-guide/pm/cpufreq.rst).
//
// Thread rule: one thread at a time.

#include <common/evidence/MachineFolder.h>

#include <string>
#include <vector>

namespace krel5::modules::cpu {

/// One that was read, in the unit in which a person is told of it.
struct Seen
{
    std::string what; ///< "k10temp Tctl", "cpu0-15", "nct6775 fan2"
    char const* unit; ///< "°C", "MHz", "1/min"
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
        std::vector<std::string> files; ///< the mean of which it is
        double divisor;
    };
    void addChips();
    void addFrequencies();

    MachineFolder const& m_machine;
    std::vector<Source> m_sources;
};

} // namespace krel5::modules::cpu
