// Devices and their properties, as system-information modules build them and tests read them.
#include <krel5/AlreadyAddedException.h>
#include <krel5/CannotAddPropertyLinkToNonGroupProperty.h>
#include <krel5/ChildBusType.h>
#include <krel5/DataType.h>
#include <krel5/DeviceCapability.h>
#include <krel5/DeviceState.h>
#include <krel5/DiagDevice.h>
#include <krel5/IndexOutOfBoundsException.h>
#include <krel5/IndicatorReturnData.h>
#include <krel5/InternalException.h>
#include <krel5/PropertyCategory.h>
#include <krel5/SyncDeviceProperty.h>
#include <krel5/SysInfoDevice.h>
#include <krel5/Value.h>

#include <libKrel5/devices/DeclaredProperties.h>
#include <libKrel5/devices/EnumerationPhase.h>
#include <libKrel5/objects/Factories.h>

#include "../../foundation/TemporaryFolder.h"

#include <zel/foundation/Exception.h>
#include <zel/foundation/Logger.h>
#include <zel/model/devices/SystemInformationFilter.h>
#include <zel/model/state/StateManager.h>

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <latch>
#include <thread>

using namespace krel5;

namespace {

constexpr unsigned kNone = 0xFFFFFFFFu;

std::string utf8(KrelString const& text) { return text.getUTF8Buffer(); }
bool has(std::string const& text, std::string const& what) { return text.find(what) != std::string::npos; }

SysInfoDevice* drive(std::string const& location)
{
    return SysInfoDevice::createGeneric(DeviceCapability::HardDrive(), DeviceCapability::SCSI(), "Drive",
                                        "a drive", "/dev/sda", KrelString(location.c_str()));
}

DeviceProperty* declare(char const* key, PropertyCategory const& category = PropertyCategory::SysInfo(),
                        DeviceCapability const& capability = DeviceCapability::HardDrive())
{
    return DeclaredProperties::create(key, category, DataType::STRING(), capability);
}

std::string keys(SysInfoDevice& device)
{
    std::string all;
    for (DeviceProperty* one = device.firstProperty(); one; one = device.nextProperty())
        all += (all.empty() ? "" : " ") + utf8(one->key());
    return all;
}

/// What an exception of the library says; "none" when there is none.
std::string messageOf(std::function<void()> const& action)
{
    try {
        action();
    } catch (KrelException const& e) {
        return utf8(e.toString());
    }
    return "none";
}

/// Everything that is logged while `action` runs.
std::string logOf(std::function<void()> const& action, char const* level = "debug")
{
    test::TemporaryFolder folder;
    zel::LogFactory::setOverride(level, "");
    EXPECT_TRUE(zel::LogFactory::createDefaultFileAppender(folder.path("log").c_str()));
    action();
    zel::LogFactory::clearOverrides();
    return folder.read("log");
}

} // namespace

