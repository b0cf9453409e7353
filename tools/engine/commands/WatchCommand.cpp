#include <engine/commands/WatchCommand.h>

#include <engine/catalog/Language.h>
#include <engine/catalog/linux/PrivateFolder.h>
#include <engine/plan/Names.h>
#include <engine/plan/PlanFile.h>
#include <engine/report/Verdict.h>
#include <engine/runner/ExitStatus.h>
#include <engine/runner/HttpRequests.h>
#include <engine/show/linux/Terminal.h>
#include <engine/watch/JsonLines.h>
#include <engine/watch/MetricsText.h>
#include <engine/watch/Readings.h>
#include <engine/watch/TableView.h>
#include <engine/watch/WatchSet.h>
#include <engine/watch/linux/LineOutput.h>
#include <engine/web/linux/MetricsServer.h>

#include <listing/command/Console.h>
#include <listing/forms/Listing.h>

#include <zel/foundation/Exception.h>
#include <zel/foundation/StopSignal.h>
#include <zel/foundation/System.h>
#include <zel/model/devices/DeviceImp.h>
#include <zel/model/vocabulary/AlertTypeImp.h>
#include <zel/model/vocabulary/TestResultImp.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <map>
#include <memory>
#include <set>
#include <unistd.h>
#include <utility>

