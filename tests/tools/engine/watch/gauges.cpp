// An indicator module with gauges that nobody else knows; its name says what it does with them.
#include <krel5/krel5.h>

#include <csignal>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

using namespace krel5;

static std::string s_name;
static DeviceProperty *s_heat = nullptr, *s_errors = nullptr, *s_full = nullptr, *s_state = nullptr;
static int s_reading = 0;
static std::string s_url,
    s_fetched; // where the file is that says what to fetch beside the program; what came

static bool isCalled(char const* name) { return s_name == name; }
static DeviceCapability gauges() { return DeviceCapability("TestGauge"); }

static SysInfoDevice* gauge(int number)
{
    static std::vector<SysInfoDevice*> s_made(1000);
    SysInfoDevice*& one = s_made.at(static_cast<std::size_t>(number));
    std::string const n = std::to_string(number);
    if (!one)
        one = SysInfoDevice::createSCSI(
            gauges(), gauges(), isCalled("nasty") ? "Gauge \"" + n + "\" \x1b[2J\\\n{x}" : "Gauge " + n,
            "A gauge", ("/dev/gauge" + n).c_str(), 0, 0, number, 0);
    return one;
}

static Alert* alert(int number, AlertType const& type)
{
    return Alert::createAlert("Hot", type)
        ->setTitleOverride("Gauge " + std::to_string(number) + " is hot")
        ->setMessageOverride("It is {degrees} degrees")
        ->setMessageVariable("degrees", Value(90u))
        ->addTip(Tip::createTip("Fan", TipType::TEXT_TIP())->setTitleOverride("Is there a fan?"))
        ->setDeviceAssociation(gauge(number));
}

static void misbehave()
{
    if (isCalled("crashes") && s_reading == 3)
        std::raise(SIGSEGV);
    if (isCalled("dies") && s_reading == 3)
        std::raise(SIGKILL);
    if (isCalled("stops") && s_reading == 3)
        std::raise(SIGSTOP);
    if (isCalled("naps") && s_reading == 3) {
        if (pid_t const sleeper = ::getpid(); ::fork() == 0) {
            ::usleep(1'500'000);
            ::kill(sleeper, SIGCONT);
            ::_exit(0);
        }
        std::raise(SIGSTOP);
    }
    if (isCalled("floods"))
        for (int i = 0; i < 5000; ++i) {
            IndicatorModule::requestDeviceAddition(gauge(9));
            IndicatorModule::requestDeviceRemoval(gauge(9));
        }
    if (isCalled("fetches") && s_reading == 2) {
        KrelString answer;
        s_fetched = IndicatorModule::httpGetRequest(s_url.c_str(), answer, "") ? "got " : "refused: ";
        s_fetched += answer.getUTF8Buffer();
    }
    if (isCalled("leaves") && s_reading == 3)
        ::_exit(0);
    if (isCalled("hangs") && s_reading == 3) {
        IndicatorModule::requestAlertAddition(
            alert(1, AlertType::MESSAGE())); // so that somebody knows that it hangs
        IndicatorModule::propagateChanges();
        for (;;)
            ::pause();
    }
    if (isCalled("warns") && s_reading == 2) {
        IndicatorModule::requestAlertAddition(alert(1, AlertType::HARDWARE_ISSUE()));
        IndicatorModule::propagateChanges();
    }
    if (isCalled("alarms") && s_reading == 2) {
        IndicatorModule::requestAlertAddition(alert(1, AlertType::CRITICAL()));
        IndicatorModule::requestAlertAddition(alert(2, AlertType::HARDWARE_ISSUE()));
        IndicatorModule::propagateChanges();
    }
    if (isCalled("comes") && s_reading == 3) {
        static Alert* const s_alert = alert(1, AlertType::HARDWARE_ISSUE());
        IndicatorModule::requestDeviceAddition(gauge(7));
        IndicatorModule::requestAlertAddition(s_alert);
        IndicatorModule::propagateChanges();
        IndicatorModule::requestAlertRemoval(s_alert->guid());
        IndicatorModule::requestDevicePropertyAddition(gauge(1), s_state->setValue(Value("new")));
        IndicatorModule::requestDevicePropertyRemoval(gauge(1), s_state);
        IndicatorModule::requestDeviceRemoval(gauge(2));
        IndicatorModule::propagateChanges();
    }
}

static IndicatorReturnData readGauge(DiagDevice const&)
{
    ++s_reading;
    misbehave();
    IndicatorReturnData data;
    data.setProperty(*s_heat->setValue(Value(KrelNonDiscreteMeasurement(
        KrelUnitType::CELSIUS(), 40 + s_reading % 5, KrelUnitMagnitude::BASEUNIT(), 1))));
    data.setProperty(*s_errors->setValue(Value(static_cast<unsigned>(s_reading))));
    data.setProperty(*s_full->setValue(Value(12.5, DataType::PERCENT())));
    data.setProperty(*s_state->setValue(Value(!s_fetched.empty()  ? s_fetched.c_str()
                                              : isCalled("nasty") ? "a\"b\\c\n\x1b[31mred"
                                                                  : "fine")));
    return data;
}

static void enumerate()
{
    if (isCalled("mute"))
        for (;;)
            ::pause();
    if (isCalled("empty"))
        return;
    int const most = isCalled("crowd") ? 300 : 2;
    for (int i = 1; i <= most; ++i)
        IndicatorModule::addDevice(gauge(i));
}

static DeviceProperty* property(char const* key, DataType const& type)
{
    return IndicatorModule::createDeviceProperty(key, PropertyCategory::Volatile(), type, gauges());
}

int main(int argc, char** argv)
{
    s_name = argc > 0 ? argv[0] : "";
    s_name.erase(0, s_name.rfind('/') + 1);
    std::ifstream(argc > 0 ? std::string(argv[0]) + ".url" : "") >> s_url;
    IndicatorModule::setCmdLineArgs(argc, argv);
    IndicatorModule::setVersion(1, 0, "1");
    IndicatorModule::setEnumerationCallback(enumerate);
    IndicatorModule::setModuleCapabilities(gauges());
    s_heat = property("Temperature", DataType::NONDISCRETEMEASUREMENT());
    s_errors = property("ReadErrors", DataType::UINT32());
    s_full = property("Use", DataType::PERCENT());
    s_state = property("State", DataType::STRING());
    IndicatorModule::createIndicator("gauge", gauges(), readGauge);
    return IndicatorModule::start();
}
