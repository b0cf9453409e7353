// Set-up, factories and the two actions of the diagnostic facade.
#include <krel5/DiagModule.h>

#include <libKrel5/basics/LibraryMutex.h>
#include <libKrel5/facades/DiagModuleRun.h>
#include <libKrel5/internal/backends/CommInterface.h>
#include <libKrel5/internal/backends/Connection.h>
#include <libKrel5/internal/module/CommandLine.h>
#include <libKrel5/internal/module/ErrorReporting.h>
#include <libKrel5/internal/module/ModuleCommon.h>
#include <libKrel5/internal/runs/PromptSwitches.h>
#include <libKrel5/internal/settings/SettingsRefusal.h>
#include <libKrel5/objects/Factories.h>

#include <krel5/CommandLineOption.h>
#include <krel5/DiagDevice.h>
#include <krel5/InvalidInitException.h>

#include <zel/foundation/Logger.h>
#include <zel/model/runs/TestRunManager.h>
#include <zel/model/settings/SettingsResource.h>
#include <zel/model/state/StateManager.h>
#include <zel/model/texts/LocalizedResource.h>

namespace krel5 {

bool DiagModule::s_started = false;
zel::TestRunImp* DiagModule::s_testRunImp = nullptr;
int DiagModule::s_percentComplete = -1;
bool DiagModule::s_progressTimedStarted = false;
bool DiagModule::s_minTimePerTestMode = false;
bool DiagModule::s_bPromptEnable = true;
bool DiagModule::s_bGUIPromptSupported = false;
bool DiagModule::s_bAlwaysUseGUIPrompt = false;
DiagModule::MsgBoxCallback DiagModule::s_msgBoxCallback = nullptr;

namespace {

using zel::LogLevel;

DiagModule::EnumTestsCallback s_enumTestsCallback = nullptr;

zel::Logger& logger()
{
    static zel::Logger& s_logger = zel::LogFactory::getLogger("krel5.DiagModule");
    return s_logger;
}

zel::StateManager& manager() { return zel::StateManager::instance(); }

// An action needs what start() sets up, and one at a time.
CommInterface& backendFor(char const* action, zel::TestRunImp const* running)
{
    CommInterface* const comm = ModuleCommon::comm();
    if (!comm)
        throw InvalidInitException(KrelString("Cannot call ") + action + " before calling start");
    if (running)
        throw InvalidInitException(KrelString("Cannot call ") + action + " while a test runs");
    return *comm;
}

// A program that was copied without its texts still says what it finds, but by keys.
void tellMissingTexts()
{
    zel::String const& guid = ModuleCommon::module().guid();
    std::string const path = zel::LocalizedResource::getLocalizedResource(guid);
    bool needsTexts = Factories::events().size() > 0;
    for (auto const& text : Factories::localizedStrings())
        needsTexts |= text->imp().defaultText().empty();
    if (needsTexts && zel::LocalizedResource::load(path)->state() == zel::KeyTextFile::State::Absent)
        ErrorReporting::tell(zel::String("No texts: ") + path +
                             " is missing; what has none is shown by its key");
}

// A mistyped capability looks like a device that the machine does not have.
void logTestsForNoDevice()
{
    for (auto const& test : Factories::tests()) {
        zel::CapabilityImp const& wanted = test->imp().deviceCapabilities();
        zel::DeviceImp* device = nullptr;
        while ((device = manager().nextDevice(device, zel::CapabilityImp::ALL())) &&
               !device->deviceCapabilities().intersects(wanted)) {
        }
        if (!device)
            ZEL_LOG(logger(), LogLevel::Debug)
                << test->imp().guid() << " applies to no device: none is known as " << wanted.toString();
    }
}

} // namespace

struct DiagModuleFacade
{
    static Facade const& get()
    {
        static Facade const s_facade{"DiagModule", Facade::Kind::Diag, &zel::ModuleTypeImp::DIAG,
                                     &DiagModule::internalErrorPost, &needsNothing};
        return s_facade;
    }

    /// A module without tests looks for no devices and has nothing to list; a run of it ends with NOTEST.
    static void needsNothing() {}

