// What ties the declared objects to devices. A device itself knows neither tests nor indicators, so these two
// operations of the device handles stand here.
#include <krel5/DiagDevice.h>
#include <krel5/SysInfoDevice.h>

#include <libKrel5/basics/Arguments.h>
#include <libKrel5/basics/LibraryMutex.h>
#include <libKrel5/devices/DeviceInternalData.h>

#include <krel5/AlreadyAddedException.h>
#include <krel5/Indicator.h>
#include <krel5/Test.h>

#include <zel/foundation/Logger.h>
#include <zel/model/state/StateManager.h>

namespace krel5 {

void DiagDevice::addTest(Test* test)
{
    requireArgument(test != nullptr, "test != nullptr", "DiagDevice::addTest(...)");
    zel::AutoMutex const guard(libraryMutex());
    if (test->imp().isSwitchedOff()) {
        ZEL_LOG(zel::LogFactory::getLogger("krel5.DiagDevice"), zel::LogLevel::Warning)
            << "addTest: the settings switch the test " << test->imp().keyInModule() << " off";
        return;
    }
    if (!zel::StateManager::instance().associate(imp(), test->imp(), true))
        throw AlreadyAddedException("Test", test->key(), "DiagDevice", KrelString(imp().name()));
}

void SysInfoDevice::addIndicator(Indicator* indicator) const
{
    requireArgument(indicator != nullptr, "indicator != nullptr", "SysInfoDevice::addIndicator(...)");
    zel::AutoMutex const guard(libraryMutex());
    if (indicator->imp().isSwitchedOff()) {
        ZEL_LOG(zel::LogFactory::getLogger("krel.SysInfoDevice"), zel::LogLevel::Warning)
            << "addIndicator: the settings switch the indicator " << indicator->imp().keyInModule() << " off";
        return;
    }
    zel::DeviceImp& device = *data().device;
    zel::StateManager& manager = zel::StateManager::instance();
    if (!manager.device(device.guid()))
        manager.addDevice(device, nullptr);
    if (!manager.associate(*manager.device(device.guid()), indicator->imp(), true))
        throw AlreadyAddedException("Indicator", indicator->key(), "Device", KrelString(device.name()));
}

} // namespace krel5
