#include <libKrel5/internal/module/ModuleCommon.h>

#include <libKrel5/basics/OwnProcess.h>
#include <libKrel5/devices/DeclaredProperties.h>
#include <libKrel5/internal/backends/CommInterface.h>
#include <libKrel5/internal/backends/Connection.h>
#include <libKrel5/internal/files/ModuleFiles.h>
#include <libKrel5/internal/module/CommandLine.h>
#include <libKrel5/internal/module/ErrorReporting.h>
#include <libKrel5/internal/settings/ParameterSetup.h>
#include <libKrel5/internal/start/BackendSelection.h>
#include <libKrel5/objects/Factories.h>

#include <krel5/CommandLineOption.h>
#include <krel5/InvalidInitException.h>

#include <zel/foundation/ControlCharacters.h>
#include <zel/foundation/ExitGuard.h>
#include <zel/foundation/FileSystem.h>
#include <zel/foundation/Logger.h>
#include <zel/foundation/OStream.h>
#include <zel/foundation/System.h>
#include <zel/model/runs/TestRunEventImp.h>
#include <zel/model/state/StateManager.h>
#include <zel/model/texts/GlobalParameters.h>
#include <zel/model/texts/LocalizedResource.h>

#include <string_view>
#include <utility>

namespace krel5 {
namespace {

zel::Logger& logger()
{
    static zel::Logger& s_logger = zel::LogFactory::getLogger("krel5.ModuleCommon");
    return s_logger;
}

// Static state of the module core; main thread only, see ModuleCommon.h.
struct State
{
    bool versionSet = false;
    Facade const* commandLineOf = nullptr; // the facade that took the command line
    bool logNamed = false;
    bool initialized = false;
    bool insideInitCallback = false;
    bool exitStepDue = false; // start() has begun and the exit step has not
    ModuleCommon::Callback initCallback = nullptr;
    ModuleCommon::Callback exitCallback = nullptr;
    zel::String baseDirectory = ".";
    std::unique_ptr<CommInterface> comm;
};

State& state()
{
    static State* const s_state = new State();
    return *s_state;
}

constexpr int kLogThreshold = 4;

void logUnknownOfExitCallback()
{
    ZEL_LOG(logger(), zel::LogLevel::Error) << "Unknown Exception in ModuleExit callback function";
}

// A typing error is no fault of the program: the person reads which word, and where to find the others. The log has it
// where it has all errors, without a trace of the library's own calls.
void refuseCommandLine(zel::String const& call, zel::OptionException const& error)
{
    ZEL_LOG_LINE(logger(), zel::LogLevel::Error, 1243) << "Internal Exception in " << call << ":\n"
                                                       << error.toString();
    ErrorReporting::tell(error.toString() + "; \"-h\" lists what can be asked for");
    if (OwnProcess::isOurs())
        ErrorReporting::endProcess(TestResult::INTERNALERROR());
}

// One module is of one kind. With two facades the options, the callback and the devices would be those of the other.
void checkOneFacade(Facade const& facade, char const* operation, bool isFirst)
{
    Facade const* const earlier = state().commandLineOf;
    if (earlier && (isFirst || earlier->kind != facade.kind))
        throw InvalidInitException(KrelString("Cannot call ") + facade.className + operation +
                                   " after calling " + earlier->className + "::setCmdLineArgs");
}

} // namespace

CommInterface* ModuleCommon::comm() { return state().comm.get(); }
void ModuleCommon::setComm(std::unique_ptr<CommInterface> comm)
{
    closeConnection();
    state().comm = std::move(comm);
}
zel::String ModuleCommon::baseDirectory() { return state().baseDirectory; }
bool ModuleCommon::isInsideInitCallback() { return state().insideInitCallback; }
void ModuleCommon::setModuleInitCallback(Callback callback) { state().initCallback = callback; }
void ModuleCommon::setModuleExitCallback(Callback callback) { state().exitCallback = callback; }

void ModuleCommon::setVersion(unsigned major, unsigned minor, KrelString const& build)
{
    module().setVersion(zel::VersionImp(major, minor, build.zelString()));
    state().versionSet = true;
}

void ModuleCommon::checkNotStarted(bool started, char const* name)
{
    if (started)
        throw InvalidInitException(KrelString("Cannot call ") + name + " after calling start");
}

// ---- command line

void ModuleCommon::setCmdLineArgs(Facade const& facade, int argc, char const* const argv[])
{
    if (CommandLine::isOfHost(argc, argv))
        OwnProcess::leaveToHost();
    OwnProcess::secureStandardStreams();
    OwnProcess::secureSignals();
    ErrorReporting::install(facade, false);
    zel::String const call = zel::String(facade.className) + "::setCmdLineArgs(...)";
    auto const logAtLeastHere = [] {
        if (!state().logNamed)
            setUpLogging("");
    };
    auto const body = [&] {
        try {
            checkOneFacade(facade, "::setCmdLineArgs", true);
            CommandLine::addFacadeOptions(facade.kind);
            understandCommandLine(argc, argv);
            state().commandLineOf = &facade;
        } catch (zel::OptionException const& error) {
            logAtLeastHere();
            refuseCommandLine(call, error);
        }
    };
    auto const onError = [&](KrelException const& error) {
        logAtLeastHere();
        ErrorReporting::post(error);
    };
    guarded(call.toUtf8().c_str(), body, onError);
}

void ModuleCommon::understandCommandLine(int argc, char const* const argv[])
{
    deriveGuid(argc, argv);
    refuseObsoleteWords(argc, argv);
    CommandLine::addCommonOptions();
    CommandLine::parse(argc, argv);
    zel::LoggerConfig::applyOptions(zel::OptionManager::instance());
    setUpLogging(CommandLine::text(CommandLineOption::LOGGINGBASEDIR()).value_or("").trimmed());
    applyLanguage();
}

void ModuleCommon::deriveGuid(int argc, char const* const argv[])
{
    ZEL_ASSERT(argc >= 1);
    ZEL_ASSERT_NAMED(argv && argv[0], "argv[0]");
    zel::String const guid = zel::FileSystem::extractBaseFileName(argv[0]).lowered();
    ZEL_ASSERT(guid.size() > 0);
    for (std::size_t i = 0; i < guid.size(); ++i) // it becomes a line of files and logs
        if (zel::isControlCharacter(guid[i]))
            throw zel::InvalidArgumentException("The name of the program holds a control character");
    module().setGuid(guid);
}

// These words chose an action in earlier versions; doing nothing about them would silently do something else.
void ModuleCommon::refuseObsoleteWords(int argc, char const* const argv[])
{
    for (int i = 0; i < argc; ++i) {
        std::string_view const word = argv[i] ? argv[i] : "";
        bool const isAction = word == "devices" || word == "tests";
        if (!isAction && word != "-s")
            continue;
        zel::String const text = zel::String("Obsolete command line option: \"") + zel::String(word) +
                                 (isAction ? "\". Use \"enum\" instead." : "\". Use \"-v\" instead.");
        setUpLogging("");
        ZEL_LOG_LINE(logger(), zel::LogLevel::Error, isAction ? 501 : 506) << text;
        if (!OwnProcess::isOurs())
            throw zel::OptionException(text);
        ErrorReporting::tell(text);
        ErrorReporting::endProcess(TestResult::INTERNALERROR());
    }
}

void ModuleCommon::setUpLogging(zel::String const& baseDirectory)
{
    if (!baseDirectory.empty())
        state().baseDirectory = baseDirectory;
    zel::GlobalParameters::instance().setBaseDirectory(state().baseDirectory);
    zel::LogFactory::setBaseDirectory(state().baseDirectory.toCString());
    zel::LogFactory::configure("modules.xml", kLogThreshold);
    zel::String const path = state().baseDirectory + "/logs/" + module().guid() + "_" +
                             zel::String::number(zel::System::processId()) + ".log";
    zel::LogFactory::createDefaultFileAppender(path.toCString());
    state().logNamed = true;
}

void ModuleCommon::applyLanguage()
{
    auto& global = zel::GlobalParameters::instance();
    if (auto const customer = CommandLine::text(CommandLineOption::CUSTOMER()))
        global.setCustomer(*customer);
    if (auto const variant = CommandLine::text(CommandLineOption::VARIANT()))
        global.setVariant(*variant);
    auto const tag = CommandLine::text(CommandLineOption::LANGUAGE());
    if (!tag)
        return;
    zel::LanguageImp const language = zel::LanguageImp::getConstantByString(*tag);
    if (language.toString() != *tag || language == zel::LanguageImp::nil()) {
        zel::String known;
        for (int i = 0; i < zel::LanguageImp::count(); ++i)
            if (zel::String const one = zel::LanguageImp::table().text(i);
                one != zel::LanguageImp::nil().toString())
                known += zel::String(known.empty() ? "" : ", ") + one;
        throw zel::OptionException(zel::String("Unknown language \"") + *tag +
                                   "\" behind -lang. Known are: " + known);
    }
    global.setLanguage(language);
}

// ---- start

void ModuleCommon::initialize(zel::ModuleTypeImp const& type)
{
    ZEL_ASSERT_NAMED(!state().initialized, "!s_initialized");
    module().registerLibrary("libKrel5");
    if (!state().versionSet)
        throw InvalidInitException("Cannot start a module without setting the module version");
    if (!state().commandLineOf)
        throw InvalidInitException("Cannot start a module without setting the command line args");
    state().initialized = true;
    module().setType(type);
    callInitCallback();
    zel::StateManager::instance().addModule(module(), true);
    registerObjects();
    ModuleIdentity::closeForFactories();
}

void ModuleCommon::callInitCallback()
{
    if (!state().initCallback)
        return;
    state().insideInitCallback = true;
    try {
        state().initCallback();
    } catch (zel::Exception const& e) {
        state().insideInitCallback = false;
        throw InternalException("Internal Exception in ModuleInit callback", e);
    } catch (KrelException const& e) {
        state().insideInitCallback = false;
        throw KrelException("Exception in ModuleInit callback", e);
    } catch (...) {
        state().insideInitCallback = false;
        throw;
    }
    state().insideInitCallback = false;
}

void ModuleCommon::registerObjects()
{
    zel::String const& guid = module().guid();
    zel::StateManager& manager = zel::StateManager::instance();

    for (zel::String const& library : module().librariesList())
        zel::LocalizedResource::registerLibrary(guid, library);
    for (auto const& text : Factories::localizedStrings())
        text->imp().setModuleGuid(guid);
    for (auto const& event : Factories::events())
        event->imp().setModuleGuid(guid);
    for (auto const& parameter : Factories::parameters())
        parameter->imp().setModuleGuid(guid);
    for (auto const& declared : DeclaredProperties::all())
        if (declared->spec->moduleGuid().empty())
            declared->spec->setModuleGuid(guid);
    for (auto const& declared : DeclaredProperties::all())
        declared->property->imp().updateSpecGuid();
    unsigned index = 0;
    for (auto const& test : Factories::tests()) {
        test->imp().setModuleGuid(guid);
        test->imp().setIndex(index++);
    }
    index = 0;
    for (auto const& indicator : Factories::indicators()) {
        indicator->imp().setModuleGuid(guid);
        indicator->imp().setIndex(index++);
    }

    for (auto const& declared : DeclaredProperties::all())
        manager.addPropertySpec(declared->spec, true);

    setUpParameters();

    for (auto const& test : Factories::tests()) {
        manager.addTest(test->imp());
        manager.associate(module(), test->imp(), true);
    }
    for (auto const& indicator : Factories::indicators()) {
        manager.addIndicator(indicator->imp());
        manager.associate(module(), indicator->imp(), true);
    }
}

int ModuleCommon::start(Facade const& facade, TestResult (*action)())
{
    TestResult result = TestResult::PASS();
    ErrorReporting::install(facade, true);
    if (!state().initialized) // a second start neither brings the exit step back nor takes it away
        state().exitStepDue = true;
    zel::String const call = zel::String(facade.className) + "::start()";
    auto const body = [&] {
        checkOneFacade(facade, "::start", false);
        initialize(facade.type());
        facade.checkSetUp();
        if (runInformationalCommands(result))
            return;
        result = chooseBackend();
        if (result == TestResult::PASS())
            result = checkPrivileges();
        if (result != TestResult::PASS())
            return;
        OwnProcess::stopOnSignal(TestResult::USERABORTED().value()); // whatever the action loops over
        result = action();
    };
    auto const onError = [&result](KrelException const& error) {
        result = TestResult::INTERNALERROR();
        ErrorReporting::post(error);
    };
    guarded(call.toUtf8().c_str(), body, onError);
    runExitStep();
    result = ErrorReporting::withOutputChecked(result);
    zel::ExitGuard::disarm();
    return result.value();
}

bool ModuleCommon::runInformationalCommands(TestResult& result)
{
    bool const version = CommandLine::isSet(CommandLineOption::SHOWVERSION());
    bool const metadata = CommandLine::isSet(CommandLineOption::METADATA());
    bool const keys = CommandLine::isSet(CommandLineOption::LOCALIZEDKEYS());
    if (version)
        printVersion();
    if (metadata)
        ModuleFiles::writeMetadata();
    if (keys)
        ModuleFiles::writeLocalizedKeys();
    result = TestResult::PASS();
    return version || metadata || keys;
}

TestResult ModuleCommon::chooseBackend()
{
    if (!state().comm)
        state().comm = BackendSelection::choose();
    return state().comm ? TestResult::PASS() : TestResult::CANNOTRUN();
}

TestResult ModuleCommon::checkPrivileges()
{
    ZEL_LOG_LINE(logger(), zel::LogLevel::Debug, 1143) << "checkPrivileges()";
    if (zel::System::userIsAdministrator())
        return TestResult::PASS();
    char const* const text = "Cannot run Morvane without superuser privileges.";
    ErrorReporting::tell(text);
    ZEL_LOG_LINE(logger(), zel::LogLevel::Error, 1150) << text;
    return TestResult::INSUFFICIENTPRIVILEGE();
}

void ModuleCommon::sendInternalError(zel::String const& text) noexcept
{
    try {
        if (Connection::isOpen())
            comm()->sendInternalError(text);
    } catch (...) {
    }
}

void ModuleCommon::closeConnection() noexcept { Connection::close(); }

void ModuleCommon::freeIndicatorsRan() { zel::OStream::out().flush(); }

void ModuleCommon::runExitStep()
{
    closeConnection();
    if (!std::exchange(state().exitStepDue, false) || !state().exitCallback)
        return;
    try {
        state().exitCallback();
    } catch (zel::Exception const& e) {
        ZEL_LOG(logger(), zel::LogLevel::Error)
            << "Internal Exception in ModuleExit callback function:" << e.toString();
    } catch (KrelException const& e) {
        ZEL_LOG(logger(), zel::LogLevel::Error)
            << "Exception in ModuleExit callback function:" << e.toString().zelString();
    } catch (std::exception const& e) {
        logUnknownOfExitCallback();
        ZEL_LOG(logger(), zel::LogLevel::Error) << "std::exception: " << e.what();
    } catch (...) {
        logUnknownOfExitCallback();
    }
}

void ModuleCommon::printUsage() { CommandLine::printUsage(zel::OStream::out(), module().guid()); }

void ModuleCommon::printVersion()
{
    zel::VersionImp const engine = zel::GlobalParameters::engineVersion();
    zel::OStream::out() << "Version: " << module().version().toString() << zel::endl
                        << "Build: " << engine.majorVersion() << "." << engine.minorVersion() << "."
                        << engine.revision() << zel::endl;
}

} // namespace krel5
