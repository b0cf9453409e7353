// The module "pcie": the PCI Express links of devices.

#include <pcie/BusTest.h>
#include <pcie/Events.h>
#include <pcie/LinkTest.h>
#include <pcie/Texts.h>

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

#include <string>
#include <vector>

namespace {

using namespace krel5;
using namespace krel5::modules;
using namespace krel5::modules::pcie;

TimedHost s_host;
Parameter* s_seconds = nullptr;
Parameter* s_isSpeedRequired = nullptr;
std::vector<std::string> s_first; // functions, at the beginning of the program

TestResult link(DiagDevice const& device)
{
    return s_host.run(device, [function = std::string(device.osLocator().getUTF8Buffer())](TestHost& host) {
        MachineFolder const machine("/");
        LinkSettings settings;
        settings.seconds = s_seconds->value().valueDouble();
        settings.isSpeedRequired = s_isSpeedRequired->value().valueBool();
        return evidence::unlessShort(
            host, machine, runLinkTest(host, machine, function, settings, systemLoad(machine, function)));
    });
}

TestResult bus(DiagDevice const&)
{
    return s_host.run([](TestHost& host) {
        MachineFolder const machine("/");
        return evidence::unlessShort(
            host, machine,
            runBusTest(host, machine, s_first, s_seconds->value().valueDouble(), systemLoad(machine, "")));
    });
}

} // namespace

int main(int argc, char** argv)
{
    DiagModule::setCmdLineArgs(argc, argv);
    DiagModule::setVersion(1, 0, "1");
    s_first = functionsOf(MachineFolder("/"));
    s_seconds = DiagModule::createParameter("Seconds", DataType::DOUBLE(), "5", false, false, "0.1..86400");
    s_isSpeedRequired = DiagModule::createParameter("SpeedRequired", DataType::BOOLEAN(), "false", false);
    s_host.createEvents(kEvents);
    s_host.createTexts(kTexts);
    s_host.watchEvidence();
    // Of the bridges at the top nobody knows what is above them.
    DiagModule::createTest("link", DeviceCapability::PCIExpress(), link)
        ->setDestructive(false)
        ->setSupportsParallelTesting(true)
        ->addDevicePropertyRequirement("CommonLinkWidth", "1..")
        ->addParameter(s_seconds)
        ->addParameter(s_isSpeedRequired);
    DiagModule::createTest("bus", DeviceCapability::System(), bus)
        ->setDestructive(false)
        ->setSupportsParallelTesting(true)
        ->addParameter(s_seconds);
    return DiagModule::start();
}
