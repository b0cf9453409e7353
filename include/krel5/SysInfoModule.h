#pragma once
// The facade of a system-information module: a program that finds devices and says what it knows of them. It
// runs no tests.
//
//     static SyncDeviceProperty s_serial("SerialNumber",
//                                        PropertyCategory::SysInfo() | PropertyCategory::SecurityInfo(),
//                                        DataType::STRING(), DeviceCapability::Monitor());
//
//     static void discover()
//     {
//         SysInfoDevice* screen = SysInfoDevice::createMonitor(
//             DeviceCapability::Monitor(), DeviceCapability::Monitor(), "ACME 24", "Screen", "/dev/fb0", 1);
//         screen->addPropertyValue(s_serial, "A-0815");
//         SysInfoModule::addDevice(screen);
//     }
//
//     int main(int argc, char** argv)
//     {
//         SysInfoModule::setCmdLineArgs(argc, argv);
//         SysInfoModule::setVersion(1, 0, "1");
//         SysInfoModule::setModuleCapabilities(DeviceCapability::Monitor());
//         SysInfoModule::setDiscoverDevicesCallback(discover);
//         return SysInfoModule::start();
//     }
//
// The order: command line, version, capabilities and discovery callback, then properties, then start().
// Properties and texts may also be made inside the module-init callback; after start() has begun, every set-up
// operation and factory throws InvalidInitException. From start() on the library owns the process: it gets the
// devices that are known already, calls the discovery callback, leaves out what the filter leaves out, applies
// the overrides of the settings file, and reports.
//
// Thread rule: set-up and start() belong to the main thread, and the discovery callback runs there. It may make
// threads that add devices and properties; they must have ended when it returns. addDevice(), collectSysInfo()
// and everything of SysInfoDevice may be called from any of them. firstDevice() and nextDevice() share one
// cursor and belong to one thread at a time.

#include <krel5/Export.h>
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

class KREL5_EXPORT SysInfoModule
{
public:
    SysInfoModule() = delete;

    using Callback = void (*)();

    // ---- set-up, before start()

    /// Hands over main's arguments. `argv[0]` gives the module its guid: the lower-cased base name of the
    /// file. A command line that cannot be understood ends the process with INTERNALERROR and a message that
    /// names the word.
    static void setCmdLineArgs(int argc, char const* const argv[]);
    /// Version that -version prints: "{major}.{minor}.{build}". Required.
    static void setVersion(unsigned int major, unsigned int minor, KrelString const& build);
    /// Finds the devices, and hands each one on with addDevice(). Called once, on the main thread, and only
    /// while it runs may devices be linked to each other. Required.
    static void setDiscoverDevicesCallback(Callback callback);
    /// Runs inside start() before anything else; may make objects. An exception in it ends the start.
    static void setModuleInitCallback(Callback callback);
    /// Runs last, unless the process ends on the spot; an exception in it is logged and changes nothing.
    static void setModuleExitCallback(Callback callback);
    /// The kinds of device that the module reports. Required; the empty set does not count.
    static void setModuleCapabilities(DeviceCapability const& capabilities);
    /// Names another system-information module, a program beside this one, whose devices this one must know
    /// before it looks for its own. `completion`: that module must have completed its enumeration; whoever
    /// starts modules together reads it in the metadata.
    static void addModuleEnumerationRequirement(zel::String const& module, bool completion);
    /// Names a library that the module uses.
    static void registerLibrary(KrelString const& name);

    // ---- factories, before start() or in the module-init callback
    //
    // Each returns an object of the library that lives as long as the process. A key is the object's name in
    // files and texts: not empty, no blanks. Errors: InvalidKeyException, InvalidInitException (too late);
    // nothing was made then. A property key that the module has used already gives the property that is there,
    // as it is, with a warning in the log.

    static DeviceProperty* createDeviceProperty(KrelString const& key, PropertyCategory const& category,
                                                DataType const& type, DeviceCapability const& capability);
    /// `alias` is a second identity that the property carries beside its key.
    static DeviceProperty* createFakeDeviceProperty(KrelString const& key, PropertyCategory const& category,
                                                    DataType const& type, DeviceCapability const& capability,
                                                    KrelString const& alias);
    /// A property under which others are shown (DeviceProperty::setGroup). Its category is SysInfo and its type
    /// STRING unless given; Group is added to the category.
    static DeviceProperty* createDevicePropertyGroup(KrelString const& key, PropertyCategory const& category,
                                                     DeviceCapability const& capability);
    static DeviceProperty* createDevicePropertyGroup(KrelString const& key, DataType const& type,
                                                     DeviceCapability const& capability);
    static DeviceProperty* createDevicePropertyGroup(KrelString const& key,
                                                     DeviceCapability const& capability);
    /// A property to be filled by DeviceProperty::linkInFromDevice.
    static DeviceProperty* createDevicePropertyLink(KrelString const& key, PropertyCategory const& category,
                                                    DeviceCapability const& capability);
    /// As DiagModule::createParameter. It takes its value from the line "Parameter.{key}.value" of the settings
    /// file as start() begins; one that is not global has its default only, since there are no tests.
    static Parameter* createParameter(KrelString const& key, DataType const& type,
                                      KrelString const& defaultText, bool required, bool isGlobal = true,
                                      KrelString const& validRange = "");
    static LocalizedString* createLocalizedString(KrelString const& key);

    // ---- run

    /// Does what the command line asks. Returns the exit status.
    static int start();

    // ---- inside the discovery callback

    /// Makes the device known, as one that this module found; which properties it has may change later. One
    /// whose type the filter leaves out stays unknown, with a line in the log. One that is known already, by
    /// its type and location, stays as it is, with an error in the log. Null is a programming error.
    static void addDevice(SysInfoDevice* device);
    /// Whether the person wants everything that can be found, -v, also what takes long.
    static bool collectSysInfo();
    /// All devices that are known, those of other modules too, in order of their addition; null at the end.
    /// The first call restarts. What is returned lives as long as the device.
    static SysInfoDevice const* firstDevice();
    static SysInfoDevice const* nextDevice();

private:
    friend struct SysInfoModuleFacade;
    static void internalErrorPost(KrelException const& error);

    static bool s_started;
    static bool s_collectAll;
};

} // namespace krel5
