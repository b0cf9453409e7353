#include <engine/commands/ListCommand.h>

#include <engine/catalog/Assignment.h>
#include <engine/plan/MakePlan.h>
#include <engine/plan/Names.h>
#include <engine/plan/PlanFile.h>

#include <listing/forms/Columns.h>
#include <listing/forms/JsonWriter.h>
#include <listing/forms/Listing.h>

#include <zel/foundation/Exception.h>
#include <zel/foundation/System.h>
#include <zel/model/devices/DeviceImp.h>
#include <zel/model/settings/ParameterImp.h>

#include <algorithm>
#include <map>

namespace engine {

using listing::harmless;
using zel::DeviceImp;
using zel::String;

namespace {

std::vector<Module const*> chosen(Situation const& situation, ListRequest const& request)
{
    std::vector<Module const*> modules;
    for (auto const& module : situation.catalog.modules()) {
        bool isChosen = request.modules.empty() && (request.all || !module->tests.empty());
        for (std::string const& word : request.modules)
            isChosen = isChosen || matches(word, module->guid()) || matches(word, module->name);
        if (isChosen)
            modules.push_back(module.get());
    }
    for (std::string const& word : request.modules)
        if (!hasWildcard(word))
            chooseModule(situation.catalog, word); // or says that there is none
    return modules;
}

/// How long tests take, about, in each plan that says so.
using Durations = std::map<ModuleTest const*, std::vector<std::pair<std::string, std::chrono::seconds>>>;

/// What is wrong with a plan is told to who runs it.
Durations durationsOf(Situation const& situation)
{
    Durations durations;
    auto const take = [&](std::string const& plan, PlanLine const& line) {
        for (Catalog::Place const& place : chooseTests(situation.catalog, line.tests).tests) {
            auto& known = durations[place.test];
            if (known.empty() || known.back().first != plan)
                known.emplace_back(plan, line.expected);
        }
    };
    for (std::string const& plan : planNames(installedPlans()))
        try {
            for (PlanLine const& line : readPlan(planPath(plan, installedPlans())))
                try {
                    if (line.expected.count() > 0)
                        take(plan, line);
                } catch (zel::InvalidArgumentException const&) { // of a module that is not here
                }
        } catch (zel::InvalidArgumentException const&) {
        }
    return durations;
}

std::string durationLine(Durations const& durations, ModuleTest const& test)
{
    auto const known = durations.find(&test);
    if (known == durations.end())
        return "";
    std::string text;
    for (auto const& [plan, time] : known->second)
        text += (text.empty() ? "takes about " : ", ") + durationText(time) + " in the plan " + plan;
    return text;
}

std::size_t numberOf(Situation const& situation, DeviceImp const* device)
{
    auto const place = std::find(situation.numbered.begin(), situation.numbered.end(), device);
    return static_cast<std::size_t>(place - situation.numbered.begin()) + 1;
}

std::vector<std::string> flagsOf(ModuleTest const& test)
{
    auto const& flags = test.record.flags();
    std::vector<std::string> words;
    if (flags.destructive)
        words.emplace_back("destroys data");
    if (flags.interactive)
        words.emplace_back("asks a person");
    if (flags.createsOwnGui)
        words.emplace_back("opens a window");
    if (test.isDeclinable)
        words.emplace_back("decides itself when run whether the device is one for it");
    if (!test.record.forcingLines().empty())
        words.push_back("the settings force its result: " + test.record.forcingLines().front().toUtf8());
    return words;
}

std::string right(std::size_t number, std::size_t width)
{
    std::string const text = std::to_string(number);
    return std::string(width - std::min(width, text.size()), ' ') + text;
}

constexpr char kIndent[] = "       ";
constexpr std::size_t kIndentSize = sizeof kIndent - 1;

std::string block(std::string const& text)
{
    return text.empty() ? "" : listing::wrapped(kIndent + harmless(text), kIndentSize);
}

std::string parameterText(zel::ParameterImp const& parameter, std::string const& name)
{
    std::string text = parameter.key().toUtf8() + ": " + parameter.type().toString().toUtf8();
    if (!parameter.validDataRange().empty())
        text += ", " + parameter.validDataRange().toUtf8();
    if (parameter.isSet())
        text += ", set to " + parameter.value().toString().toUtf8();
    if (!name.empty())
        text += " (" + name + ")";
    return text + (parameter.isRequired() ? ", has to be set" : "");
}

std::string testText(Situation const& situation, Durations const& durations, Module const& module,
                     ModuleTest const& test, bool all)
{
    std::string text = right(test.number, kIndentSize - 2) + "  " + harmless(wordOf(module, test)) + "  " +
                       harmless(test.name) + "\n" + block(test.description);
    std::string where;
    for (DeviceImp const* const device : test.devices)
        where += (!where.empty()             ? ", "
                  : test.devices.size() == 1 ? "on device "
                                             : "on devices ") +
                 std::to_string(numberOf(situation, device)) + ": " + device->name().toUtf8();
    if (test.devices.empty())
        where = "not here: " + test.notHere;
    text += block(where) + block(durationLine(durations, test));
    auto const obstacle = obstacleOf(module, test, zel::System::userIsAdministrator());
    if (obstacle && !obstacle->isNotHere && module.settingsTrouble.empty()) // which stands above the tests
        text += block("! will not run: " + obstacle->reason);
    for (std::string const& flag : flagsOf(test))
        text += block("! " + flag);
    if (all)
        for (std::size_t i = 0; i < test.record.parameters().size(); ++i)
            text += block("  " + parameterText(test.record.parameters()[i], test.parameterNames[i]));
    return text;
}

std::string moduleText(Situation const& situation, Durations const& durations, Module const& module, bool all)
{
    std::string text =
        harmless(module.guid()) + " " + harmless(module.version) + "  " + harmless(module.name) + "\n";
    if (!module.description.empty())
        text += listing::wrapped("  " + harmless(module.description), 2);
    if (all)
        text += "  " + harmless(module.program) + "\n";
    if (!module.settingsTrouble.empty())
        text += listing::wrapped("  ! no test of it will run: " + harmless(module.settingsTrouble), 2);
    if (module.tests.empty())
        text += std::string("  ") +
                (module.indicatorCount > 0                               ? "no tests, but indicators"
                 : module.record.type() == zel::ModuleTypeImp::SYSINFO() ? "no tests; it reports devices"
                                                                         : "no tests") +
                "\n";
    for (ModuleTest const& test : module.tests)
        text += testText(situation, durations, module, test, all);
    return text + "\n";
}

void writeParameters(listing::JsonWriter& json, ModuleTest const& test)
{
    json.key("parameters").beginArray();
    for (std::size_t i = 0; i < test.record.parameters().size(); ++i) {
        zel::ParameterImp const& parameter = test.record.parameters()[i];
        json.beginObject().key("key").text(parameter.key()).key("name").text(String(test.parameterNames[i]));
        json.key("type").text(parameter.type().toString());
        json.key("range").text(parameter.validDataRange()).key("required").truth(parameter.isRequired());
        json.key("global").truth(parameter.isGlobalParameter()).end();
    }
    json.end();
}

void writeTest(listing::JsonWriter& json, Situation const& situation, Durations const& durations,
               Module const& module, ModuleTest const& test)
{
    auto const& flags = test.record.flags();
    json.beginObject().key("number").number(std::uint64_t{test.number});
    json.key("test").text(String(wordOf(module, test))).key("key").text(test.record.keyInModule());
    json.key("name").text(String(test.name)).key("description").text(String(test.description));
    json.key("applies").truth(!test.devices.empty()).key("devices").beginArray();
    for (DeviceImp const* const device : test.devices)
        json.number(std::uint64_t{numberOf(situation, device)});
    auto const obstacle = obstacleOf(module, test, zel::System::userIsAdministrator());
    json.end().key("runs").truth(!obstacle).key("reason").text(String(obstacle ? obstacle->reason : ""));
    json.key("result").text(obstacle ? obstacle->result.toString() : String());
    json.key("destructive").truth(flags.destructive).key("interactive").truth(flags.interactive);
    json.key("ownWindow").truth(flags.createsOwnGui).key("parallel").truth(flags.supportsParallelTesting);
    json.key("decidesItself").truth(test.isDeclinable);
    json.key("settingsErrors").beginArray();
    for (zel::SettingsError const& error : test.record.settingsErrors())
        json.text(error.toString());
    json.end();
    json.key("expected").beginArray();
    if (auto const known = durations.find(&test); known != durations.end())
        for (auto const& [plan, time] : known->second)
            json.beginObject()
                .key("plan")
                .text(String(plan))
                .key("seconds")
                .number(static_cast<std::uint64_t>(time.count()))
                .end();
    json.end();
    writeParameters(json, test);
    json.end();
}

void writeModule(listing::JsonWriter& json, Situation const& situation, Durations const& durations,
                 Module const& module)
{
    json.beginObject().key("guid").text(module.record.guid()).key("version").text(String(module.version));
    json.key("name").text(String(module.name)).key("description").text(String(module.description));
    json.key("type").text(module.record.type().toString()).key("program").text(String(module.program));
    json.key("settingsTrouble").text(String(module.settingsTrouble));
    json.key("indicators").number(std::uint64_t{module.indicatorCount}).key("tests").beginArray();
    for (ModuleTest const& test : module.tests)
        writeTest(json, situation, durations, module, test);
    json.end().end();
}

void writeDevices(listing::JsonWriter& json, Situation const& situation)
{
    json.key("devices").beginArray();
    std::uint64_t number = 0;
    for (DeviceImp const* const device : situation.numbered) {
        json.beginObject().key("number").number(++number).key("name").text(device->name());
        json.key("class").text(device->deviceType().toString()).key("osLocator").text(device->osLocator());
        json.key("hwLocator").text(device->hwLocator()).key("guid").text(device->guid()).end();
    }
    json.end();
}

} // namespace

std::string listText(Situation const& situation, ListRequest const& request)
{
    std::string text;
    Durations const durations = durationsOf(situation);
    for (Module const* const module : chosen(situation, request))
        text += moduleText(situation, durations, *module, request.all);
    if (situation.catalog.modules().empty()) {
        if (!situation.catalog.complaints().empty())
            return "No module could be read.\n";
        text += "There are no modules";
        for (std::string const& folder : situation.installedFolders)
            text += (&folder == &situation.installedFolders.front() ? " in " : ", ") + harmless(folder);
        return text + ". Name some with --modules.\n";
    }
    text += situation.numbered.empty() ? "This machine has no device that any of them tests.\n" : "Devices\n";
    std::size_t number = 0;
    for (DeviceImp const* const device : situation.numbered)
        text += right(++number, kIndentSize - 2) + "  " + harmless(device->name()) + "  [" +
                harmless(device->deviceType().toString()) + "]  " + harmless(placeOf(*device)) + "\n";
    if (!zel::System::userIsAdministrator())
        text +=
            "\nListed without root: what only root may see of the machine is missing, and no test runs.\n";
    return text;
}

std::string listJson(Situation const& situation, ListRequest const& request)
{
    listing::JsonWriter json;
    json.beginObject().key("format").text("krel5-engine-list").key("formatVersion").number(std::uint64_t{1});
    json.key("version").text(KREL5_VERSION).key("administrator").truth(zel::System::userIsAdministrator());
    json.key("modules").beginArray();
    Durations const durations = durationsOf(situation);
    for (Module const* const module : chosen(situation, request))
        writeModule(json, situation, durations, *module);
    json.end();
    writeDevices(json, situation);
    json.key("complaints").beginArray();
    for (std::string const& complaint : situation.catalog.complaints())
        json.text(String(complaint));
    json.end().end();
    return json.take() + "\n";
}

} // namespace engine
