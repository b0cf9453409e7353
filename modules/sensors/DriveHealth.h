#pragma once
// What a drive says of its own health. It is asked seldom, and takes its time.

#include <sensors/Part.h>

#include <memory>
#include <string>

namespace zel {
class DeviceImp;
} // namespace zel

namespace krel5::modules::sensors {

/// Null for what is no drive, and where nothing can ask one: there is no smartctl. Of a machine that is a folder the file
/// "smartctl/NAME.json" is read, which is what "smartctl --json -a /dev/NAME" printed there; none is run.
std::unique_ptr<Part> healthPartOf(zel::DeviceImp const& device, MachineFiles const& files);

/// What the report, and smartctl's exit status, say. Of a drive that says nothing of its health, or sleeps, there is nothing to tell; what
/// is no report is a failure.
Readings healthReadings(std::string const& report, int exitStatus);

/// Runs it. Not longer than `seconds`, and a few more where the kernel does not let go of it.
Readings askDrive(std::string const& program, std::string const& device, double seconds = 60);

} // namespace krel5::modules::sensors
