#pragma once
// A device that a system-information module found and fills with properties.
//
//     static SyncDeviceProperty s_serial("SerialNumber",
//                                        PropertyCategory::SysInfo() | PropertyCategory::SecurityInfo(),
//                                        DataType::STRING(), DeviceCapability::HardDrive());
//     SysInfoDevice* drive =
//         SysInfoDevice::createSATA(DeviceCapability::HardDrive(), DeviceCapability::SATA(), "WDC WD10EZEX",
//                                   "SATA hard drive", "/dev/sda", 0, 0, 1, 0);
//     drive->addPropertyValue(s_serial, "WD-WCC3F0")->addChildBusId(ChildBusType::SCSI(), "0");
//
// Every factory takes, in this order: what the device is, its capabilities, its name, its description, and
// where the operating system knows it; then the numbers that locate it on its bus. The library prints the
// location string from those numbers. The devices belong to the library and live as long as the process; they
// are known to nobody until SysInfoModule::addDevice hands them on. Thread rule: every operation takes the
// library's one mutex, so that a module may enumerate from several threads; the texts that it returns are as
// those of DiagDevice.

#include <krel5/DataHolder.h>
#include <krel5/Export.h>

namespace zel {
class DeviceImp;
} // namespace zel

namespace krel5 {

class ChildBusType;
class DeviceCapability;
class DeviceProperty;
class DeviceState;
class Indicator;
class KrelString;
class SyncDeviceProperty;
class Value;
struct DeviceInternalData;

/// Handle on one device record. Copying copies the handle, not the device. Mutators return this.
class KREL5_EXPORT SysInfoDevice
{
public:
    /// Marks an absent number of a location.
    static unsigned int const NullIndex;

    using Capability = DeviceCapability const&;
    using Text = KrelString const&;

    // Factories. The location string that each prints stands behind it.
    static SysInfoDevice* createBus(Capability deviceType, Capability capabilities, Text name,
                                    Text description, Text osLocator, int bus); ///< "BUS:3"
    static SysInfoDevice* createBus(Capability deviceType, Capability capabilities, Text name,
                                    Text description, Text osLocator, int bus,
                                    Text prefix); ///< "{prefix}BUS:3"
    static SysInfoDevice* createFD(Capability deviceType, Capability capabilities, Text name,
                                   Text description, Text osLocator, int drive); ///< "FD:0"
    static SysInfoDevice* createSCSI(Capability deviceType, Capability capabilities, Text name,
                                     Text description, Text osLocator, int adapter, int bus, int target,
                                     int logicalUnit); ///< "SCSI:0:0:1:0"
    static SysInfoDevice* createSATA(Capability deviceType, Capability capabilities, Text name,
                                     Text description, Text osLocator, int adapter, int bus, int target,
                                     int logicalUnit); ///< "SATA:0:0:1:0"
    static SysInfoDevice* createIDE(Capability deviceType, Capability capabilities, Text name,
                                    Text description, Text osLocator, int channel,
                                    int position); ///< "IDE:0:1"
    /// "USB:" and the numbers up to the first NullIndex after the first one: (3, 1, 2, NullIndex, 9) gives
    /// "USB:3:1:2".
    static SysInfoDevice* createUSB(Capability deviceType, Capability capabilities, Text name,
                                    Text description, Text osLocator, unsigned int first, unsigned int second,
                                    unsigned int third, unsigned int fourth, unsigned int fifth);
    static SysInfoDevice* create1394(Capability deviceType, Capability capabilities, Text name,
                                     Text description, Text osLocator, int first, int second,
                                     int third); ///< "IEEE1394:0:1:2"
    /// `octets` points at the six octets of the hardware address, each 0 to 255; they print in decimal:
    /// "NET:0:26:43:60:77:94". Null is a programming error.
    static SysInfoDevice* createNet(Capability deviceType, Capability capabilities, Text name,
                                    Text description, Text osLocator, unsigned int const* octets);
    static SysInfoDevice* createCOM(Capability deviceType, Capability capabilities, Text name,
                                    Text description, Text osLocator, int port,
                                    unsigned int ioAddress); ///< "COM:1:0x3F8"
    /// The port as a letter, 1 is "A": "COMA:0x3F8".
    static SysInfoDevice* createLetteredCOM(Capability deviceType, Capability capabilities, Text name,
                                            Text description, Text osLocator, int port,
                                            unsigned int ioAddress);
    /// "LPT:1:0x378"; "LPT:1" when the address is 0.
    static SysInfoDevice* createLPT(Capability deviceType, Capability capabilities, Text name,
                                    Text description, Text osLocator, int port, unsigned int ioAddress);
    /// "LPT:A:0x378"; "LPT:A" when the address is 0.
    static SysInfoDevice* createLetteredLPT(Capability deviceType, Capability capabilities, Text name,
                                            Text description, Text osLocator, int port,
                                            unsigned int ioAddress);
    static SysInfoDevice* createCPU(Capability deviceType, Capability capabilities, Text name,
                                    Text description, Text osLocator, int processor); ///< "CPU:0"
    static SysInfoDevice* createSys(Capability deviceType, Capability capabilities, Text name,
                                    Text description,
                                    Text osLocator); ///< "System"
    static SysInfoDevice* createMemory(Capability deviceType, Capability capabilities, Text name,
                                       Text description, Text osLocator); ///< "Memory"
    static SysInfoDevice* createPCI(Capability deviceType, Capability capabilities, Text name,
                                    Text description, Text osLocator, int bus, int device,
                                    int function); ///< "PCI:0:31:2"
    static SysInfoDevice* createAGP(Capability deviceType, Capability capabilities, Text name,
                                    Text description, Text osLocator, int bus, int device,
                                    int function); ///< "AGP:1:0:0"
    static SysInfoDevice* createISA(Capability deviceType, Capability capabilities, Text name,
                                    Text description, Text osLocator, int number); ///< "ISA:0"
    static SysInfoDevice* createPS2(Capability deviceType, Capability capabilities, Text name,
                                    Text description,
                                    Text osLocator); ///< "PS/2"
    static SysInfoDevice* createMonitor(Capability deviceType, Capability capabilities, Text name,
                                        Text description, Text osLocator, int monitor); ///< "Monitor:1"
    static SysInfoDevice* createPrinter(Capability deviceType, Capability capabilities, Text name,
                                        Text description, Text osLocator, int printer); ///< "Printer:1"
    /// "SMBIOS:17"; "SMBIOS:17:2" when the instance is not 0.
    static SysInfoDevice* createSMBIOS2(Capability deviceType, Capability capabilities, Text name,
                                        Text description, Text osLocator, unsigned short structureType,
                                        unsigned int instance);
    /// The location given whole; no bus class.
    static SysInfoDevice* createGeneric(Capability deviceType, Capability capabilities, Text name,
                                        Text description, Text osLocator, Text location);
    /// The location given whole; the device is marked as not complete.
    static SysInfoDevice* createUnknown(Capability deviceType, Capability capabilities, Text name,
                                        Text description, Text osLocator, Text location);
    /// The location given whole; no bus class.
    static SysInfoDevice* createSMBusSlave(Capability deviceType, Capability capabilities, Text name,
                                           Text description, Text osLocator, Text location);
    /// A device of type SMBusController that carries the PCI capability. `location` is its location string;
    /// an `isEnabled` of false gives it the state DISABLED.
    static SysInfoDevice* createSMBusController(Text name, Text location, bool isEnabled);