TEST(SysInfoDevice, everyFactoryPrintsItsLocation)
{
    auto const t = DeviceCapability::Other();
    auto const c = DeviceCapability::SMART();
    KrelString const n("name"), d("description"), o("/dev/x");
    unsigned const octets[6] = {0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0xFF};
    using Device = SysInfoDevice;
    struct Case
    {
        Device* device;
        std::string location, busClass;
    };
    for (Case const& one : std::vector<Case>{
             {Device::createBus(t, c, n, d, o, 3), "BUS:3", "BUS"},
             {Device::createBus(t, c, n, d, o, 3, "PCI"), "PCIBUS:3", "BUS"},
             {Device::createFD(t, c, n, d, o, 0), "FD:0", "FD"},
             {Device::createSCSI(t, c, n, d, o, 1, 2, 3, 4), "SCSI:1:2:3:4", "SCSI"},
             {Device::createSATA(t, c, n, d, o, 1, 0, 2, 0), "SATA:1:0:2:0", "SATA"},
             {Device::createIDE(t, c, n, d, o, 0, 1), "IDE:0:1", "IDE"},
             {Device::createUSB(t, c, n, d, o, 1, 2, 3, 4, 5), "USB:1:2:3:4:5", "USB"},
             {Device::createUSB(t, c, n, d, o, 1, 2, kNone, 4, 5), "USB:1:2", "USB"},
             {Device::createUSB(t, c, n, d, o, 3, kNone, 1, 2, 3), "USB:3", "USB"},
             {Device::createUSB(t, c, n, d, o, 3, 1, 2, 0xFFFFFFFE, kNone), "USB:3:1:2:4294967294", "USB"},
             {Device::create1394(t, c, n, d, o, 1, 2, 3), "IEEE1394:1:2:3", "IEEE1394"},
             {Device::createNet(t, c, n, d, o, octets), "NET:0:26:43:60:77:255", "NET"},
             {Device::createCOM(t, c, n, d, o, 1, 0x3f8), "COM:1:0x3F8", "COM"},
             {Device::createCOM(t, c, n, d, o, 2, 0), "COM:2:0x0", "COM"},
             {Device::createLetteredCOM(t, c, n, d, o, 1, 0x2f8), "COMA:0x2F8", "COM"},
             {Device::createLPT(t, c, n, d, o, 1, 0xabc), "LPT:1:0xABC", "LPT"},
             {Device::createLPT(t, c, n, d, o, 1, 0), "LPT:1", "LPT"},
             {Device::createLetteredLPT(t, c, n, d, o, 2, 0x278), "LPT:B:0x278", "LPT"},
             {Device::createLetteredLPT(t, c, n, d, o, 2, 0), "LPT:B", "LPT"},
             {Device::createCPU(t, c, n, d, o, 7), "CPU:7", "CPU"},
             {Device::createSys(t, c, n, d, o), "System", "SYSTEM"},
             {Device::createMemory(t, c, n, d, o), "Memory", "MEM"},
             {Device::createPCI(t, c, n, d, o, 0, 31, 2), "PCI:0:31:2", "PCI"},
             {Device::createAGP(t, c, n, d, o, 1, 0, 0), "AGP:1:0:0", "AGP"},
             {Device::createISA(t, c, n, d, o, 5), "ISA:5", "ISA"},
             {Device::createPS2(t, c, n, d, o), "PS/2", "PS/2"},
             {Device::createMonitor(t, c, n, d, o, 1), "Monitor:1", "MONITOR"},
             {Device::createPrinter(t, c, n, d, o, 2), "Printer:2", "PRINTER"},
             {Device::createSMBIOS2(t, c, n, d, o, 17, 2), "SMBIOS:17:2", "SMBIOS"},
             {Device::createSMBIOS2(t, c, n, d, o, 65535, 0), "SMBIOS:65535", "SMBIOS"},
             {Device::createGeneric(t, c, n, d, o, "any where"), "any where", "NIL"},
             {Device::createUnknown(t, c, n, d, o, "lost"), "lost", "NIL"},
             {Device::createSMBusSlave(t, c, n, d, o, "SMB:1"), "SMB:1", "NIL"},
         }) {
        EXPECT_EQ(utf8(one.device->hwLocator()), one.location);
        EXPECT_EQ(one.device->imp().busClass().toString().toUtf8(), one.busClass) << one.location;
        EXPECT_EQ(utf8(one.device->name()), "name") << one.location;
        EXPECT_EQ(utf8(one.device->description()), "description") << one.location;
        EXPECT_EQ(utf8(one.device->osLocator()), "/dev/x") << one.location;
        EXPECT_EQ(one.device->deviceType(), t) << one.location;
        EXPECT_TRUE(one.device->hasCapability(c)) << one.location;
        EXPECT_FALSE(one.device->hasCapability(c | DeviceCapability::PCI())) << one.location;
        EXPECT_TRUE(one.device->intersectCapability(c | DeviceCapability::PCI())) << one.location;
        EXPECT_EQ(one.device->imp().isComplete(), one.location != "lost") << one.location;
        EXPECT_EQ(one.device->imp().deviceID(), 0u);
        EXPECT_FALSE(zel::StateManager::instance().device(one.device->imp().guid())) << "nobody added it";
    }
    EXPECT_THROW(Device::createNet(t, c, n, d, o, nullptr), InternalException);
    EXPECT_EQ(SysInfoDevice::NullIndex, kNone);

    SysInfoDevice* const controller = SysInfoDevice::createSMBusController("SMBus", "PCI:0:31:3", false);
    EXPECT_EQ(controller->deviceType(), DeviceCapability::SMBusController());
    EXPECT_TRUE(controller->hasCapability(DeviceCapability::PCI()));
    EXPECT_EQ(controller->deviceState(), DeviceState::DISABLED());
}

