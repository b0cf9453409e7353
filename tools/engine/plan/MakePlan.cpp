#include <engine/plan/MakePlan.h>

#include <engine/catalog/Assignment.h>
#include <engine/plan/Names.h>

#include <zel/foundation/Exception.h>
#include <zel/model/state/StateManager.h>
#include <zel/model/vocabulary/TestResultImp.h>

#include <algorithm>
#include <set>
#include <tuple>

namespace engine {

using zel::DeviceImp;
using zel::String;
using zel::TestResultImp;

namespace {

using Devices = std::vector<DeviceImp*>;
using Values = std::vector<std::pair<std::string, std::string>>;

bool isIn(Devices const& devices, DeviceImp const* device)
{
    return std::find(devices.begin(), devices.end(), device) != devices.end();
}

void addOnce(Devices& devices, Devices const& more)
{
    for (DeviceImp* const device : more)
        if (!isIn(devices, device))
            devices.push_back(device);
}

/// Later ones in place of earlier ones.
void override(Values& values, Values const& later)
{
    for (auto const& one : later) {
        std::erase_if(values, [&](auto const& known) { return known.first == one.first; });
        values.push_back(one);
    }
}

/// What a file says has to be meant for some test that there is, if not for one that is to run.
void checkFileSettings(Catalog const& catalog, std::vector<Setting> const& settings)
{
    SettingsUse use(catalog, settings);
    for (auto const& module : catalog.modules())
        for (ModuleTest& test : module->tests)
            use.of({module.get(), &test});
    use.requireAllUsed();
}

class Maker
{
public:
    Maker(PlanRequest const& request, Catalog const& catalog, zel::StateManager const& machine,
          Devices const& numbered)
        : m_request(request), m_catalog(catalog), m_machine(machine), m_numbered(numbered),
          m_fileUse(catalog, request.fileSettings), m_ownUse(catalog, request.settings)
    {
        m_plan.name = request.plan;
        for (std::string const& word : request.devices)
            addOnce(m_devices, chooseDevices(numbered, machine, word));
        checkFileSettings(catalog, request.fileSettings);
    }

    Plan make()
    {
        if (m_request.plan.empty())
            for (std::string const& word : m_request.words)
                for (std::string const& part : wordsApart(word))
                    addWord(part);
        else
            for (PlanLine const& line : m_request.lines)
                addLine(line);
        if (!m_request.plan.empty())
            requireWordsInPlan();
        m_ownUse.requireAllUsed();
        refuseIdleDevices();
        return std::move(m_plan);
    }

private:
    /// What holds for all tests of one word or line.
    struct Wish
    {
        PlanLine const& line;
        bool isNamed = false; ///< the verdict counts what cannot be run
        bool isOfPlan = false;
        bool isExplicit = false; ///< of one test, which may be there already
        Devices only;            ///< empty: all
        bool isShut = false;     ///< the line's devices are none of those that were asked for
        SettingsUse* use = nullptr;
        bool isTyped = false; ///< of a plan, and a word of the command line names it too
    };

    // "3,5-7" names the test 3 and not the others. Whatever is wrong is told of the word as it was written.
    std::vector<std::string> wordsApart(std::string const& word) const
    {
        chooseTests(m_catalog, word);
        return numbersOf(word);
    }

    void addWord(std::string const& word)
    {
        ChosenTests const chosen = chooseTests(m_catalog, word);
        if (chosen.tests.empty())
            throw zel::InvalidArgumentException("the module \"" + String(word) + "\" has no tests");
        PlanLine const line;
        for (Catalog::Place const& place : chosen.tests)
            add({line, chosen.isNamed, false, false, m_devices, false, nullptr, false}, place);
    }

    void addLine(PlanLine const& line)
    {
        Wish wish{line, false, true, false, m_devices, false, nullptr, false};
        ChosenTests chosen;
        try {
            chosen = chooseTests(m_catalog, line.tests);
            for (Catalog::Place const& place : chosen.tests)
                m_ofPlan.insert(place.test);
            addLineDevices(wish);
        } catch (zel::InvalidArgumentException const& error) {
            if (!line.optional)
                throw zel::InvalidArgumentException(String(line.origin) + ": " + error.getMessage());
            return;
        }
        wish.isNamed = chosen.isNamed && !line.optional;
        wish.isExplicit = chosen.isNamed;
        SettingsUse use(m_catalog, line.settings);
        wish.use = &use;
        for (Catalog::Place const& place : chosen.tests) {
            Wish one = wish;
            one.isTyped = isNamedByWord(place);
            one.isNamed = wish.isNamed || one.isTyped;
            if (isAmongWords(place))
                add(one, place);
            else
                use.of(place);
        }
        if (!chosen.tests.empty())
            use.requireAllUsed();
    }

    void addLineDevices(Wish& wish)
    {
        Devices ofLine;
        for (std::string const& word : wish.line.devices)
            addOnce(ofLine, chooseDevices(m_numbered, m_machine, word));
        if (ofLine.empty())
            return;
        if (!m_devices.empty())
            std::erase_if(ofLine, [&](DeviceImp* one) { return !isIn(m_devices, one); });
        wish.only = ofLine;
        wish.isShut = ofLine.empty();
    }

