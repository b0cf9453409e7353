#pragma once
// The facade of a diagnostic module: a program that offers tests of devices. Start here.
//
//     int main(int argc, char** argv)
//     {
//         DiagModule::setCmdLineArgs(argc, argv);
//         DiagModule::setVersion(1, 0, "1");
//         DiagModule::createTest("pattern", DeviceCapability::Memory(), patternTest);
//         return DiagModule::start();
//     }
//
// The order: command line and version, then objects, then start(). Objects may also be made inside the
// module-init callback; after start() has begun, every set-up operation and factory throws
// InvalidInitException. From start() on the library owns the process: it parses the command line, finds
// devices, runs tests, reports, and returns the exit status, which is TestResult::value() of the verdict.
//
// Thread rule: set-up and start() belong to the main thread, and the test callbacks run there. The operations
// of the groups "progress", "events" and "checkForStop" may be called from any thread while a test runs; they
// take the library's one mutex.

#include <krel5/Export.h>
#include <krel5/MessageBox.h>
#include <krel5/Test.h>

namespace zel {
class EventTypeImp;
class StateManager;
class String;
class TestRunImp;
} // namespace zel

namespace krel5 {

class DataType;
class DeviceCapability;
class DiagDevice;
class Event;
class EventType;
class KrelException;
class KrelString;
class Language;
class LocalizedString;
class Parameter;
class TestObserver;
class TestResult;

class KREL5_EXPORT DiagModule
{
public:
    DiagModule() = delete;

    using Callback = void (*)();
    using EnumTestsCallback = void (*)(DiagDevice&);
    using MsgBoxCallback = void (*)(DiagDevice const&);

    /// Time-out values for setTimeOut and createMessageBox, in seconds.
    static unsigned int const INFINITE_TIMEOUT;   ///< wait for ever
    static unsigned int const FROM_SETTINGS_FILE; ///< the settings file's "TimeOut.value"

    // ---- set-up, before start()

    /// Hands over main's arguments. `argv[0]` gives the module its guid: the lower-cased base name of the
    /// file. A command line that cannot be understood ends the process with INTERNALERROR and a message that
    /// names the word.
    static void setCmdLineArgs(int argc, char const* const argv[]);
    /// Version that -version prints: "{major}.{minor}.{build}". Required.
    static void setVersion(unsigned int major, unsigned int minor, KrelString const& build);
    /// Decides per device which tests apply, through DiagDevice::addTest, instead of the tests' own
    /// capabilities and requirements. A test that the settings switch off stays off.
    static void setEnumTestsCallback(EnumTestsCallback callback);
    /// Runs inside start() before anything else; may make objects. An exception in it ends the start.
    static void setModuleInitCallback(Callback callback);
    /// Runs last, unless the process ends on the spot; an exception in it is logged and changes nothing.
    static void setModuleExitCallback(Callback callback);
    /// Names a library that the module uses.
    static void registerLibrary(KrelString const& name);
    /// Names a library whose texts ("{name}.w4p") the module's text files depend on.
    static void registerLocalizedLibrary(KrelString const& name);

    // ---- factories, before start() or in the module-init callback
    //
    // Each returns an object of the library that lives as long as the process. A key is the object's name in
    // files and texts: not empty, no blanks, unique among objects of its kind. Errors: InvalidKeyException,
    // AlreadyCreatedException, InvalidInitException (too late); nothing was made then.

    static Test* createTest(KrelString const& key, DeviceCapability const& capability,
                            Test::Callback callback);
    static Test* createTest(KrelString const& key, DeviceCapability const& capability,
                            Test::ReferenceCallback callback);
    /// `defaultText` is the value, read as `type`, when the settings file has none; "" means no default. The
    /// start refuses a `required` parameter that the settings file does not set, and a value outside
    /// `validRange` (see Test::addDevicePropertyRequirement). `isGlobal`: handed down to every test of the
    /// module. Throws InvalidCreationException for a default or a range that cannot be read.
    static Parameter* createParameter(KrelString const& key, DataType const& type,
                                      KrelString const& defaultText, bool required, bool isGlobal = false,
                                      KrelString const& validRange = "");
    /// Event codes count from 1 in order of creation.
    static Event* createEvent(KrelString const& key);
    static LocalizedString* createLocalizedString(KrelString const& key);
    /// `text` is shown where the text files have nothing for the key.
    static LocalizedString* createLocalizedString(KrelString const& key, KrelString const& text);

    // ---- run

