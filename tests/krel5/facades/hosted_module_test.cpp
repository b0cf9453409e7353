// An indicator module in the process of its client: what passes between them, how either end goes, and what stays the client's.
// A process hosts one module once, so each case has a process of its own, whose output says what happened.
#include <foundation/ChildProcess.h>
#include <foundation/TemporaryFolder.h>

#include <krel5/krel5.h>

#include <zel/ipc/direct/ProcessLinkConfigurator.h>

#include <gtest/gtest.h>

#include <atomic>
#include <clocale>
#include <cmath>
#include <csignal>
#include <exception>
#include <filesystem>
#include <functional>
#include <future>
#include <map>
#include <optional>
#include <pthread.h>
#include <sstream>
#include <stdexcept>
#include <sys/stat.h>
#include <thread>

using namespace krel5;
using Kind = IndicatorReport::Kind;
using Change = IndicatorReport::Change;

namespace {

// ---- the module: two pumps, of which one comes and goes, an alert, and a clock that is free

DeviceProperty* s_speed = nullptr;
std::atomic<unsigned> s_reading{0};
std::atomic<bool> s_isLooking{false};
std::function<void(unsigned pass)> s_onPass;
std::function<void()> s_onReading;
void (*s_enumerate)() = nullptr;
bool s_exitCallbackRan = false;

DeviceCapability pumps() { return DeviceCapability("TestPump"); }

SysInfoDevice* pump(int number)
{
    static std::map<int, SysInfoDevice*> s_made;
    SysInfoDevice*& one = s_made[number];
    if (!one)
        one = SysInfoDevice::createSCSI(pumps(), pumps(), ("Pump " + std::to_string(number)).c_str(),
                                        "A pump", "/dev/pump", 0, 0, number, 0);
    return one;
}

Alert* alert()
{
    static Alert* const s_alert =
        Alert::createAlert("Stuck", AlertType::HARDWARE_ISSUE())
            ->setTitleOverride("A pump is stuck")
            ->setMessageOverride("It turns {times} times")
            ->setMessageVariable("times", Value(0u))
            ->addTip(Tip::createTip("Oil", TipType::TEXT_TIP())->setTitleOverride("Oil it"))
            ->setDeviceAssociation(pump(1));
    return s_alert;
}

IndicatorReturnData readSpeed(DiagDevice const&)
{
    if (s_onReading)
        s_onReading();
    return IndicatorReturnData().setProperty(*s_speed->setValue(Value(100 * ++s_reading)));
}

void look()
{
    static unsigned s_pass = 0;
    s_isLooking = true;
    if (s_onPass)
        s_onPass(++s_pass);
}

void enumerate()
{
    IndicatorModule::addDevice(pump(1));
    if (s_enumerate)
        s_enumerate();
}

int moduleMain(int argc, char** argv)
{
    IndicatorModule::setCmdLineArgs(argc, argv);
    IndicatorModule::setVersion(1, 0, "1");
    IndicatorModule::setEnumerationCallback(enumerate);
    IndicatorModule::setModuleCapabilities(pumps());
    IndicatorModule::setModuleExitCallback([] { s_exitCallbackRan = true; });
    s_speed = IndicatorModule::createDeviceProperty("Speed", PropertyCategory::Volatile(), DataType::UINT32(),
                                                    pumps());
    IndicatorModule::createIndicator("speed", pumps(), readSpeed);
    IndicatorModule::createFreeIndicator("clock", DeviceCapability(), look);
    return IndicatorModule::start();
}

// ---- the client

/// The module in a thread of its own.
class Host
{
public:
    explicit Host(std::vector<char const*> words = {"run"}, int (*module)(int, char**) = moduleMain)
        : m_words(std::move(words))
    {
        m_words.insert(m_words.begin(), {"hosted", "-bd", m_base.c_str()});
        m_thread = std::thread([this, module] {
            m_status = IndicatorClient::runModule(module, static_cast<int>(m_words.size()), m_words.data());
        });
    }
    ~Host() // the case may have ended before its time
    {
        zel::ProcessLinkConfigurator::instance().sendMessageClientToEngine(
            std::make_unique<zel::StopClientToEngine>());
        if (m_thread.joinable())
            m_thread.join();
    }
    int status()
    {
        if (m_thread.joinable())
            m_thread.join();
        return m_status;
    }

private:
    test::TemporaryFolder m_folder;
    std::string const m_base = m_folder.path();
    std::vector<char const*> m_words;
    std::thread m_thread;
    int m_status = -1;
};

constexpr unsigned int kLong = 30000; // milliseconds; nothing takes so long that is not lost

/// The next report of that kind, or of the end; others are dropped.
IndicatorReport next(IndicatorClient& client, Kind kind)
{
    for (;;) {
        IndicatorReport const report = client.receive(kLong);
        if (report.kind() == kind || report.kind() == Kind::Ended || report.kind() == Kind::Nothing)
            return report;
    }
}

class HostedModule : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (::geteuid() != 0)
            GTEST_SKIP() << "modules run as root only";
    }

    /// Expectations of the body count.
    static void inItsOwnProcess(std::function<void()> const& body, char const* shown = "")
    {
        auto const outcome = test::runInChild([&body] {
            body();
            std::fflush(nullptr);
            std::_Exit(HasFailure() ? 1 : 0);
        });
        EXPECT_EQ(outcome.status, 0) << outcome.output;
        EXPECT_NE(outcome.output.find(shown), std::string::npos) << outcome.output;
        EXPECT_EQ(outcome.output.find("ThreadSanitizer"), std::string::npos) << outcome.output;
    }
};

