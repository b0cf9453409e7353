#pragma once
// The facade of an indicator module: a program that watches devices until it is told to stop. It finds devices, says
// with which functions they are looked at, and tells what comes, goes and goes wrong.
//
//     static DeviceProperty* s_celsius = nullptr;
//
//     static IndicatorReturnData readHeat(DiagDevice const&) // asks the drive
//     {
//         return IndicatorReturnData().setProperty(*s_celsius->setValue(Value(41u)));
//     }
//
//     int main(int argc, char** argv)
//     {
//         IndicatorModule::setCmdLineArgs(argc, argv);
//         IndicatorModule::setVersion(1, 0, "1");
//         IndicatorModule::setModuleCapabilities(DeviceCapability::HardDrive());
//         IndicatorModule::setEnumerationCallback([] {}); // the library finds drives itself
//         s_celsius = IndicatorModule::createDeviceProperty("Temperature", PropertyCategory::Volatile(),
//                                                           DataType::UINT32(), DeviceCapability::HardDrive());
//         IndicatorModule::createIndicator("heat", DeviceCapability::HardDrive(), readHeat);
//         return IndicatorModule::start();
//     }
//
// The order: command line, version, capabilities and enumeration callback, then properties and indicators, then
// start(). Objects may also be made inside the module-init callback; after start() has begun, every set-up operation and
// factory throws InvalidInitException. From start() on the library owns the process: it calls the enumeration callback,
// ties each indicator to the devices that it is for, and then looks ten times a second which indicators are due. How
// often each looks at a device is the parameter "UpdateIntervalInSeconds", 5 unless the settings say otherwise. SIGTERM,
// Ctrl-C and an engine's stop request, or its end, end the module with PASS: to be stopped is how it ends well.
//
// Thread rule: set-up and start() belong to the main thread; enumeration callback and indicators are called there. The
// requests, stopRequested(), the alerts and everything of SysInfoDevice may be used from any thread of the module.
// firstDevice() and nextDevice() share one cursor and belong to one thread at a time.
//
// An indicator that takes its time delays all others: what may block belongs into a thread of the module, and the indicator
// tells what that thread has found last.

#include <krel5/Alert.h>
#include <krel5/Export.h>
#include <krel5/Indicator.h>
#include <krel5/KrelString.h>

namespace zel {
class String;
} // namespace zel

namespace krel5 {

class DataType;
class DeviceCapability;
class DeviceProperty;
class KrelException;
class LocalizedString;
class Parameter;
class PropertyCategory;
class SysInfoDevice;
class Value;

class KREL5_EXPORT IndicatorModule
{
public:
    IndicatorModule() = delete;

    using Callback = void (*)();

    // ---- set-up, before start()

    /// Hands over main's arguments. `argv[0]` gives the module its guid: the lower-cased base name of the
    /// file. A command line that cannot be understood ends the process with INTERNALERROR and a message that
    /// names the word.
    static void setCmdLineArgs(int argc, char const* const argv[]);
    /// Version that -version prints: "{major}.{minor}.{build}". Required.
    static void setVersion(unsigned int major, unsigned int minor, KrelString const& build);
    /// Finds the devices that the library does not find, and hands each one on with addDevice(). Called once. Only while
    /// it runs may devices be linked to each other. Required, even where there is nothing to find.
    static void setEnumerationCallback(Callback callback);
    /// Runs inside start() before anything else; may make objects. An exception in it ends the start.
    static void setModuleInitCallback(Callback callback);
    /// Runs last, also when a signal or an engine stopped the module, unless the process ends on the spot; an exception in
    /// it is logged and changes nothing.
    static void setModuleExitCallback(Callback callback);
    /// The kinds of device that the module watches. Required; the empty set does not count.
    static void setModuleCapabilities(DeviceCapability const& capabilities);
    /// As SysInfoModule::addModuleEnumerationRequirement.
    static void addModuleEnumerationRequirement(zel::String const& module, bool completion);
    /// Names a library that the module uses; one that brings texts of its own.
    static void registerLibrary(KrelString const& name);
    static void registerLocalizedLibrary(KrelString const& name);

    // ---- factories, before start() or in the module-init callback
    //
    // As those of SysInfoModule: what they return belongs to the library and lives as long as the process. Errors:
    // InvalidKeyException, AlreadyCreatedException (not for properties), InvalidCreationException for a null function,
    // InvalidInitException (too late); nothing was made then.

