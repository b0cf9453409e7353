#pragma once
// The state of one module run or one inventory: modules, devices, tests, indicators, alerts, property
// specifications, and who belongs to whom.

#include <zel/foundation/Export.h>
#include <zel/model/devices/DeviceImp.h>
#include <zel/model/module/IndicatorImp.h>
#include <zel/model/module/ModuleImp.h>
#include <zel/model/module/TestImp.h>
#include <zel/model/runs/AlertImp.h>
#include <zel/model/runs/IndicatorRunImp.h>
#include <zel/model/state/Association.h>
#include <zel/model/state/Changes.h>
#include <zel/model/state/RecordList.h>

#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace zel {

class TestRunImp;

/// Records have stable addresses and are found by guid in constant time; walks are in order of insertion. The
/// process has one instance; further ones are made for transfers and merging.
/// Records handed in by reference are borrowed: they outlive the manager. Records handed in by unique_ptr,
/// and the copies made by merging, are owned. Thread rule: none of its own; the public library guards the
/// instance with its one mutex.
class ZEL_EXPORT StateManager
{
public:
    using Change = zel::Change;

    StateManager();
    ~StateManager();
    StateManager(StateManager const&) = delete;
    StateManager& operator=(StateManager const&) = delete;

    static StateManager& instance();

    // Modules. `track` records the addition as a change.
    void addModule(ModuleImp& module, bool track);
    ModuleImp* nextModule(ModuleImp const* previous) const { return m_modules.next(previous); }
    /// Null when there is none.
    ModuleImp* module(String const& guid) const { return m_modules.find(guid); }

    // Property specifications, found by guid.
    void addPropertySpec(std::shared_ptr<PropertySpecImp> const& spec, bool track);
    std::shared_ptr<PropertySpecImp> propertySpec(String const& guid) const;
    std::size_t propertySpecCount() const noexcept { return m_specs.size(); }
    std::shared_ptr<PropertySpecImp> const& propertySpecAtIndex(std::size_t index) const
    {
        return m_specs[index];
    }
    void mergePropertySpecs(StateManager const& other);
    void clearPropertySpecs();

    // Devices. Throw StateException when a device of that guid is there already, or the parent is unknown.
    void addDevice(DeviceImp& device, DeviceImp const* parent);
    DeviceImp& addDevice(std::unique_ptr<DeviceImp> device, DeviceImp const* parent);
    /// Takes the device out at once, with its associations, its place below its parent and its indicator runs,
    /// which have ended; its children move to top level. The records of device and runs stay alive until
    /// releaseRemoved(), so that a callback may remove what the loop or the test around it holds; a walk with
    /// nextDevice() goes on from the device behind its old place.
    bool removeDevice(String const& guid);
    /// Frees what removeDevice() took out, except devices that a run of the TestRunManager points to: those
    /// wait for a later call. For the loop between two passes, when nobody holds a device or a run of the last
    /// one.
    void releaseRemoved();
    std::size_t removedCount() const noexcept { return m_devices.retiredCount() + m_endedRuns.size(); }
    std::size_t deviceCount() const noexcept { return m_devices.size(); }
    DeviceImp* deviceAtIndex(std::size_t index) const noexcept { return m_devices.at(index); }
    DeviceImp* device(String const& guid) const { return m_devices.find(guid); }
    /// The next device after `previous` (null: the first) that has all of `capability`, or any of it for ALL.
    /// `previous` may have been removed, but not released; a walk from a device that was never here ends.
    DeviceImp* nextDevice(DeviceImp const* previous, CapabilityImp const& capability) const;
    /// The record here of the same device as `other` (same guid); null when there is none.
    DeviceImp* matchingDevice(DeviceImp const& other) const { return m_devices.find(other.guid()); }
    DeviceImp* parentOf(DeviceImp const& device) const;
    std::vector<DeviceImp*> const& childrenOf(DeviceImp const& device) const;
    /// As DeviceImp's operations, and recorded as changes when the device is held here. What is done to a
    /// device directly is not.
    PropertyImp& addProperty(DeviceImp& device, PropertyImp const& property);
    bool removeProperty(DeviceImp& device, String const& key);

    // Tests and indicators of the module.
    void addTest(TestImp& test);
    std::size_t testCount() const noexcept { return m_tests.size(); }
    TestImp* testAtIndex(std::size_t index) const noexcept { return m_tests.at(index); }
    /// Found by guid, else by key in the module; null when there is none.
    TestImp* test(String const& guidOrKey) const;
    IndicatorImp* indicator(String const& guidOrKey) const;
    void addIndicator(IndicatorImp& indicator);
    std::size_t indicatorCount() const noexcept { return m_indicators.size(); }
    IndicatorImp* indicatorAtIndex(std::size_t index) const noexcept { return m_indicators.at(index); }