TEST(SysInfoDevice, settersChainAndHandlesShareTheDevice)
{
    SysInfoDevice* const device = drive("setters");
    SysInfoDevice const copy(*device);
    KrelString const& name = copy.name();
    EXPECT_EQ(device->setName("other")
                  ->setDeviceState(DeviceState::DISABLED())
                  ->addDeviceCapability(DeviceCapability::USB()),
              device);
    EXPECT_EQ(utf8(copy.name()), "other");
    EXPECT_EQ(utf8(name), "Drive") << "a text that was handed out stays as it was";
    EXPECT_EQ(DiagDevice(&device->imp()).deviceState(), DeviceState::DISABLED());
    EXPECT_TRUE(copy.hasCapability(DeviceCapability::USB() | DeviceCapability::SCSI()));
}

TEST(SysInfoDevice, childBusesAreNamedLikeLocations)
{
    SysInfoDevice* const device = drive("buses");
    device->addChildBusId(ChildBusType::PCI(), "two");
    device->addChildBusId(ChildBusType::PCI(), 2, kNone, 3, 4, 5);
    device->addChildBusId("Own", 1, 2, 3, 4, 5);
    device->addChildBusId("Bare", kNone, 1, 1, 1, 1);
    device->addChildBusId("Own", 1, 2, 3, 4, 5);
    std::vector<zel::String> const expected{"PCI:two", "PCI:2", "Own:1:2:3:4:5", "Bare"};
    EXPECT_EQ(device->imp().childBusIds(), expected);
}

TEST(SysInfoDevice, whatADeviceGetsIsLogged)
{
    SysInfoDevice* const device = drive("logged");
    DeviceProperty* const group = declare("logged.group", PropertyCategory::Group());
    std::string const log = logOf([&] {
        device->addDeviceCapability(DeviceCapability::USB());
        device->addChildBusId(ChildBusType::PCI(), "two");
        device->addProperty(declare("logged.text")->setValue("seven")->setGroup(group));
    });
    for (char const* const line :
         {"addDeviceCapability cap = USB\n", "addChildBusId : PCI:two\n",
          "addProperty key = logged.text value = seven category = SysInfo\n",
          "addPropertyInternal key = logged.text value = seven category = SysInfo\n",
          "addPropertyInternal key = logged.text group key = logged.group found = false\n",
          "addPropertyInternal key = logged.group value = "})
        EXPECT_TRUE(has(log, line)) << line << " is not in\n" << log;
}

TEST(DeviceProperty, whatAKnownDeviceGetsIsAChange)
{
    SysInfoDevice* const device = drive("changes");
    auto& state = zel::StateManager::instance();
    device->addProperty(declare("before"));
    state.addDevice(device->imp(), nullptr);
    state.takeChanges();
    device->addProperty(declare("after"));
    EXPECT_EQ(state.takeChanges(),
              (std::vector<zel::Change>{
                  {zel::Change::Kind::PropertyAdded, device->imp().guid(), zel::String(), "after"}}));
    state.clear();
}

