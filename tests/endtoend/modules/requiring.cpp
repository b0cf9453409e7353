// A module whose tests ask for more than the device they test. All test Memory, which every machine has, and look
// also for a CPU, which every machine has, or for a tape drive, which none of them does. Called "chooses", it picks
// the tests itself; called "tape", it tests tape drives only.
#include <krel5/krel5.h>

#include <cstdio>
#include <string_view>
#include <vector>

using namespace krel5;

static TestResult pass(DiagDevice const&) { return TestResult::PASS(); }

static TestResult companions(DiagDevice const&)
{
    unsigned const count = DiagModule::optionalDeviceCount();
    unsigned processors = 0;
    for (unsigned i = 0; i < count; ++i)
        processors +=
            DiagModule::optionalDevice(i).deviceCapabilities().isCapable(DeviceCapability::CPU()) ? 1 : 0;
    std::printf("companions: %s\n", count == 0            ? "none"
                                    : processors == count ? "all of them CPUs"
                                                          : "others");
    if (count > 0) {
        KrelString const& first = DiagModule::optionalDevice(0).osLocator(); // the device's, not the handle's
        std::vector<KrelString> const others(100, "something else");
        std::printf("first: %s\n", first.getUTF8Buffer());
    }
    try {
        DiagModule::optionalDevice(count);
    } catch (IndexOutOfBoundsException const& e) {
        std::printf("%s\n", e.toString().getUTF8Buffer());
        return TestResult::PASS();
    }
    return TestResult::FAIL();
}

static Test* s_wipe = nullptr;
static void choose(DiagDevice& device)
{
    std::printf("asked about %s\n", device.deviceType().toString().getUTF8Buffer());
    device.addTest(s_wipe);
}

static void createTests(DeviceCapability const& tested)
{
    DeviceCapability const there = DeviceCapability::CPU(), nowhere = DeviceCapability::TapeDrive();
    s_wipe = DiagModule::createTest("wipe", tested, pass)
                 ->setDestructive(true)
                 ->addDeviceAbsenceRequirement(there);
    DiagModule::createTest("withoutTape", tested, pass)->addDeviceAbsenceRequirement(nowhere);
    DiagModule::createTest("withCpu", tested, pass)->addDeviceExistenceRequirement(there);
    DiagModule::createTest("withTape", tested, pass)->addDeviceExistenceRequirement(nowhere);
    DiagModule::createTest("cpuBeside", tested, companions)->addOptionalDeviceCapabilities(there);
    DiagModule::createTest("tapeBeside", tested, companions)->addOptionalDeviceCapabilities(nowhere);
}

int main(int argc, char** argv)
{
    std::string_view const name = argc > 0 ? argv[0] : "";
    DiagModule::setCmdLineArgs(argc, argv);
    DiagModule::setVersion(1, 0, "1");
    if (name == "chooses")
        DiagModule::setEnumTestsCallback(choose);
    createTests(name == "tape" ? DeviceCapability::TapeDrive() : DeviceCapability::Memory());
    return DiagModule::start();
}
