// Set-up, factories and the ways of work of the indicator facade.
#include <krel5/IndicatorModule.h>

#include <libKrel5/basics/LibraryMutex.h>
#include <libKrel5/basics/OwnProcess.h>
#include <libKrel5/devices/DeclaredProperties.h>
#include <libKrel5/devices/EnumerationPhase.h>
#include <libKrel5/facades/DeviceFinding.h>
#include <libKrel5/facades/IndicatorLoop.h>
#include <libKrel5/internal/backends/CommInterface.h>
#include <libKrel5/internal/backends/Connection.h>
#include <libKrel5/internal/backends/StopRequest.h>
#include <libKrel5/internal/module/CommandLine.h>
#include <libKrel5/internal/module/ErrorReporting.h>
#include <libKrel5/internal/module/ModuleCommon.h>
#include <libKrel5/internal/settings/SettingsRefusal.h>
#include <libKrel5/objects/Factories.h>

#include <krel5/CommandLineOption.h>
#include <krel5/DeviceCapability.h>

#include <zel/foundation/Logger.h>
#include <zel/foundation/System.h>
#include <zel/ipc/direct/ProcessLinkConfigurator.h>
#include <zel/model/settings/SettingsResource.h>
#include <zel/model/state/StateManager.h>

#include <optional>

namespace krel5 {

bool IndicatorModule::s_started = false;

namespace {

IndicatorModule::Callback s_enumerate = nullptr;

zel::Logger& logger()
{
    static zel::Logger& s_logger = zel::LogFactory::getLogger("krel5.IndicatorModule");
    return s_logger;
}

void checkNotStarted(bool started, char const* name)
{
    DeviceFinding::checkNotStarted(started, name, logger());
}

/// What the other side wants: the devices for a list, or the run with its devices. A person at the console, and a client in this
/// process, get both from this machine, whatever was asked for, so that a list shows what a run has. False: nobody said.
bool receiveRequest(CommInterface& comm, bool forRun)
{
    bool hasRun = true;
    if (forRun || comm.findsDevicesHere())
        hasRun = comm.receiveIndicatorRun();
    if (!forRun || comm.findsDevicesHere())
        comm.receiveDevices();
    return hasRun;
}

void enumerate()
{
    {
        EnumerationPhase const phase;
        s_enumerate();
    }
    zel::AutoMutex const guard(libraryMutex());
    zel::DeviceImp* device = nullptr;
    while ((device = zel::StateManager::instance().nextDevice(device, zel::CapabilityImp::ALL())))
        IndicatorLoop::tie(*device);
}

/// What open connection and enumeration come to; nothing: the work may begin.
std::optional<TestResult> begin(CommInterface& comm, bool forRun)
{
    TestResult const stopped = forRun ? TestResult::PASS() : TestResult::USERABORTED();
    if (!Connection::isOpen())
        return TestResult::CANNOTRUN();
    bool const isAsked = receiveRequest(comm, forRun);
    comm.sendVersion();
    if (StopRequest::isMade())
        return stopped;
    if (!isAsked) {
        ErrorReporting::tell("There is no indicator to run");
        return TestResult::CANNOTRUN();
    }
    enumerate();
    if (StopRequest::isMade())
        return stopped;
    return std::nullopt;
}

bool isRefused() { return refusesEveryRun(*zel::SettingsResource::ofModule(ModuleCommon::module().guid())); }

// ---- the ways of work

TestResult runIndicators(CommInterface& comm)
{
    if (isRefused())
        return TestResult::INTERNALERROR();
    Connection const connection(comm);
    if (auto const end = begin(comm, true))
        return *end;
    comm.receiveIndicatorMessages();
    return IndicatorLoop(comm).run();
}

TestResult enumAndWait(CommInterface& comm)
{
    if (isRefused())
        return TestResult::INTERNALERROR();
    Connection const connection(comm);
    if (auto const end = begin(comm, true))
        return *end;
    return IndicatorLoop(comm).run();
}

TestResult enumDevicesAndIndicators(CommInterface& comm)
{
    Connection const connection(comm);
    if (auto const end = begin(comm, false))
        return *end;
    comm.sendEnumIndicators();
    bool const isWhole = comm.hasAllDevices() && comm.isConfirmed();
    return isWhole ? TestResult::PASS() : TestResult::CANNOTRUN();
}

TestResult runWaitingLoop(CommInterface& comm)
{
    if (isRefused())
        return TestResult::INTERNALERROR();
    Connection const connection(comm);
    if (!connection.isOpen())
        return TestResult::CANNOTRUN();
    comm.sendVersion();
    return IndicatorLoop(comm).run();
}

} // namespace

struct IndicatorModuleFacade
{
    static Facade const& get()
    {
        static Facade const s_facade{"IndicatorModule", Facade::Kind::Indicator,
                                     &zel::ModuleTypeImp::INDICATOR, &IndicatorModule::internalErrorPost,
                                     &checkSetUp};
        return s_facade;
    }

    static void checkSetUp() { DeviceFinding::checkSetUp(s_enumerate); }

