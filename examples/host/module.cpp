// The module that is hosted: how much memory of this machine is in use, with an alert when little is left.
#include <krel5/Alert.h>
#include <krel5/AlertType.h>
#include <krel5/DataType.h>
#include <krel5/DeviceCapability.h>
#include <krel5/DeviceProperty.h>
#include <krel5/IndicatorModule.h>
#include <krel5/PropertyCategory.h>
#include <krel5/SysInfoDevice.h>
#include <krel5/Value.h>

#include <cmath>
#include <fstream>
#include <string>

using namespace krel5;

static DeviceProperty* s_used = nullptr;
static Alert* s_scarce = nullptr;
static bool s_isRaised = false;

/// Kilobytes; 0 where the line is missing.
static double lineOf(std::string const& name)
{
    std::ifstream file("/proc/meminfo");
    std::string word;
    double number = 0;
    while (file >> word)
        if (word == name && file >> number)
            return number;
    return 0;
}

static IndicatorReturnData readUse(DiagDevice const&)
{
    double const total = lineOf("MemTotal:");
    if (total <= 0)
        return IndicatorReturnData(); // nothing read, nothing told
    double const used = std::round(1000 * (total - lineOf("MemAvailable:")) / total) / 10;
    if (used > 95 && !s_isRaised)
        IndicatorModule::requestAlertAddition(s_scarce);
    else if (used < 90 && s_isRaised) // not at the limit: the alert would come and go
        IndicatorModule::requestAlertRemoval(s_scarce->guid());
    s_isRaised = s_isRaised ? used >= 90 : used > 95;
    return IndicatorReturnData().setProperty(*s_used->setValue(Value(used, DataType::PERCENT())));
}

static void enumerate()
{
    SysInfoDevice* const memory = SysInfoDevice::createGeneric(
        DeviceCapability("MemoryInUse"), DeviceCapability("MemoryInUse"), "Memory in use",
        "What programs have taken", "/proc/meminfo", "MEMINUSE");
    s_scarce = Alert::createAlert("Scarce", AlertType::HARDWARE_ISSUE())
                   ->setTitleOverride("Memory is scarce")
                   ->setMessageOverride("Programs are about to be ended for want of memory")
                   ->setDeviceAssociation(memory);
    IndicatorModule::addDevice(memory);
}

int moduleMain(int argc, char** argv)
{
    IndicatorModule::setCmdLineArgs(argc, argv);
    IndicatorModule::setVersion(1, 0, "1");
    IndicatorModule::setModuleCapabilities(DeviceCapability("MemoryInUse"));
    IndicatorModule::setEnumerationCallback(enumerate);
    s_used = IndicatorModule::createDeviceProperty("Used", PropertyCategory::Volatile(), DataType::PERCENT(),
                                                   DeviceCapability("MemoryInUse"));
    IndicatorModule::createIndicator("use", DeviceCapability("MemoryInUse"), readUse);
    return IndicatorModule::start();
}
