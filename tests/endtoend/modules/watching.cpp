// An indicator module whose name says what it does; see the table at the end. It watches pumps that nobody else knows.
#include <krel5/krel5.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <sys/syscall.h>
#include <thread>
#include <time.h>
#include <unistd.h>
#include <vector>

using namespace krel5;

static std::string s_name;
static DeviceProperty* s_speed = nullptr;
static DeviceProperty* s_note = nullptr;
static Parameter* s_step = nullptr;
static unsigned s_pass = 0, s_reading = 0;

// The time of day as somebody sets it. Of this process alone: all that it is made of asks here.
static std::atomic<time_t> s_clockStep{0};

extern "C" __attribute__((visibility("default"))) int clock_gettime(clockid_t clock, timespec* time) noexcept
{
    long const status = ::syscall(SYS_clock_gettime, clock, time);
    if (status == 0 && clock == CLOCK_REALTIME)
        time->tv_sec += s_clockStep;
    return static_cast<int>(status);
}

extern "C" __attribute__((visibility("default"))) time_t time(time_t* where) noexcept
{
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    if (where)
        *where = now.tv_sec;
    return now.tv_sec;
}

static bool isCalled(char const* name) { return s_name == name; }
static DeviceCapability pumps() { return DeviceCapability("TestPump"); }

static SysInfoDevice* pump(int number)
{
    static std::vector<SysInfoDevice*> s_made(100);
    SysInfoDevice*& one = s_made.at(static_cast<std::size_t>(number));
    if (!one) {
        std::string const n = std::to_string(number);
        one = SysInfoDevice::createSCSI(pumps(), pumps(), "Pump " + n, "A pump", "/dev/pump" + n, 0, 0,
                                        number, 0);
        s_speed->setValue(Value(0u));
        one->addProperty(s_speed);
    }
    return one;
}

static void say(char const* format, unsigned number = 0)
{
    std::printf(format, number);
    std::fflush(stdout);
}

static void report(char const* what, void (*call)())
{
    try {
        call();
        std::printf("%s: done\n", what);
    } catch (KrelException const& e) {
        std::printf("%s: %s\n", what, e.toString().getUTF8Buffer());
    }
}

static Alert* makeAlert(int number)
{
    return Alert::createAlert("Stuck", AlertType::HARDWARE_ISSUE())
        ->setTitleOverride("A pump is stuck")
        ->setMessageOverride("It turns {times} times")
        ->setMessageVariable("times", Value(0u))
        ->addTip(Tip::createTip("Oil", TipType::TEXT_TIP())->setTitleOverride("Oil it"))
        ->setDeviceAssociation(pump(number));
}

static Alert* alert()
{
    static Alert* const s_alert = makeAlert(1);
    return s_alert;
}

static Alert* alertOfSameKey()
{
    static Alert* const s_alert = makeAlert(2);
    return s_alert;
}

// ---- what the indicators do

static IndicatorReturnData readSpeed(DiagDevice const& device)
{
    ++s_reading;
    if (isCalled("removes") && device.name() == KrelString("Pump 1"))
        IndicatorModule::requestDeviceRemoval(pump(1));
    if (isCalled("replaces") && s_reading == 1) { // what was plugged out and in again
        IndicatorModule::requestDeviceRemoval(pump(1));
        IndicatorModule::requestDeviceAddition(pump(1));
    }
    if (isCalled("flaps")) { // a bad contact, from the second device on
        if (s_reading > 1 && device.name() == KrelString("Pump 9"))
            IndicatorModule::requestDeviceRemoval(pump(9));
        IndicatorModule::requestDeviceAddition(pump(9));
    }
    if (isCalled("throws"))
        throw std::runtime_error("no such pump");
    if (isCalled("grows") && s_reading == 2) { // under an engine: the forced one
        IndicatorModule::requestDeviceAddition(pump(9));
        IndicatorModule::requestAlertAddition(alert());
        IndicatorModule::requestAlertAddition(alertOfSameKey());
        IndicatorModule::requestAlertRemoval(alertOfSameKey()->guid());
        IndicatorModule::propagateChanges();
    }
    IndicatorReturnData data;
    data.setProperty(*s_speed->setValue(Value(100 * s_reading)));
    data.setProperty(*s_speed->setValue(Value(1u))); // dropped: the first one counts
    data.setProperty(
        *s_note->setValue(Value("step " + std::string(s_step->value().toString().getUTF8Buffer()) + " of " +
                                device.name().getUTF8Buffer())));
    return data;
}

