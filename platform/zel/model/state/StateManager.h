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
#include <zel/model/state/RecordList.h>

#include <memory>
#include <vector>

namespace zel {

/// Records have stable addresses and are found by guid in constant time; walks are in order of insertion. The
/// process has one instance; further ones are made for transfers and merging.
/// Records handed in by reference are borrowed: they outlive the manager. Records handed in by unique_ptr,
/// and the copies made by merging, are owned. Thread rule: none of its own; the public library guards the
/// instance with its one mutex.
class ZEL_EXPORT StateManager
{
public:
    /// What happened since the last takeChanges(), in order, for whoever passes changes on.
    struct Change
    {
        enum class Kind {
            ModuleAdded,
            DeviceAdded,
            DeviceUpdated,
            DeviceRemoved,
            AlertAdded,
            AlertRemoved,
            AssociationAdded,
            AssociationRemoved
        };
        Kind kind;
        String guid;      ///< of the module, device or alert
        String otherGuid; ///< of the test or indicator of an association
    };

    StateManager();
    ~StateManager();
    StateManager(StateManager const&) = delete;
    StateManager& operator=(StateManager const&) = delete;

    static StateManager& instance();

    // Modules. `track` records the addition as a change.
    void addModule(ModuleImp& module, bool track);
    ModuleImp* nextModule(ModuleImp const* previous) const { return m_modules.next(previous); }

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
    /// Removes the device, its associations and its place below its parent; its children move to top level.
    bool removeDevice(String const& guid);
    std::size_t deviceCount() const noexcept { return m_devices.size(); }
    DeviceImp* deviceAtIndex(std::size_t index) const noexcept { return m_devices.at(index); }
    DeviceImp* device(String const& guid) const { return m_devices.find(guid); }
    /// The next device after `previous` (null: the first) that has all of `capability`, or any of it for ALL.
    DeviceImp* nextDevice(DeviceImp const* previous, CapabilityImp const& capability) const;
    /// The record here of the same device as `other` (same guid); null when there is none.
    DeviceImp* matchingDevice(DeviceImp const& other) const { return m_devices.find(other.guid()); }
    DeviceImp* parentOf(DeviceImp const& device) const;
    std::vector<DeviceImp*> const& childrenOf(DeviceImp const& device) const;

    // Tests and indicators of the module.
    void addTest(TestImp& test);
    std::size_t testCount() const noexcept { return m_tests.size(); }
    TestImp* testAtIndex(std::size_t index) const noexcept { return m_tests.at(index); }
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
    std::size_t testCountByModule(ModuleImp const& module) const;
    std::size_t deviceCountByModule(ModuleImp const& module) const;

    // Indicator runs, in order of addition.
    IndicatorRunImp& addIndicatorRun(IndicatorRunImp run);
    std::size_t indicatorRunCount() const noexcept { return m_indicatorRuns.size(); }
    IndicatorRunImp& indicatorRunAtIndex(std::size_t index);

    // Alerts. An alert of a guid that is there already replaces it in place.
    void addAlert(AlertImp const& alert);
    bool removeAlert(String const& guid);
    std::size_t alertCount() const noexcept { return m_alerts.size(); }
    AlertImp* alertAtIndex(std::size_t index) const noexcept { return m_alerts.at(index); }

    // Test runs are kept by TestRunManager; the instance answers for it.
    std::size_t testRunCount() const;

    /// Takes in everything of `other`: unknown modules and devices are copied (with their place below a known
    /// parent), known devices take over what is new (DeviceImp::mergeFrom, a parent where there is none),
    /// alerts and property specifications likewise. Each difference is recorded as a change. `other` stays as
    /// it is.
    void mergeWithTracking(StateManager const& other) { merge(other, true); }
    /// The same, but what is known here stays: only what is missing is taken in.
    void completeWithTracking(StateManager const& other) { merge(other, false); }
    std::vector<Change> takeChanges();

    /// Fills this (fresh) manager with copies of the devices of `source` that have the capability, holding
    /// only the properties of the category.
    void createDeviceList(StateManager const& source, CapabilityImp const& capability,
                          PropertyCategoryImp const& category);
    void clear();

private:
    void note(bool track, Change::Kind kind, String const& guid, String const& otherGuid = String());
    void merge(StateManager const& other, bool newerWins);
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

    Association<ModuleImp, TestImp> m_moduleTests;
    Association<ModuleImp, IndicatorImp> m_moduleIndicators;
    Association<ModuleImp, DeviceImp> m_moduleDevices;
    Association<DeviceImp, TestImp> m_deviceTests;
    Association<DeviceImp, IndicatorImp> m_deviceIndicators;
    Association<DeviceImp, DeviceImp> m_children; // parent on the left
    std::vector<Change> m_changes;
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
