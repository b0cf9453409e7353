#pragma once
// What the chips of a machine measure: names and units of the files below sys/class/hwmon are those of the kernel's
// Documentation/hwmon/sysfs-interface.rst.
//
//     for (HwmonInput const& fan : hwmonInputs(machine, "fan"))
//         speed = machine.reading(fan.path + "_input");

#include <common/evidence/MachineFolder.h>

#include <string>
#include <string_view>
#include <vector>

namespace krel5::modules {

struct HwmonInput
{
    std::string path;  ///< "sys/class/hwmon/hwmon1/fan2"; its files go on with "_input" and the like
    std::string name;  ///< for a person: "nct6775 fan2", "nct6775 CPU fan"
    std::string label; ///< empty where there is none
};

/// Those of one kind, "fan", "in" or "temp", of all chips; the first 256.
std::vector<HwmonInput> hwmonInputs(MachineFolder const& machine, std::string_view kind);

/// True for "cpu12" behind "cpu", "fan2_input" between "fan" and "_input".
bool isNumbered(std::string_view name, std::string_view before, std::string_view behind = {});

} // namespace krel5::modules
