// The smallest indicator module: how busy this machine is. `load run` shows it every five seconds until Ctrl-C, with an
// alert while it is busier than the parameter "limit" says.
#include <krel5/Alert.h>
#include <krel5/AlertType.h>
#include <krel5/DataType.h>
#include <krel5/DeviceCapability.h>
#include <krel5/DeviceProperty.h>
#include <krel5/IndicatorModule.h>
#include <krel5/Parameter.h>
#include <krel5/PropertyCategory.h>
#include <krel5/SysInfoDevice.h>
#include <krel5/Tip.h>
#include <krel5/TipType.h>
#include <krel5/Value.h>

#include <fstream>

using namespace krel5;

static DeviceProperty* s_load = nullptr;
static Parameter* s_limit = nullptr;
static Alert* s_busy = nullptr;
static bool s_isRaised = false;

static void tell(double load, double limit)
{
    if (!s_isRaised && load > limit) {
        s_isRaised = true;
        s_busy->setMessageVariable("load", Value(load, DataType::DOUBLE()));
        IndicatorModule::requestAlertAddition(s_busy);
    } else if (s_isRaised && load < 0.8 * limit) { // not at the limit: the alert would come and go
        s_isRaised = false;
        IndicatorModule::requestAlertRemoval(s_busy->guid());
    } else {
        return;
    }
    IndicatorModule::propagateChanges();
}

static IndicatorReturnData readLoad(DiagDevice const&)
{
    double load = 0;
    if (!(std::ifstream("/proc/loadavg") >> load))
        return IndicatorReturnData(); // nothing read, nothing told
    tell(load, s_limit->value().valueDouble());
    return IndicatorReturnData().setProperty(*s_load->setValue(Value(load, DataType::DOUBLE())));
}

static void enumerate()
{
    SysInfoDevice* const system =
        SysInfoDevice::createSys(DeviceCapability::OperatingSystem(), DeviceCapability::OperatingSystem(),
                                 "System", "The system that runs", "/proc/loadavg");
    s_busy = Alert::createAlert("Busy", AlertType::HARDWARE_ISSUE())
                 ->setTitleOverride("This machine is busy")
                 ->setMessageOverride("{load} processes want to run")
                 ->addTip(Tip::createTip("Top", TipType::TEXT_TIP())
                              ->setTitleOverride("Who is it?")
                              ->setContentOverride("top shows which processes they are"))
                 ->setDeviceAssociation(system);
    IndicatorModule::addDevice(system);
}

int main(int argc, char** argv)
{
    IndicatorModule::setCmdLineArgs(argc, argv);
    IndicatorModule::setVersion(1, 0, "1");
    IndicatorModule::setModuleCapabilities(DeviceCapability::OperatingSystem());
    IndicatorModule::setEnumerationCallback(enumerate);
    s_load = IndicatorModule::createDeviceProperty("LoadAverage", PropertyCategory::Volatile(),
                                                   DataType::DOUBLE(), DeviceCapability::OperatingSystem());
    s_limit = IndicatorModule::createParameter("limit", DataType::DOUBLE(), "4", false, false, "0..");
    IndicatorModule::createIndicator("load", DeviceCapability::OperatingSystem(), readLoad)
        ->addParameter(s_limit);
    return IndicatorModule::start();
}