std::string words(IndicatorReport const& report)
{
    std::string text;
    for (unsigned int i = 0; i < report.changeCount(); ++i)
        text += std::to_string(static_cast<int>(report.changeAtIndex(i))) + " " +
                report.changedKeyAtIndex(i).getUTF8Buffer() + ";";
    return text;
}

std::string changeWord(Change change, char const* key = "")
{
    return std::to_string(static_cast<int>(change)) + " " + key + ";";
}

// ---- what passes between them

TEST_F(HostedModule, TellsWhatItFindsReadsAndRaises)
{
    inItsOwnProcess([] {
        s_onPass = [](unsigned pass) {
            if (pass == 3)
                IndicatorModule::requestDeviceAddition(pump(2));
            if (pass == 3)
                IndicatorModule::requestAlertAddition(alert());
        };
        IndicatorClient client;
        Host host;
        ASSERT_TRUE(client.waitUntilReady(kLong));
        IndicatorReport const found = next(client, Kind::Changes);
        EXPECT_EQ(words(found), changeWord(Change::DeviceAdded));
        ASSERT_EQ(found.deviceCount(), 1u);
        EXPECT_EQ(found.deviceAtIndex(0).name(), KrelString("Pump 1"));

        EXPECT_TRUE(client.requestListing());
        IndicatorReport const listing = next(client, Kind::Listing);
        ASSERT_EQ(listing.deviceCount(), 1u);
        EXPECT_EQ(listing.deviceGuidAtIndex(0), found.deviceGuidAtIndex(0));
        ASSERT_EQ(listing.indicatorCount(0), 1u);
        EXPECT_EQ(listing.indicatorAtIndex(0, 0), KrelString("speed"));
        ASSERT_EQ(listing.freeIndicatorCount(), 1u);
        EXPECT_EQ(listing.freeIndicatorAtIndex(0), KrelString("clock"));
        EXPECT_THROW(listing.indicatorAtIndex(0, 1), IndexOutOfBoundsException);
        EXPECT_THROW(listing.deviceAtIndex(1), IndexOutOfBoundsException);
        EXPECT_EQ(s_reading, 0u) << "nobody has asked for a reading";

        EXPECT_TRUE(client.setUpdateInterval(1000));
        EXPECT_TRUE(client.watch());
        IndicatorReport const reading = next(client, Kind::Readings);
        EXPECT_EQ(reading.deviceAtIndex(0).hwLocator(), KrelString("SCSI:0:0:1:0"));
        ASSERT_EQ(reading.readingCount(), 1u);
        EXPECT_EQ(reading.readingAtIndex(0).key(), KrelString("Speed"));
        EXPECT_EQ(reading.readingAtIndex(0).value(), Value(100u));

        IndicatorReport const change = next(client, Kind::Changes);
        EXPECT_EQ(words(change), changeWord(Change::DeviceAdded) + changeWord(Change::AlertAdded));
        ASSERT_EQ(change.alertCount(), 1u);
        EXPECT_EQ(change.alertTitleAtIndex(0), KrelString("A pump is stuck"));
        EXPECT_EQ(change.alertMessageAtIndex(0), KrelString("It turns 0 times"));
        EXPECT_EQ(change.alertTipAtIndex(0, 0), KrelString("Oil it"));
        EXPECT_EQ(change.alertDeviceAtIndex(0), found.deviceGuidAtIndex(0));
        EXPECT_EQ(change.changedGuidAtIndex(1), change.alertGuidAtIndex(0));
        IndicatorReport const second = next(client, Kind::Readings);
        EXPECT_EQ(second.deviceAtIndex(0).name(), KrelString("Pump 2")) << "what comes is watched, too";

        EXPECT_TRUE(client.requestUpdate(found.deviceGuidAtIndex(0), "speed"));
        EXPECT_EQ(next(client, Kind::Readings).readingAtIndex(0).value(), Value(300u));
        EXPECT_TRUE(client.setUpdateInterval(0, found.deviceGuidAtIndex(0)));
        for (unsigned i = 4; i < 7; ++i)
            EXPECT_EQ(next(client, Kind::Readings).readingAtIndex(0).value(), Value(100 * i));

        EXPECT_TRUE(client.stop());
        IndicatorReport const end = next(client, Kind::Ended);
        EXPECT_EQ(end.status(), TestResult::PASS().value());
        EXPECT_EQ(host.status(), TestResult::PASS().value());
        EXPECT_TRUE(s_exitCallbackRan);
        EXPECT_FALSE(client.watch()) << "nobody would hear it";
        EXPECT_EQ(reading.readingAtIndex(0).value(), Value(100u)) << "a report is the client's";
    });
}