    bool isAmongWords(Catalog::Place const& place) const
    {
        if (m_request.words.empty())
            return true;
        for (std::string const& word : m_request.words)
            for (Catalog::Place const& one : chooseTests(m_catalog, word).tests)
                if (one.test == place.test)
                    return true;
        return false;
    }

    /// What a person types counts, also where the plan would do without it.
    bool isNamedByWord(Catalog::Place const& place) const
    {
        for (std::string const& word : m_request.words)
            for (std::string const& part : wordsApart(word)) {
                ChosenTests const chosen = chooseTests(m_catalog, part);
                if (chosen.isNamed && chosen.tests.front().test == place.test)
                    return true;
            }
        return false;
    }

    /// Who asks for a test of the plan by name must not get a verdict without it.
    void requireWordsInPlan() const
    {
        for (std::string const& word : m_request.words) {
            auto const tests = chooseTests(m_catalog, word).tests;
            if (std::none_of(tests.begin(), tests.end(),
                             [&](Catalog::Place const& one) { return m_ofPlan.count(one.test) > 0; }))
                throw zel::InvalidArgumentException("nothing in the plan \"" + String(m_request.plan) +
                                                    "\" is \"" + String(word) + "\"");
        }
    }

    void add(Wish const& wish, Catalog::Place const& place)
    {
        Values values = m_fileUse.of(place);
        if (wish.use)
            override(values, wish.use->of(place));
        override(values, m_ownUse.of(place));

        ModuleTest const& test = *place.test;
        auto const& flags = test.record.flags();
        if (wish.isShut)
            return;
        // What is not here would not run by name either: then that is the reason, below.
        if (flags.destructive && !m_request.destructive && !test.devices.empty() &&
            (wish.isOfPlan || !wish.isNamed))
            return refuse(place, {}, TestResultImp::SKIPPED(),
                          wish.isOfPlan ? "it destroys data; a plan runs it only with --destructive"
                                        : "it destroys data; it runs when it is named, or with --destructive",
                          wish.isTyped);
        if (flags.interactive && wish.isOfPlan && !wish.isExplicit && !wish.isTyped && !wish.line.interactive)
            return refuse(place, {}, TestResultImp::SKIPPED(), "it asks a person; it runs when it is named",
                          false);
        if (auto const obstacle = obstacleOf(*place.module, test, m_request.isAdministrator))
            return refuse(place, {}, obstacle->result, obstacle->reason,
                          !obstacle->isNotHere || wish.isNamed);
        if (flags.interactive && (wish.line.forTime.count() > 0 || m_request.forTime.count() > 0))
            return refuse(place, {}, TestResultImp::BADPARAMS(),
                          "it asks a person, and so is not repeated for a time", wish.isNamed);
        addRuns(wish, place, values);
    }

    void addRuns(Wish const& wish, Catalog::Place const& place, Values const& values)
    {
        bool isForAny = false;
        for (DeviceImp* const device : place.test->devices) {
            if (!wish.only.empty() && !isIn(wish.only, device))
                continue;
            isForAny = true;
            if (m_planned.emplace(place.test, device).second || (wish.isOfPlan && wish.isExplicit))
                m_plan.runs.push_back(runOf(wish, place, *device, values));
        }
        if (isForAny)
            return;
        for (DeviceImp const* const device : wish.only)
            refuse(place, device, TestResultImp::NOTAPPLICABLE(), whyNotFor(place, *device), wish.isNamed);
    }

    std::string whyNotFor(Catalog::Place const& place, DeviceImp const& device) const
    {
        ModuleTest const& test = *place.test;
        for (auto const& condition : zel::TestImp::conditions(test.record, device, m_machine))
            if (!condition.holds)
                return condition.reason.toUtf8();
        if (place.module->record.choosesOwnTests())
            return "its module does not want it";
        return "it is for one device only, and goes to " + placeOf(*test.devices.front());
    }

    void refuse(Catalog::Place const& place, DeviceImp const* device, TestResultImp const& result,
                std::string const& reason, bool isAskedFor)
    {
        if (!m_refused.emplace(place.test, device, reason, isAskedFor).second)
            return; // several lines of a plan want the same
        m_plan.refusals.push_back({place.module->guid(), place.test->record.keyInModule().toUtf8(),
                                   device ? nameAndPlaceOf(*device) : "", result.toString().toUtf8(), reason,
                                   isAskedFor});
    }

