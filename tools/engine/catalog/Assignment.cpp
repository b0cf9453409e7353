#include <engine/catalog/Assignment.h>

#include <zel/model/state/StateManager.h>
#include <zel/model/vocabulary/TestResultImp.h>

namespace engine {

using zel::DeviceImp;
using zel::String;
using zel::TestImp;
using zel::TestResultImp;

namespace {

bool isMeant(TestImp const& test, DeviceImp const& device)
{
    return device.deviceCapabilities().intersects(test.deviceCapabilities());
}

void assignByRules(TestImp& test, zel::StateManager& machine)
{
    for (std::size_t i = 0; i < machine.deviceCount(); ++i) {
        DeviceImp& device = *machine.deviceAtIndex(i);
        DeviceImp* previous = nullptr;
        if (!TestImp::canEnumerateOnDevice(test, device, machine, &previous))
            continue;
        if (previous)
            machine.removeAssociation(*previous, test);
        machine.associate(device, test, false);
    }
}

void assignAllOfItsKind(TestImp& test, zel::StateManager& machine)
{
    for (std::size_t i = 0; i < machine.deviceCount() && !test.isSwitchedOff(); ++i)
        if (isMeant(test, *machine.deviceAtIndex(i)))
            machine.associate(*machine.deviceAtIndex(i), test, false);
}

struct Reason
{
    String text;
    TestResultImp result = TestResultImp::NODEVICE();
};

/// What stands in the way of the device that comes nearest: the one that fails the fewest conditions.
Reason reasonAgainstAll(TestImp const& test, zel::StateManager const& machine)
{
    if (test.isSwitchedOff())
        return {"the settings switch it off: " + test.switchedOffBy(), TestResultImp::SKIPPED()};
    Reason reason{"this machine has no device of its kind: " + test.deviceCapabilities().toString()};
    std::size_t fewest = static_cast<std::size_t>(-1);
    for (std::size_t i = 0; i < machine.deviceCount(); ++i) {
        DeviceImp const& device = *machine.deviceAtIndex(i);
        if (!isMeant(test, device))
            continue;
        String texts;
        std::size_t failing = 0;
        for (TestImp::Condition const& condition : TestImp::conditions(test, device, machine))
            if (!condition.holds && ++failing > 0)
                texts += (texts.empty() ? String() : String("; ")) + condition.reason;
        if (failing >= fewest)
            continue;
        fewest = failing;
        bool const disabled = device.state() == zel::DeviceStateImp::DISABLED();
        reason = {device.name() + ": " + (texts.empty() ? String("its module does not want it") : texts),
                  disabled ? TestResultImp::DEVICEDISABLED() : TestResultImp::NOTAPPLICABLE()};
    }
    return reason;
}

} // namespace

void assignTests(Catalog& catalog, zel::StateManager& machine, OwnChoice* choice,
                 std::function<bool(Module const&)> const& isWanted)
{
    for (auto const& module : catalog.modules()) {
        if (isWanted && !isWanted(*module))
            continue;
        for (ModuleTest& test : module->tests)
            machine.addTest(test.record);
        bool const asks = module->record.choosesOwnTests() && choice;
        std::string const unanswered = asks ? choice->choose(*module, machine) : "";
        if (!unanswered.empty())
            catalog.complain(module->program +
                             ": does not say which devices its tests are for: " + unanswered);
        for (ModuleTest& test : module->tests) {
            test.isDeclinable = module->record.choosesOwnTests() && !asks;
            test.isUnanswered = !unanswered.empty();
            if (test.isDeclinable)
                assignAllOfItsKind(test.record, machine);
            else if (!asks)
                assignByRules(test.record, machine);
            for (std::size_t i = 0; i < machine.deviceCountByTest(test.record); ++i)
                test.devices.push_back(machine.deviceByTestAtIndex(test.record, i));
            if (!test.devices.empty())
                continue;
            Reason reason = reasonAgainstAll(test.record, machine);
            if (test.isUnanswered)
                reason = {"the module could not be asked: " + String(unanswered), TestResultImp::CANNOTRUN()};
            test.notHere = reason.text.toUtf8();
            test.notHereResult = reason.result.toString().toUtf8();
        }
    }
}

std::vector<DeviceImp*> testedDevices(Catalog const& catalog, zel::StateManager const& machine)
{
    std::vector<DeviceImp*> devices;
    for (std::size_t i = 0; i < machine.deviceCount(); ++i) {
        DeviceImp* const device = machine.deviceAtIndex(i);
        bool isTested = false;
        for (auto const& module : catalog.modules())
            for (ModuleTest const& test : module->tests)
                isTested =
                    isTested || isMeant(test.record, *device) || machine.isAssociated(*device, test.record);
        if (isTested)
            devices.push_back(device);
    }
    return devices;
}

std::string placeOf(DeviceImp const& device)
{
    for (String const* one : {&device.osLocator(), &device.hwLocator(), &device.name()})
        if (!one->empty())
            return one->toUtf8();
    return {};
}

std::string nameAndPlaceOf(DeviceImp const& device)
{
    std::string const name = device.name().toUtf8(), place = placeOf(device);
    return name == place ? name : name + " (" + place + ")";
}

} // namespace engine
