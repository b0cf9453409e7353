#include <zel/model/state/StateManager.h>

namespace zel {

using Kind = Change::Kind;

namespace {

template <typename Record>
Record* elementAt(std::vector<Record*> const& list, std::size_t index)
{
    return index < list.size() ? list[index] : nullptr;
}

} // namespace

bool StateManager::associate(ModuleImp& module, TestImp& test, bool track)
{
    bool const added = m_moduleTests.add(module, test);
    note(track && added, Kind::AssociationAdded, module.guid(), test.guid());
    return added;
}

bool StateManager::associate(ModuleImp& module, IndicatorImp& indicator, bool track)
{
    bool const added = m_moduleIndicators.add(module, indicator);
    note(track && added, Kind::AssociationAdded, module.guid(), indicator.guid());
    return added;
}

bool StateManager::associate(ModuleImp& module, DeviceImp& device, bool track)
{
    bool const added = m_moduleDevices.add(module, device);
    note(track && added, Kind::AssociationAdded, module.guid(), device.guid());
    return added;
}

bool StateManager::associate(DeviceImp& device, TestImp& test, bool track)
{
    bool const added = m_deviceTests.add(device, test);
    note(track && added, Kind::AssociationAdded, device.guid(), test.guid());
    return added;
}

bool StateManager::associate(DeviceImp& device, IndicatorImp& indicator, bool track)
{
    bool const added = m_deviceIndicators.add(device, indicator);
    note(track && added, Kind::AssociationAdded, device.guid(), indicator.guid());
    return added;
}

bool StateManager::removeAssociation(DeviceImp& device, TestImp& test)
{
    bool const removed = m_deviceTests.remove(device, test);
    note(removed, Kind::AssociationRemoved, device.guid(), test.guid());
    return removed;
}

bool StateManager::removeAssociation(DeviceImp& device, IndicatorImp& indicator)
{
    bool const removed = m_deviceIndicators.remove(device, indicator);
    note(removed, Kind::AssociationRemoved, device.guid(), indicator.guid());
    return removed;
}

bool StateManager::isAssociated(DeviceImp const& device, TestImp const& test) const
{
    return m_deviceTests.contains(device, test);
}

bool StateManager::isAssociated(DeviceImp const& device, IndicatorImp const& indicator) const
{
    return m_deviceIndicators.contains(device, indicator);
}

std::size_t StateManager::deviceCountByTest(TestImp const& test) const
{
    return m_deviceTests.leftsOf(test).size();
}

DeviceImp* StateManager::deviceByTestAtIndex(TestImp const& test, std::size_t index) const
{
    return elementAt(m_deviceTests.leftsOf(test), index);
}

std::size_t StateManager::testCountByDevice(DeviceImp const& device) const
{
    return m_deviceTests.rightsOf(device).size();
}

TestImp* StateManager::testByDeviceAtIndex(DeviceImp const& device, std::size_t index) const
{
    return elementAt(m_deviceTests.rightsOf(device), index);
}

std::size_t StateManager::deviceCountByIndicator(IndicatorImp const& indicator) const
{
    return m_deviceIndicators.leftsOf(indicator).size();
}

DeviceImp* StateManager::deviceByIndicatorAtIndex(IndicatorImp const& indicator, std::size_t index) const
{
    return elementAt(m_deviceIndicators.leftsOf(indicator), index);
}

std::size_t StateManager::indicatorCountByDevice(DeviceImp const& device) const
{
    return m_deviceIndicators.rightsOf(device).size();
}

IndicatorImp* StateManager::indicatorByDeviceAtIndex(DeviceImp const& device, std::size_t index) const
{
    return elementAt(m_deviceIndicators.rightsOf(device), index);
}

std::size_t StateManager::testCountByModule(ModuleImp const& module) const
{
    return m_moduleTests.rightsOf(module).size();
}

std::size_t StateManager::indicatorCountByModule(ModuleImp const& module) const
{
    return m_moduleIndicators.rightsOf(module).size();
}

std::size_t StateManager::deviceCountByModule(ModuleImp const& module) const
{
    return m_moduleDevices.rightsOf(module).size();
}

} // namespace zel