static void everyChange()
{
    switch (s_pass) {
    case 1:
        IndicatorModule::requestDeviceAddition(pump(3));
        IndicatorModule::requestDeviceAddition(pump(3));
        s_note->setValue(Value("new"));
        IndicatorModule::requestDevicePropertyAddition(pump(3), s_note);
        report("twice", [] { IndicatorModule::requestDevicePropertyAddition(pump(3), s_note); });
        IndicatorModule::requestDevicePropertyAddition(pump(8), s_note);
        IndicatorModule::requestDevicePropertyAdditionFromAnotherModule(pump(1), "changes", "Note",
                                                                        Value("lent"));
        report("unknown property", [] {
            IndicatorModule::requestDevicePropertyAdditionFromAnotherModule(pump(1), "other", "Note",
                                                                            Value(1u));
        });
        IndicatorModule::requestAlertAddition(alert());
        IndicatorModule::requestAlertAddition(alertOfSameKey());
        say("alerts %u\n", IndicatorModule::alertCount());
        std::printf("first %s\n", IndicatorModule::alertAtIndex(0).key().getUTF8Buffer());
        report("no alert", [] { IndicatorModule::alertAtIndex(2); });
        report("null", [] { IndicatorModule::requestDeviceAddition(nullptr); });
        return;
    case 3: // in the second pass it is looked at
        IndicatorModule::requestDevicePropertyRemoval(pump(3), s_note);
        IndicatorModule::requestDevicePropertyRemoval(pump(3), s_note);
        IndicatorModule::requestAlertRemoval("Stuck"); // a key is no guid
        IndicatorModule::requestAlertRemoval(alertOfSameKey()->guid());
        IndicatorModule::requestAlertRemoval("nobody");
        say("alerts %u\n", IndicatorModule::alertCount());
        say("the other one stays: %u\n", IndicatorModule::alertAtIndex(0).guid() == alert()->guid());
        IndicatorModule::requestDeviceRemoval(pump(3));
        IndicatorModule::requestDeviceRemoval(pump(3));
        return;
    case 4: {
        KrelString answer("before");
        say("http %u\n", IndicatorModule::httpGetRequest("http://localhost/", answer, ""));
        std::raise(SIGTERM);
        return;
    }
    default:
        return;
    }
}

// Every request from several threads at once, while the loop goes on.
static void fromThreads()
{
    static std::vector<std::thread> s_threads;
    alert(); // is there before them
    if (s_pass == 1)
        for (int first = 10; first < 50; first += 10)
            s_threads.emplace_back([first] {
                for (int i = 0; i < 200; ++i) {
                    SysInfoDevice* const mine = [first, i] {
                        static std::vector<SysInfoDevice*> s_own(100);
                        SysInfoDevice*& one = s_own.at(static_cast<std::size_t>(first + i % 10));
                        if (!one)
                            one = SysInfoDevice::createSCSI(pumps(), pumps(), "Pump", "A pump", "", 1, 0,
                                                            first + i % 10, 0);
                        return one;
                    }();
                    IndicatorModule::requestDeviceAddition(mine);
                    Alert* const busy =
                        Alert::createAlert("Busy", AlertType::HARDWARE_ISSUE())->setDeviceAssociation(mine);
                    IndicatorModule::requestAlertAddition(busy);
                    alert()->send(); // the same one by all
                    IndicatorModule::requestDevicePropertyAdditionFromAnotherModule(mine, "threads", "Note",
                                                                                    Value("lent"));
                    IndicatorModule::propagateChanges();
                    IndicatorModule::requestDevicePropertyRemoval(mine, s_note);
                    if (IndicatorModule::alertCount() > 0 && i % 3 != 0)
                        IndicatorModule::requestDeviceRemoval(mine);
                    if (i % 5 == 0)
                        IndicatorModule::requestAlertRemoval(busy->guid());
                    IndicatorModule::stopRequested();
                }
            });
    if (s_pass < 5)
        return;
    for (std::thread& one : s_threads)
        one.join();
    s_threads.clear();
    std::raise(SIGTERM);
}