TEST(DeviceProperty, aDeviceTakesACopyAndOneHandleARecord)
{
    SysInfoDevice* const device = drive("copies");
    DeviceProperty* const serial = declare("serial");
    EXPECT_EQ(device->addProperty(serial->setValue("A1")), device);
    device->addProperty(declare("model")->setValue("M"));
    serial->setValue("B2");
    DeviceProperty* const held = device->property("serial");
    ASSERT_TRUE(held);
    EXPECT_NE(held, serial);
    EXPECT_EQ(utf8(held->value().toString()), "A1");

    DiagDevice const reader(&device->imp());
    EXPECT_EQ(device->firstProperty(), held);
    EXPECT_EQ(&reader.getProperty(0), held);
    EXPECT_EQ(reader.property("serial"), held);
    EXPECT_EQ(device->nextProperty(), &reader.getProperty(1));
    EXPECT_EQ(device->nextProperty(), nullptr);
    EXPECT_EQ(device->firstProperty(), held) << "the walk starts over";
    EXPECT_EQ(reader.propertyCount(), 2u);
    try {
        reader.getProperty(2);
        ADD_FAILURE() << "there is none";
    } catch (IndexOutOfBoundsException const& e) {
        EXPECT_NE(utf8(e.toString()).find("Index 2 is out of bounds [0, 1]"), std::string::npos)
            << utf8(e.toString());
    }

    held->valueRef() = Value("C3");
    EXPECT_EQ(utf8(reader.property("serial")->value().toString()), "C3")
        << "a reference changes the property";
    std::string const log = logOf([&] {
        EXPECT_EQ(device->property("none"), nullptr);
        EXPECT_EQ(reader.property("nothing"), nullptr);
    });
    EXPECT_TRUE(has(log, "There is no property none for device Drive")) << log;
    EXPECT_TRUE(has(log, "There is no property nothing for device Drive")) << log;
    EXPECT_THROW(device->addProperty(nullptr), InternalException);
}

TEST(DeviceProperty, groupsComeWithTheirMembers)
{
    auto const group = PropertyCategory::SysInfo() | PropertyCategory::Group();
    DeviceProperty* const top = declare("top", group);
    DeviceProperty* const inner = declare("inner", group)->setGroup(top);
    DeviceProperty* const leaf = declare("leaf")->setGroup(inner)->setValue("x");
    DeviceProperty* const second = declare("second")->setGroup(inner)->setValue("y");
    SysInfoDevice* const device = drive("groups");
    device->addProperty(leaf)->addProperty(second);
    EXPECT_EQ(keys(*device), "leaf inner top second");
    std::string const text = device->imp().toString(2).toUtf8();
    EXPECT_TRUE(has(text, "    top: \n      inner: \n        leaf: x\n        second: y\n")) << text;
    EXPECT_EQ(device->property("leaf")->group(), device->property("inner"));
    EXPECT_EQ(device->property("inner")->group(), device->property("top"));
    EXPECT_EQ(device->property("top")->group(), nullptr);

    std::string const log = logOf([&] {
        std::string const message = messageOf([&] { device->addProperty(inner); });
        for (char const* part : {"DeviceProperty", "inner", "SysInfoDevice", "Drive"})
            EXPECT_TRUE(has(message, part)) << message;
    });
    EXPECT_TRUE(has(log, "addPropertyInternal() property with key: inner already exists in device: ")) << log;
    EXPECT_THROW(device->addProperty(leaf), AlreadyAddedException);
    EXPECT_EQ(keys(*device), "leaf inner top second") << "nothing has changed";

    // A property of one device as the pattern for another: groups come along, other members do not.
    SysInfoDevice* const other = drive("groups of another");
    other->addProperty(device->property("second"));
    EXPECT_EQ(keys(*other), "second inner top");
    EXPECT_EQ(other->imp().property("inner")->children(), std::vector<zel::String>{"second"});
    std::string const otherText = other->imp().toString(2).toUtf8();
    EXPECT_TRUE(has(otherText, "    top: \n      inner: \n        second: y\n")) << otherText;
}