    /// The action step of start(). Who asks for help beside an action wants to read.
    static TestResult act()
    {
        auto const isSet = [](CommandLineOption const& option) { return CommandLine::isSet(option); };
        CommInterface& comm = *ModuleCommon::comm();
        bool const isHelp = isSet(CommandLineOption::HELP());
        if (!isHelp && isSet(CommandLineOption::RUN()))
            return runIndicators(comm);
        if (!isHelp && isSet(CommandLineOption::ENUM()))
            return isSet(CommandLineOption::PERSISTANT()) ? enumAndWait(comm)
                                                          : enumDevicesAndIndicators(comm);
        if (!isHelp && isSet(CommandLineOption::WAIT()))
            return runWaitingLoop(comm);
        ModuleCommon::printUsage();
        if (!isHelp)
            ErrorReporting::tell(
                "Nothing was done: \"enum\" lists devices and indicators, \"run\" watches the devices");
        return TestResult::FAIL();
    }
};

void IndicatorModule::internalErrorPost(KrelException const& error)
{
    ErrorReporting::internalErrorPost(error);
}

// ---- set-up

void IndicatorModule::setCmdLineArgs(int argc, char const* const argv[])
{
    checkNotStarted(s_started, "IndicatorModule::setCmdLineArgs");
    ModuleCommon::setCmdLineArgs(IndicatorModuleFacade::get(), argc, argv);
}

void IndicatorModule::setVersion(unsigned int major, unsigned int minor, KrelString const& build)
{
    checkNotStarted(s_started, "IndicatorModule::setVersion");
    ModuleCommon::setVersion(major, minor, build);
}

void IndicatorModule::setEnumerationCallback(Callback callback)
{
    checkNotStarted(s_started, "IndicatorModule::setEnumerationCallback");
    s_enumerate = callback;
}

void IndicatorModule::setModuleInitCallback(Callback callback)
{
    checkNotStarted(s_started, "IndicatorModule::setModuleInitCallback");
    ModuleCommon::setModuleInitCallback(callback);
}

// The message has always named the other facade; whoever looks for it finds it so.
void IndicatorModule::setModuleExitCallback(Callback callback)
{
    checkNotStarted(s_started, "DiagModule::setModuleExitCallback");
    ModuleCommon::setModuleExitCallback(callback);
}

void IndicatorModule::setModuleCapabilities(DeviceCapability const& capabilities)
{
    checkNotStarted(s_started, "IndicatorModule::setModuleCapabilities");
    ModuleCommon::module().setSupportedCapabilities(capabilities.imp());
}

void IndicatorModule::addModuleEnumerationRequirement(zel::String const& module, bool completion)
{
    checkNotStarted(s_started, "IndicatorModule::addModuleEnumerationRequirement");
    DeviceFinding::addRequirement(IndicatorModuleFacade::get(), module, completion);
}

void IndicatorModule::registerLibrary(KrelString const& name)
{
    checkNotStarted(s_started, "IndicatorModule::registerLibrary");
    ModuleCommon::module().registerLibrary(name.zelString());
}

void IndicatorModule::registerLocalizedLibrary(KrelString const& name)
{
    checkNotStarted(s_started, "IndicatorModule::registerLocalizedLibrary");
    ModuleCommon::module().registerLocalizedLibrary(name.zelString());
}

// ---- factories

Indicator* IndicatorModule::createIndicator(KrelString const& key, DeviceCapability const& capability,
                                            IndicatorReturnData (*read)(DiagDevice const&))
{
    return Factories::createIndicator(key, capability, read);
}

Indicator* IndicatorModule::createFreeIndicator(KrelString const& key, DeviceCapability const& capability,
                                                void (*look)())
{
    return Factories::createFreeIndicator(key, capability, look);
}

DeviceProperty* IndicatorModule::createDeviceProperty(KrelString const& key, PropertyCategory const& category,
                                                      DataType const& type,
                                                      DeviceCapability const& capability)
{
    return DeclaredProperties::create(key, category, type, capability);
}

DeviceProperty* IndicatorModule::createDevicePropertyGroup(KrelString const& key,
                                                           PropertyCategory const& category,
                                                           DeviceCapability const& capability)
{
    return DeclaredProperties::createGroup(key, category, capability);
}

DeviceProperty* IndicatorModule::createDevicePropertyGroup(KrelString const& key, DataType const& type,
                                                           DeviceCapability const& capability)
{
    return DeclaredProperties::createGroup(key, type, capability);
}

DeviceProperty* IndicatorModule::createDevicePropertyGroup(KrelString const& key,
                                                           DeviceCapability const& capability)
{
    return DeclaredProperties::createGroup(key, capability);
}

Parameter* IndicatorModule::createParameter(KrelString const& key, DataType const& type,
                                            KrelString const& defaultText, bool required, bool isGlobal,
                                            KrelString const& validRange)
{
    return Factories::createParameter(key, type, defaultText, required, isGlobal, validRange);
}

LocalizedString* IndicatorModule::createLocalizedString(KrelString const& key)
{
    return Factories::createLocalizedString(key, "");
}

// ---- run

int IndicatorModule::start()
{
    s_started = true;
    int const status = ModuleCommon::start(IndicatorModuleFacade::get(), &IndicatorModuleFacade::act);
    if (OwnProcess::isOurs())
        zel::System::exitProcess(status);
    zel::ProcessLinkConfigurator::instance().setEngineHasEnded(status);
    return status;
}

bool IndicatorModule::stopRequested()
{
    zel::AutoMutex const guard(libraryMutex());
    bool const isStopped = StopRequest::isMade();
    ZEL_LOG(logger(), zel::LogLevel::Debug)
        << "stopRequested() returing: " << isStopped; // spelled so since ever
    return isStopped;
}

bool IndicatorModule::collectSysInfo() { return false; }

void IndicatorModule::addDevice(SysInfoDevice* device)
{
    DeviceFinding::addDevice(device, "IndicatorModule::addDevice(...)", logger());
}

SysInfoDevice const* IndicatorModule::firstDevice() { return DeviceFinding::firstDevice(); }
SysInfoDevice const* IndicatorModule::nextDevice() { return DeviceFinding::nextDevice(); }

} // namespace krel5
