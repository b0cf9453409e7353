#include <engine/watch/WatchedModule.h>

#include <engine/catalog/Assignment.h>
#include <engine/runner/Questions.h>

#include <zel/foundation/System.h>
#include <zel/model/texts/LocalizedResource.h>

#include <algorithm>

namespace engine {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Kind = WatchNews::Kind;
using What = zel::UpdatesBody::What;

constexpr seconds kTermination{2}; // from SIGTERM to SIGKILL
constexpr seconds kDying{5};       // of what waits in the kernel for a drive that does not answer
constexpr seconds kSettling{1};    // from the end of the process to that of its connection
constexpr milliseconds kArriving{200};
constexpr std::size_t kMostAlerts = 1000;
constexpr std::size_t kMostReadings = 1000; // of a device
constexpr std::size_t kTextBytes = 1024;    // of one text

std::string bounded(std::string text)
{
    if (text.size() <= kTextBytes)
        return text;
    std::size_t end = kTextBytes;
    while (end > 0 && (text[end] & 0xC0) == 0x80) // inside a character
        --end;
    return text.substr(0, end) + " ...";
}

std::string text(zel::String const& of) { return bounded(of.toUtf8()); }

std::string firstLine(std::string const& text) { return text.substr(0, text.find_first_of("\r\n")); }

WatchedDevice recordOf(zel::DeviceImp const& device)
{
    return {text(device.guid()), text(device.name()), bounded(placeOf(device)),
            text(device.deviceType().toString())};
}

// As the module's text files call it, else as the module does.
zel::String nameOf(zel::PropertyImp const& property, zel::LanguageImp const& language)
{
    zel::PropertySpecImp const& spec = *property.spec();
    zel::String const& name = spec.defaultName().empty() ? property.key() : spec.defaultName();
    return zel::LocalizedResource::find(spec.moduleGuid(), "Property." + property.key() + ".Name", language)
        .value_or(name);
}

Reading recordOf(zel::PropertyImp const& property, zel::LanguageImp const& language)
{
    Reading reading{text(property.key()), text(nameOf(property, language)), property.value()};
    // A list that nobody reads, or a text without end, is kept as its beginning.
    if (reading.value.isArray() || reading.value.type() == zel::DataTypeImp::STRING() ||
        reading.value.type() == zel::DataTypeImp::LOCALIZEDSTRING())
        reading.value = zel::ValueImp(zel::String(text(reading.value.toString())));
    return reading;
}

std::vector<Reading> readingsOf(zel::DeviceImp const& device, zel::LanguageImp const& language)
{
    std::vector<Reading> readings;
    for (std::size_t i = 0; i < std::min(device.propertyCount(), kMostReadings); ++i)
        readings.push_back(recordOf(device.getProperty(i), language));
    return readings;
}

WatchedAlert recordOf(zel::AlertImp const& alert, std::map<std::string, WatchedDevice> const& devices)
{
    constexpr std::size_t kMostTips = 20;
    WatchedAlert record;
    record.guid = text(alert.guid());
    record.key = text(alert.key());
    record.type = text(alert.type().toString());
    record.title = text(alert.title().toString());
    record.message = text(alert.message().toString());
    for (std::size_t i = 0; i < std::min(alert.tipCount(), kMostTips); ++i)
        record.tips.push_back(text(alert.tip(i).toString()));
    record.deviceGuid = text(alert.deviceGuid());
    if (auto const device = devices.find(record.deviceGuid); device != devices.end())
        record.deviceName = device->second.name;
    record.raised = std::chrono::system_clock::from_time_t(alert.timeTriggered());
    return record;
}

bool isSame(WatchedAlert const& one, WatchedAlert const& other)
{
    return one.title == other.title && one.message == other.message && one.raised == other.raised &&
           one.tips == other.tips && one.deviceGuid == other.deviceGuid;
}

} // namespace

WatchedModule::WatchedModule(ModuleToWatch module, Surroundings const& surroundings)
    : m_module(std::move(module)), m_around(surroundings)
{}

void WatchedModule::begin() { start("enum"); }