TEST(DeviceProperty, aWrongDeviceIsSaidAndTheFilterObeyed)
{
    auto const internal = PropertyCategory::Internal();
    auto const group = PropertyCategory::Group();
    struct Case
    {
        char const* key;
        PropertyCategory category;
        DeviceCapability capability;
        bool isFiltered;
        bool isAdded, isComplaint;
    };
    std::vector<Case> const cases{
        {"f.plain", PropertyCategory::SysInfo(), DeviceCapability::HardDrive(), false, true, false},
        {"f.other", PropertyCategory::SysInfo(), DeviceCapability::Monitor(), false, true, true},
        {"f.otherInternal", internal, DeviceCapability::Monitor(), false, true, false},
        {"f.otherGroup", group, DeviceCapability::Monitor(), false, true, false},
        {"f.dropped", PropertyCategory::SysInfo(), DeviceCapability::HardDrive(), true, false, false},
        {"f.droppedGroup", group, DeviceCapability::HardDrive(), true, false, false},
        {"f.internal", internal, DeviceCapability::HardDrive(), true, true, false},
        {"f.needed", PropertyCategory::RequiredForTests(), DeviceCapability::HardDrive(), true, true, false},
        {"f.link", PropertyCategory::LinkInFromDevice(), DeviceCapability::HardDrive(), true, true, false},
    };
    auto& filter = zel::SystemInformationFilter::instance();
    for (Case const& one : cases)
        if (one.isFiltered)
            filter.addPropertyRule(false, zel::CapabilityImp::ALL(), one.key);
    SysInfoDevice* const device = drive("filter");
    for (Case const& one : cases) {
        std::string const log =
            logOf([&] { device->addProperty(declare(one.key, one.category, one.capability)); });
        EXPECT_EQ(device->imp().property(one.key) != nullptr, one.isAdded) << one.key;
        EXPECT_EQ(has(log, " filtered out"), !one.isAdded) << log;
        EXPECT_EQ(
            has(log, std::string("addProperty(...) Invalid device type: HardDrive for device property ") +
                         one.key +
                         " property capability: Monitor Please specify HardDrive in the "
                         "createProperty() method."),
            one.isComplaint)
            << log;
    }
    filter.clear();
}

TEST(DeviceProperty, linksAreCheckedAndHoldThreeTexts)
{
    auto const linkCategory = PropertyCategory::LinkInFromDevice() | PropertyCategory::Group();
    DeviceProperty* const link =
        DeclaredProperties::createLink("link", linkCategory, DeviceCapability::ALL());
    DeviceProperty* const parent = declare("l.group", PropertyCategory::Group());
    DeviceProperty* const plain = declare("l.plain");
    auto const linking = [](DeviceProperty* property, DeviceProperty* group) {
        return [=] { property->linkInFromDevice("dev", "key", group); };
    };
    std::string const before = utf8(link->value().toString());
    EXPECT_TRUE(
        has(messageOf(linking(link, nullptr)), "linkInFromDevice can only be called during enumeration"));
    EnumerationPhase const phase;
    EXPECT_TRUE(has(messageOf(linking(plain, nullptr)),
                    "Invalid category while linking DeviceProperty: \"l.plain\" with category: \"" +
                        utf8(plain->category().toString()) + "\" to Device: \"dev\""));
    EXPECT_TRUE(has(messageOf(linking(link, plain)),
                    "Invalid category for pLocalParentPropertyGroup: \"l.plain\" with category: \"" +
                        utf8(plain->category().toString())));
    EXPECT_THROW(linking(link, plain)(), CannotAddPropertyLinkToNonGroupProperty);
    EXPECT_EQ(utf8(link->value().toString()), before) << "a refused link changes nothing";

    linking(link, parent)();
    zel::ValueImp const& value = link->imp().value();
    ASSERT_EQ(value.elementCount(), 3u);
    EXPECT_EQ(utf8(Value(value).toString()), utf8([] {
                  Value three(DataType::STRINGARRAY());
                  three.append("dev");
                  three.append("key");
                  three.append("l.group");
                  return three.toString();
              }()));

    static SyncDeviceProperty s_shared("l.shared", linkCategory, DataType::STRINGARRAY(),
                                       DeviceCapability::ALL());
    SysInfoDevice* const device = drive("links");
    device->addPropertyLinkFromDevice(s_shared, "one", "two", nullptr);
    EXPECT_EQ(device->imp().property("l.shared")->value().elementCount(), 3u)
        << "an empty third without a group";
}