    // Associations. Each returns whether it changed anything; counts and elements go both ways.
    bool associate(ModuleImp& module, TestImp& test, bool track);
    bool associate(ModuleImp& module, IndicatorImp& indicator, bool track);
    bool associate(ModuleImp& module, DeviceImp& device, bool track);
    bool associate(DeviceImp& device, TestImp& test, bool track);
    bool associate(DeviceImp& device, IndicatorImp& indicator, bool track);
    bool removeAssociation(DeviceImp& device, TestImp& test);
    bool removeAssociation(DeviceImp& device, IndicatorImp& indicator);
    bool isAssociated(DeviceImp const& device, TestImp const& test) const;
    bool isAssociated(DeviceImp const& device, IndicatorImp const& indicator) const;
    std::size_t deviceCountByTest(TestImp const& test) const;
    DeviceImp* deviceByTestAtIndex(TestImp const& test, std::size_t index) const;
    std::size_t testCountByDevice(DeviceImp const& device) const;
    TestImp* testByDeviceAtIndex(DeviceImp const& device, std::size_t index) const;
    std::size_t deviceCountByIndicator(IndicatorImp const& indicator) const;
    DeviceImp* deviceByIndicatorAtIndex(IndicatorImp const& indicator, std::size_t index) const;
    std::size_t indicatorCountByDevice(DeviceImp const& device) const;
    IndicatorImp* indicatorByDeviceAtIndex(DeviceImp const& device, std::size_t index) const;
    /// Another number after anything has happened to the associations of devices and indicators.
    std::uint64_t indicatorAssociationChanges() const noexcept { return m_deviceIndicators.changes(); }
    std::vector<TestImp*> const& testsOf(ModuleImp const& module) const
    {
        return m_moduleTests.rightsOf(module);
    }
    std::vector<IndicatorImp*> const& indicatorsOf(ModuleImp const& module) const
    {
        return m_moduleIndicators.rightsOf(module);
    }
    std::vector<DeviceImp*> const& devicesOf(ModuleImp const& module) const
    {
        return m_moduleDevices.rightsOf(module);
    }
    std::vector<TestImp*> const& testsOf(DeviceImp const& device) const
    {
        return m_deviceTests.rightsOf(device);
    }
    std::vector<IndicatorImp*> const& indicatorsOf(DeviceImp const& device) const
    {
        return m_deviceIndicators.rightsOf(device);
    }
    std::size_t testCountByModule(ModuleImp const& module) const;
    std::size_t indicatorCountByModule(ModuleImp const& module) const;
    std::size_t deviceCountByModule(ModuleImp const& module) const;

    // Indicator runs, in order of addition: one for each pair of indicator and device (or none). Adding a pair
    // that is there keeps, and returns, the run that is there, with its clock. A run must be bound
    // (AssertionException).
    IndicatorRunImp& addIndicatorRun(IndicatorRunImp run);
    std::size_t indicatorRunCount() const noexcept { return m_indicatorRuns.size(); }
    IndicatorRunImp& indicatorRunAtIndex(std::size_t index) const;
    /// Index of the first run that was added after `run`, which may have ended but is not released: a walk goes
    /// on there, whatever came and went meanwhile.
    std::size_t indicatorRunIndexBehind(IndicatorRunImp const& run) const;
    /// Null when there is none.
    IndicatorRunImp* indicatorRun(IndicatorImp const& indicator, DeviceImp const* device) const;
    /// Whether there ever was one: tells a list that is empty for the moment from one that nobody has filled.
    bool hasHadIndicatorRuns() const noexcept { return m_hasHadIndicatorRuns; }

    /// Bind a restored run to the test or indicator and the device of this manager that it names. Throw
    /// StateException, and the run stays as it is, when they are not here or the run cannot take them.
    void bind(TestRunImp& run) const;
    void bind(IndicatorRunImp& run) const;

    // Alerts. An alert of a guid that is there already replaces it in place.
    void addAlert(AlertImp const& alert);
    bool removeAlert(String const& guid);
    std::size_t alertCount() const noexcept { return m_alerts.size(); }
    AlertImp* alertAtIndex(std::size_t index) const noexcept { return m_alerts.at(index); }

    // Test runs. Those of the instance are the queue of TestRunManager, which this process works through; any
    // other manager holds those that came with it, bound or not.
    std::size_t testRunCount() const;
    /// Throws IndexOutOfBoundsException.
    TestRunImp& testRunAtIndex(std::size_t index) const;
    TestRunImp& addTestRun(TestRunImp run);