void WatchedModule::start(char const* word)
{
    WatchOptions const& options = m_around.options;
    std::vector<std::string> words{word, "-e"}; // it finds this process, its parent, by itself
    if (!options.logFolder.empty())
        words.insert(words.end(), {"-bd", options.logFolder});
    words.insert(words.end(), options.words.begin(), options.words.end());
    m_peer.reset();
    m_processEnd.reset();
    m_isAnswered = m_isGone = false;
    m_lastHeard = Clock::now();
    m_mustAnswer = m_lastHeard + options.patience;
    auto const door = m_around.engine.inbox.hold();
    if (int const error = m_child.start(m_module.program, words); error != 0)
        return fail(m_module.program + ": " + text(zel::System::errorText(error)));
    m_process = m_child.id();
    m_around.engine.keeper.watch(static_cast<pid_t>(m_process));
    m_around.engine.inbox.know(m_process);
}

void WatchedModule::send(zel::Message const& message)
{
    if (m_peer)
        m_around.engine.server.queue(*m_peer, message);
}

void WatchedModule::reply(zel::Message const& request, zel::Message&& message)
{
    message.setNumber(request.number());
    send(message);
}

void WatchedModule::tell(WatchNews news)
{
    news.module = m_module.guid;
    news.time = std::chrono::system_clock::now();
    m_around.observer.take(news);
}

void WatchedModule::fail(std::string const& why)
{
    m_hasFailed = true;
    m_phase = Phase::Over;
    tell({.kind = Kind::ModuleFailed, .text = why});
}

// ---- what the module says

// Of several connections the first is the module's own.
void WatchedModule::connected(zel::IPCServer::Peer peer)
{
    if (m_peer) {
        m_around.engine.server.disconnect(peer);
        return;
    }
    m_peer = peer;
    if (m_isStopped)
        send(zel::StopTestEngineToProvider());
}

void WatchedModule::said(zel::Message const& message)
{
    heard();
    if (dynamic_cast<zel::ModuleStarted const*>(&message))
        answerStart(message);
    else if (auto const* listing = dynamic_cast<zel::EnumerationReturnedProviderToEngine const*>(&message)) {
        if (m_phase == Phase::Listing)
            m_listing = listing->body().state;
        reply(message, zel::AcknowledgeEngineToProvider());
    } else if (auto const* update = dynamic_cast<zel::UpdatesProviderToEngineToUI const*>(&message))
        take(update->body());
    else if (auto const* error = dynamic_cast<zel::InternalErrorProviderToEngine const*>(&message))
        m_internalError = bounded(firstLine(text(error->body().text)));
    else if (m_peer)
        answerQuestion(message, *m_peer, {m_around.engine.server, m_around.engine.fetcher},
                       [this] { return m_around.devices; });
}

void WatchedModule::answerStart(zel::Message const& request)
{
    if (m_isAnswered)
        return;
    m_isAnswered = true;
    if (m_phase == Phase::Listing) {
        reply(request, zel::EnumerationReturnedEngineToClient({m_around.devices}));
        return;
    }
    zel::IndicatorRunImp const& first = m_asked->indicatorRunAtIndex(0);
    reply(request,
          zel::RunIndicatorEngineToProvider(
              {m_asked, zel::IndicatorRunImp::restored(first.indicatorGuidOrKey(), first.deviceGuid(),
                                                       first.updateInterval())}));
}

void WatchedModule::heard()
{
    m_lastHeard = Clock::now();
    if (!m_isSilent)
        return;
    m_isSilent = false;
    tell({.kind = Kind::ModuleHeard});
}

void WatchedModule::take(zel::UpdatesBody const& body)
{
    if (m_phase != Phase::Watching)
        return;
    switch (body.what) {
    case What::Readings:
        return takeReadings(body);
    case What::AddDevice:
        return takeDevice(body, Kind::DeviceAdded);
    case What::AddProperty:
        return takeDevice(body, Kind::PropertyAdded);
    case What::RemoveDevice:
        return forgetDevice(text(body.device));
    case What::RemoveProperty:
        if (auto const device = m_devices.find(text(body.device)); device != m_devices.end())
            tell({.kind = Kind::PropertyRemoved, .device = device->second, .text = text(body.key)});
        return;
    case What::RemoveAlert:
        return forgetAlert(text(body.alert));
    case What::Changes:
        if (body.state)
            takeChanges(*body.state);
        return;
    }
}

bool WatchedModule::know(zel::DeviceImp const& device)
{
    WatchedDevice record = recordOf(device);
    if (m_around.options.isWanted && !m_around.options.isWanted(device))
        return false;
    if (m_devices.size() >= kMostDevices && !m_devices.contains(record.guid))
        return false;
    m_devices[record.guid] = std::move(record);
    return true;
}

