#include <sensors/Watch.h>

#include <krel5/Alert.h>
#include <krel5/AlertType.h>
#include <krel5/DataType.h>
#include <krel5/DeviceProperty.h>
#include <krel5/DiagDevice.h>
#include <krel5/IndicatorModule.h>
#include <krel5/KrelException.h>
#include <krel5/Parameter.h>
#include <krel5/SysInfoDevice.h>
#include <krel5/Tip.h>
#include <krel5/TipType.h>

#include <zel/model/devices/DeviceImp.h>
#include <zel/model/state/StateManager.h>

#include <chrono>
#include <set>
#include <system_error>
#include <utility>

namespace krel5::modules::sensors {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kFirstScan{10'000};
constexpr milliseconds kPatience{100}; ///< with lanes that do not answer at once, in one pass

AlertType const& typeOf(std::string_view word)
{
    for (AlertType const* type : {&AlertType::CRITICAL(), &AlertType::HARDWARE_ISSUE(),
                                  &AlertType::OS_ISSUE(), &AlertType::DRIVER_ISSUE()})
        if (word == type->toString().getUTF8Buffer())
            return *type;
    return AlertType::MESSAGE();
}

/// One for all alerts of the key: each takes a copy.
Tip* tipOf(char const* key)
{
    static std::map<std::string, Tip*> s_tips;
    Tip*& tip = s_tips[key];
    return tip ? tip : tip = Tip::createTip(key, TipType::TEXT_TIP());
}

zel::StateManager& state() { return zel::StateManager::instance(); }

milliseconds millisecondsOf(Parameter const& seconds)
{
    return milliseconds(static_cast<long long>(seconds.value().valueDouble() * 1000));
}

} // namespace

struct Watch::Device
{
    std::unique_ptr<zel::DeviceImp> record;
    std::unique_ptr<SysInfoDevice> handle;
    std::shared_ptr<Part const> part, health; ///< either may be null
    std::string name;
    std::vector<Judge> judges; ///< by rule
    std::map<std::string, Alert*> alerts;
    std::set<std::string> raised; ///< keys
    bool isThere = false;