    /// For the library's own use.
    explicit SysInfoDevice(zel::DeviceImp* device);
    SysInfoDevice(SysInfoDevice const& other);
    SysInfoDevice& operator=(SysInfoDevice const& other);
    virtual ~SysInfoDevice();

    // Reading; as in DiagDevice.
    KrelString const& name() const;
    KrelString const& description() const;
    KrelString const& osLocator() const;
    KrelString const& hwLocator() const;
    DeviceCapability deviceType() const;
    DeviceCapability deviceCapabilities() const;
    DeviceState deviceState() const;
    bool hasCapability(DeviceCapability const& capability) const;
    bool intersectCapability(DeviceCapability const& capability) const;

    /// Null, and a warning in the log, when the device has no property of that key.
    DeviceProperty* property(KrelString const& key);
    /// One cursor a device: the first restarts it; null at the end.
    DeviceProperty* firstProperty();
    DeviceProperty* nextProperty();

    SysInfoDevice* setName(KrelString const& name);
    SysInfoDevice* setDeviceState(DeviceState const& state);
    /// Adds to the set of capabilities.
    SysInfoDevice* addDeviceCapability(DeviceCapability const& capability);

    /// Stores a copy of the property with its value on this device; its group, and the group's group, are
    /// added first where they are missing. A null property is a programming error. Throws
    /// AlreadyAddedException when the device has a property of that key; nothing has changed then. A property
    /// whose capability does not fit the device is added all the same, with an error in the log; one that the
    /// system-information filter leaves out is dropped, unless it is internal, needed by tests, or a link.
    SysInfoDevice* addProperty(DeviceProperty const* property);
    /// Sets the value on the declared property and adds it, as one step among threads. Errors as addProperty.
    SysInfoDevice* addPropertyValue(SyncDeviceProperty& property, Value const& value);
    /// DeviceProperty::linkInFromDevice and addProperty as one step among threads. Errors as both.
    SysInfoDevice* addPropertyLinkFromDevice(SyncDeviceProperty& property, KrelString const& device,
                                             KrelString const& propertyKey, DeviceProperty* localParentGroup);

    /// Records the identifier of a bus that hangs below this device: "{bus type}:{id}".
    void addChildBusId(ChildBusType const& type, KrelString const& id);
    /// "{bus type}" and ":" with each number up to the first NullIndex: (PCI, 2, NullIndex ...) gives
    /// "PCI:2".
    void addChildBusId(ChildBusType const& type, unsigned int first, unsigned int second, unsigned int third,
                       unsigned int fourth, unsigned int fifth);
    void addChildBusId(KrelString const& prefix, unsigned int first, unsigned int second, unsigned int third,
                       unsigned int fourth, unsigned int fifth);

    /// Says that the indicator watches this device; makes the device known first where it is not. A null
    /// indicator is a programming error. Throws AlreadyAddedException when it is there already.
    void addIndicator(Indicator* indicator) const;

    /// The record behind the handle. For the library's own use.
    zel::DeviceImp& imp();
    zel::DeviceImp const& imp() const;

private:
    static void addPropertyInternal(zel::DeviceImp& device, DeviceProperty const& property,
                                    DeviceProperty const* group);
    DeviceInternalData& data();
    DeviceInternalData const& data() const;

    DataHolder<DeviceInternalData> m_holder;
};

} // namespace krel5