// A device that its own call removed is read once more.
void WatchedModule::takeReadings(zel::UpdatesBody const& body)
{
    zel::DeviceImp const* const device = body.state ? body.state->device(body.device) : nullptr;
    if (!device || !m_devices.contains(text(device->guid())))
        return;
    auto readings = readingsOf(*device, m_around.options.language);
    if (!readings.empty()) // a device that has nothing new to say
        tell({.kind = Kind::Readings, .device = recordOf(*device), .readings = std::move(readings)});
}

void WatchedModule::takeDevice(zel::UpdatesBody const& body, Kind kind)
{
    zel::DeviceImp const* const device = body.state ? body.state->device(body.device) : nullptr;
    if (!device || !know(*device))
        return;
    WatchNews news{.kind = kind, .device = recordOf(*device)};
    if (kind == Kind::DeviceAdded)
        news.readings = readingsOf(*device, m_around.options.language);
    else if (zel::PropertyImp const* const property = device->property(body.key))
        news.readings = {recordOf(*property, m_around.options.language)};
    tell(std::move(news));
}

void WatchedModule::forgetDevice(std::string const& guid)
{
    auto const device = m_devices.find(guid);
    if (device == m_devices.end())
        return;
    WatchNews news{.kind = Kind::DeviceRemoved, .device = device->second};
    m_devices.erase(device);
    tell(std::move(news));
}

void WatchedModule::takeChanges(zel::StateManager const& state) { takeAlerts(state); }

// The state has all that stand.
void WatchedModule::takeAlerts(zel::StateManager const& state)
{
    std::map<std::string, WatchedAlert> standing;
    for (std::size_t i = 0; i < std::min(state.alertCount(), kMostAlerts); ++i) {
        WatchedAlert alert = recordOf(*state.alertAtIndex(i), m_devices);
        if (!alert.deviceGuid.empty() && !m_devices.contains(alert.deviceGuid) && m_around.options.isWanted)
            continue;
        standing[alert.guid] = std::move(alert);
    }
    for (auto const& [guid, alert] : m_alerts)
        if (!standing.contains(guid))
            tell({.kind = Kind::AlertCleared, .alert = alert});
    for (auto const& [guid, alert] : standing)
        if (auto const known = m_alerts.find(guid); known == m_alerts.end() || !isSame(known->second, alert))
            tell({.kind = Kind::AlertRaised, .alert = alert});
    m_alerts = std::move(standing);
}

void WatchedModule::forgetAlert(std::string const& guid)
{
    auto const found = m_alerts.find(guid);
    if (found == m_alerts.end())
        return;
    WatchNews news{.kind = Kind::AlertCleared, .alert = found->second};
    m_alerts.erase(found);
    tell(std::move(news));
}

// ---- its end

void WatchedModule::stop()
{
    if (m_phase == Phase::Over || m_isStopped)
        return;
    m_isStopped = true;
    m_step = Step::Asked;
    m_nextStep = Clock::now();
    if (m_peer && !m_isGone) {
        send(zel::StopTestEngineToProvider());
        m_nextStep += seconds(m_shutdownSeconds);
    }
}

void WatchedModule::escalate(Clock::time_point now)
{
    if (m_step == Step::None || now < m_nextStep)
        return;
    switch (m_step) {
    case Step::None:
        return;
    case Step::Asked:
        m_child.terminate();
        m_step = Step::Terminated;
        m_nextStep = now + kTermination;
        return;
    case Step::Terminated:
        m_child.kill();
        m_step = Step::Killed;
        m_nextStep = now + kDying;
        return;
    case Step::Killed:
        m_child.giveUp();
        m_processEnd = Child::End{};
        m_settled = now;
        return;
    }
}

// A module that watches has something to say at each interval. One that was heard before is not ended: a bus may hang
// for a while, and what it has said is known to be old.
void WatchedModule::lookAtLimits(Clock::time_point now)
{
    if (m_step != Step::None)
        return;
    if ((m_phase == Phase::Listing || !m_isAnswered) && now >= m_mustAnswer) {
        m_isLate = true;
        m_step = Step::Asked;
        m_nextStep = now;
        return;
    }
    auto const patience =
        m_around.options.silence +
        std::chrono::duration_cast<milliseconds>(std::chrono::duration<double>(3 * m_module.interval));
    if (m_phase != Phase::Watching || m_isSilent || now - m_lastHeard < patience)
        return;
    m_isSilent = true;
    auto const since = std::chrono::duration_cast<seconds>(now - m_lastHeard).count();
    tell({.kind = Kind::ModuleSilent, .text = "nothing was heard of it for " + std::to_string(since) + " s"});
}

