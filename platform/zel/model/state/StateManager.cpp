#include <zel/model/state/StateManager.h>

#include <zel/foundation/Exception.h>
#include <zel/model/runs/TestRunManager.h>

#include <algorithm>
#include <unordered_set>

namespace zel {

using Kind = Change::Kind;

StateManager::StateManager() = default;
StateManager::~StateManager() = default;

StateManager& StateManager::instance()
{
    static StateManager* const s_instance = new StateManager();
    return *s_instance;
}

ModuleManager& ModuleManager::getInstance()
{
    static ModuleManager* const s_instance = new ModuleManager();
    return *s_instance;
}

void StateManager::addModule(ModuleImp& module, bool track)
{
    if (!m_modules.borrow(module))
        throw StateException(String("Module \"") + module.guid() + "\" is already known");
    note(track, Kind::ModuleAdded, module.guid());
}

void StateManager::addPropertySpec(std::shared_ptr<PropertySpecImp> const& spec, bool track)
{
    auto const [at, isNew] = m_specIndex.try_emplace(spec->guid(), m_specs.size());
    note(track && isNew, Kind::PropertySpecAdded, spec->guid());
    if (isNew)
        m_specs.push_back(spec);
    else
        m_specs[at->second] = spec;
}

std::shared_ptr<PropertySpecImp> StateManager::propertySpec(String const& guid) const
{
    auto const found = m_specIndex.find(guid);
    return found == m_specIndex.end() ? nullptr : m_specs[found->second];
}

void StateManager::mergePropertySpecs(StateManager const& other)
{
    for (auto const& spec : other.m_specs)
        if (!m_specIndex.contains(spec->guid()))
            addPropertySpec(spec, true);
}

void StateManager::clearPropertySpecs()
{
    m_specs.clear();
    m_specIndex.clear();
}

void StateManager::attach(DeviceImp& device, DeviceImp const* parent)
{
    if (!parent)
        return;
    DeviceImp* const known = m_devices.find(parent->guid());
    m_children.add(*known, device);
}

void StateManager::addDevice(DeviceImp& device, DeviceImp const* parent)
{
    if (parent && !m_devices.find(parent->guid()))
        throw StateException(String("Parent device \"") + parent->guid() + "\" is not known");
    if (!m_devices.borrow(device))
        throw StateException(String("Device \"") + device.guid() + "\" is already known");
    attach(device, parent);
    note(true, Kind::DeviceAdded, device.guid());
}

DeviceImp& StateManager::addDevice(std::unique_ptr<DeviceImp> device, DeviceImp const* parent)
{
    if (parent && !m_devices.find(parent->guid()))
        throw StateException(String("Parent device \"") + parent->guid() + "\" is not known");
    DeviceImp* const added = m_devices.own(device);
    if (!added)
        throw StateException(String("Device \"") + device->guid() + "\" is already known");
    attach(*added, parent);
    note(true, Kind::DeviceAdded, added->guid());
    return *added;
}

bool StateManager::removeDevice(String const& guid)
{
    DeviceImp* const device = m_devices.find(guid);
    if (!device)
        return false;
    m_deviceTests.removeLeft(*device);
    m_deviceIndicators.removeLeft(*device);
    m_children.removeLeft(*device);
    m_children.removeRight(*device);
    m_moduleDevices.removeRight(*device);
    endRunsOf(*device);
    note(true, Kind::DeviceRemoved, device->guid());
    return m_devices.retire(guid);
}

void StateManager::releaseRemoved()
{
    m_endedRuns.clear();
    std::unordered_set<DeviceImp const*> held;
    TestRunManager& queue = TestRunManager::instance();
    for (std::size_t i = 0; i < queue.testRunCount(); ++i)
        held.insert(queue.testRunAtIndex(i).device());
    m_devices.releaseRetired([&held](DeviceImp const& device) { return held.contains(&device); });
}

PropertyImp& StateManager::addProperty(DeviceImp& device, PropertyImp const& property)
{
    PropertyImp& added = device.addProperty(&property);
    noteProperty(device, Kind::PropertyAdded, added.key());
    return added;
}

bool StateManager::removeProperty(DeviceImp& device, String const& key)
{
    String const name = key; // the key may be the property's own
    bool const removed = device.removeProperty(name);
    if (removed)
        noteProperty(device, Kind::PropertyRemoved, name);
    return removed;
}

void StateManager::noteProperty(DeviceImp const& device, Kind kind, String const& key)
{
    if (m_devices.find(device.guid()) == &device)
        m_changes.note({kind, device.guid(), String(), key});
}

DeviceImp* StateManager::nextDevice(DeviceImp const* previous, CapabilityImp const& capability) const
{
    bool const any = capability == CapabilityImp::ALL();
    DeviceImp* device = m_devices.next(previous);
    while (device && !any && !device->deviceCapabilities().isCapable(capability))
        device = m_devices.next(device);
    return device;
}

DeviceImp* StateManager::parentOf(DeviceImp const& device) const
{
    auto const& parents = m_children.leftsOf(device);
    return parents.empty() ? nullptr : parents.front();
}

std::vector<DeviceImp*> const& StateManager::childrenOf(DeviceImp const& device) const
{
    return m_children.rightsOf(device);
}

namespace {

template <typename Record>
Record* byGuidOrKey(RecordList<Record> const& records, String const& guidOrKey)
{
    if (Record* const found = records.find(guidOrKey))
        return found;
    for (std::size_t i = 0; i < records.size(); ++i)
        if (records.at(i)->keyInModule() == guidOrKey)
            return records.at(i);
    return nullptr;
}

} // namespace

TestImp* StateManager::test(String const& guidOrKey) const { return byGuidOrKey(m_tests, guidOrKey); }

IndicatorImp* StateManager::indicator(String const& guidOrKey) const
{
    return byGuidOrKey(m_indicators, guidOrKey);
}

void StateManager::addTest(TestImp& test)
{
    if (!m_tests.borrow(test))
        throw StateException(String("Test \"") + test.guid() + "\" is already known");
}

void StateManager::addIndicator(IndicatorImp& indicator)
{
    if (!m_indicators.borrow(indicator))
        throw StateException(String("Indicator \"") + indicator.guid() + "\" is already known");
}

void StateManager::addAlert(AlertImp const& alert)
{
    AlertImp* const known = m_alerts.find(alert.guid());
    if (known) {
        *known = alert;
    } else {
        auto copy = std::make_unique<AlertImp>(alert);
        m_alerts.own(copy);
    }
    note(true, known ? Kind::AlertUpdated : Kind::AlertAdded, alert.guid());
}

bool StateManager::removeAlert(String const& guid)
{
    if (!m_alerts.find(guid))
        return false;
    note(true, Kind::AlertRemoved, guid);
    return m_alerts.remove(String(guid));
}

bool StateManager::isEmpty() const noexcept
{
    return std::max({m_modules.size(), m_devices.size(), m_tests.size(), m_indicators.size(), m_alerts.size(),
                     m_specs.size(), m_indicatorRuns.size(), m_testRuns.size()}) == 0;
}

void StateManager::swap(StateManager& other) noexcept
{
    std::swap(m_modules, other.m_modules);
    std::swap(m_devices, other.m_devices);
    std::swap(m_tests, other.m_tests);
    std::swap(m_indicators, other.m_indicators);
    std::swap(m_alerts, other.m_alerts);
    std::swap(m_specs, other.m_specs);
    std::swap(m_specIndex, other.m_specIndex);
    std::swap(m_indicatorRuns, other.m_indicatorRuns);
    std::swap(m_runIndex, other.m_runIndex);
    std::swap(m_endedRuns, other.m_endedRuns);
    std::swap(m_hasHadIndicatorRuns, other.m_hasHadIndicatorRuns);
    std::swap(m_testRuns, other.m_testRuns);
    std::swap(m_moduleTests, other.m_moduleTests);
    std::swap(m_moduleIndicators, other.m_moduleIndicators);
    std::swap(m_moduleDevices, other.m_moduleDevices);
    std::swap(m_deviceTests, other.m_deviceTests);
    std::swap(m_deviceIndicators, other.m_deviceIndicators);
    std::swap(m_children, other.m_children);
    std::swap(m_changes, other.m_changes);
}

void StateManager::clear()
{
    m_moduleTests.clear();
    m_moduleIndicators.clear();
    m_moduleDevices.clear();
    m_deviceTests.clear();
    m_deviceIndicators.clear();
    m_children.clear();
    m_runIndex.clear();
    m_indicatorRuns.clear();
    m_endedRuns.clear();
    m_hasHadIndicatorRuns = false;
    m_testRuns.clear();
    m_alerts.clear();
    m_indicators.clear();
    m_tests.clear();
    m_devices.clear();
    m_modules.clear();
    clearPropertySpecs();
    m_changes.clear();
}

} // namespace zel