TEST(SyncDeviceProperty, fillsDevicesFromSeveralThreads)
{
    constexpr int kThreads = 4, kDevices = 1000;
    static SyncDeviceProperty s_group("sync.group", PropertyCategory::Group(), DataType::STRING(),
                                      DeviceCapability::HardDrive());
    static SyncDeviceProperty s_number("sync.number", PropertyCategory::SysInfo(), DataType::INT32(),
                                       DeviceCapability::HardDrive(), s_group);
    std::vector<std::vector<SysInfoDevice*>> made(kThreads);
    std::latch allMade(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&made, &allMade, t] {
            auto& mine = made[static_cast<std::size_t>(t)];
            for (int i = 0; i < kDevices; ++i)
                mine.push_back(drive("sync " + std::to_string(t * kDevices + i)));
            allMade.arrive_and_wait();
            int number = t * kDevices;
            for (SysInfoDevice* const device : mine)
                device->addPropertyValue(s_number, Value(number++));
        });
    for (std::thread& one : threads)
        one.join();
    for (std::size_t t = 0; t < kThreads; ++t)
        for (std::size_t i = 0; i < kDevices; ++i) {
            SysInfoDevice& device = *made[t][i];
            EXPECT_EQ(utf8(device.property("sync.number")->value().toString()),
                      std::to_string(t * kDevices + i));
            EXPECT_EQ(keys(device), "sync.number sync.group");
        }
}

// Every device gets a link from each thread, below a group that whoever is first brings along, and one more that all
// threads want to give it: exactly one of them does, and what the link says is that one's.
TEST(SyncDeviceProperty, linksDevicesFromSeveralThreads)
{
    constexpr std::size_t kThreads = 4, kDevices = 500;
    auto const link = PropertyCategory::LinkInFromDevice() | PropertyCategory::Group();
    auto const& drives = DeviceCapability::HardDrive();
    auto const texts = DataType::STRINGARRAY();
    static SyncDeviceProperty s_group("many.group", PropertyCategory::Group(), DataType::STRING(), drives);
    static SyncDeviceProperty s_contested("many.contested", link, texts, drives, s_group);
    static std::vector<std::unique_ptr<SyncDeviceProperty>> s_own;
    for (std::size_t t = 0; t < kThreads; ++t)
        s_own.push_back(std::make_unique<SyncDeviceProperty>(("many." + std::to_string(t)).c_str(), link,
                                                             texts, drives, s_group));
    std::vector<SysInfoDevice*> devices;
    for (std::size_t i = 0; i < kDevices; ++i)
        devices.push_back(drive("many " + std::to_string(i)));
    auto const target = [](std::size_t thread, std::size_t i) {
        return "device " + std::to_string(i) + " of thread " + std::to_string(thread);
    };
    // As a link or as its value, which take the same two locks. Whether the device had none yet.
    auto const give = [](SysInfoDevice& device, SyncDeviceProperty& property, std::string const& to,
                         bool asLink) {
        try {
            Value value(DataType::STRINGARRAY());
            for (char const* part : {to.c_str(), "key", "many.group"})
                value.append(part);
            if (asLink)
                device.addPropertyLinkFromDevice(property, to.c_str(), "key", &s_group.property());
            else
                device.addPropertyValue(property, value);
            return true;
        } catch (AlreadyAddedException const&) {
            return false;
        }
    };
    std::vector<std::string> given(kThreads * kDevices); // by thread and device: what the contested one says
    EnumerationPhase const phase;
    std::latch together(kThreads);
    auto const giveAll = [&](std::size_t thread) {
        together.arrive_and_wait();
        for (std::size_t i = 0; i < kDevices; ++i) {
            std::string const to = target(thread, i);
            if (give(*devices[i], s_contested, to, thread % 2 == 0))
                given[thread * kDevices + i] = to;
            EXPECT_TRUE(give(*devices[i], *s_own[thread], to, true));
        }
    };
    std::vector<std::thread> threads;
    for (std::size_t t = 0; t < kThreads; ++t)
        threads.emplace_back(giveAll, t);
    for (std::thread& one : threads)
        one.join();

    for (std::size_t i = 0; i < kDevices; ++i) {
        zel::DeviceImp& device = devices[i]->imp();
        auto const says = [&](std::string const& key) {
            return device.property(key.c_str())->value().toString().toUtf8();
        };
        std::string contested;
        for (std::size_t t = 0; t < kThreads; ++t) {
            contested += given[t * kDevices + i];
            EXPECT_EQ(says("many." + std::to_string(t)), target(t, i) + ", key, many.group");
        }
        EXPECT_EQ(says("many.contested"), contested + ", key, many.group");
        EXPECT_EQ(device.property("many.group")->children().size(), kThreads + 1);
    }
}