namespace engine {

using listing::harmless;

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kLastWords{2}; // for who reads slowly, when everything has ended

// A message is for information, and what is critical is more than a warning.
Grade gradeOfAlert(std::string const& type)
{
    if (type == zel::AlertTypeImp::MESSAGE().toString().toUtf8())
        return Grade::Passed;
    return type == zel::AlertTypeImp::CRITICAL().toString().toUtf8() ? Grade::Failed : Grade::Warned;
}

/// Which devices are meant by the words, among those that modules tell of: a number, a name or a place of one that `list`
/// knows, else a pattern of names, places, guids or classes of those that a module finds itself.
std::function<bool(zel::DeviceImp const&)> wantedDevices(std::vector<std::string> const& words,
                                                         Situation const& situation)
{
    if (words.empty())
        return {};
    std::set<std::string> guids;
    for (std::string const& word : words)
        try {
            for (zel::DeviceImp const* const one :
                 chooseDevices(situation.numbered, *situation.machine, word))
                guids.insert(one->guid().toUtf8());
        } catch (zel::InvalidArgumentException const&) { // perhaps a module knows it
        }
    return [words, guids](zel::DeviceImp const& device) {
        std::string const names[] = {device.guid().toUtf8(), device.name().toUtf8(),
                                     device.osLocator().toUtf8(), device.hwLocator().toUtf8(),
                                     device.deviceType().toString().toUtf8()};
        return guids.contains(names[0]) ||
               std::any_of(words.begin(), words.end(), [&names](auto const& word) {
                   return std::any_of(std::begin(names), std::end(names),
                                      [&word](auto const& name) { return matches(word, name); });
               });
    };
}

/// Standing alerts, and complaints for people; further views hear the same.
class Bystander final : public WatchObserver
{
public:
    /// `isQuiet`: a table tells of modules.
    explicit Bystander(bool isQuiet) : m_isQuiet(isQuiet) {}
    void take(WatchNews const& news) override
    {
        using Kind = WatchNews::Kind;
        if (news.kind == Kind::AlertRaised)
            m_standing[news.alert.guid] = gradeOfAlert(news.alert.type);
        if (news.kind == Kind::AlertCleared)
            m_standing.erase(news.alert.guid);
        if (m_isQuiet)
            return;
        if (news.kind == Kind::ModuleFailed || news.kind == Kind::ModuleSilent)
            listing::complain(news.module + ": " + news.text);
        else if (news.kind == Kind::ModuleHeard)
            listing::complain(news.module + ": it is heard again");
    }
    std::size_t standing() const { return m_standing.size(); }
    Grade worst() const
    {
        Grade grade = Grade::Passed;
        for (auto const& [guid, one] : m_standing)
            grade = std::max(grade, one);
        return grade;
    }

private:
    bool const m_isQuiet;
    std::map<std::string, Grade> m_standing; // by guid
};

class JsonView final : public WatchObserver
{
public:
    explicit JsonView(LineOutput& out) : m_out(out) {}
    void take(WatchNews const& news) override { m_out.put(jsonOf(news)); }

private:
    LineOutput& m_out;
};

/// A line a reading, for a file or a mail; or alerts only.
class PlainWatch final : public WatchObserver
{
public:
    PlainWatch(LineOutput& out, bool withReadings) : m_out(out), m_withReadings(withReadings) {}
    void take(WatchNews const& news) override
    {
        std::string const where =
            news.device.name + (news.device.place.empty() ? "" : " (" + news.device.place + ")");
        std::string text;
        for (Reading const& one : m_withReadings ? news.readings : std::vector<Reading>())
            text += harmless(where + ": " + one.name + ": " + one.value.toString().toUtf8()) + "\n";
        if (news.kind == WatchNews::Kind::AlertRaised || news.kind == WatchNews::Kind::AlertCleared)
            text += harmless(std::string(news.kind == WatchNews::Kind::AlertRaised ? "ALERT: " : "Over: ") +
                             news.alert.title + ": " + news.alert.message) +
                    "\n";
        if (!text.empty())
            m_out.put(std::move(text));
    }

private:
    LineOutput& m_out;
    bool const m_withReadings;
};

/// Tells all of them.
class Several final : public WatchObserver
{
public:
    explicit Several(std::vector<WatchObserver*> all) : m_all(std::move(all)) {}
    void take(WatchNews const& news) override
    {
        for (WatchObserver* const one : m_all)
            one->take(news);
        m_isNews = true;
    }
    bool takeNews() { return std::exchange(m_isNews, false); }

private:
    std::vector<WatchObserver*> m_all;
    bool m_isNews = false;
};

TableForm tableForm(std::string const& head)
{
    TerminalSize const size = terminalSize(kStandardOutput);
    TableForm form;
    form.columns = size.columns > 1 ? size.columns - 1 : form.columns;
    form.rows = size.rows > 1 ? size.rows - 1 : form.rows;
    form.isUnicode = showsUnicode();
    form.isColored = !std::getenv("NO_COLOR");
    form.head = head;
    return form;
}

std::unique_ptr<MetricsServer> endpoint(WatchRequest const& request, Readings const& readings)
{
    if (request.prometheus.empty())
        return nullptr;
    WebAddress const address = webAddressOf(request.prometheus, "--prometheus");
    if (!address.isLoopback() && !request.fromAfar)
        throw zel::InvalidArgumentException(
            "--prometheus: other machines reach " + zel::String(textOf(address)) +
            ", and everybody there would read what is watched; --from-afar allows it");
    return std::make_unique<MetricsServer>(address, kMetricsType, [&readings] {
        return metricsText(readings.snapshot(), std::chrono::system_clock::now());
    });
}

std::string headOf(std::vector<ModuleToWatch> const& modules, MetricsServer const* server)
{
    std::string head = "Watching";
    for (ModuleToWatch const& one : modules)
        head += (&one == modules.data() ? " " : ", ") + harmless(one.guid);
    if (server)
        head += ", http://" + textOf(server->address()) + "/metrics";
    return head + ". Ctrl-C ends it.";
}

} // namespace

double intervalOf(std::string const& text)
{
    double seconds = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
    if (error != std::errc() || end != text.data() + text.size())
        seconds = static_cast<double>(durationOf(text, "--interval").count());
    if (!(seconds >= 0.1 && seconds <= 86400))
        throw zel::InvalidArgumentException("--interval: " + zel::String(text) +
                                            " is not between 0.1 seconds and a day");
    return seconds;
}