TEST_F(HostedModule, TellsTheNetOfWhatChanges)
{
    inItsOwnProcess([] {
        s_onPass = [](unsigned pass) {
            if (pass == 3) { // all in one pass
                IndicatorModule::requestDeviceAddition(pump(2));
                IndicatorModule::requestDeviceRemoval(pump(2));
                IndicatorModule::requestAlertAddition(alert());
                IndicatorModule::requestAlertRemoval(alert()->guid());
                IndicatorModule::requestDevicePropertyAddition(pump(1), s_speed);
            }
            if (pass == 6) {
                IndicatorModule::requestDevicePropertyRemoval(pump(1), s_speed);
                IndicatorModule::requestAlertAddition(alert());
            }
            if (pass == 9)
                IndicatorModule::requestAlertAddition(alert());
            if (pass == 12) {
                IndicatorModule::requestDeviceRemoval(pump(1));
                IndicatorModule::requestAlertRemoval(alert()->guid());
            }
        };
        IndicatorClient client;
        Host host;
        client.watch("", "clock");
        for (std::string const& expected :
             {changeWord(Change::DeviceAdded), changeWord(Change::PropertyAdded, "Speed"),
              changeWord(Change::PropertyRemoved, "Speed") + changeWord(Change::AlertAdded),
              changeWord(Change::AlertUpdated),
              changeWord(Change::DeviceRemoved) + changeWord(Change::AlertRemoved)})
            EXPECT_EQ(words(next(client, Kind::Changes)), expected);
        EXPECT_EQ(s_reading, 0u) << "only the clock was asked for";
    });
}

TEST_F(HostedModule, RefusesWhatItCannotDoAndGoesOn)
{
    inItsOwnProcess([] {
        IndicatorClient client;
        Host host;
        KrelString const guid = next(client, Kind::Changes).deviceGuidAtIndex(0);
        std::function<bool()> const requests[] = {
            [&] { return client.requestUpdate(""); },
            [&] { return client.requestUpdate("nobody"); },
            [&] { return client.requestUpdate(guid); }, // nothing watches yet
            [&] { return client.requestUpdate(guid, "colour"); },
            [&] { return client.watch("nobody"); },
            [&] { return client.watch("", "colour"); },
            [&] { return client.watch(guid, "clock"); }, // is for no device
            [&] { return client.setUpdateInterval(5, guid); },
            [&] { return client.setUpdateInterval(-1); },
            [&] { return client.setUpdateInterval(std::nan("")); },
            [&] { return client.setUpdateInterval(HUGE_VAL); },
            [&] { return client.requestUpdate(guid, "speed\n\x1b[2J"); },
        };
        for (auto const& request : requests) {
            EXPECT_TRUE(request());
            IndicatorReport const answer = next(client, Kind::Refused);
            EXPECT_EQ(answer.kind(), Kind::Refused) << &request - requests;
            EXPECT_GT(answer.text().size(), 10u);
        }
        EXPECT_TRUE(client.watch(guid, "speed"));
        EXPECT_EQ(next(client, Kind::Readings).kind(), Kind::Readings);
        EXPECT_TRUE(client.requestUpdate(guid));
        EXPECT_EQ(next(client, Kind::Readings).readingAtIndex(0).value(), Value(200u));
    });
}