    /// Does what the command line asks. Returns the exit status.
    static int start();
    /// The two actions of start(), and the matching of tests to devices that the first begins with. Called by
    /// start(); rarely of use to a module. The actions throw InvalidInitException before start(), and while a
    /// test runs.
    static TestResult enumTests();
    static TestResult runTest();
    static void doTestEnumeration();
    /// Whether the test should stop: somebody asked (engine, Ctrl-C, requestAbort) or the engine is gone.
    /// Cheap; call it at least every 100 ms and return USERABORTED.
    static bool checkForStop();
    /// Asks the running test to stop, from inside the module.
    static void requestAbort();

    // ---- progress of the running test

    /// 0 to 100. Only growing values go out, at most two a second; 0 and 100 always.
    static void percentDone(int percent);
    /// Lets the next value start from 0 again.
    static void resetPercentDone();
    static void estimatedTimeLeft(unsigned int seconds);
    /// Sends an event of type PROGRESS.
    static void progress(Event const* event);
    /// Shows a text about what the test is doing.
    static void progress(LocalizedString const* text);
    /// As progress(text). `milliseconds` is the shortest time between two texts.
    static void progressTimed(double milliseconds, LocalizedString const* text);

    // ---- events of the running test
    //
    // `file` and `line` say where: __FILE__, __LINE__. Without a running test an error is logged and nothing
    // sent.

    static void sendEvent(Event const* event, EventType const& type, KrelString const& file, int line);
    static void informative(Event const* event, KrelString const& file, int line);
    static void warning(Event const* event, KrelString const& file, int line);
    static void error(Event const* event, KrelString const& file, int line);

    // ---- questions to the person

    /// Asks and waits for the answer. Where nobody can be asked (prompting switched off, no terminal and no
    /// text on standard input) the default answer is taken, and that is said on standard error and in the
    /// log: choose a default that is no finding. A stop request and the end of input give the answer that
    /// means "let me out"; where there was another one, the run is then USERABORTED whatever the test
    /// returns, unless an error event came before. `shown` is called with the device under test just before
    /// the box appears; `parent` is the window it belongs to, where there are windows. Throws KrelException
    /// when no test is running.
    static MsgBoxReturn createMessageBox(MsgBoxType type, KrelString const& title, KrelString const& text,
                                         MsgBoxOption option = MsgBoxOption::DEFAULTFIRST,
                                         LookAndFeel lookAndFeel = LookAndFeel::QUESTION,
                                         void* parent = nullptr, MsgBoxCallback shown = nullptr);
    static bool promptEnabled();
    static bool GUIPromptSupported();

    // ---- queries

    /// Null when no test is running.
    static Test* getCurrentTest();
    /// From 1; 0 when no test is running.
    static unsigned int getCurrentPass();
    /// Devices of the optional capabilities of the running test, beside the one under test.
    static unsigned int optionalDeviceCount();
    /// Throws IndexOutOfBoundsException(0, count - 1, index).
    static DiagDevice optionalDevice(unsigned int index);
    static Language getLanguage();
    static Language getDefaultLanguage();
    /// Folder below which the log folder stands; "." unless the command line says otherwise.
    static KrelString getBaseDirectory();
    /// Process id of the engine: what -ePid says, else the parent's.
    static unsigned int getEngineProcessId();
    static bool isStandAlone();
    /// Seconds after which the engine ends the test; 0: none.
    static unsigned int getTimeOut();
    static void setTimeOut(unsigned int seconds);
    static void clearTimeOut();
    /// The engine's state, or null when there is no engine. `merge`: take it into the module's own state as
    /// well.
    static zel::StateManager* getCurrentStateManagerFromEngine(bool merge);

    // ---- observers

    /// Null is a programming error; one observer registered twice is called once.
    static void registerObserver(TestObserver* observer);
    static void unregisterObserver(TestObserver* observer);

private:
    friend struct DiagModuleFacade;
    friend struct DiagModuleRun;
    friend class CurrentRun;
    static void doPercentDone(int percent);
    static void sendEventImp(Event const& event, zel::EventTypeImp const& type, zel::String const& file,
                             int line);
    static void sendPreparedEvent(zel::TestRunEventImp event);
    static void notifyResult(Test const& test, TestResult const& result);
    static void internalErrorPost(KrelException const& error);

    static bool s_started;
    static zel::TestRunImp* s_testRunImp; // the run that takes reports; null between runs
    static int s_percentComplete;         // last percentage sent; -1: none
    static bool s_progressTimedStarted;
    static bool s_minTimePerTestMode;
    static bool s_bPromptEnable;
    static bool s_bGUIPromptSupported;
    static bool s_bAlwaysUseGUIPrompt;
    static MsgBoxCallback s_msgBoxCallback;
};

} // namespace krel5
