#include <engine/commands/WhyCommand.h>

#include <engine/catalog/Assignment.h>
#include <engine/plan/Names.h>

#include <listing/forms/Columns.h>
#include <listing/forms/Listing.h>

#include <zel/model/state/StateManager.h>

#include <algorithm>

namespace engine {

using listing::harmless;
using zel::DeviceImp;
using zel::TestImp;

namespace {

std::string line(bool holds, std::string const& text, std::string const& reason)
{
    std::string const whole = std::string("    ") + (holds ? "yes  " : "NO   ") + harmless(text) +
                              (holds ? "" : ": " + harmless(reason));
    return listing::wrapped(whole, 9);
}

struct General
{
    std::string text;
    bool holds;
};

// What does not depend on the device.
General general(Module const& module, ModuleTest const& test, bool isAdministrator)
{
    std::string text =
        line(isAdministrator, "run by root", "tests run as root only, and this is another user");
    text +=
        line(!test.record.isSwitchedOff(), "the settings leave it on", test.record.switchedOffBy().toUtf8());
    text += line(module.settingsTrouble.empty(), "its module's settings can be read", module.settingsTrouble);
    auto const& errors = test.record.settingsErrors();
    std::string reasons;
    for (zel::SettingsError const& error : errors)
        reasons += (reasons.empty() ? "" : "; ") + error.toString().toUtf8();
    text += line(errors.empty(), "its settings are understood", reasons);
    for (zel::String const& forced : test.record.forcingLines())
        text += "    note " + harmless("its result is forced: " + forced.toUtf8()) + "\n";
    return {text, isAdministrator && !test.record.isSwitchedOff() && module.settingsTrouble.empty() &&
                      errors.empty()};
}

std::string deviceText(Situation const& situation, ModuleTest const& test, DeviceImp const& device,
                       bool isFree)
{
    std::string text = "  " + harmless(device.name()) + "  " + harmless(placeOf(device)) + "\n";
    bool isMet = true;
    for (TestImp::Condition const& condition : TestImp::conditions(test.record, device, *situation.machine)) {
        text += line(condition.holds, condition.text.toUtf8(), condition.reason.toUtf8());
        isMet = isMet && condition.holds;
    }
    bool const isIts = std::find(test.devices.begin(), test.devices.end(), &device) != test.devices.end();
    if (isMet && !isIts && test.record.flags().enumeratesOnlyOnce && !test.devices.empty())
        text += line(false, "it is for one device only", "it goes to " + placeOf(*test.devices.front()));
    else if (isMet && !isIts)
        text += line(false, "its module wants it",
                     test.isUnanswered ? test.notHere : "the module chooses its devices itself");
    return text + (!isIts   ? "    It does not run on this device.\n"
                   : isFree ? "    It runs on this device.\n"
                            : "    It would run on this device, but for the above.\n");
}

std::string testText(Situation const& situation, Catalog::Place const& place, bool isAdministrator)
{
    Module const& module = *place.module;
    ModuleTest const& test = *place.test;
    auto const& flags = test.record.flags();
    std::string text = harmless(wordOf(module, test)) + "  " + harmless(test.name) + "\n";
    General const all = general(module, test, isAdministrator);
    text += all.text;
    if (flags.destructive)
        text += "    note it destroys data: a plan, a wildcard or a module's name runs it only with "
                "--destructive\n";
    if (flags.interactive)
        text += "    note it asks a person\n";
    if (test.isDeclinable)
        text += "    note the module decides itself, when it is run, whether it wants the device\n";
    std::size_t others = 0;
    zel::StateManager const& machine = *situation.machine;
    for (std::size_t i = 0; i < machine.deviceCount(); ++i) {
        DeviceImp const& device = *machine.deviceAtIndex(i);
        if (device.deviceCapabilities().intersects(test.record.deviceCapabilities()) ||
            machine.isAssociated(device, test.record))
            text += deviceText(situation, test, device, all.holds);
        else
            ++others;
    }
    return text + "  " + std::to_string(others) +
           " other devices of this machine are of no kind that it is for (" +
           harmless(test.record.deviceCapabilities().toString()) + ").\n";
}

} // namespace

std::string whyText(Situation const& situation, std::string const& word, bool isAdministrator)
{
    std::string text;
    for (Catalog::Place const& place : chooseTests(situation.catalog, word).tests)
        text += (text.empty() ? "" : "\n") + testText(situation, place, isAdministrator);
    return text;
}

} // namespace engine
