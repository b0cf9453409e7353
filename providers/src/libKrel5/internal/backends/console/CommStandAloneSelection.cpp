// Device acquisition and the making of runs.
#include <libKrel5/internal/backends/console/CommStandAlone.h>

#include <libKrel5/basics/LibraryMutex.h>
#include <libKrel5/internal/backends/MissingDevices.h>
#include <libKrel5/internal/backends/console/Selection.h>
#include <libKrel5/internal/module/CommandLine.h>
#include <libKrel5/internal/module/ErrorReporting.h>
#include <libKrel5/internal/module/ModuleCommon.h>
#include <libKrel5/objects/UpdateInterval.h>

#include <krel5/CommandLineOption.h>

#include <zel/enumerator/Enumerator.h>
#include <zel/foundation/Logger.h>
#include <zel/foundation/OStream.h>
#include <zel/model/runs/TestRunManager.h>
#include <zel/model/settings/SettingsKeys.h>
#include <zel/model/settings/SettingsResource.h>
#include <zel/model/state/StateManager.h>

namespace krel5 {
namespace {

zel::Logger& logger()
{
    static zel::Logger& s_logger = zel::LogFactory::getLogger("krel5.Comm.StandAlone");
    return s_logger;
}

zel::StateManager& manager() { return zel::StateManager::instance(); }

// How long each test is to be repeated, in seconds; 0: once. A time that is not understood comes to no run.
unsigned minimumTime()
{
    auto const settings = zel::SettingsResource::ofModule(ModuleCommon::module().guid());
    return settings->seconds(zel::SettingsKeys::kMinTimePerTest).value_or(0);
}

void addRun(zel::TestImp& test, zel::DeviceImp& device)
{
    ZEL_LOG(logger(), zel::LogLevel::Information)
        << "Creating TestRunImp Dev:" << device.guid() << " Test:" << test.guid();
    zel::TestRunImp run(&test, &device);
    run.setMinTime(minimumTime());
    zel::TestRunManager::instance().addTestRun(std::move(run));
}

std::size_t addRunsOfDevice(zel::DeviceImp& device, zel::Array<zel::TestImp*> const& tests)
{
    std::size_t const count = manager().testCountByDevice(device);
    ZEL_LOG(logger(), zel::LogLevel::Debug) << "current device = " << device.guid();
    ZEL_LOG(logger(), zel::LogLevel::Debug) << "tests found = " << static_cast<std::uint64_t>(count);
    if (count == 0)
        ZEL_LOG(logger(), zel::LogLevel::Debug) << "no tests found for this device.";
    std::size_t made = 0;
    for (zel::TestImp* const test : tests)
        if (manager().isAssociated(device, *test)) {
            addRun(*test, device);
            ++made;
        }
    return made;
}

// A run that is there stays, with its clock.
void addIndicatorRun(zel::IndicatorImp& indicator, zel::DeviceImp* device)
{
    if (manager().indicatorRun(indicator, device))
        return;
    if (device)
        ZEL_LOG(logger(), zel::LogLevel::Information)
            << "Creating IndicatorRunImp Dev:" << device->guid() << " Indicator:" << indicator.guid();
    else
        ZEL_LOG(logger(), zel::LogLevel::Information)
            << "Creating Freed IndicatorRunImp Indicator:" << indicator.guid();
    manager().addIndicatorRun(zel::IndicatorRunImp(indicator, device, updateInterval()));
}

// What the settings say of the others was told as the module started.
std::size_t addIndicatorRunsOfDevice(zel::DeviceImp& device, zel::Array<zel::IndicatorImp*> const& indicators)
{
    std::size_t count = 0;
    for (zel::IndicatorImp* const indicator : indicators) {
        if (!manager().isAssociated(device, *indicator) || !indicator->mayRun())
            continue;
        addIndicatorRun(*indicator, &device);
        ++count;
    }
    return count;
}

// Free ones only: an indicator of devices that has none, or none any more, cannot be called without one.
std::size_t addFreeIndicatorRuns(zel::Array<zel::IndicatorImp*> const& indicators)
{
    std::size_t count = 0;
    for (zel::IndicatorImp* const indicator : indicators) {
        if (!indicator->isFree() || manager().deviceCountByIndicator(*indicator) > 0 || !indicator->mayRun())
            continue;
        addIndicatorRun(*indicator, nullptr);
        ++count;
    }
    return count;
}

// What one module fails to tell is no reason to do without the devices of all others.
void tellModuleFailures()
{
    for (zel::String const& failure : zel::Enumerator::instance().moduleFailures())
        ErrorReporting::tell("Devices of a module are missing: " + failure);
}

// Drives are what every inventory needs of another module's devices, with just the properties that name them.
void mergeSystemInformation()
{
    zel::StateManager& found = zel::ModuleManager::getInstance().getStateManager();
    manager().mergeWithTracking(found);
    zel::StateManager drives;
    drives.createDeviceList(found, zel::CapabilityImp::HardDrive(),
                            zel::PropertyCategoryImp::RequiredForEnumeration());
    manager().mergeWithTracking(drives);
    found.clear();
}

// What has to be looked for: a requirement that nobody looked for would hold, or fail, on every machine.
zel::CapabilityImp testedOrNeeded(zel::CapabilityImp capabilities)
{
    for (std::size_t i = 0; i < manager().testCount(); ++i)
        capabilities |= manager().testAtIndex(i)->neededBesideTested();
    return capabilities;
}

bool anyDeviceIsOf(zel::CapabilityImp const& capabilities, zel::StateManager const& found)
{
    zel::DeviceImp const* device = nullptr;
    while ((device = found.nextDevice(device, zel::CapabilityImp::ALL())))
        if (device->deviceCapabilities().intersects(capabilities))
            return true;
    return false;
}

} // namespace

void CommStandAlone::receiveDevices()
{
    zel::ModuleImp const& module = ModuleCommon::module();
    if (module.type() == zel::ModuleTypeImp::DIAG())
        return receiveDiagnosticDevices();
    ZEL_LOG(logger(), zel::LogLevel::Information)
        << "sysinfo or indicator module: calling Enumerator::instance().getDevicesFromModule.";
    for (auto const& requirement : module.enumerationRequirements()) {
        zel::Enumerator::instance().getDevicesFromModule(requirement.module, 0, 1);
        tellModuleFailures();
        if (module.type() == zel::ModuleTypeImp::SYSINFO())
            mergeSystemInformation();
    }
    if (module.type() == zel::ModuleTypeImp::INDICATOR()) // its enumeration walks over them
        manager().mergeWithTracking(zel::ModuleManager::getInstance().getStateManager());
}

void CommStandAlone::receiveDiagnosticDevices()
{
    zel::CapabilityImp const& capabilities = ModuleCommon::module().supportedCapabilities();
    ZEL_LOG(logger(), zel::LogLevel::Information)
        << "diagnostic module: calling Enumerator::instance().getDevicesOfType.";
    zel::Enumerator::instance().getDevicesOfType(testedOrNeeded(capabilities), 1, 0);
    ZEL_LOG(logger(), zel::LogLevel::Information) << " Supported Devices: " << capabilities.toString();
    tellMissingDevices();
    tellModuleFailures();
    if (zel::StateManager& found = zel::ModuleManager::getInstance().getStateManager();
        anyDeviceIsOf(capabilities, found)) {
        manager().mergeWithTracking(found);
        return;
    }
    zel::OStream::out() << "No devices discovered" << zel::endl;
    ZEL_LOG(logger(), zel::LogLevel::Warning) << "No devices discovered";
}

bool CommStandAlone::hasAllDevices() const { return !mayMissTestedDevices(); }

bool CommStandAlone::receiveIndicatorRun()
{
    receiveDiagnosticDevices();
    return true;
}

bool CommStandAlone::receiveTestRun()
{
    DeviceSelection list;
    list.addDevicesOfTests();
    list.addDevicesOfIndicators();
    auto const devices = list.selected();
    auto const tests = selectedTests();
    ZEL_LOG(logger(), zel::LogLevel::Debug)
        << "devices found = " << static_cast<std::uint64_t>(devices.size());
    std::size_t made = 0;
    for (zel::DeviceImp* const device : devices) {
        ZEL_ASSERT(device != nullptr);
        made += addRunsOfDevice(*device, tests);
    }
    if (made == 0)
        endWithoutTestRuns(devices, tests);
    return true;
}

// Called on every pass of the indicator loop. Numbers are for the list that the person saw: they count once, and a
// device picked by one stays the only one, whatever comes and goes later. A list that is empty in a later pass
// fills again when a device comes back; only one that never had a run is an error. A pass before which nothing has come
// or gone costs nothing.
bool CommStandAlone::receiveIndicatorMessages()
{
    zel::AutoMutex const guard(libraryMutex());
    bool const isLaterPass = manager().hasHadIndicatorRuns();
    std::uint64_t const changes = manager().indicatorAssociationChanges();
    if (isLaterPass &&
        (changes == m_associationChanges || CommandLine::integer(CommandLineOption::DEVICENUM())))
        return true;
    m_associationChanges = changes;
    DeviceSelection list;
    list.addDevicesOfTests();
    list.addDevicesOfIndicators();
    auto const devices = list.selected();
    auto const indicators = selectedIndicators();
    std::size_t count = 0;
    for (zel::DeviceImp* const device : devices) {
        ZEL_ASSERT(device != nullptr);
        count += addIndicatorRunsOfDevice(*device, indicators);
    }
    count += addFreeIndicatorRuns(indicators);
    if (count == 0 && !isLaterPass)
        endWithoutIndicatorRuns(devices, indicators);
    return true;
}

} // namespace krel5