    void raise(Alert& alert)
    {
        raised.insert(alert.key().getUTF8Buffer());
        IndicatorModule::requestAlertAddition(&alert);
        IndicatorModule::propagateChanges();
    }
    void clear(std::string const& key)
    {
        if (raised.erase(key) == 0)
            return;
        IndicatorModule::requestAlertRemoval(alerts.at(key)->guid());
        IndicatorModule::propagateChanges();
    }
};

Watch::Watch(Declarations const& declarations) : m_declarations(declarations) {}
Watch::~Watch() = default;

void Watch::enumerate()
{
    std::string const root = m_declarations.m_root->value().toString().getUTF8Buffer();
    try {
        m_poller = std::make_unique<Poller>(root);
    } catch (std::system_error const& e) {
        throw KrelException(KrelString("Parameter.Root: ") + e.what());
    }
    m_scanner = std::make_unique<Scanner>(root, millisecondsOf(*m_declarations.m_scanInterval));
    m_poller->setHealthInterval(millisecondsOf(*m_declarations.m_health));
    m_isAsked = state().indicatorRunCount() > 0;
    if (auto const found = m_scanner->take(kFirstScan))
        update(*found);
}

void Watch::follow()
{
    m_poller->tend();
    m_isRunning = true;
    // The library is done with what was removed in an earlier pass.
    std::erase_if(m_devices, [this](auto const& one) { return !one.second->isThere && forget(*one.second); });
    if (auto const found = m_scanner->take(milliseconds(0)))
        update(*found);
    tellWhatChanged();
    judgeLooking();
}

void Watch::update(Scanner::Found const& found)
{
    std::set<std::string> there;
    bool const isHealthAsked = millisecondsOf(*m_declarations.m_health).count() > 0;
    std::vector<std::shared_ptr<Part const>> parts;
    for (auto const& part : found.parts) {
        if (part->isHealth && !isHealthAsked)
            continue;
        parts.push_back(part);
        zel::DeviceImp const& theirs = *found.devices.device(zel::String(part->guid));
        there.insert(part->guid);
        if (auto const known = m_devices.find(part->guid); known != m_devices.end())
            renewLimits(theirs);
        else
            add(theirs);
        Device& device = *m_devices.at(part->guid);
        (part->isHealth ? device.health : device.part) = part;
    }
    for (auto& [guid, device] : m_devices)
        if (device->isThere && there.count(guid) == 0)
            remove(*device);
    m_poller->setParts(std::move(parts));
    if (std::exchange(m_hasLooked, true))
        return;
    for (std::size_t i = 0; i < state().deviceCount(); ++i)
        if (std::string const guid = state().deviceAtIndex(i)->guid().toUtf8(); m_devices.count(guid) == 0)
            m_gone.push_back(guid);
}

// An engine knows the devices that it sent, and hears of others once the module runs. Whoever sent none gets them as those that there are.
void Watch::add(zel::DeviceImp const& theirs)
{
    auto& device = m_devices[theirs.guid().toUtf8()];
    device = std::make_unique<Device>();
    device->name = theirs.name().toUtf8();
    device->judges.resize(rules().size());
    device->isThere = true;
    device->record = zel::DeviceImp::restored({theirs.guid(), theirs.name(), theirs.description(),
                                               theirs.osLocator(), theirs.hwLocator(), theirs.deviceType(),
                                               theirs.deviceCapabilities(), theirs.busClass()});
    device->record->setState(theirs.state());
    device->handle = std::make_unique<SysInfoDevice>(device->record.get());
    for (std::size_t i = 0; i < theirs.propertyCount(); ++i)
        if (DeviceProperty const* const limit = limitOf(theirs.getProperty(i)))
            device->handle->addProperty(limit);
    zel::DeviceImp* const known = m_hasLooked ? nullptr : state().matchingDevice(theirs);
    if (known)
        known->mergeFrom(*device->record);
    else if (m_isAsked || m_isRunning)
        m_new.push_back(theirs.guid().toUtf8());
    else
        IndicatorModule::addDevice(device->handle.get());
}

void Watch::tellWhatChanged()
{
    for (std::string const& guid : std::exchange(m_new, {}))
        if (auto const device = m_devices.find(guid); device != m_devices.end() && device->second->isThere)
            IndicatorModule::requestDeviceAddition(device->second->handle.get());
    for (std::string const& guid : std::exchange(m_gone, {}))
        if (zel::DeviceImp* const record = state().device(zel::String(guid))) {
            SysInfoDevice handle(record);
            IndicatorModule::requestDeviceRemoval(&handle);
        }
}

DeviceProperty* Watch::limitOf(zel::PropertyImp const& property) const
{
    DeviceProperty* const limit = m_declarations.limit(property.key().toUtf8());
    return limit ? limit->setValue(Value(property.value())) : nullptr;
}

void Watch::renewLimits(zel::DeviceImp const& theirs)
{
    zel::DeviceImp* const ours = m_isRunning ? state().device(theirs.guid()) : nullptr;
    if (!ours)
        return;
    SysInfoDevice handle(ours);
    std::vector<DeviceProperty*> old;
    for (std::size_t i = 0; i < ours->propertyCount(); ++i) {
        zel::PropertyImp const& property = ours->getProperty(i);
        zel::PropertyImp const* const now = theirs.property(property.key());
        if (DeviceProperty* const limit = m_declarations.limit(property.key().toUtf8());
            limit && !(now && now->value() == property.value()))
            old.push_back(limit);
    }
    for (DeviceProperty* const limit : old)
        IndicatorModule::requestDevicePropertyRemoval(&handle, limit);
    for (std::size_t i = 0; i < theirs.propertyCount(); ++i)
        if (!ours->property(theirs.getProperty(i).key()))
            if (DeviceProperty* const limit = limitOf(theirs.getProperty(i)))
                IndicatorModule::requestDevicePropertyAddition(&handle, limit);
}

void Watch::remove(Device& device)
{
    device.isThere = false;
    auto const raised = device.raised;
    for (std::string const& key : raised)
        device.clear(key);
    IndicatorModule::requestDeviceRemoval(device.handle.get());
}

/// The library keeps every alert that was ever made: those of a device that went are used again.
bool Watch::forget(Device& device)
{
    for (auto const& [key, alert] : device.alerts)
        m_spareAlerts[key].push_back(alert);
    return true;
}

void Watch::judgeLooking()
{
    constexpr char kKey[] = "LookingStuck";
    std::string const reason = m_scanner->stuck();
    if (reason.empty() == !m_isStuck)
        return;
    m_isStuck = !m_isStuck;
    if (!m_stuckAlert)
        m_stuckAlert = Alert::createAlert(kKey, AlertType::DRIVER_ISSUE())->addTip(tipOf(kKey));
    if (m_isStuck)
        IndicatorModule::requestAlertAddition(
            m_stuckAlert->setMessageVariable("Reason", Value(reason))->setTimeTriggered(0));
    else
        IndicatorModule::requestAlertRemoval(m_stuckAlert->guid());
    IndicatorModule::propagateChanges();
}

IndicatorReturnData Watch::read(DiagDevice const& diagDevice)
{
    IndicatorReturnData data;
    std::string const guid = diagDevice.imp().guid().toUtf8();
    auto const found = m_devices.find(guid);
    if (found == m_devices.end() || !found->second->isThere)
        return data;
    Device& device = *found->second;
    if (m_poller->wasTaken(device.part ? device.part->id() : device.health->id()))
        m_poller->read(kPatience);
    std::optional<Poller::Last> silent;
    for (auto const& part : {device.part, device.health}) {
        auto const last = part ? m_poller->take(part->id()) : std::nullopt;
        if (!last)
            continue;
        if (last->isSilent && !silent) {
            silent = last;
            silent->hasAnswered |= part->isHealth; // it is no sensor that nothing is connected to
        }
        // What was asked seldom is told again: who is not told of it any more takes it for lost.
        if (last->isNew || (part->isHealth && !last->isSilent))
            for (auto const& [id, value] : last->readings.values)
                data.setProperty(m_declarations.reading(id, value));
        if (last->isNew)
            judge(device, *part, last->readings);
    }
    judgeSilence(device, silent.value_or(Poller::Last()));
    return data;
}

void Watch::judge(Device& device, Part const& part, Readings const& readings)
{
    auto const quiet = millisecondsOf(*m_declarations.m_quiet);
    auto const now = Judge::Clock::now();
    for (std::size_t i = 0; i < rules().size(); ++i) {
        Rule const& rule = rules()[i];
        auto const reading = readings.find(rule.reading);
        if (!reading)
            continue;
        Judge& judge = device.judges[i];
        auto const limit = limitOf(rule, part, readings);
        auto const verdict = judge.look(rule, *reading, limit, now, quiet);
        if (verdict == Judge::Verdict::Cleared)
            device.clear(rule.alert);
        if (verdict != Judge::Verdict::Raised)
            continue;
        Form const form = rowOf(rule.reading).form;
        Alert& alert = alertOf(device, rule.alert, rule.type);
        alert.setMessageVariable("Reading", valueOf(form, *reading));
        alert.setMessageVariable("Limit", valueOf(form, limit.value_or(0)));
        alert.setMessageVariable("Risen", valueOf(Form::Count, judge.risen()));
        device.raise(alert);
    }
}

// A sensor that never said anything is often one that nothing is connected to.
void Watch::judgeSilence(Device& device, Poller::Last const& last)
{
    char const* const key = last.hasAnswered || last.isBlocking ? "NoAnswer" : "NeverAnswered";
    if (!last.isSilent) {
        device.clear("NoAnswer");
        device.clear("NeverAnswered");
    } else if (!last.failure.empty() &&
               device.raised.count("NoAnswer") + device.raised.count("NeverAnswered") == 0) {
        Alert& alert = alertOf(device, key, last.hasAnswered || last.isBlocking ? "DRIVER_ISSUE" : "MESSAGE");
        alert.setMessageVariable("Reason", Value(last.failure));
        device.raise(alert);
    }
}

std::optional<double> Watch::limitOf(Rule const& rule, Part const& part, Readings const& readings) const
{
    for (Limit const& one : readings.limits)
        if (one.key == rule.property)
            return one.value;
    if (auto const limit = *rule.property ? part.limit(rule.property) : std::nullopt) {
        // 0 is what drivers say of a highest temperature, current or power that nobody set
        bool const isUnset = rule.side == Side::Above && *limit <= 0 && rule.reading != ReadingId::Voltage;
        if (!isUnset)
            return limit;
    }
    return *rule.parameter ? m_declarations.parameter(rule) : std::nullopt;
}

Alert& Watch::alertOf(Device& device, char const* key, char const* type)
{
    Alert*& alert = device.alerts[key];
    if (!alert) {
        auto& spare = m_spareAlerts[key];
        if (spare.empty())
            spare.push_back(Alert::createAlert(key, typeOf(type))->addTip(tipOf(key)));
        alert = spare.back();
        spare.pop_back();
        alert->setDeviceAssociation(device.handle.get())
            ->setTitleVariable("Device", Value(device.name))
            ->setMessageVariable("Device", Value(device.name));
    }
    return *alert->setTimeTriggered(0);
}

} // namespace krel5::modules::sensors