    /// Takes in everything of `other`: unknown modules, devices, tests and indicators are copied (a device with
    /// its place below a known parent), known devices take over what is new (DeviceImp::mergeFrom, a parent
    /// where there is none), alerts and property specifications likewise; known tests and indicators stay. Then
    /// come the indicator runs, of which a known one stays, and every association, between records that
    /// `other` holds. Each difference is recorded as a change. `other` stays as it is, and nothing here points
    /// into it. Test runs come too, bound to the tests and devices here where they are known and can take them;
    /// but not into the instance: there only who was told to run a test queues it.
    void mergeWithTracking(StateManager const& other) { merge(other, true); }
    /// The same, but what is known here stays: only what is missing is taken in.
    void completeWithTracking(StateManager const& other) { merge(other, false); }
    /// The same, of devices and property specifications alone: what else `other` holds is not taken in.
    void completeDevices(StateManager const& other);
    /// What happened since the last call, as the net of it, oldest first, for whoever passes changes on.
    std::vector<Change> takeChanges() { return m_changes.take(); }
    /// How many are held; bounded also when nobody takes them, see ChangeList.
    std::size_t heldChanges() const noexcept { return m_changes.size(); }

    /// Fills this (fresh) manager with copies of the devices of `source` that have the capability, holding
    /// only the properties of the category.
    void createDeviceList(StateManager const& source, CapabilityImp const& capability,
                          PropertyCategoryImp const& category);
    void clear();
    /// Whether it holds no record of any kind.
    bool isEmpty() const noexcept;

private:
    friend class StateBuilder;
    void swap(StateManager& other) noexcept;
    void note(bool track, Change::Kind kind, String const& guid, String const& otherGuid = String())
    {
        if (track)
            m_changes.note({kind, guid, otherGuid});
    }
    void noteProperty(DeviceImp const& device, Change::Kind kind, String const& key);
    void endRunsOf(DeviceImp const& device);
    void merge(StateManager const& other, bool newerWins);
    void mergeFunctions(StateManager const& other);
    void mergeDevices(StateManager const& other, bool newerWins);
    void mergeDevice(std::size_t index, StateManager const& other, bool newerWins);
    void mergeAlerts(StateManager const& other, bool newerWins);
    void mergeIndicatorRuns(StateManager const& other);
    void mergeTestRuns(StateManager const& other);
    void mergeAssociations(StateManager const& other);
    template <typename Left, typename Right>
    void mergeAssociation(RecordList<Left> const& lefts, RecordList<Left> const& theirLefts,
                          RecordList<Right> const& rights, Association<Left, Right> const& theirs);
    DeviceImp& copyDevice(DeviceImp const& theirs, StateManager const& other);
    void attach(DeviceImp& device, DeviceImp const* parent);
    bool adoptParent(DeviceImp& mine, DeviceImp const* theirParent);

    RecordList<ModuleImp> m_modules;
    RecordList<DeviceImp> m_devices;
    RecordList<TestImp> m_tests;
    RecordList<IndicatorImp> m_indicators;
    RecordList<AlertImp> m_alerts;
    std::vector<std::shared_ptr<PropertySpecImp>> m_specs;
    std::unordered_map<String, std::size_t> m_specIndex;
    std::vector<std::unique_ptr<IndicatorRunImp>> m_indicatorRuns;
    std::map<std::pair<String, String>, IndicatorRunImp*> m_runIndex; // by guids of indicator and device
    std::vector<std::unique_ptr<IndicatorRunImp>> m_endedRuns;        // until releaseRemoved()
    std::uint64_t m_lastRunPlace = 0;
    bool m_hasHadIndicatorRuns = false;
    std::vector<std::unique_ptr<TestRunImp>> m_testRuns; // empty in the instance

    Association<ModuleImp, TestImp> m_moduleTests;
    Association<ModuleImp, IndicatorImp> m_moduleIndicators;
    Association<ModuleImp, DeviceImp> m_moduleDevices;
    Association<DeviceImp, TestImp> m_deviceTests;
    Association<DeviceImp, IndicatorImp> m_deviceIndicators;
    Association<DeviceImp, DeviceImp> m_children; // parent on the left
    ChangeList m_changes;
};

/// What the enumerator found, before it is merged into the instance.
class ZEL_EXPORT ModuleManager
{
public:
    static ModuleManager& getInstance();
    StateManager& getStateManager() { return m_state; }

private:
    StateManager m_state;
};

} // namespace zel
