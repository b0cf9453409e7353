#pragma once
// What the module says of itself: the properties that it reads, those that state limits, and its parameters.

#include <sensors/Judge.h>
#include <sensors/Reading.h>

#include <krel5/Value.h>

#include <map>
#include <string>
#include <vector>

namespace krel5 {
class DeviceProperty;
class Parameter;
} // namespace krel5

namespace krel5::modules::sensors {

class Declarations
{
public:
    /// Declares all. Before start().
    Declarations();

    /// The property with the reading as its value; until the next call for the same one.
    DeviceProperty& reading(ReadingId id, double value) const;
    /// Null for what is no limit.
    DeviceProperty* limit(std::string const& key) const;
    /// What the settings say; nothing where they, and the rule, say nothing.
    std::optional<double> parameter(Rule const& rule) const;

    Parameter* m_root;
    Parameter* m_scanInterval; ///< in seconds
    Parameter* m_quiet;        ///< in seconds
    Parameter* m_health;       ///< in seconds; 0: drives are not asked

private:
    std::vector<DeviceProperty*> m_readings; ///< by ReadingId
    std::map<std::string, DeviceProperty*> m_limits;
    std::map<std::string, Parameter*> m_parameters;
};

/// With its unit.
Value valueOf(Form form, double number);

} // namespace krel5::modules::sensors
