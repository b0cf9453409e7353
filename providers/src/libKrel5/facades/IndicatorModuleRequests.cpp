// What an indicator module asks for while it runs: each request changes the state of this process and tells the other side.
#include <krel5/IndicatorModule.h>

#include <libKrel5/basics/Arguments.h>
#include <libKrel5/basics/LibraryMutex.h>
#include <libKrel5/devices/DeviceInternalData.h>
#include <libKrel5/facades/IndicatorLoop.h>
#include <libKrel5/internal/backends/CommInterface.h>
#include <libKrel5/internal/module/ModuleCommon.h>

#include <krel5/InvalidInitException.h>
#include <krel5/KrelException.h>
#include <krel5/SysInfoDevice.h>
#include <krel5/Value.h>

#include <zel/foundation/Logger.h>
#include <zel/model/state/StateManager.h>

#include <algorithm>

namespace krel5 {
namespace {

using zel::LogLevel;

zel::Logger& logger()
{
    static zel::Logger& s_logger = zel::LogFactory::getLogger("krel5.IndicatorModule");
    return s_logger;
}

zel::StateManager& manager() { return zel::StateManager::instance(); }

// The other side, which start() chooses.
CommInterface& otherSide(char const* request)
{
    if (CommInterface* const comm = ModuleCommon::comm())
        return *comm;
    throw InvalidInitException(KrelString("Cannot call IndicatorModule::") + request +
                               " before calling start");
}

void require(bool present, char const* argument, char const* request)
{
    requireArgument(present, (zel::String(argument) + " != nullptr").toUtf8().c_str(),
                    (zel::String("IndicatorModule::") + request + "(...)").toUtf8().c_str());
}

// Things go while somebody still asks for them: nothing that should end a program that watches for weeks.
void logUnknown(char const* request, zel::String const& what)
{
    ZEL_LOG(logger(), LogLevel::Error) << request << "(): not known: " << what;
}

/// The record that is known of the device; null, with a line in the log, when none is. Logs the request.
zel::DeviceImp* known(SysInfoDevice const& device, char const* request)
{
    zel::String const guid = device.imp().guid();
    ZEL_LOG(logger(), LogLevel::Debug) << request << "(" << guid << ")";
    zel::DeviceImp* const record = manager().device(guid);
    if (!record)
        logUnknown(request, guid);
    return record;
}

// Where something leaves it out it is not there afterwards, and nothing is told of it.
void addProperty(CommInterface& comm, zel::DeviceImp& device, DeviceProperty const& property)
{
    sysInfoHandleOf(device).addProperty(&property);
    if (zel::PropertyImp* const added = device.property(property.key().zelString()))
        comm.sendRequestDevicePropertyAddition(device, *added);
}

std::shared_ptr<zel::PropertySpecImp> specification(zel::String const& module, zel::String const& key)
{
    for (std::size_t i = 0; i < manager().propertySpecCount(); ++i)
        if (auto const& spec = manager().propertySpecAtIndex(i);
            spec->moduleGuid() == module && spec->keyInModule() == key)
            return spec;
    return nullptr;
}

} // namespace

void IndicatorModule::requestDeviceAddition(SysInfoDevice* device)
{
    char const* const request = "requestDeviceAddition";
    require(device != nullptr, "device", request);
    zel::AutoMutex const guard(libraryMutex());
    zel::DeviceImp& record = device->imp();
    ZEL_LOG(logger(), LogLevel::Debug) << request << "(" << record.guid() << ")";
    CommInterface& comm = otherSide(request);
    try {
        manager().addDevice(record, nullptr);
    } catch (zel::StateException const& e) {
        ZEL_LOG(logger(), LogLevel::Error) << e.toString();
        return;
    }
    manager().associate(ModuleCommon::module(), record, true);
    comm.sendRequestDeviceAddition(record);
    IndicatorLoop::tie(record);
    IndicatorLoop::watch(record);
}

void IndicatorModule::requestDeviceRemoval(SysInfoDevice* device)
{
    char const* const request = "requestDeviceRemoval";
    require(device != nullptr, "device", request);
    zel::AutoMutex const guard(libraryMutex());
    CommInterface& comm = otherSide(request);
    zel::DeviceImp* const record = known(*device, request);
    if (!record)
        return;
    manager().removeDevice(record->guid());
    comm.sendRequestDeviceRemoval(*record);
}

void IndicatorModule::requestDevicePropertyAddition(SysInfoDevice* device, DeviceProperty* property)
{
    char const* const request = "requestDevicePropertyAddition";
    require(device != nullptr, "device", request);
    require(property != nullptr, "property", request);
    zel::AutoMutex const guard(libraryMutex());
    CommInterface& comm = otherSide(request);
    if (zel::DeviceImp* const record = known(*device, request))
        addProperty(comm, *record, *property);
}

void IndicatorModule::requestDevicePropertyAdditionFromAnotherModule(SysInfoDevice* device,
                                                                     KrelString const& module,
                                                                     KrelString const& key,
                                                                     Value const& value)
{
    char const* const request = "requestDevicePropertyAdditionFromAnotherModule";
    require(device != nullptr, "device", request);
    zel::AutoMutex const guard(libraryMutex());
    CommInterface& comm = otherSide(request);
    zel::DeviceImp* const record = known(*device, request);
    auto const spec = specification(module.zelString(), key.zelString());
    if (!spec)
        throw KrelException(KrelString("Cannot locate property for module: ") + module + " property: " + key);
    if (!record)
        return;
    DeviceProperty property(spec.get());
    property.setValue(value);
    addProperty(comm, *record, property);
}

void IndicatorModule::requestDevicePropertyRemoval(SysInfoDevice* device, DeviceProperty* property)
{
    char const* const request = "requestDevicePropertyRemoval";
    require(device != nullptr, "device", request);
    require(property != nullptr, "property", request);
    zel::AutoMutex const guard(libraryMutex());
    CommInterface& comm = otherSide(request);
    zel::DeviceImp* const record = known(*device, request);
    if (!record)
        return;
    zel::String const key = property->key().zelString();
    zel::PropertyImp const* const there = record->property(key);
    if (!there)
        return logUnknown(request, key);
    zel::PropertyImp removed(*there); // it goes before it is told
    manager().removeProperty(*record, key);
    comm.sendRequestDevicePropertyRemoval(*record, removed);
}

void IndicatorModule::requestAlertAddition(Alert* alert)
{
    char const* const request = "requestAlertAddition";
    require(alert != nullptr, "alert", request);
    zel::AutoMutex const guard(libraryMutex());
    CommInterface& comm = otherSide(request);
    ZEL_LOG(logger(), LogLevel::Debug) << request << "(" << alert->imp().guid() << ")";
    alert->send();
    comm.sendRequestAlertAddition(alert->imp());
}

void IndicatorModule::requestAlertRemoval(KrelString const& guid)
{
    char const* const request = "requestAlertRemoval";
    zel::AutoMutex const guard(libraryMutex());
    CommInterface& comm = otherSide(request);
    zel::String const& wanted = guid.zelString();
    ZEL_LOG(logger(), LogLevel::Debug) << request << "(" << wanted << ")";
    for (std::size_t i = 0; i < manager().alertCount(); ++i) {
        zel::AlertImp const& alert = *manager().alertAtIndex(i);
        if (alert.guid() != wanted)
            continue;
        zel::AlertImp const removed = alert; // it goes before it is told
        manager().removeAlert(wanted);
        return comm.sendRequestAlertRemoval(removed);
    }
    logUnknown(request, wanted);
}

void IndicatorModule::propagateChanges()
{
    zel::AutoMutex const guard(libraryMutex());
    ZEL_LOG(logger(), LogLevel::Debug) << "propagateChanges()";
    otherSide("propagateChanges").propagateChanges();
}

unsigned int IndicatorModule::alertCount()
{
    zel::AutoMutex const guard(libraryMutex());
    return static_cast<unsigned>(manager().alertCount());
}

Alert IndicatorModule::alertAtIndex(unsigned int index)
{
    zel::AutoMutex const guard(libraryMutex());
    requireIndex(index, manager().alertCount());
    return Alert(*manager().alertAtIndex(index));
}

// The answer may take its time, and whoever brings it may need the mutex.
bool IndicatorModule::httpGetRequest(KrelString const& url, KrelString& response, KrelString const& options)
{
    char const* const request = "httpGetRequest";
    ZEL_LOG(logger(), LogLevel::Debug) << request << "()";
    zel::String text;
    bool const succeeded = otherSide(request).httpGetRequest(url.zelString(), text, options.zelString());
    response = KrelString(text);
    return succeeded;
}

} // namespace krel5