void WatchedModule::gone(zel::String const& reason)
{
    m_isGone = true;
    m_brokenRule = text(reason);
    if (m_phase == Phase::Watching && m_step == Step::None) { // it has nothing more to say
        m_step = Step::Asked;
        m_nextStep = Clock::now() + seconds(m_shutdownSeconds);
    }
}

void WatchedModule::look(Clock::time_point now)
{
    if (m_phase == Phase::Over)
        return;
    if (!m_processEnd) {
        if (auto const end = m_child.reap()) {
            m_processEnd = *end;
            m_settled = now + (m_peer ? Clock::duration(kSettling) : Clock::duration(kArriving));
        } else {
            lookAtLimits(now);
            escalate(now);
        }
    }
    // What it said before it ended is heard first.
    if (m_processEnd && (m_isGone || now >= m_settled))
        phaseEnded(*m_processEnd);
}

WatchedModule::Clock::time_point WatchedModule::nextLook() const
{
    if (m_phase == Phase::Over)
        return Clock::time_point::max();
    if (m_processEnd)
        return m_settled;
    if (m_step != Step::None)
        return m_nextStep;
    return Clock::now() + seconds(1);
}

std::string WatchedModule::howItEnded(Child::End const& end) const
{
    std::string how = "nobody knows how it ended";
    if (m_isLate)
        how = "it did not answer in time";
    else if (!end.signal.empty())
        how = "it was ended by " + end.signal;
    else if (end.status)
        how = "it ended with status " + std::to_string(*end.status);
    else if (m_step == Step::Killed)
        how = "it does not end, even when killed";
    if (!m_brokenRule.empty())
        how += "; its connection was closed: " + m_brokenRule;
    std::string const last = m_internalError.empty() ? bounded(m_child.lastLine()) : m_internalError;
    return how + (last.empty() ? "" : ", and said: " + last);
}

void WatchedModule::phaseEnded(Child::End const& end)
{
    m_around.engine.inbox.forget(m_process);
    m_around.engine.keeper.forget(static_cast<pid_t>(m_process));
    if (m_peer && !m_isGone) // a process that it forked off holds the connection
        m_around.engine.server.disconnect(*m_peer);
    bool const isWell = end.signal.empty() && end.status == 0 && !m_isLate;
    if (m_phase == Phase::Listing && !m_isStopped && isWell && m_listing) {
        if (takeListing())
            start("run");
        return;
    }
    // Status 24 is what a stop makes of a module that is asked for its list.
    bool const isStopped =
        m_isStopped && end.signal.empty() && (end.status == 0 || (m_phase == Phase::Listing && end.status));
    if (!isStopped)
        return fail(howItEnded(end));
    m_phase = Phase::Over;
    tell({.kind = Kind::ModuleEnded});
}

// Every indicator on every device that it is for, as the module itself ties them.
bool WatchedModule::takeListing()
{
    m_asked = std::make_shared<zel::StateManager>();
    m_asked->mergeWithTracking(*m_listing);
    std::set<zel::DeviceImp const*> watched;
    for (std::size_t i = 0; i < m_asked->indicatorCount(); ++i) {
        zel::IndicatorImp& indicator = *m_asked->indicatorAtIndex(i);
        if (!indicator.mayRun())
            continue;
        m_shutdownSeconds = std::max(m_shutdownSeconds, indicator.flags().minShutdownSeconds);
        if (indicator.isFree())
            m_asked->addIndicatorRun(zel::IndicatorRunImp(indicator, nullptr, m_module.interval));
        for (std::size_t j = 0; j < m_asked->deviceCountByIndicator(indicator); ++j) {
            zel::DeviceImp* const device = m_asked->deviceByIndicatorAtIndex(indicator, j);
            if (!know(*device))
                continue;
            watched.insert(device);
            m_asked->addIndicatorRun(zel::IndicatorRunImp(indicator, device, m_module.interval));
        }
    }
    m_phase = Phase::Watching;
    if (m_asked->indicatorRunCount() == 0) {
        m_phase = Phase::Over;
        tell({.kind = Kind::ModuleEnded, .text = "it has nothing to watch here"});
        return false;
    }
    auto const some = [](std::size_t count, char const* what) {
        return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
    };
    tell({.kind = Kind::ModuleBegan,
          .text = some(m_asked->indicatorCount(), "indicator") + ", " + some(watched.size(), "device"),
          .interval = m_module.interval});
    return true;
}

} // namespace engine