    /// The action step of start(). Who asks for help beside an action wants to read, not to run.
    static TestResult act()
    {
        if (CommandLine::isSet(CommandLineOption::HELP())) {
            ModuleCommon::printUsage();
            return TestResult::FAIL();
        }
        if (CommandLine::isSet(CommandLineOption::RUN()))
            return DiagModule::runTest();
        if (CommandLine::isSet(CommandLineOption::ENUM()))
            return DiagModule::enumTests();
        ModuleCommon::printUsage();
        ErrorReporting::tell("Nothing was done: \"enum\" lists devices and tests, \"run\" runs tests");
        return TestResult::FAIL();
    }
};

void DiagModule::internalErrorPost(KrelException const& error) { ErrorReporting::internalErrorPost(error); }

// ---- set-up

void DiagModule::setCmdLineArgs(int argc, char const* const argv[])
{
    zel::AutoMutex const guard(libraryMutex());
    ModuleCommon::checkNotStarted(s_started, "DiagModule::setCmdLineArgs");
    ModuleCommon::setCmdLineArgs(DiagModuleFacade::get(), argc, argv);
}

void DiagModule::setVersion(unsigned int major, unsigned int minor, KrelString const& build)
{
    ModuleCommon::checkNotStarted(s_started, "DiagModule::setVersion");
    ModuleCommon::setVersion(major, minor, build);
}

void DiagModule::setEnumTestsCallback(EnumTestsCallback callback)
{
    ModuleCommon::checkNotStarted(s_started, "DiagModule::setEnumTestsCallback");
    s_enumTestsCallback = callback;
    ModuleCommon::module().setChoosesOwnTests(callback != nullptr);
}

void DiagModule::setModuleInitCallback(Callback callback)
{
    ModuleCommon::checkNotStarted(s_started, "DiagModule::setModuleInitCallback");
    ModuleCommon::setModuleInitCallback(callback);
}

void DiagModule::setModuleExitCallback(Callback callback)
{
    ModuleCommon::checkNotStarted(s_started, "DiagModule::setModuleExitCallback");
    ModuleCommon::setModuleExitCallback(callback);
}

void DiagModule::registerLibrary(KrelString const& name)
{
    ModuleCommon::checkNotStarted(s_started, "DiagModule::registerLibrary");
    ModuleCommon::module().registerLibrary(name.zelString());
}

void DiagModule::registerLocalizedLibrary(KrelString const& name)
{
    ModuleCommon::checkNotStarted(s_started, "DiagModule::registerLocalizedLibrary");
    ModuleCommon::module().registerLocalizedLibrary(name.zelString());
}

// ---- factories

Test* DiagModule::createTest(KrelString const& key, DeviceCapability const& capability,
                             Test::Callback callback)
{
    return Factories::createTest(key, capability, callback);
}

Test* DiagModule::createTest(KrelString const& key, DeviceCapability const& capability,
                             Test::ReferenceCallback callback)
{
    return Factories::createTest(key, capability, callback);
}

Parameter* DiagModule::createParameter(KrelString const& key, DataType const& type,
                                       KrelString const& defaultText, bool required, bool isGlobal,
                                       KrelString const& validRange)
{
    return Factories::createParameter(key, type, defaultText, required, isGlobal, validRange);
}

Event* DiagModule::createEvent(KrelString const& key) { return Factories::createEvent(key); }

LocalizedString* DiagModule::createLocalizedString(KrelString const& key)
{
    return Factories::createLocalizedString(key, "");
}

LocalizedString* DiagModule::createLocalizedString(KrelString const& key, KrelString const& text)
{
    return Factories::createLocalizedString(key, text);
}

// ---- actions

int DiagModule::start()
{
    s_started = true;
    return ModuleCommon::start(DiagModuleFacade::get(), &DiagModuleFacade::act);
}

TestResult DiagModule::enumTests()
{
    CommInterface& comm = backendFor("DiagModule::enumTests", s_testRunImp);
    Connection const connection(comm);
    if (!connection.isOpen())
        return TestResult::CANNOTRUN();
    comm.receiveDevices();
    doTestEnumeration();
    if (checkForStop()) // who asked to stop waits for no list
        return TestResult::USERABORTED();
    comm.sendEnumTests();
    bool const isWhole = comm.hasAllDevices() && comm.isConfirmed();
    return isWhole ? TestResult::PASS() : TestResult::CANNOTRUN();
}

TestResult DiagModule::runTest()
{
    CommInterface& comm = backendFor("DiagModule::runTest", s_testRunImp);
    zel::TestRunManager::instance().clear();
    auto const settings = zel::SettingsResource::ofModule(ModuleCommon::module().guid());
    if (refusesEveryRun(*settings))
        return TestResult::INTERNALERROR();
    PromptSwitches const switches = PromptSwitches::read(*settings);
    s_bPromptEnable = switches.promptEnable;
    s_bGUIPromptSupported = switches.guiPromptSupported;
    s_bAlwaysUseGUIPrompt = switches.alwaysUseGuiPrompt;

    Connection const connection(comm);
    if (!connection.isOpen())
        return TestResult::CANNOTRUN();
    if (comm.isStandAlone()) { // an engine sends the device with the run
        comm.receiveDevices();
        if (!comm.hasAllDevices()) // to pass on some of the devices would look like passing on all
            return TestResult::CANNOTRUN();
        doTestEnumeration();
    }
    comm.receiveTestRun();
    if (comm.isStandAlone())
        tellMissingTexts();
    return DiagModuleRun::runAll(comm);
}

void DiagModule::doTestEnumeration()
{
    zel::DeviceImp* device = nullptr;
    while ((device = manager().nextDevice(device, zel::CapabilityImp::ALL()))) {
        DiagDevice handle(device);
        ZEL_LOG_LINE(logger(), LogLevel::Debug, 440)
            << "doTestEnumeration: looking at device: " << device->guid();
        if (!s_enumTestsCallback) {
            DiagModuleRun::associateTests(*device);
            continue;
        }
        if (ModuleCommon::module().supportedCapabilities().intersect(device->deviceCapabilities()).isEmpty())
            continue;
        ZEL_LOG_LINE(logger(), LogLevel::Debug, 444)
            << "doTestEnumeration: calling Module Test Enumeration Callback for device: " << device->guid();
        s_enumTestsCallback(handle);
    }
    if (!s_enumTestsCallback)
        logTestsForNoDevice();
}

} // namespace krel5
