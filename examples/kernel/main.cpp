// The smallest system-information module: which kernel runs here. `kernel enum` lists it, `kernel enum -v` adds how it
// was built.
#include <krel5/DataType.h>
#include <krel5/DeviceCapability.h>
#include <krel5/PropertyCategory.h>
#include <krel5/SyncDeviceProperty.h>
#include <krel5/SysInfoDevice.h>
#include <krel5/SysInfoModule.h>
#include <krel5/Value.h>

#include <fstream>
#include <string>

using namespace krel5;

static SyncDeviceProperty s_release("KernelRelease", PropertyCategory::SysInfo(), DataType::STRING(),
                                    DeviceCapability::OperatingSystem());
static SyncDeviceProperty s_build("KernelBuild", PropertyCategory::SysInfo(), DataType::STRING(),
                                  DeviceCapability::OperatingSystem());

static std::string firstLine(char const* path)
{
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

static void discover()
{
    SysInfoDevice* const system =
        SysInfoDevice::createSys(DeviceCapability::OperatingSystem(), DeviceCapability::OperatingSystem(),
                                 "Kernel", "The kernel that runs", "/proc/version");
    system->addPropertyValue(s_release, Value(firstLine("/proc/sys/kernel/osrelease")));
    if (SysInfoModule::collectSysInfo())
        system->addPropertyValue(s_build, Value(firstLine("/proc/version")));
    SysInfoModule::addDevice(system);
}

int main(int argc, char** argv)
{
    SysInfoModule::setCmdLineArgs(argc, argv);
    SysInfoModule::setVersion(1, 0, "1");
    SysInfoModule::setModuleCapabilities(DeviceCapability::OperatingSystem());
    SysInfoModule::setDiscoverDevicesCallback(discover);
    return SysInfoModule::start();
}