TEST_F(HostedModule, HearsRequestsFromManyThreads)
{
    inItsOwnProcess([] {
        IndicatorClient client;
        Host host;
        KrelString const guid = next(client, Kind::Changes).deviceGuidAtIndex(0);
        std::string const name = guid.getUTF8Buffer();
        EXPECT_TRUE(client.watch());
        std::atomic<unsigned> taken{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([&client, &taken, &name] {
                for (int n = 0; n < 300; ++n) {
                    taken += client.requestUpdate(name.c_str()) ? 1 : 0;
                    client.setUpdateInterval(n % 3, "", "speed");
                    client.requestListing();
                }
            });
        for (std::thread& one : threads)
            one.join();
        EXPECT_GE(taken, 300u);
        EXPECT_EQ(next(client, Kind::Listing).deviceCount(), 1u);
        EXPECT_EQ(next(client, Kind::Readings).readingCount(), 1u);
        client.stop();
        EXPECT_EQ(host.status(), TestResult::PASS().value());
    });
}

// ---- how either end goes

TEST_F(HostedModule, EndsWhenItsClientIsGone)
{
    enum class Way { Destroyed, ThreadEnded, ThreadExited };
    for (Way const way : {Way::Destroyed, Way::ThreadEnded, Way::ThreadExited})
        inItsOwnProcess([way] {
            std::promise<void> isThere;
            std::thread thread([&isThere, way] {
                auto* const client = new IndicatorClient();
                isThere.set_value();
                EXPECT_TRUE(client->waitUntilReady(kLong));
                client->watch();
                EXPECT_EQ(next(*client, Kind::Readings).kind(), Kind::Readings);
                if (way == Way::Destroyed)
                    delete client;
                if (way == Way::ThreadExited)
                    ::pthread_exit(nullptr);
            });
            isThere.get_future().wait();
            Host host;
            thread.join();
            EXPECT_EQ(host.status(), TestResult::PASS().value());
            EXPECT_TRUE(s_exitCallbackRan);
        });
}

TEST_F(HostedModule, IsStoppedInTheMiddleOfASlowReading)
{
    inItsOwnProcess([] {
        s_onReading = [] {
            s_isLooking = true;
            while (!IndicatorModule::stopRequested())
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
        };
        IndicatorClient client;
        Host host;
        client.watch("", "speed");
        while (!s_isLooking)
            std::this_thread::yield();
        EXPECT_TRUE(client.stop());
        EXPECT_EQ(host.status(), TestResult::PASS().value());
        EXPECT_EQ(next(client, Kind::Ended).kind(), Kind::Ended);
    });
}

TEST_F(HostedModule, GoesOnWithAClientThatReadsNothing)
{
    inItsOwnProcess([] {
        static constexpr unsigned kMost = 8192;
        s_enumerate = [] {
            for (int i = 2; i < 200; ++i)
                IndicatorModule::addDevice(pump(i));
        };
        IndicatorClient client;
        Host host;
        client.setUpdateInterval(0);
        client.watch();
        while (s_reading <= kMost + 500)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        client.stop();
        EXPECT_EQ(host.status(), TestResult::PASS().value());
        IndicatorReport const lost = next(client, Kind::Lost);
        EXPECT_EQ(lost.lostCount() + kMost, s_reading);
        unsigned readings = 0;
        while (next(client, Kind::Readings).kind() == Kind::Readings)
            ++readings;
        EXPECT_EQ(readings, kMost);
    });
}

TEST_F(HostedModule, SaysWhyItDidNotStart)
{
    int const kInternalError = TestResult::INTERNALERROR().value();
    struct Case
    {
        std::vector<char const*> words;
        int (*module)(int, char**);
        int status;
        char const* shown;
    };
    auto const throwing = [](int, char**) -> int { throw KrelException("no licence"); };
    auto const strange = [](int, char**) -> int { throw 42; };
    for (Case const& one :
         {Case{{"run", "-e"}, moduleMain, kInternalError, "neither -e nor -x goes with that"},
          {{"run", "-x"}, moduleMain, kInternalError, "neither -e nor -x goes with that"},
          {{"run"}, nullptr, kInternalError, ""},
          {{"run"}, throwing, kInternalError, "no licence"},
          {{"run"}, strange, kInternalError, "in the module's main"},
          {{"run", "-nonsense"}, moduleMain, kInternalError, "-nonsense"},
          {{"devices"}, moduleMain, kInternalError, "Use \"enum\" instead."},
          {{}, moduleMain, TestResult::FAIL().value(), "Usage: hosted.w4x"},
          {{"-version"}, moduleMain, TestResult::PASS().value(), "Version: 1.0.1"}})
        inItsOwnProcess(
            [&one] {
                IndicatorClient client;
                Host host(one.words, one.module);
                EXPECT_FALSE(client.waitUntilReady(kLong));
                IndicatorReport const end = client.receive(kLong);
                EXPECT_EQ(end.kind(), Kind::Ended);
                EXPECT_EQ(end.status(), one.status);
                EXPECT_EQ(host.status(), one.status);
            },
            one.shown);
    inItsOwnProcess([] { EXPECT_EQ(Host().status(), TestResult::CANNOTRUN().value()); },
                    "this process has no client");
}

TEST_F(HostedModule, EndsAloneWhenAnIndicatorThrows)
{
    inItsOwnProcess(
        [] {
            s_onReading = [] { throw std::runtime_error("the bus is gone"); };
            IndicatorClient client;
            Host host;
            client.watch();
            EXPECT_EQ(next(client, Kind::Ended).status(), TestResult::INTERNALERROR().value());
            EXPECT_EQ(host.status(), TestResult::INTERNALERROR().value());
            EXPECT_TRUE(s_exitCallbackRan);
        },
        "the bus is gone");
}

TEST_F(HostedModule, ListsAndWaitsAsItsCommandLineSays)
{
    inItsOwnProcess(
        [] {
            IndicatorClient client;
            Host host({"enum"});
            EXPECT_EQ(next(client, Kind::Listing).deviceCount(), 1u);
            EXPECT_EQ(host.status(), TestResult::PASS().value());
            EXPECT_FALSE(s_isLooking);
        },
        "No devices discovered\n"); // as at the console
    inItsOwnProcess([] {
        s_onPass = [](unsigned pass) {
            if (pass == 1)
                IndicatorModule::requestDeviceAddition(pump(5));
        };
        IndicatorClient client;
        Host host({"wait"});
        client.watch();
        EXPECT_EQ(next(client, Kind::Readings).deviceAtIndex(0).name(), KrelString("Pump 5"));
    });
}

TEST_F(HostedModule, IsHostedOnce)
{
    inItsOwnProcess([] {
        IndicatorClient client;
        EXPECT_THROW(IndicatorClient(), InvalidCreationException);
        {
            Host host;
            EXPECT_TRUE(client.waitUntilReady(kLong));
            Host second;
            EXPECT_EQ(second.status(), TestResult::INTERNALERROR().value());
            EXPECT_TRUE(client.watch()) << "the first one is not concerned";
            EXPECT_EQ(next(client, Kind::Readings).kind(), Kind::Readings);
            client.stop();
            EXPECT_EQ(host.status(), TestResult::PASS().value());
        }
        Host again;
        EXPECT_EQ(again.status(), TestResult::INTERNALERROR().value());
        EXPECT_EQ(next(client, Kind::Ended).status(), TestResult::INTERNALERROR().value());
    });
}

// ---- what stays the client's

std::map<int, std::string> openDescriptors()
{
    std::map<int, std::string> all;
    for (auto const& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code error;
        auto const target = std::filesystem::read_symlink(entry.path(), error);
        if (!error &&
            target.string().find("/proc/") == std::string::npos) // not the one that reads this folder
            all[std::stoi(entry.path().filename().string())] = target.string();
    }
    return all;
}

/// The library may open some of its own, but not in the places of standard input and outputs.
void expectSame(std::map<int, std::string> const& before)
{
    auto now = openDescriptors();
    for (auto const& [number, target] : before)
        EXPECT_EQ(now[number], target) << number;
    for (int number = 0; number < 3; ++number)
        EXPECT_EQ(now.contains(number), before.contains(number)) << number << " is " << now[number];
}

/// What a library could change behind the back of the process that it is in.
std::string surroundings()
{
    std::ostringstream text;
    for (int number = 1; number < NSIG; ++number) {
        struct sigaction now = {};
        if (::sigaction(number, nullptr, &now) == 0)
            text << number << ":" << reinterpret_cast<void*>(now.sa_handler) << "," << now.sa_flags << " ";
    }
    sigset_t blocked;
    ::pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    for (int number = 1; number < NSIG; ++number)
        text << ::sigismember(&blocked, number);
    mode_t const mask = ::umask(0);
    ::umask(mask);
    text << "\n" << mask << " " << std::filesystem::current_path() << " " << std::setlocale(LC_ALL, nullptr);
    return text.str();
}

volatile std::sig_atomic_t s_signals = 0;

TEST_F(HostedModule, LeavesHandlersDescriptorsAndSignalsToTheClient)
{
    inItsOwnProcess([] {
        struct sigaction mine = {};
        mine.sa_handler = [](int) { s_signals = s_signals + 1; };
        for (int const number : {SIGTERM, SIGINT, SIGSEGV})
            ::sigaction(number, &mine, nullptr);
        auto const terminate = [] { std::_Exit(77); };
        std::set_terminate(terminate);
        ::close(0);
        ::close(2);
        auto const descriptors = openDescriptors();
        std::string const before = surroundings();
        IndicatorClient client;
        std::optional<Host> host;
        host.emplace();
        EXPECT_TRUE(client.waitUntilReady(kLong));
        client.watch();
        EXPECT_EQ(next(client, Kind::Readings).kind(), Kind::Readings);
        client.requestUpdate("nobody");
        EXPECT_EQ(next(client, Kind::Refused).kind(), Kind::Refused) << "that is also a line in the log";
        expectSame(descriptors);
        EXPECT_EQ(surroundings(), before);
        for (int const number : {SIGTERM, SIGINT, SIGSEGV})
            ::raise(number);
        EXPECT_EQ(s_signals, 3);
        EXPECT_EQ(std::get_terminate(), std::terminate_handler(terminate));
        client.setUpdateInterval(0);
        EXPECT_EQ(next(client, Kind::Readings).kind(), Kind::Readings)
            << "signals of the client stop no module";
        client.stop();
        EXPECT_EQ(host->status(), TestResult::PASS().value());
        expectSame(descriptors);
        EXPECT_EQ(surroundings(), before);
        EXPECT_EQ(std::get_terminate(), std::terminate_handler(terminate));
    });
}

TEST_F(HostedModule, LetsTheClientEndTheProcessWheneverItLikes)
{
    for (bool const terminates : {false, true}) {
        auto const outcome = test::runInChild([terminates] {
            std::set_terminate([] { std::_Exit(77); });
            auto* const client = new IndicatorClient();
            std::thread([] {
                char const* const words[] = {"hosted", "run", "-bd", "/dev/null/none"};
                IndicatorClient::runModule(moduleMain, 4, words);
            }).detach();
            client->watch();
            while (client->receive(kLong).kind() != Kind::Readings) {
            }
            if (terminates)
                std::terminate();
            std::exit(5);
        });
        EXPECT_EQ(outcome.status, terminates ? 77 : 5) << outcome.output;
    }
}

// It reports to its client: "No devices discovered" is all that it has to say there.
TEST_F(HostedModule, PassesWhereNobodyHasAStandardOutput)
{
    inItsOwnProcess([] {
        ::close(1);
        IndicatorClient client;
        Host host;
        client.watch();
        EXPECT_EQ(next(client, Kind::Readings).kind(), Kind::Readings);
        client.stop();
        EXPECT_EQ(host.status(), TestResult::PASS().value());
    });
}

// ---- the types that a client meets beside

TEST(ClientConversions, CarryStringsAcross)
{
    Value list(DataType::STRINGARRAY());
    auto const names = [](Value const& value) {
        std::string text;
        CArray<KrelString> const array =
            KrelOstrelInterface::makeKrelStringCArray(KrelOstrelInterface::makeStringArrayFromValue(value));
        for (unsigned int i = 0; i < array.size(); ++i)
            text += std::string(KrelString(array[i]).getUTF8Buffer()) + ";";
        EXPECT_EQ(array.data() == nullptr, array.size() == 0);
        EXPECT_THROW(array[array.size()], IndexOutOfBoundsException);
        return text;
    };
    EXPECT_EQ(names(list), "");
    list.append("sda");
    list.append("Größe");
    EXPECT_EQ(names(list), "sda;Größe;");
    EXPECT_EQ(names(Value("alone")), "alone;");
    EXPECT_THROW(names(Value(7u)), TypeMismatchException);
    CArray<KrelString> one(1);
    CArray<KrelString> copy(one);
    copy[0] = "changed";
    EXPECT_EQ(one[0], KrelString());
    one = copy;
    EXPECT_EQ(one[0], KrelString("changed"));
}

} // namespace