std::vector<ModuleToWatch> modulesToWatch(std::vector<std::string> const& words, Catalog const& catalog,
                                          double interval)
{
    std::vector<Module const*> chosen;
    for (std::string const& word : words) {
        Module const* const module = chooseModule(catalog, word);
        if (module->indicatorCount == 0)
            throw zel::InvalidArgumentException(zel::String(module->guid()) +
                                                " watches nothing: it has no indicators");
        if (std::find(chosen.begin(), chosen.end(), module) == chosen.end())
            chosen.push_back(module);
    }
    if (words.empty())
        for (auto const& module : catalog.modules())
            if (module->indicatorCount > 0)
                chosen.push_back(module.get());
    std::vector<ModuleToWatch> modules;
    for (Module const* const one : chosen)
        modules.push_back({one->guid(), one->program, interval > 0 ? interval : one->updateSeconds});
    return modules;
}

int watchCommand(WatchRequest const& request)
{
    double const interval = request.interval.empty() ? 0 : intervalOf(request.interval);
    std::optional<std::chrono::seconds> forTime;
    if (!request.forTime.empty())
        forTime = durationOf(request.forTime, "--for");
    fetcherFor(request.allowedHosts); // a word that is no host is told now
    if (!zel::System::userIsAdministrator()) {
        listing::complain("modules run as root only");
        return zel::TestResultImp::INSUFFICIENTPRIVILEGE().value();
    }
    SituationRequest where = request.where;
    where.withoutTests = true;
    Situation const situation = lookAround(where);
    auto const modules = modulesToWatch(request.modules, situation.catalog, interval);
    if (modules.empty())
        throw zel::InvalidArgumentException("there is no module that watches anything");
    Readings readings; // outlives the server
    auto const server = endpoint(request, readings);
    zel::StopSignal::install(exitStatusOf(Grade::Stopped));

    PrivateFolder const folder; // of the modules' logs
    if (!folder.problem().empty())
        listing::complain(folder.problem());
    WatchOptions options;
    options.words = {"-lang", situation.language};
    options.language = languageNamed(situation.language);
    options.logFolder = folder.path();
    options.allowedHosts = request.allowedHosts;
    options.isWanted = wantedDevices(request.devices, situation);

    bool const isTable = !request.json && canRedraw(kStandardOutput);
    LineOutput out(STDOUT_FILENO, [&request](std::size_t pieces) {
        return request.json ? jsonOfGap(pieces, std::chrono::system_clock::now())
                            : std::to_string(pieces) + " lines are left out: nobody read on\n";
    });
    Bystander bystander(isTable);
    std::vector<WatchObserver*> observers{&bystander, &readings};
    JsonView json(out);
    PlainWatch plain(out, !server);
    if (request.json)
        observers.push_back(&json);
    else if (!isTable)
        observers.push_back(&plain);
    Several several(observers);
    std::optional<TableView> table;
    if (isTable)
        table.emplace(readings, out, [head = headOf(modules, server.get())] { return tableForm(head); });
    if (server && !isTable)
        listing::complain("http://" + textOf(server->address()) + "/metrics");
    if (request.json) {
        WatchHead head{listing::programVersion(), request.command, {}};
        for (ModuleToWatch const& one : modules)
            head.modules.push_back(one.guid);
        out.put(jsonOfBegin(head, std::chrono::system_clock::now()));
    }
    WatchSet watched(modules, *situation.machine, several, options);
    auto const began = Clock::now();
    watched.run([&] {
        if (table)
            table->tick(several.takeNews());
        return zel::StopSignal::requested() || (forTime && Clock::now() - began >= *forTime) ||
               out.isClosed() || !out.error().empty();
    });
    table.reset(); // the last one stays
    Grade const grade = watched.hasFailed() ? Grade::NotTested : Grade::Passed;
    int const status = exitStatusOf(std::max(grade, bystander.worst()));
    if (request.json)
        out.put(jsonOfEnd(status, bystander.standing(), std::chrono::system_clock::now()));
    bool const isWritten = out.finish(kLastWords);
    if (!out.error().empty() || (!isWritten && !out.isClosed())) {
        listing::complain("standard output: " + (out.error().empty() ? "nobody reads it" : out.error()));
        return kTrouble;
    }
    return status;
}

} // namespace engine
