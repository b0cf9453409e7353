#include <zel/model/state/StateManager.h>

namespace zel {

using Kind = StateManager::Change::Kind;

// The parent comes first: a device may stand before its parent in the other manager's order. The depth of a
// chain of parents is bounded by the number of devices, since a device has at most one parent and none is its
// own ancestor.
DeviceImp& StateManager::copyDevice(DeviceImp const& theirs, StateManager const& other)
{
    std::vector<DeviceImp const*> chain{&theirs};
    for (DeviceImp const* up = other.parentOf(theirs); up && !m_devices.find(up->guid());
         up = other.parentOf(*up)) {
        if (chain.size() > other.deviceCount())
            break;
        chain.push_back(up);
    }
    DeviceImp* copied = nullptr;
    for (auto one = chain.rbegin(); one != chain.rend(); ++one) {
        DeviceImp const* const parent = other.parentOf(**one);
        bool const known = parent && m_devices.find(parent->guid());
        copied = &addDevice(std::make_unique<DeviceImp>(**one), known ? parent : nullptr);
    }
    return *copied;
}

// A device keeps the parent that it has, and never comes to stand below itself.
bool StateManager::adoptParent(DeviceImp& mine, DeviceImp const* theirParent)
{
    DeviceImp const* const parent = theirParent ? m_devices.find(theirParent->guid()) : nullptr;
    if (!parent || parentOf(mine))
        return false;
    for (DeviceImp const* up = parent; up; up = parentOf(*up))
        if (up == &mine)
            return false;
    attach(mine, parent);
    return true;
}

void StateManager::merge(StateManager const& other, bool newerWins)
{
    mergePropertySpecs(other);
    for (ModuleImp* module = other.nextModule(nullptr); module; module = other.nextModule(module))
        if (!m_modules.find(module->guid()) && m_modules.own(std::make_unique<ModuleImp>(*module)))
            note(true, Kind::ModuleAdded, module->guid());
    for (std::size_t i = 0; i < other.deviceCount(); ++i) {
        DeviceImp const& theirs = *other.deviceAtIndex(i);
        if (DeviceImp* const mine = m_devices.find(theirs.guid())) {
            bool const placed = adoptParent(*mine, other.parentOf(theirs));
            bool const changed = newerWins ? mine->mergeFrom(theirs) : mine->completeFrom(theirs);
            note(changed || placed, Kind::DeviceUpdated, theirs.guid());
        } else {
            copyDevice(theirs, other);
        }
    }
    for (std::size_t i = 0; i < other.alertCount(); ++i) {
        AlertImp const& theirs = *other.alertAtIndex(i);
        AlertImp const* const mine = m_alerts.find(theirs.guid());
        if (!mine || (newerWins && !(*mine == theirs)))
            addAlert(theirs);
    }
}

void StateManager::createDeviceList(StateManager const& source, CapabilityImp const& capability,
                                    PropertyCategoryImp const& category)
{
    for (DeviceImp* theirs = source.nextDevice(nullptr, capability); theirs;
         theirs = source.nextDevice(theirs, capability)) {
        if (m_devices.find(theirs->guid()))
            continue;
        DeviceImp& mine = addDevice(std::make_unique<DeviceImp>(*theirs), nullptr);
        for (std::size_t i = 0; i < theirs->propertyCount(); ++i)
            if (!theirs->getProperty(i).category().isCapable(category))
                mine.removeProperty(theirs->getProperty(i).key());
    }
}

} // namespace zel