static void stepClock()
{
    if (s_pass == 2) {
        s_clockStep = isCalled("stepsback") ? -3600 : 24 * 3600;
    }
    if (s_pass == 6)
        std::raise(SIGTERM);
}

static void look()
{
    ++s_pass;
    say("pass %u\n", s_pass);
    if (isCalled("changes"))
        everyChange();
    if (isCalled("threads"))
        fromThreads();
    if (isCalled("stepsback") || isCalled("stepsforth"))
        stepClock();
    if ((isCalled("removes") && s_pass == 2) || (isCalled("replaces") && s_pass == 4))
        std::raise(SIGTERM);
}

// ---- enumeration

static void enumerateTooLate()
{
    char const* const words[] = {"late"};
    static char const* const* s_words = words;
    report("setCmdLineArgs", [] { IndicatorModule::setCmdLineArgs(1, s_words); });
    report("setVersion", [] { IndicatorModule::setVersion(1, 0, "1"); });
    report("setEnumerationCallback", [] { IndicatorModule::setEnumerationCallback(look); });
    report("setModuleInitCallback", [] { IndicatorModule::setModuleInitCallback(look); });
    report("setModuleExitCallback", [] { IndicatorModule::setModuleExitCallback(look); });
    report("setModuleCapabilities", [] { IndicatorModule::setModuleCapabilities(pumps()); });
    report("addModuleEnumerationRequirement",
           [] { IndicatorModule::addModuleEnumerationRequirement("other", true); });
    report("registerLibrary", [] { IndicatorModule::registerLibrary("x"); });
    report("registerLocalizedLibrary", [] { IndicatorModule::registerLocalizedLibrary("x"); });
    report("createIndicator", [] { IndicatorModule::createIndicator("late", pumps(), readSpeed); });
    report("createFreeIndicator", [] { IndicatorModule::createFreeIndicator("late", pumps(), look); });
    report("createDeviceProperty", [] {
        IndicatorModule::createDeviceProperty("late", PropertyCategory::SysInfo(), DataType::STRING(),
                                              pumps());
    });
    report("createDevicePropertyGroup", [] { IndicatorModule::createDevicePropertyGroup("late", pumps()); });
}

static void enumerate()
{
    if (isCalled("late"))
        enumerateTooLate();
    if (isCalled("library"))
        throw KrelException("no such bus");
    if (isCalled("number"))
        throw 42;
    if (isCalled("engaged") || isCalled("flaps") || isCalled("grows") || isCalled("nothing"))
        return;
    if (isCalled("mixed")) // with one that nothing reads
        IndicatorModule::addDevice(SysInfoDevice::createGeneric(
            DeviceCapability::Fan(), DeviceCapability::Fan(), "Fan", "A fan", "", "FAN:1"));
    IndicatorModule::addDevice(pump(1));
    IndicatorModule::addDevice(pump(2));
    say("knows %u\n",
        (IndicatorModule::firstDevice() != nullptr) + (IndicatorModule::nextDevice() != nullptr));
}

int main(int argc, char** argv)
{
    s_name = argc > 0 ? argv[0] : "";
    s_name.erase(0, s_name.rfind('/') + 1);
    IndicatorModule::setCmdLineArgs(argc, argv);
    IndicatorModule::setVersion(1, 0, "1");
    if (!isCalled("nocallback"))
        IndicatorModule::setEnumerationCallback(enumerate);
    if (!isCalled("nocapabilities"))
        IndicatorModule::setModuleCapabilities(pumps());
    IndicatorModule::setModuleExitCallback([] { std::puts("exit callback"); });
    s_speed = IndicatorModule::createDeviceProperty("Speed", PropertyCategory::Volatile(), DataType::UINT32(),
                                                    pumps());
    s_note = IndicatorModule::createDeviceProperty("Note", PropertyCategory::SysInfo(), DataType::STRING(),
                                                   pumps());
    s_step = IndicatorModule::createParameter("step", DataType::UINT32(), "1", false, false, "1..9");
    IndicatorModule::createIndicator("speed", pumps(), readSpeed)->addParameter(s_step);
    if (!isCalled("nothing"))
        IndicatorModule::createFreeIndicator("clock", DeviceCapability(), look);
    IndicatorModule::start();
    std::puts("start() came back");
    return 99;
}
