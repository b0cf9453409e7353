#include <libKrel5/facades/DeviceFinding.h>

#include <libKrel5/basics/Arguments.h>
#include <libKrel5/basics/LibraryMutex.h>
#include <libKrel5/devices/DeviceInternalData.h>
#include <libKrel5/internal/module/ErrorReporting.h>
#include <libKrel5/internal/module/ModuleCommon.h>

#include <krel5/InvalidInitException.h>
#include <krel5/SysInfoDevice.h>

#include <zel/model/devices/SystemInformationFilter.h>
#include <zel/model/state/StateManager.h>

namespace krel5 {
namespace {

using zel::LogLevel;

zel::DeviceImp const* s_cursor = nullptr; // of firstDevice() and nextDevice(); under the library mutex

SysInfoDevice const* deviceBehind(zel::DeviceImp const* previous)
{
    zel::DeviceImp* const next =
        zel::StateManager::instance().nextDevice(previous, zel::CapabilityImp::ALL());
    s_cursor = next;
    return next ? &sysInfoHandleOf(*next) : nullptr;
}

} // namespace

void DeviceFinding::checkNotStarted(bool started, char const* name, zel::Logger& logger)
{
    try {
        ModuleCommon::checkNotStarted(started, name);
    } catch (InvalidInitException const& e) {
        ZEL_LOG(logger, LogLevel::Critical) << "caught exception: " << e.toString().zelString();
        throw;
    }
}

void DeviceFinding::checkSetUp(void (*findDevices)())
{
    if (!findDevices)
        throw InvalidInitException("Cannot start a module without setting the device discovery callback");
    if (ModuleCommon::module().supportedCapabilities().isEmpty())
        throw InvalidInitException(
            "Cannot start a module without setting the device capabilities of the module");
}

void DeviceFinding::addRequirement(Facade const& facade, zel::String const& module, bool completion)
{
    ErrorReporting::putInCharge(facade);
    zel::String const call = zel::String(facade.className) + "::addModuleEnumerationRequirement(...)";
    guarded(
        call.toUtf8().c_str(), [&] { ModuleCommon::module().addEnumerationRequirement(module, completion); },
        [](KrelException const& error) { ErrorReporting::post(error); });
}

void DeviceFinding::addDevice(SysInfoDevice* device, char const* call, zel::Logger& logger)
{
    requireArgument(device != nullptr, "device != nullptr", call);
    zel::AutoMutex const guard(libraryMutex());
    zel::DeviceImp& record = device->imp();
    if (!zel::SystemInformationFilter::instance().includeDeviceType(record.deviceType())) {
        ZEL_LOG(logger, LogLevel::Information)
            << "addDevice() Device: " << record.guid() << " of type: " << record.deviceType().toString()
            << " filtered out";
        return;
    }
    try {
        zel::StateManager::instance().addDevice(record, nullptr);
        zel::StateManager::instance().associate(ModuleCommon::module(), record, true);
    } catch (zel::StateException const& e) {
        ZEL_LOG(logger, LogLevel::Error) << e.toString();
    }
}

SysInfoDevice const* DeviceFinding::firstDevice()
{
    zel::AutoMutex const guard(libraryMutex());
    return deviceBehind(nullptr);
}

SysInfoDevice const* DeviceFinding::nextDevice()
{
    zel::AutoMutex const guard(libraryMutex());
    return s_cursor ? deviceBehind(s_cursor) : nullptr;
}

void DeviceFinding::endWalk() { s_cursor = nullptr; }

} // namespace krel5
