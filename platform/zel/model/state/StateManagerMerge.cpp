// Taking in what another manager holds: records first, then what ties them together, since a tie may be to a
// record that comes late in the other's order.
#include <zel/model/state/StateManager.h>

#include <zel/foundation/Exception.h>
#include <zel/foundation/Logger.h>
#include <zel/model/runs/TestRunImp.h>

#include <unordered_set>

namespace zel {

using Kind = Change::Kind;

namespace {

Logger& logger()
{
    static Logger& s_logger = LogFactory::getLogger("zel.StateManager");
    return s_logger;
}

} // namespace

// The parent comes first: a device may stand before its parent in the other manager's order. The depth of a
// chain of parents is bounded by the number of devices, since a device has at most one parent and none is its
// own ancestor.
DeviceImp& StateManager::copyDevice(DeviceImp const& theirs, StateManager const& other)
{
    std::vector<DeviceImp const*> chain{&theirs};
    for (DeviceImp const* up = other.parentOf(theirs); up && !m_devices.find(up->guid());
         up = other.parentOf(*up))
        chain.push_back(up);
    DeviceImp* copied = nullptr;
    for (auto one = chain.rbegin(); one != chain.rend(); ++one) {
        DeviceImp const* const parent = other.parentOf(**one);
        bool const known = parent && m_devices.find(parent->guid());
        copied = &addDevice(std::make_unique<DeviceImp>(**one), known ? parent : nullptr);
    }
    return *copied;
}

// A device keeps the parent that it has: it is the module's own finding, or that of an earlier merge, and two
// parents would show the device twice. It never comes to stand below itself, which two states that see one
// chain from its two ends would make it; only a device with children can, and the walk up is spared otherwise,
// so that a long chain costs no more than its length.
bool StateManager::adoptParent(DeviceImp& mine, DeviceImp const* theirParent)
{
    DeviceImp const* const parent = theirParent ? m_devices.find(theirParent->guid()) : nullptr;
    if (!parent || parentOf(mine))
        return false;
    for (DeviceImp const* up = childrenOf(mine).empty() ? nullptr : parent; up; up = parentOf(*up))
        if (up == &mine)
            return false;
    attach(mine, parent);
    return true;
}

void StateManager::merge(StateManager const& other, bool newerWins)
{
    if (&other == this)
        return;
    mergePropertySpecs(other);
    mergeFunctions(other);
    mergeDevices(other, newerWins);
    mergeAlerts(other, newerWins);
    mergeIndicatorRuns(other);
    mergeTestRuns(other);
    mergeAssociations(other);
}

void StateManager::completeDevices(StateManager const& other)
{
    if (&other == this)
        return;
    mergePropertySpecs(other);
    mergeDevices(other, false);
}

namespace {

template <typename Record, typename Added>
void copyUnknown(RecordList<Record> const& theirs, RecordList<Record>& mine, Added added)
{
    for (std::size_t i = 0; i < theirs.size(); ++i)
        if (Record const& one = *theirs.at(i); !mine.find(one.guid())) {
            auto copy = std::make_unique<Record>(one);
            mine.own(copy);
            added(one);
        }
}

} // namespace

// A module, test or indicator that is known stays as it is: this process's own record has the callback and the
// settings behind it, and what another process says of it is at best the same.
void StateManager::mergeFunctions(StateManager const& other)
{
    auto const noteAs = [this](Kind kind) {
        return [this, kind](auto const& record) { note(true, kind, record.guid()); };
    };
    copyUnknown(other.m_modules, m_modules, noteAs(Kind::ModuleAdded));
    copyUnknown(other.m_tests, m_tests, noteAs(Kind::TestAdded));
    copyUnknown(other.m_indicators, m_indicators, noteAs(Kind::IndicatorAdded));
}

void StateManager::mergeDevices(StateManager const& other, bool newerWins)
{
    if (m_devices.size() == 0)
        m_devices.reserve(other.deviceCount());
    for (std::size_t i = 0; i < other.deviceCount(); ++i)
        mergeDevice(i, other, newerWins);
}

void StateManager::mergeDevice(std::size_t index, StateManager const& other, bool newerWins)
{
    DeviceImp const& theirs = *other.deviceAtIndex(index);
    DeviceImp* const mine = m_devices.find(theirs.guid(), index);
    if (!mine) {
        copyDevice(theirs, other);
        return;
    }
    std::size_t const before = mine->propertyCount(); // new ones are added behind
    bool const placed = adoptParent(*mine, other.parentOf(theirs));
    bool const changed = newerWins ? mine->mergeFrom(theirs) : mine->completeFrom(theirs);
    note(changed || placed, Kind::DeviceUpdated, theirs.guid());
    for (std::size_t i = before; i < mine->propertyCount(); ++i)
        noteProperty(*mine, Kind::PropertyAdded, mine->getProperty(i).key());
}

void StateManager::mergeAlerts(StateManager const& other, bool newerWins)
{
    for (std::size_t i = 0; i < other.alertCount(); ++i) {
        AlertImp const& theirs = *other.alertAtIndex(i);
        AlertImp const* const mine = m_alerts.find(theirs.guid());
        if (!mine || (newerWins && !(*mine == theirs)))
            addAlert(theirs);
    }
}

// A run that is known keeps its clock: taking over the other's would call an indicator early or late.
void StateManager::mergeIndicatorRuns(StateManager const& other)
{
    for (auto const& theirs : other.m_indicatorRuns) {
        IndicatorImp* const indicator = m_indicators.find(theirs->indicator().guid());
        DeviceImp* const device = m_devices.find(theirs->deviceGuid());
        bool const isTied = indicator && (device || !theirs->device());
        if (!isTied || indicatorRun(*indicator, device))
            continue;
        IndicatorRunImp copy(*theirs);
        copy.bind(*indicator, device);
        addIndicatorRun(std::move(copy));
        note(true, Kind::IndicatorRunAdded, indicator->guid(), theirs->deviceGuid());
    }
}

// A run that is known stays. One that cannot be bound here still tells what came of it.
void StateManager::mergeTestRuns(StateManager const& other)
{
    if (this == &instance())
        return;
    std::unordered_set<String> known;
    for (auto const& mine : m_testRuns)
        known.insert(mine->guid());
    for (std::size_t i = 0; i < other.testRunCount(); ++i) {
        if (!known.insert(other.testRunAtIndex(i).guid()).second)
            continue;
        TestRunImp& copy = addTestRun(other.testRunAtIndex(i).unbound());
        try {
            bind(copy);
        } catch (StateException const& e) {
            ZEL_LOG(logger(), LogLevel::Information) << e.getMessage();
        }
    }
}

// By the guids of both ends: a pointer of the other's must not come over. An end that the other ties but does
// not hold has not been copied and is left out.
template <typename Left, typename Right>
void StateManager::mergeAssociation(RecordList<Left> const& lefts, RecordList<Left> const& theirLefts,
                                    RecordList<Right> const& rights, Association<Left, Right> const& theirs)
{
    for (std::size_t i = 0; i < theirLefts.size(); ++i) {
        auto const& theirRights = theirs.rightsOf(*theirLefts.at(i));
        Left* const left = theirRights.empty() ? nullptr : lefts.find(theirLefts.at(i)->guid());
        for (Right const* theirRight : theirRights)
            if (Right* const right = left ? rights.find(theirRight->guid()) : nullptr)
                associate(*left, *right, true);
    }
}

void StateManager::mergeAssociations(StateManager const& other)
{
    mergeAssociation(m_modules, other.m_modules, m_tests, other.m_moduleTests);
    mergeAssociation(m_modules, other.m_modules, m_indicators, other.m_moduleIndicators);
    mergeAssociation(m_modules, other.m_modules, m_devices, other.m_moduleDevices);
    mergeAssociation(m_devices, other.m_devices, m_tests, other.m_deviceTests);
    mergeAssociation(m_devices, other.m_devices, m_indicators, other.m_deviceIndicators);
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
