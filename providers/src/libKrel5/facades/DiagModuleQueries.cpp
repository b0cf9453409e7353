// What a running test looks up, and what it asks of the engine.
#include <krel5/DiagModule.h>

#include <libKrel5/basics/Arguments.h>
#include <libKrel5/basics/LibraryMutex.h>
#include <libKrel5/internal/backends/CommInterface.h>
#include <libKrel5/internal/module/CommandLine.h>
#include <libKrel5/internal/module/ModuleCommon.h>
#include <libKrel5/objects/Factories.h>

#include <krel5/DiagDevice.h>
#include <krel5/Language.h>

#include <zel/foundation/System.h>
#include <zel/model/runs/TestRunImp.h>
#include <zel/model/settings/SettingsKeys.h>
#include <zel/model/settings/SettingsResource.h>
#include <zel/model/state/StateManager.h>
#include <zel/model/texts/GlobalParameters.h>

#include <limits>
#include <optional>
#include <vector>

namespace krel5 {

unsigned int const DiagModule::INFINITE_TIMEOUT = CommInterface::kNoTimeOut;
unsigned int const DiagModule::FROM_SETTINGS_FILE = 0xFFFFFFFEu;

Test* DiagModule::getCurrentTest()
{
    zel::AutoMutex const guard(libraryMutex());
    return s_testRunImp ? Factories::tests().find(s_testRunImp->test()->keyInModule()) : nullptr;
}

unsigned int DiagModule::getCurrentPass()
{
    zel::AutoMutex const guard(libraryMutex());
    return s_testRunImp ? s_testRunImp->currentPass() : 0;
}

namespace {

std::vector<zel::DeviceImp*> optionalDevices(zel::TestRunImp const* run)
{
    std::vector<zel::DeviceImp*> devices;
    if (!run)
        return devices;
    zel::StateManager& manager = zel::StateManager::instance();
    zel::CapabilityImp const& wanted = run->test()->optionalDeviceCapabilities();
    for (zel::DeviceImp* one = manager.nextDevice(nullptr, zel::CapabilityImp::ALL()); one;
         one = manager.nextDevice(one, zel::CapabilityImp::ALL()))
        if (one != run->device() && one->deviceCapabilities().intersects(wanted))
            devices.push_back(one);
    return devices;
}

} // namespace

unsigned int DiagModule::optionalDeviceCount()
{
    zel::AutoMutex const guard(libraryMutex());
    return static_cast<unsigned>(optionalDevices(s_testRunImp).size());
}

DiagDevice DiagModule::optionalDevice(unsigned int index)
{
    zel::AutoMutex const guard(libraryMutex());
    auto const devices = optionalDevices(s_testRunImp);
    requireIndex(index, devices.size());
    return DiagDevice(devices[index]);
}

Language DiagModule::getLanguage() { return Language(zel::GlobalParameters::instance().language()); }
Language DiagModule::getDefaultLanguage() { return Language(zel::GlobalParameters::defaultLanguage()); }
KrelString DiagModule::getBaseDirectory() { return KrelString(ModuleCommon::baseDirectory()); }

unsigned int DiagModule::getEngineProcessId()
{
    auto const given = CommandLine::engineProcessId();
    if (given && (*given < 1 || *given > std::numeric_limits<std::int32_t>::max()))
        return 0; // no process has such an id
    return static_cast<unsigned>(given ? *given : zel::System::parentProcessId());
}

bool DiagModule::isStandAlone()
{
    CommInterface const* const comm = ModuleCommon::comm();
    return comm && comm->isStandAlone();
}

// ---- what the engine is asked; without the library mutex, since its answer may take a while

unsigned int DiagModule::getTimeOut()
{
    CommInterface* const comm = ModuleCommon::comm();
    return comm ? comm->receiveGetTimeOutMessage() : 0;
}

void DiagModule::setTimeOut(unsigned int seconds)
{
    CommInterface* const comm = ModuleCommon::comm();
    if (!comm)
        return;
    if (seconds == FROM_SETTINGS_FILE) {
        auto const settings = zel::SettingsResource::ofModule(ModuleCommon::module().guid());
        seconds = settings->seconds(zel::SettingsKeys::kTimeOut).value_or(INFINITE_TIMEOUT);
    }
    comm->sendSetTimeOutMessage(seconds);
}

void DiagModule::clearTimeOut()
{
    if (CommInterface* const comm = ModuleCommon::comm())
        comm->sendClearTimeOutMessage();
}

zel::StateManager* DiagModule::getCurrentStateManagerFromEngine(bool merge)
{
    CommInterface* const comm = ModuleCommon::comm();
    zel::StateManager* const state = comm ? comm->getCurrentStateManagerFromEngine() : nullptr;
    if (state && merge) {
        zel::AutoMutex const guard(libraryMutex());
        zel::StateManager::instance().mergeWithTracking(*state);
    }
    return state;
}

} // namespace krel5
