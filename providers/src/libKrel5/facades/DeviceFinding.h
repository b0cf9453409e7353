#pragma once
// What the facades have in common whose modules find devices: system information and indicators.

#include <libKrel5/internal/module/Facade.h>

namespace zel {
class Logger;
class String;
} // namespace zel

namespace krel5 {

class SysInfoDevice;

struct DeviceFinding
{
    /// As ModuleCommon::checkNotStarted, with a line on `logger` before the exception.
    static void checkNotStarted(bool started, char const* name, zel::Logger& logger);
    /// Facade::checkSetUp: such a module needs its callback and its capabilities.
    static void checkSetUp(void (*findDevices)());
    /// The facade is in charge of what goes wrong with it.
    static void addRequirement(Facade const& facade, zel::String const& module, bool completion);
    /// Makes the device known, as one that this module found, unless the filter leaves it out. One that is known
    /// already stays as it is, with an error on `logger`. Null: InternalException that names `call`. Any thread.
    static void addDevice(SysInfoDevice* device, char const* call, zel::Logger& logger);
    /// All devices that are known, in order of addition; one cursor in the process.
    static SysInfoDevice const* firstDevice();
    static SysInfoDevice const* nextDevice();
    /// The walk is over, whoever is at it: devices are about to be released. Under the library mutex.
    static void endWalk();
};

} // namespace krel5
