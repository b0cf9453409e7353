// Set-up and factories of the system-information facade, and what its discovery callback asks.
#include <krel5/SysInfoModule.h>

#include <libKrel5/devices/DeclaredProperties.h>
#include <libKrel5/facades/DeviceFinding.h>
#include <libKrel5/facades/Enumeration.h>
#include <libKrel5/internal/module/CommandLine.h>
#include <libKrel5/internal/module/ErrorReporting.h>
#include <libKrel5/internal/module/ModuleCommon.h>
#include <libKrel5/objects/Factories.h>

#include <krel5/CommandLineOption.h>
#include <krel5/DeviceCapability.h>

#include <zel/foundation/Logger.h>

namespace krel5 {

bool SysInfoModule::s_started = false;
bool SysInfoModule::s_collectAll = false;

namespace {

SysInfoModule::Callback s_discoverDevices = nullptr;

zel::Logger& logger()
{
    static zel::Logger& s_logger = zel::LogFactory::getLogger("krel5.SysInfoModule");
    return s_logger;
}

void checkNotStarted(bool started, char const* name)
{
    DeviceFinding::checkNotStarted(started, name, logger());
}

} // namespace

struct SysInfoModuleFacade
{
    static Facade const& get()
    {
        static Facade const s_facade{"SysInfoModule", Facade::Kind::SysInfo, &zel::ModuleTypeImp::SYSINFO,
                                     &SysInfoModule::internalErrorPost, &checkSetUp};
        return s_facade;
    }

    static void checkSetUp() { DeviceFinding::checkSetUp(s_discoverDevices); }

    /// The action step of start(). Who asks for help beside the action wants to read.
    static TestResult act()
    {
        bool const isHelp = CommandLine::isSet(CommandLineOption::HELP());
        if (!CommandLine::isSet(CommandLineOption::ENUM()) || isHelp) {
            ModuleCommon::printUsage();
            if (!isHelp)
                ErrorReporting::tell("Nothing was done: \"enum\" lists the devices");
            return TestResult::FAIL();
        }
        SysInfoModule::s_collectAll = CommandLine::isSet(CommandLineOption::VERBOSE());
        return Enumeration::run(*ModuleCommon::comm(), s_discoverDevices);
    }
};

void SysInfoModule::internalErrorPost(KrelException const& error)
{
    ErrorReporting::internalErrorPost(error);
}

// ---- set-up

void SysInfoModule::setCmdLineArgs(int argc, char const* const argv[])
{
    checkNotStarted(s_started, "SysInfoModule::setCmdLineArgs");
    ModuleCommon::setCmdLineArgs(SysInfoModuleFacade::get(), argc, argv);
}

void SysInfoModule::setVersion(unsigned int major, unsigned int minor, KrelString const& build)
{
    checkNotStarted(s_started, "SysInfoModule::setVersion");
    ModuleCommon::setVersion(major, minor, build);
}

void SysInfoModule::setDiscoverDevicesCallback(Callback callback)
{
    checkNotStarted(s_started, "SysInfoModule::setDiscoverDevicesCallback");
    s_discoverDevices = callback;
}

void SysInfoModule::setModuleInitCallback(Callback callback)
{
    checkNotStarted(s_started, "SysInfoModule::setModuleInitCallback");
    ModuleCommon::setModuleInitCallback(callback);
}

void SysInfoModule::setModuleExitCallback(Callback callback)
{
    checkNotStarted(s_started, "SysInfoModule::setModuleExitCallback");
    ModuleCommon::setModuleExitCallback(callback);
}

void SysInfoModule::setModuleCapabilities(DeviceCapability const& capabilities)
{
    checkNotStarted(s_started, "SysInfoModule::setModuleCapabilities");
    ModuleCommon::module().setSupportedCapabilities(capabilities.imp());
}

void SysInfoModule::addModuleEnumerationRequirement(zel::String const& module, bool completion)
{
    checkNotStarted(s_started, "SysInfoModule::addModuleEnumerationRequirement");
    DeviceFinding::addRequirement(SysInfoModuleFacade::get(), module, completion);
}

void SysInfoModule::registerLibrary(KrelString const& name)
{
    checkNotStarted(s_started, "SysInfoModule::registerLibrary");
    ModuleCommon::module().registerLibrary(name.zelString());
}

// ---- factories

DeviceProperty* SysInfoModule::createDeviceProperty(KrelString const& key, PropertyCategory const& category,
                                                    DataType const& type, DeviceCapability const& capability)
{
    return DeclaredProperties::create(key, category, type, capability);
}

DeviceProperty* SysInfoModule::createFakeDeviceProperty(KrelString const& key,
                                                        PropertyCategory const& category,
                                                        DataType const& type,
                                                        DeviceCapability const& capability,
                                                        KrelString const& alias)
{
    return DeclaredProperties::createFake(key, category, type, capability, alias);
}

DeviceProperty* SysInfoModule::createDevicePropertyGroup(KrelString const& key,
                                                         PropertyCategory const& category,
                                                         DeviceCapability const& capability)
{
    return DeclaredProperties::createGroup(key, category, capability);
}

DeviceProperty* SysInfoModule::createDevicePropertyGroup(KrelString const& key, DataType const& type,
                                                         DeviceCapability const& capability)
{
    return DeclaredProperties::createGroup(key, type, capability);
}

DeviceProperty* SysInfoModule::createDevicePropertyGroup(KrelString const& key,
                                                         DeviceCapability const& capability)
{
    return DeclaredProperties::createGroup(key, capability);
}

DeviceProperty* SysInfoModule::createDevicePropertyLink(KrelString const& key,
                                                        PropertyCategory const& category,
                                                        DeviceCapability const& capability)
{
    return DeclaredProperties::createLink(key, category, capability);
}

Parameter* SysInfoModule::createParameter(KrelString const& key, DataType const& type,
                                          KrelString const& defaultText, bool required, bool isGlobal,
                                          KrelString const& validRange)
{
    return Factories::createParameter(key, type, defaultText, required, isGlobal, validRange);
}

LocalizedString* SysInfoModule::createLocalizedString(KrelString const& key)
{
    return Factories::createLocalizedString(key, "");
}

// ---- run

int SysInfoModule::start()
{
    s_started = true;
    return ModuleCommon::start(SysInfoModuleFacade::get(), &SysInfoModuleFacade::act);
}

bool SysInfoModule::collectSysInfo() { return s_collectAll; }

void SysInfoModule::addDevice(SysInfoDevice* device)
{
    DeviceFinding::addDevice(device, "SysInfoModule::addDevice(...)", logger());
}

SysInfoDevice const* SysInfoModule::firstDevice() { return DeviceFinding::firstDevice(); }
SysInfoDevice const* SysInfoModule::nextDevice() { return DeviceFinding::nextDevice(); }

} // namespace krel5
