#include <zel/model/state/StateManager.h>

#include <zel/foundation/Exception.h>
#include <zel/model/runs/TestRunManager.h>

namespace zel {

using Kind = StateManager::Change::Kind;

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

void StateManager::note(bool track, Change::Kind kind, String const& guid, String const& otherGuid)
{
    if (track)
        m_changes.push_back({kind, guid, otherGuid});
}

std::vector<StateManager::Change> StateManager::takeChanges() { return std::exchange(m_changes, {}); }

void StateManager::addModule(ModuleImp& module, bool track)
{
    if (!m_modules.borrow(module))
        throw StateException(String("Module \"") + module.guid() + "\" is already known");
    note(track, Kind::ModuleAdded, module.guid());
}

void StateManager::addPropertySpec(std::shared_ptr<PropertySpecImp> const& spec, bool)
{
    auto const [at, isNew] = m_specIndex.try_emplace(spec->guid(), m_specs.size());
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
    String const guid = device->guid();
    DeviceImp* const added = m_devices.own(std::move(device));
    if (!added)
        throw StateException(String("Device \"") + guid + "\" is already known");
    attach(*added, parent);
    note(true, Kind::DeviceAdded, guid);
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
    for (DeviceImp* parent : std::vector<DeviceImp*>(m_children.leftsOf(*device)))
        m_children.remove(*parent, *device);
    for (ModuleImp* module : std::vector<ModuleImp*>(m_moduleDevices.leftsOf(*device)))
        m_moduleDevices.remove(*module, *device);
    std::erase_if(m_indicatorRuns, [device](auto const& run) { return run->device() == device; });
    note(true, Kind::DeviceRemoved, guid);
    return m_devices.remove(String(guid));
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

IndicatorRunImp& StateManager::addIndicatorRun(IndicatorRunImp run)
{
    m_indicatorRuns.push_back(std::make_unique<IndicatorRunImp>(run));
    return *m_indicatorRuns.back();
}

IndicatorRunImp& StateManager::indicatorRunAtIndex(std::size_t index)
{
    if (index >= m_indicatorRuns.size())
        throw IndexOutOfBoundsException(0, static_cast<int>(m_indicatorRuns.size()) - 1,
                                        static_cast<int>(index));
    return *m_indicatorRuns[index];
}

void StateManager::addAlert(AlertImp const& alert)
{
    if (AlertImp* const known = m_alerts.find(alert.guid()))
        *known = alert;
    else
        m_alerts.own(std::make_unique<AlertImp>(alert));
    note(true, Kind::AlertAdded, alert.guid());
}

bool StateManager::removeAlert(String const& guid)
{
    if (!m_alerts.find(guid))
        return false;
    note(true, Kind::AlertRemoved, guid);
    return m_alerts.remove(String(guid));
}

std::size_t StateManager::testRunCount() const { return TestRunManager::instance().testRunCount(); }

void StateManager::clear()
{
    m_moduleTests.clear();
    m_moduleIndicators.clear();
    m_moduleDevices.clear();
    m_deviceTests.clear();
    m_deviceIndicators.clear();
    m_children.clear();
    m_indicatorRuns.clear();
    m_alerts.clear();
    m_indicators.clear();
    m_tests.clear();
    m_devices.clear();
    m_modules.clear();
    clearPropertySpecs();
    m_changes.clear();
}

} // namespace zel