// One link for the devices of all threads: none gets what another thread has just put into it.
TEST(SyncDeviceProperty, aLinkIsNotThatOfAnotherThreadsDevice)
{
    constexpr std::size_t kThreads = 4, kDevices = 2000;
    static SyncDeviceProperty s_one("shared.link",
                                    PropertyCategory::LinkInFromDevice() | PropertyCategory::Group(),
                                    DataType::STRINGARRAY(), DeviceCapability::HardDrive());
    std::vector<SysInfoDevice*> devices;
    for (std::size_t i = 0; i < kThreads * kDevices; ++i)
        devices.push_back(drive("shared " + std::to_string(i)));
    EnumerationPhase const phase;
    std::latch together(kThreads);
    std::vector<std::thread> threads;
    for (std::size_t t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            together.arrive_and_wait();
            for (std::size_t i = t * kDevices; i < (t + 1) * kDevices; ++i)
                devices[i]->addPropertyLinkFromDevice(s_one, std::to_string(i).c_str(), "key", nullptr);
        });
    for (std::thread& one : threads)
        one.join();
    for (std::size_t i = 0; i < devices.size(); ++i)
        EXPECT_EQ(devices[i]->imp().property("shared.link")->value().toString().toUtf8(),
                  std::to_string(i) + ", key, ");
}

// The group of the first one stands for both, as the line in the log says.
TEST(SyncDeviceProperty, aSecondOneOfAKeyHasNoEffect)
{
    auto const declared = [](char const* key, auto const&... group) {
        static auto* const s_declared = new std::vector<SyncDeviceProperty*>(); // for the life of the process
        s_declared->push_back(new SyncDeviceProperty(key, PropertyCategory::Group(), DataType::STRING(),
                                                     DeviceCapability::HardDrive(), group...));
        return s_declared->back();
    };
    SyncDeviceProperty* const one = declared("twice.one");
    SyncDeviceProperty* const two = declared("twice.two");
    SyncDeviceProperty* const first = declared("twice.member", *one);
    SyncDeviceProperty* second = nullptr;
    std::string const log = logOf([&] { second = declared("twice.member", *two); });
    EXPECT_TRUE(has(log, "WILL HAVE NO EFFECT!")) << log;
    EXPECT_EQ(&second->property(), &first->property());
    EXPECT_EQ(first->property().group(), &one->property());
    SysInfoDevice* const device = drive("twice");
    device->addPropertyValue(*second, "value");
    EXPECT_EQ(keys(*device), "twice.member twice.one");
}

TEST(DeviceProperty, saysWhatDoesNotFitItsDeclaration)
{
    DeviceProperty* const text = declare("fits.text");
    EXPECT_EQ(logOf([&] { text->setValue("fits"); }), "");
    std::string const log = logOf([&] { text->setValue(Value(7ull)); }, "warning");
    EXPECT_TRUE(
        has(log, "setValue() property fits.text is declared as STRING but is given a value of type UINT64"))
        << log;
    EXPECT_EQ(utf8(text->type().toString()), "UINT64") << "of the value it has";
    EXPECT_EQ(logOf([&] { text->setGroup(declare("fits.group", PropertyCategory::Group())); }), "");
    std::string const noGroup = logOf([&] { text->setGroup(declare("fits.plain")); }, "warning");
    EXPECT_TRUE(has(noGroup, "fits.plain, under which fits.text is to stand, is no group")) << noGroup;
}

// What a device hands out belongs to the device: a handle that is a temporary, as that of
// DiagModule::optionalDevice(0), does not take it along, nor does a later name.
TEST(DiagDevice, textsLiveAndStayAsLongAsTheDevice)
{
    SysInfoDevice* const device = drive("texts");
    KrelString const& path = DiagDevice(&device->imp()).osLocator();
    EXPECT_EQ(&path, &device->osLocator()) << "the device's own";
    EXPECT_EQ(utf8(path), "/dev/sda");
    KrelString const& before = device->name();
    char const* const bytes = before.getUTF8Buffer();
    for (char const* name : {"Second", "Third", "Second"})
        device->setName(name);
    EXPECT_EQ(utf8(device->name()), "Second");
    EXPECT_STREQ(bytes, "Drive") << "still there";
    EXPECT_EQ(utf8(before), "Drive");
    device->setName("Drive");
    EXPECT_EQ(&device->name(), &before) << "a name that comes back is no new text";
}

