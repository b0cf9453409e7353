// A system-information module whose name says what is the matter with it; see the table at the end.
#include <krel5/krel5.h>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

using namespace krel5;

static std::string s_name;

static bool isCalled(std::string_view name) { return s_name == name; }

static DeviceCapability const& drives() { return DeviceCapability::HardDrive(); }

static SyncDeviceProperty s_identity("Identity", PropertyCategory::SysInfo() | PropertyCategory::Group(),
                                     DataType::STRING(), DeviceCapability::HardDrive());
static SyncDeviceProperty s_serial("SerialNumber", PropertyCategory::SysInfo() | PropertyCategory::Key(),
                                   DataType::STRING(), DeviceCapability::HardDrive(), s_identity);
static SyncDeviceProperty s_speed("Speed", PropertyCategory::SysInfo(), DataType::UINT32(),
                                  DeviceCapability::HardDrive());
static SyncDeviceProperty s_detail("Detail", PropertyCategory::SysInfo(), DataType::STRING(),
                                   DeviceCapability::HardDrive());

static SysInfoDevice* drive(int number)
{
    std::string const n = std::to_string(number);
    return SysInfoDevice::createSATA(drives(), DeviceCapability::SATA(), "Drive " + n, "A drive",
                                     "/dev/sd" + n, 0, 0, number, 0);
}

static void addDrive(int number)
{
    SysInfoDevice* const device = drive(number);
    device->addPropertyValue(s_serial, Value("S-" + std::to_string(number)));
    device->addPropertyValue(s_speed, Value(static_cast<unsigned>(7200 + number)));
    if (SysInfoModule::collectSysInfo())
        device->addPropertyValue(s_detail, Value("took long"));
    SysInfoModule::addDevice(device);
}

static void discover()
{
    addDrive(1);
    addDrive(2);
    SysInfoModule::addDevice(SysInfoDevice::createMonitor(
        DeviceCapability::Monitor(), DeviceCapability::Monitor(), "Screen", "A screen", "/dev/fb0", 1));
    Alert::createAlert("Hot", AlertType::HARDWARE_ISSUE())
        ->setTitleOverride("A title")
        ->setMessageOverride("A message")
        ->send();
}

static void discoverTwice()
{
    discover();
    SysInfoModule::addDevice(drive(1));
}

static void discoverFromThreads()
{
    std::vector<std::thread> threads;
    for (int first = 0; first < 8; ++first)
        threads.emplace_back([first] {
            for (int i = 0; i < 50; ++i)
                addDrive(50 * first + i);
        });
    for (std::thread& thread : threads)
        thread.join();
}

// More than any pipe holds; characters of two bytes in UTF-8, and some that no document carries as they are.
static void discoverMuch()
{
    std::string text;
    while (text.size() < 100'000)
        text += "\xC3\xA4 & < \x01 ";
    for (int i = 0; i < 60; ++i) {
        SysInfoDevice* const device = drive(i);
        device->addPropertyValue(s_detail, Value(text));
        SysInfoModule::addDevice(device);
    }
    std::puts("discovered");
    std::fflush(stdout);
}

static void walk()
{
    discover();
    for (SysInfoDevice const* one = SysInfoModule::firstDevice(); one; one = SysInfoModule::nextDevice())
        std::printf("knows %s\n", one->name().getUTF8Buffer());
    SysInfoDevice const* const again = SysInfoModule::firstDevice();
    std::printf("same handle: %d\n", again == SysInfoModule::firstDevice());
}

static void report(char const* what, void (*call)())
{
    try {
        call();
        std::printf("%s: done\n", what);
    } catch (KrelException const& e) {
        std::printf("%s: %s\n", what, e.toString().getUTF8Buffer());
    }
}

static void setUpTooLate()
{
    char const* const words[] = {"late"};
    static char const* const* s_words = words;
    report("setVersion", [] { SysInfoModule::setVersion(1, 0, "1"); });
    report("setCmdLineArgs", [] { SysInfoModule::setCmdLineArgs(1, s_words); });
    report("setDiscoverDevicesCallback", [] { SysInfoModule::setDiscoverDevicesCallback(discover); });
    report("setModuleInitCallback", [] { SysInfoModule::setModuleInitCallback(discover); });
    report("setModuleExitCallback", [] { SysInfoModule::setModuleExitCallback(discover); });
    report("setModuleCapabilities", [] { SysInfoModule::setModuleCapabilities(drives()); });
    report("addModuleEnumerationRequirement",
           [] { SysInfoModule::addModuleEnumerationRequirement("other", true); });
    report("registerLibrary", [] { SysInfoModule::registerLibrary("x"); });
    report("createDevicePropertyGroup", [] { SysInfoModule::createDevicePropertyGroup("late", drives()); });
}

static DeviceProperty* s_link = nullptr;

static void linkDrives()
{
    addDrive(1);
    SysInfoDevice* const two = drive(2);
    s_link->linkInFromDevice("drive 1", "SerialNumber", nullptr);
    two->addProperty(s_link);
    SysInfoModule::addDevice(two);
}

static void throwLibrary() { throw KrelException("no such bus"); }
static void throwStandard() { throw std::runtime_error("no such bus"); }
static void throwNumber() { throw 42; }
// A sanitizer would end the process with a report of its own before the fault.
__attribute__((noinline, no_sanitize("undefined"))) static void crash()
{
    *static_cast<int volatile*>(nullptr) = 1;
}
static void startAgain() { SysInfoModule::start(); }
static void addNothing() { SysInfoModule::addDevice(nullptr); }

static Parameter* s_depth = nullptr;
static void showDepth() { std::printf("depth %s\n", s_depth->value().toString().getUTF8Buffer()); }

int main(int argc, char** argv)
{
    struct Kind
    {
        char const* name;
        void (*discover)();
    };
    Kind const kinds[] = {
        {"nocallback", nullptr},
        {"twice", discoverTwice},
        {"threads", discoverFromThreads},
        {"much", discoverMuch},
        {"walks", walk},
        {"late", setUpTooLate},
        {"library", throwLibrary},
        {"standard", throwStandard},
        {"number", throwNumber},
        {"crash", crash},
        {"nothing", addNothing},
        {"again", startAgain},
        {"none", [] {}},
        {"depth", showDepth},
        {"inventorying", discover},
        {"nocapabilities", discover},
        {"links", linkDrives},
    };
    s_name = argc > 0 ? argv[0] : "";
    s_name.erase(0, s_name.rfind('/') + 1);
    SysInfoModule::setCmdLineArgs(argc, argv);
    SysInfoModule::setVersion(1, 0, "1");
    for (Kind const& kind : kinds)
        if (isCalled(kind.name))
            SysInfoModule::setDiscoverDevicesCallback(kind.discover);
    if (!isCalled("nocapabilities"))
        SysInfoModule::setModuleCapabilities(drives() | DeviceCapability::Monitor());
    if (isCalled("needs"))
        SysInfoModule::addModuleEnumerationRequirement("other", true);
    SysInfoModule::setModuleExitCallback([] { std::puts("exit callback"); });
    SysInfoModule::registerLibrary("libexample");
    SysInfoModule::createLocalizedString("Text.hello");
    s_link = SysInfoModule::createDevicePropertyLink(
        "Link", PropertyCategory::LinkInFromDevice() | PropertyCategory::Group(), drives());
    if (isCalled("links"))
        report("link too early", [] { s_link->linkInFromDevice("d", "k", nullptr); });
    s_depth = SysInfoModule::createParameter("depth", DataType::UINT32(), "3", false, true, "1..9");
    return SysInfoModule::start();
}
