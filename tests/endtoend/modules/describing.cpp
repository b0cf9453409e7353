// A module with every kind of object that can be described, and keys and texts that are hard on a text file.
// Called "callback", it decides per device which tests apply.
#include <krel5/krel5.h>

#include <string_view>

using namespace krel5;

static Event* s_broken = nullptr;
static LocalizedString* s_greeting = nullptr;

static TestResult show(DiagDevice const&)
{
    KrelNonDiscreteMeasurement const clock(KrelUnitType::HERTZ(), 2.4, KrelUnitMagnitude::GIGA(), 1);
    DiagModule::progress(s_greeting->setVariable("name", Value(clock)));
    LocalizedString const name("Nobody.Has.This", DiagModule::getCurrentTest()->localizedName());
    DiagModule::progress(&name);
    s_broken->setVariable("part", Value("fan"));
    DiagModule::informative(s_broken, "describing.cpp", 1);
    DiagModule::warning(s_broken, "describing.cpp", 2);
    return TestResult::PASS();
}

static void chooseTests(DiagDevice&) {}

static void createTests()
{
    Parameter* const level =
        DiagModule::createParameter("level", DataType::INT32(), "", true, false, "-3..3,\n7");
    Parameter* const odd = DiagModule::createParameter("odd=#\xC3\xBC", DataType::STRING(), "a=b", false);
    DiagModule::createParameter("attachedToNoTest", DataType::BOOLEAN(), "true", false);
    DiagModule::createParameter("timeout", DataType::UINT32(), "30", false, true, "1..600");
    DiagModule::createParameter("user", DataType::STRING(), "", true, true);

    DiagModule::createTest("show", DeviceCapability::Memory(), show);
    DiagModule::createTest("full", DeviceCapability::HardDrive() | DeviceCapability::CPU(), show)
        ->setInteractive(true)
        ->setCreatesOwnGUI(true)
        ->setDestructive(true)
        ->setSupportsParallelTesting(true)
        ->setEnumeratesOnlyOnce(true)
        ->setMinShutdownSeconds(0)
        ->addDeviceExistenceRequirement(DeviceCapability::Memory())
        ->addDeviceExistenceRequirement(DeviceCapability::CPU())
        ->addDeviceAbsenceRequirement(DeviceCapability::TapeDrive())
        ->addDevicePropertyRequirement("Size", "1..")
        ->addDevicePropertyExclusion("Vendor", "acme\\, inc, none")
        ->addOptionalDeviceCapabilities(DeviceCapability::Fan())
        ->addOptionalDeviceCapabilities(DeviceCapability::CDROM())
        ->addParameter(level)
        ->addParameter(odd);
    DiagModule::createTest("#a=b\xF0\x9F\x94\xA7", DeviceCapability::Memory(), show)
        ->setUsesNoGlobalParameters()
        ->setMinShutdownSeconds(5);
}

int main(int argc, char** argv)
{
    DiagModule::setCmdLineArgs(argc, argv);
    DiagModule::setVersion(2, 5, "7");
    if (std::string_view(argv[0]) == "callback")
        DiagModule::setEnumTestsCallback(chooseTests);
    DiagModule::registerLocalizedLibrary("common");
    DiagModule::registerLocalizedLibrary("extra");
    createTests();
    s_broken = DiagModule::createEvent("broken");
    DiagModule::createEvent("#odd=");
    s_greeting = DiagModule::createLocalizedString("Text.greeting",
                                                   "Hello {name}\nsecond = line # \\n \xF0\x9F\x94\xA7\r\n");
    DiagModule::createLocalizedString("#edges=", " blank at both ends ");
    DiagModule::createLocalizedString("Text.none");

    auto const disk = DeviceCapability::HardDrive();
    SyncDeviceProperty const serial("Serial", PropertyCategory::SysInfo() | PropertyCategory::Key(),
                                    DataType::STRING(), disk);
    SyncDeviceProperty const hidden("Hidden", PropertyCategory::SysInfo() | PropertyCategory::Internal(),
                                    DataType::UINT32ARRAY(), disk);
    SyncDeviceProperty const linked("Linked",
                                    PropertyCategory::Group() | PropertyCategory::LinkInFromDevice(),
                                    DataType::STRING(), disk | DeviceCapability::CPU());
    SyncDeviceProperty const speed("Speed", PropertyCategory::Volatile(), DataType::DOUBLE(),
                                   DeviceCapability::CPU());
    return DiagModule::start();
}