    /// Calls `read` for each device that has one of the capabilities, when it is due and when an engine asks for it. What
    /// `read` returns is told together with the device. It may remove the device that it was called for. An exception
    /// that leaves it ends the module with INTERNALERROR.
    static Indicator* createIndicator(KrelString const& key, DeviceCapability const& capability,
                                      IndicatorReturnData (*read)(DiagDevice const&));
    /// Calls `look` in every pass, about ten times a second, and then does what propagateChanges() does. It is bound to no
    /// device; what it finds it tells with the requests below.
    static Indicator* createFreeIndicator(KrelString const& key, DeviceCapability const& capability,
                                          void (*look)());
    static DeviceProperty* createDeviceProperty(KrelString const& key, PropertyCategory const& category,
                                                DataType const& type, DeviceCapability const& capability);
    static DeviceProperty* createDevicePropertyGroup(KrelString const& key, PropertyCategory const& category,
                                                     DeviceCapability const& capability);
    static DeviceProperty* createDevicePropertyGroup(KrelString const& key, DataType const& type,
                                                     DeviceCapability const& capability);
    static DeviceProperty* createDevicePropertyGroup(KrelString const& key,
                                                     DeviceCapability const& capability);
    /// As DiagModule::createParameter; read through Indicator::addParameter, or global.
    static Parameter* createParameter(KrelString const& key, DataType const& type,
                                      KrelString const& defaultText, bool required, bool isGlobal = false,
                                      KrelString const& validRange = "");
    static LocalizedString* createLocalizedString(KrelString const& key);

    // ---- run

    /// Does what the command line asks, and ends the process with the result as its exit status: it does not return,
    /// except in the process of a client that hosts the module (IndicatorClient.h), which gets the status.
    static int start();
    /// Whether the module should end: a signal came, an engine asked or is gone. A function that takes its time asks.
    static bool stopRequested();

    // ---- inside the enumeration callback

    /// As those of SysInfoModule. firstDevice() begins with the devices that the library has found. A walk that goes on in
    /// a later pass of the loop ends there when devices went meanwhile.
    static void addDevice(SysInfoDevice* device);
    /// False: nobody can ask an indicator module for more, its command line has no -v.
    static bool collectSysInfo();
    static SysInfoDevice const* firstDevice();
    static SysInfoDevice const* nextDevice();

    // ---- requests, while the module runs
    //
    // Each changes what this process knows and tells the other side at once: the console prints it, an engine gets a
    // message. A null object is a programming error (InternalException); before start() they throw InvalidInitException.

    /// The device comes; the indicators that are for it look at it from now on. One that is known already, by its type and
    /// location, stays as it is, and nothing is told, with an error in the log. The device belongs to the library: one that
    /// comes and goes is made once and handed over again.
    static void requestDeviceAddition(SysInfoDevice* device);
    /// The device goes, and nothing looks at it any more. It stays usable for whoever was called for it, until that call
    /// returns. For one that is not known only the log gets a line.
    static void requestDeviceRemoval(SysInfoDevice* device);
    /// Stores a copy of the property on a device that is known, as SysInfoDevice::addProperty, whose errors it has; for a
    /// device that is not known only the log gets a line.
    static void requestDevicePropertyAddition(SysInfoDevice* device, DeviceProperty* property);
    /// The same with a property that another module declared: `module` is that module's guid, `key` the property's. Throws
    /// KrelException "Cannot locate property for module: {module} property: {key}" when nobody has heard of it.
    static void requestDevicePropertyAdditionFromAnotherModule(SysInfoDevice* device,
                                                               KrelString const& module,
                                                               KrelString const& key, Value const& value);
    /// For a device or a property that is not there only the log gets a line. Handles of the property are dead then.
    static void requestDevicePropertyRemoval(SysInfoDevice* device, DeviceProperty* property);
    /// Alert::send(), and the console shows it. An engine gets it with propagateChanges().
    static void requestAlertAddition(Alert* alert);
    /// Takes back the alert of that guid (Alert::guid()); for one that is not held only the log gets a line.
    static void requestAlertRemoval(KrelString const& guid);
    /// Tells the other side all that has changed since the last time, alerts too. After each free indicator the library does so
    /// itself.
    static void propagateChanges();

    /// The alerts that are held, oldest first, each as a copy. Throws IndexOutOfBoundsException(0, count - 1, index).
    static unsigned int alertCount();
    static Alert alertAtIndex(unsigned int index);

    /// Has the engine fetch `url`. True: `response` is what came. False without an engine, when it does not do so, or
    /// when no answer comes within 12 seconds; `response` may then say why. `options`: lines of the request, "Name: value".
    static bool httpGetRequest(KrelString const& url, KrelString& response, KrelString const& options);

private:
    friend struct IndicatorModuleFacade;
    static void internalErrorPost(KrelException const& error);

    static bool s_started;
};

} // namespace krel5
