#include <engine/commands/RunCommand.h>

#include <engine/catalog/Assignment.h>
#include <engine/commands/WatchCommand.h>
#include <engine/plan/Names.h>
#include <engine/report/linux/Priority.h>
#include <engine/runner/ExitStatus.h>
#include <engine/runner/HeadStart.h>
#include <engine/runner/HttpRequests.h>
#include <engine/runner/Runner.h>

#include <listing/command/Console.h>
#include <listing/forms/Listing.h>

#include <zel/foundation/Exception.h>
#include <zel/foundation/System.h>
#include <zel/model/devices/DeviceImp.h>
#include <zel/model/vocabulary/TestResultImp.h>

#include <algorithm>
#include <filesystem>

namespace engine {

using listing::harmless;

namespace {

// Words that have to stand behind each command that makes a run again.
std::vector<std::string> wordsOf(SituationRequest const& where)
{
    std::vector<std::string> words;
    for (std::string const& module : where.modules)
        words.insert(words.end(),
                     {"--modules", std::filesystem::absolute(module).lexically_normal().string()});
    if (where.isAlone)
        words.emplace_back("--only-modules");
    return words;
}

std::string refusalText(Refusal const& refusal)
{
    std::string what = refusal.moduleGuid.empty() ? "" : refusal.moduleGuid + ":" + refusal.test;
    if (!refusal.deviceName.empty())
        what += (what.empty() ? "" : " on ") + refusal.deviceName;
    return harmless(what + (what.empty() ? "" : ": ") + refusal.result + ": " + refusal.reason);
}

/// Told already.
bool isGap(Refusal const& refusal) { return refusal.moduleGuid.empty() && refusal.deviceName.empty(); }

/// Whether anything is run on a device of these classes.
bool testsAnyOf(Plan const& plan, zel::CapabilityImp const& classes)
{
    return std::any_of(plan.runs.begin(), plan.runs.end(), [&classes](PlannedRun const& run) {
        return (run.device->deviceCapabilities() | run.device->deviceType()).intersects(classes);
    });
}

} // namespace

namespace {

/// A module that chooses its tests among the devices is asked by a link of its own before it runs.
bool canStartAhead(std::vector<Catalog::Place> const& tests)
{
    return !tests.empty() && zel::System::userIsAdministrator() &&
           std::none_of(tests.begin(), tests.end(),
                        [](Catalog::Place const& one) { return one.module->record.choosesOwnTests(); });
}

/// What nobody but the tests of these words needs is not looked for. A plan is for the whole machine, and so is what
/// watches; and which devices are meant by a name or a number, only who knows them all can tell. The module of the first
/// of the tests starts meanwhile, as `ahead`.
TestsWanted testsWanted(RunRequest const& request, RunOptions const& options,
                        std::unique_ptr<HeadStart>& ahead)
{
    bool const isWhole = !request.plan.empty() || request.words.empty() || request.watch;
    if (isWhole || !request.devices.empty())
        return {};
    return [&request, &options,
            &ahead](Catalog const& catalog) -> std::optional<std::vector<Catalog::Place>> {
        std::vector<Catalog::Place> all;
        try {
            for (std::string const& word : request.words) {
                auto const some = chooseTests(catalog, word).tests;
                all.insert(all.end(), some.begin(), some.end());
            }
        } catch (zel::InvalidArgumentException const&) { // to be told with all that may be the reason for it
            return std::nullopt;
        }
        if (!request.dryRun && canStartAhead(all))
            ahead = startAhead(all.front().module->program, options);
        return all;
    };
}

} // namespace

Plan planOf(RunRequest const& request, Situation const& situation, bool isAdministrator)
{
    PlanRequest wanted;
    wanted.words = request.words;
    wanted.devices = request.devices;
    wanted.destructive = request.destructive;
    wanted.isAdministrator = isAdministrator;
    wanted.also = wordsOf(request.where);
    if (!request.plan.empty() || request.words.empty()) {
        wanted.plan = request.plan.empty() ? "quick" : request.plan;
        wanted.lines = readPlan(planPath(wanted.plan, installedPlans()));
    }
    if (!request.settingsFile.empty())
        wanted.fileSettings = readSettingsFile(request.settingsFile);
    for (std::string const& setting : request.settings)
        wanted.settings.push_back(settingOf(setting, "--set"));
    if (!request.forTime.empty())
        wanted.forTime = durationOf(request.forTime, "--for");
    if (!request.limit.empty())
        wanted.limit = durationOf(request.limit, "--timeout");
    return makePlan(wanted, situation.catalog, *situation.machine, situation.numbered);
}

std::string planText(Plan const& plan, unsigned repeat)
{
    std::string text;
    std::chrono::seconds known{0};
    bool isWhole = true;
    for (PlannedRun const& run : plan.runs) {
        text += harmless(run.moduleGuid + ":" + run.test + " on " + run.device->name().toUtf8() + " (" +
                         placeOf(*run.device) + ")");
        for (auto const& [key, value] : run.parameters)
            text += " " + harmless(quoted(key + "=" + value));
        if (run.forTime.count() > 0)
            text += ", for " + durationText(run.forTime);
        if (run.limit.count() > 0)
            text += ", for " + durationText(run.limit) + " at most";
        text += run.destructive ? ", DESTROYS DATA" : "";
        text += "\n";
        known += run.expected;
        isWhole = isWhole && run.expected.count() > 0;
    }
    text += std::to_string(plan.runs.size()) + (plan.runs.size() == 1 ? " run" : " runs");
    if (repeat > 1)
        text += ", " + std::to_string(repeat) + " times";
    known *= repeat;
    if (known.count() > 0)
        text += std::string(", about ") + durationText(known) + (isWhole ? "" : " and more");
    return text + ".\n";
}

namespace {

// "quick" is a test's name as well: what was meant is not for a program to guess.
void tellOfPlansCalledLike(std::vector<std::string> const& words)
{
    auto const folders = installedPlans();
    for (std::string const& word : words)
        if (!pathOfPlan(word, folders).empty())
            listing::complain("\"" + word + "\" is taken for a test; the plan of that name is --plan " +
                              word);
}

} // namespace

int runCommand(RunRequest const& request)
{
    goBeforeModules();
    tellOfPlansCalledLike(request.words);
    fetcherFor(request.options.allowedHosts); // a word that is no host is told now
    requireNewReport(request.options.report); // told before the machine is looked at
    RunOptions options = request.options;
    options.language = languageOf(request.where).toString().toUtf8();
    std::unique_ptr<HeadStart> ahead;
    Situation const situation = lookAround(request.where, testsWanted(request, options, ahead));
    Plan plan = planOf(request, situation, zel::System::userIsAdministrator());
    for (std::string const& gap :
         situation.gaps) // whose tests nobody can name, and which nobody may miss unawares
        plan.refusals.push_back({"", "", "", zel::TestResultImp::CANNOTRUN().toString().toUtf8(), gap, true});
    for (zel::TableDamage const& damage : situation.damages)
        if (testsAnyOf(plan, damage.missing))
            plan.refusals.push_back({"", "", "", zel::TestResultImp::CANNOTRUN().toString().toUtf8(),
                                     "devices may be missing: " + damage.what.toUtf8(), true});
    // What was asked for and is not run is told by the summary of a run, which is its report's.
    for (Refusal const& refusal : plan.refusals)
        if (!refusal.isAskedFor || (request.dryRun && !isGap(refusal)))
            listing::complain((refusal.isAskedFor ? "not run: " : "left out: ") + refusalText(refusal));
    if (!request.dryRun) {
        if (request.watch) {
            options.watched = modulesToWatch({}, situation.catalog, 0);
            if (options.watched.empty())
                throw zel::InvalidArgumentException("--watch: there is no module that watches anything");
        }
        return runPlan(plan, options, *situation.machine, std::move(ahead));
    }
    if (!listing::printed(planText(plan, request.options.repeat)))
        return kTrouble;
    return exitStatusOf(gradeBefore(plan));
}

} // namespace engine