// Threads that ask one device at the same moment, the first time anybody does, while one more renames it.
TEST(DiagDevice, textsAreReadFromSeveralThreads)
{
    constexpr int kReaders = 4, kRounds = 500;
    DeviceProperty* const serial = declare("texts.serial");
    std::atomic<int> wrong{0};
    for (int round = 0; round < kRounds; ++round) {
        std::string const number = std::to_string(round), path = "/dev/disk/by-path/" + number;
        SysInfoDevice* const device = SysInfoDevice::createGeneric(
            DeviceCapability::HardDrive(), DeviceCapability::SCSI(), "Drive 0", "a drive",
            KrelString(path.c_str()), KrelString(("texts " + number).c_str()));
        device->addProperty(serial);
        std::latch together(kReaders + 1);
        auto const read = [&] {
            together.arrive_and_wait();
            DiagDevice const mine(&device->imp());
            DeviceProperty const* const property = mine.property("texts.serial");
            bool const right = mine.osLocator().getUTF8Buffer() == path &&
                               mine.hwLocator().getUTF8Buffer() == "texts " + number &&
                               utf8(mine.description()) == "a drive" && has(utf8(mine.name()), "Drive ") &&
                               utf8(property->key()) == "texts.serial" &&
                               utf8(property->localizedName()) == "texts.serial" &&
                               utf8(property->category().toString()) == "SysInfo";
            wrong += right ? 0 : 1;
        };
        std::vector<std::jthread> threads;
        for (int reader = 0; reader < kReaders; ++reader)
            threads.emplace_back(read);
        threads.emplace_back([&] {
            together.arrive_and_wait();
            for (char const* name : {"Drive 1", "Drive of another name that is long", "Drive 0"})
                device->setName(name);
        });
    }
    EXPECT_EQ(wrong, 0);
}

TEST(DiagDevice, takesATestAndAnIndicatorOnce)
{
    SysInfoDevice* const device = drive("tests");
    krel5::Test* const test = Factories::createTest("read", DeviceCapability::HardDrive(),
                                                    [](DiagDevice const&) { return TestResult::PASS(); });
    DiagDevice reader(&device->imp());
    reader.addTest(test);
    auto& state = zel::StateManager::instance();
    EXPECT_EQ(state.testByDeviceAtIndex(device->imp(), 0), &test->imp());
    std::string const twice = messageOf([&] { reader.addTest(test); });
    for (char const* part : {"Test", "read", "DiagDevice", "Drive"})
        EXPECT_TRUE(has(twice, part)) << twice;
    EXPECT_EQ(state.testCountByDevice(device->imp()), 1u);
    EXPECT_THROW(reader.addTest(nullptr), InternalException);

    Indicator* const indicator = Factories::createIndicator(
        "heat", DeviceCapability::HardDrive(), [](DiagDevice const&) { return IndicatorReturnData(); });
    ASSERT_FALSE(state.device(device->imp().guid()));
    device->addIndicator(indicator);
    EXPECT_EQ(state.device(device->imp().guid()), &device->imp()) << "an unknown device is made known";
    EXPECT_EQ(state.parentOf(device->imp()), nullptr);
    EXPECT_EQ(state.deviceByIndicatorAtIndex(indicator->imp(), 0), &device->imp());
    std::string const again = messageOf([&] { device->addIndicator(indicator); });
    for (char const* part : {"Indicator", "heat", "Device", "Drive"})
        EXPECT_TRUE(has(again, part)) << again;
    EXPECT_EQ(state.indicatorCountByDevice(device->imp()), 1u);
    EXPECT_THROW(device->addIndicator(nullptr), InternalException);
    state.clear();
}