    PlannedRun runOf(Wish const& wish, Catalog::Place const& place, DeviceImp const& device,
                     Values const& values)
    {
        auto const& flags = place.test->record.flags();
        PlannedRun run;
        run.program = place.module->program;
        run.moduleGuid = place.module->guid();
        run.moduleVersion = place.module->version;
        run.test = place.test->record.keyInModule().toUtf8();
        run.testName = place.test->name;
        run.device = &device;
        run.parameters = values;
        run.optional = place.test->record.neededBesideTested();
        run.interactive = flags.interactive;
        run.destructive = flags.destructive;
        run.parallel = flags.supportsParallelTesting;
        run.shutdownSeconds = flags.minShutdownSeconds;
        run.forTime = m_request.forTime.count() > 0 ? m_request.forTime : wish.line.forTime;
        run.limit = m_request.limit.count() > 0 ? m_request.limit : wish.line.limit;
        run.expected = std::max(wish.line.expected, run.forTime);
        run.again = again(run, place);
        run.drawsSeed = drawsSeed(place.test->record, values);
        return run;
    }

    static bool drawsSeed(zel::TestImp const& test, Values const& values)
    {
        for (auto const& value : values)
            if (value.first == kSeedParameter)
                return false;
        for (zel::ParameterImp const& parameter : test.parameters())
            if (parameter.key() == kSeedParameter)
                return !parameter.isSet() && parameter.validDataRange().empty() &&
                       parameter.type() == zel::DataTypeImp::UINT64();
        return false;
    }

    std::string again(PlannedRun const& run, Catalog::Place const& place) const
    {
        std::string command = "krel5-engine run " + quoted(wordOf(*place.module, *place.test)) +
                              " --device " + quoted(wordFor(*run.device));
        for (auto const& [key, value] : run.parameters)
            command += " --set " + quoted(key + "=" + value);
        if (run.forTime.count() > 0)
            command += " --for " + std::to_string(run.forTime.count()) + "s";
        if (run.limit.count() > 0)
            command += " --timeout " + std::to_string(run.limit.count()) + "s";
        for (std::string const& word : m_request.also)
            command += " " + quoted(word);
        return command;
    }

    /// Its place, where that is understood as this device and no other; else its guid.
    std::string wordFor(DeviceImp const& device) const
    {
        std::string const place = placeOf(device);
        try {
            if (!hasWildcard(place) &&
                chooseDevices(m_numbered, m_machine, place) == Devices{const_cast<DeviceImp*>(&device)})
                return place;
        } catch (zel::InvalidArgumentException const&) {
        }
        return device.guid().toUtf8();
    }

    /// Who names a device wants to know something of it.
    void refuseIdleDevices()
    {
        for (DeviceImp const* const device : m_devices) {
            bool const isUsed = std::any_of(m_plan.runs.begin(), m_plan.runs.end(),
                                            [&](PlannedRun const& run) { return run.device == device; });
            bool const isTold =
                std::any_of(m_plan.refusals.begin(), m_plan.refusals.end(), [&](Refusal const& refusal) {
                    return refusal.isAskedFor &&
                           (refusal.deviceName.empty() || refusal.deviceName == nameAndPlaceOf(*device));
                });
            if (!isUsed && !isTold)
                m_plan.refusals.push_back({"", "", nameAndPlaceOf(*device),
                                           TestResultImp::NOTEST().toString().toUtf8(),
                                           "none of the chosen tests goes to " + placeOf(*device), true});
        }
    }

    PlanRequest const& m_request;
    Catalog const& m_catalog;
    zel::StateManager const& m_machine;
    Devices const& m_numbered;
    SettingsUse m_fileUse, m_ownUse;
    Devices m_devices;
    std::set<std::pair<ModuleTest const*, DeviceImp const*>> m_planned;
    std::set<ModuleTest const*> m_ofPlan; ///< whatever became of them
    std::set<std::tuple<ModuleTest const*, DeviceImp const*, std::string, bool>> m_refused;
    Plan m_plan;
};

} // namespace

std::optional<Obstacle> obstacleOf(Module const& module, ModuleTest const& test, bool isAdministrator)
{
    if (!module.settingsTrouble.empty())
        return Obstacle{TestResultImp::INTERNALERROR(),
                        "nobody can tell what its settings are: " + module.settingsTrouble};
    if (auto const& errors = test.record.settingsErrors(); !errors.empty())
        return Obstacle{TestResultImp::INTERNALERROR(),
                        "its settings are not understood: " + errors.front().toString().toUtf8()};
    if (test.devices.empty())
        return Obstacle{TestResultImp::getConstantByString(String(test.notHereResult)), test.notHere, true};
    if (!isAdministrator)
        return Obstacle{TestResultImp::INSUFFICIENTPRIVILEGE(),
                        "tests run as root only (effective user id 0)"};
    return std::nullopt;
}

Plan makePlan(PlanRequest const& request, Catalog const& catalog, zel::StateManager const& machine,
              std::vector<DeviceImp*> const& numbered)
{
    return Maker(request, catalog, machine, numbered).make();
}

std::string quoted(std::string const& word)
{
    constexpr char kPlain[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-./:=,+@%";
    if (!word.empty() && word.find_first_not_of(kPlain) == std::string::npos)
        return word;
    std::string text = "'";
    for (char const one : word)
        text += one == '\'' ? std::string("'\\''") : std::string(1, one);
    return text + "'";
}

} // namespace engine
