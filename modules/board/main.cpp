// The module "board": clocks, random numbers, security chip, fans, supply voltages and batteries.

#include <board/BatteryTest.h>
#include <board/ClockTest.h>
#include <board/Events.h>
#include <board/NoiseTest.h>
#include <board/RtcTest.h>
#include <board/SensorTests.h>
#include <board/Texts.h>
#include <board/TpmTest.h>

#include <common/TimedHost.h>
#include <common/evidence/Shortage.h>

#include <krel5/DataType.h>
#include <krel5/DeviceCapability.h>
#include <krel5/DiagDevice.h>
#include <krel5/DiagModule.h>
#include <krel5/Parameter.h>
#include <krel5/Test.h>
#include <krel5/TestResult.h>
#include <krel5/Value.h>

#include <ctime>

namespace {

using namespace krel5;
using namespace krel5::modules;
using namespace krel5::modules::board;

TimedHost s_host;
Parameter* s_compareSeconds = nullptr;
Parameter* s_ppm = nullptr;
Parameter* s_aside = nullptr;
Parameter* s_kib = nullptr;
Parameter* s_watchSeconds = nullptr;
Parameter* s_hot = nullptr;
Parameter* s_isLimitStrict = nullptr;
Parameter* s_wear = nullptr;

TestResult clocks(DiagDevice const&)
{
    return s_host.run([](TestHost& host) {
        MachineFolder const machine("/");
        ClockSettings settings;
        settings.seconds = s_compareSeconds->value().valueDouble();
        settings.mostPpm = s_ppm->value().valueDouble();
        return evidence::unlessShort(host, machine, runClockTest(host, systemClocks(machine), settings));
    });
}

TestResult rtc(DiagDevice const&)
{
    return s_host.run([](TestHost& host) {
        MachineFolder const machine("/");
        RtcSettings settings;
        settings.mostAside = s_aside->value().valueDouble();
        return evidence::unlessShort(
            host, machine, runRtcTest(host, machine, systemClocks(machine), std::time(nullptr), settings));
    });
}

TestResult random(DiagDevice const&)
{
    return s_host.run([](TestHost& host) {
        NoiseSettings settings;
        settings.bytes = std::size_t{s_kib->value().valueUint32()} * 1024;
        return runNoiseTest(host, systemNoise(), settings);
    });
}

TestResult tpm(DiagDevice const&)
{
    return s_host.run([](TestHost& host) {
        MachineFolder const machine("/");
        return evidence::unlessShort(host, machine, runTpmTest(host, systemTpm(machine)));
    });
}

TestResult fans(DiagDevice const&)
{
    return s_host.run([](TestHost& host) {
        FanSettings settings;
        settings.seconds = s_watchSeconds->value().valueDouble();
        settings.hot = s_hot->value().valueDouble();
        settings.isLimitStrict = s_isLimitStrict->value().valueBool();
        MachineFolder const machine("/");
        return evidence::unlessShort(host, machine, runFanTest(host, machine, systemPace(), settings));
    });
}

TestResult voltages(DiagDevice const&)
{
    return s_host.run([](TestHost& host) {
        VoltageSettings settings;
        settings.seconds = s_watchSeconds->value().valueDouble();
        settings.isLimitStrict = s_isLimitStrict->value().valueBool();
        MachineFolder const machine("/");
        return evidence::unlessShort(host, machine, runVoltageTest(host, machine, systemPace(), settings));
    });
}

TestResult battery(DiagDevice const& device)
{
    return s_host.run([name = std::string(device.osLocator().getUTF8Buffer())](TestHost& host) {
        BatterySettings settings;
        settings.mostWear = s_wear->value().valueDouble();
        MachineFolder const machine("/");
        return evidence::unlessShort(host, machine, runBatteryTest(host, machine, name, settings));
    });
}

Test* createBoardTest(char const* key, DeviceCapability const& device, Test::Callback callback)
{
    return DiagModule::createTest(key, device, callback)
        ->setDestructive(false)
        ->setSupportsParallelTesting(true);
}

} // namespace

int main(int argc, char** argv)
{
    DiagModule::setCmdLineArgs(argc, argv);
    DiagModule::setVersion(1, 0, "1");
    s_compareSeconds =
        DiagModule::createParameter("Seconds", DataType::DOUBLE(), "30", false, false, "3..86400");
    s_ppm = DiagModule::createParameter("MaxPpm", DataType::DOUBLE(), "500", false, false, "1..100000");
    s_aside = DiagModule::createParameter("MaxAside", DataType::DOUBLE(), "60", false, false, "1..86400");
    s_kib = DiagModule::createParameter("KiB", DataType::UINT32(), "1024", false, false, "1..1048576");
    s_watchSeconds =
        DiagModule::createParameter("WatchSeconds", DataType::DOUBLE(), "10", false, false, "1..86400");
    s_hot = DiagModule::createParameter("HotCelsius", DataType::DOUBLE(), "60", false, false, "20..120");
    s_isLimitStrict = DiagModule::createParameter("LimitsFail", DataType::BOOLEAN(), "false", false);
    s_wear = DiagModule::createParameter("MaxWear", DataType::DOUBLE(), "40", false, false, "1..100");
    s_host.createEvents(kEvents);
    s_host.createTexts(kTexts);
    s_host.watchEvidence();
    auto const system = DeviceCapability::System();
    createBoardTest("clocks", system, clocks)->addParameter(s_compareSeconds)->addParameter(s_ppm);
    createBoardTest("rtc", system, rtc)
        ->addDevicePropertyRequirement("RealTimeClock", "")
        ->addParameter(s_aside);
    createBoardTest("random", system, random)->addParameter(s_kib);
    createBoardTest("tpm", system, tpm)
        ->addDevicePropertyRequirement("TpmVersion", "")
        ->setSupportsParallelTesting(false);
    createBoardTest("fans", DeviceCapability::Fan(), fans)
        ->setEnumeratesOnlyOnce(true)
        ->addParameter(s_watchSeconds)
        ->addParameter(s_hot)
        ->addParameter(s_isLimitStrict);
    createBoardTest("voltages", DeviceCapability::VoltSensor(), voltages)
        ->setEnumeratesOnlyOnce(true)
        ->addParameter(s_watchSeconds)
        ->addParameter(s_isLimitStrict);
    createBoardTest("battery", DeviceCapability::Battery(), battery)->addParameter(s_wear);
    return DiagModule::start();
}
