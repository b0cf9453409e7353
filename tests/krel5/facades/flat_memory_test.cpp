// A day of a module that watches: alerts and devices come and go all the time, and memory stays where it was, whoever is on the
// other side, and whether or not he listens. A pass stands for a second.
#include <libKrel5/facades/IndicatorLoop.h>
#include <libKrel5/internal/backends/console/CommStandAlone.h>
#include <libKrel5/internal/backends/direct/CommDirectLink.h>
#include <libKrel5/internal/backends/direct/WantedIndicators.h>
#include <libKrel5/internal/backends/engine/CommEngine.h>
#include <libKrel5/internal/module/CommandLine.h>
#include <libKrel5/internal/module/ModuleCommon.h>

#include <krel5/krel5.h>

#include <zel/foundation/System.h>
#include <zel/ipc/IPCServer.h>
#include <zel/ipc/direct/ProcessLinkConfigurator.h>
#include <zel/model/state/StateManager.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

using namespace krel5;

namespace {

constexpr unsigned kHour = 3600, kDay = 24 * kHour;
constexpr std::size_t kPumps = 20;

zel::StateManager& state() { return zel::StateManager::instance(); }
zel::ProcessLinkConfigurator& link() { return zel::ProcessLinkConfigurator::instance(); }
DeviceCapability pumps() { return DeviceCapability("TestPump"); }

std::size_t bytesInUse()
{
    auto const now = ::mallinfo2();
    return now.uordblks + now.hblkhd;
}

/// Standard output goes nowhere meanwhile.
class Silence
{
public:
    Silence() : m_output((std::fflush(stdout), ::dup(1)))
    {
        int const nothing = ::open("/dev/null", O_WRONLY);
        ::dup2(nothing, 1);
        ::close(nothing);
    }
    ~Silence()
    {
        zel::OStream::out().flush();
        ::dup2(m_output, 1);
        ::close(m_output);
    }

private:
    int m_output;
};

class ADay : public ::testing::Test
{
protected:
    void SetUp() override
    {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
        GTEST_SKIP() << "the sanitizers have an allocator of their own, which counts otherwise";
#endif
        state().clear();
        s_readings = 0;
        s_speed = property("Speed");
        s_note = property("Note");
        static Indicator* const s_speedIndicator = IndicatorModule::createIndicator("speed", pumps(), read);
        static Indicator* const s_clock =
            IndicatorModule::createFreeIndicator("clock", DeviceCapability(), look);
        state().addIndicator(s_speedIndicator->imp());
        state().addIndicator(s_clock->imp());
        for (std::size_t i = 0; i < kPumps; ++i) {
            std::string const name = "Pump " + std::to_string(i);
            m_pumps[i] = SysInfoDevice::createSCSI(pumps(), pumps(), name.c_str(), "A pump", "", 0, 0,
                                                   static_cast<int>(i), 0);
            m_alerts[i] = Alert::createAlert("Stuck", AlertType::HARDWARE_ISSUE())
                              ->setDeviceAssociation(m_pumps[i])
                              ->setMessageOverride("It turns {times} times");
        }
    }
    void TearDown() override
    {
        ModuleCommon::setComm(nullptr);
        state().clear();
    }

    /// The most bytes that were in use in each half of the day, without its beginning, looked at each minute.
    template <typename EachSecond>
    std::array<std::size_t, 2> live(EachSecond eachSecond)
    {
        std::array<std::size_t, 2> most{};
        IndicatorLoop loop(*ModuleCommon::comm());
        for (unsigned second = 0; second < m_day; ++second) {
            change(second);
            for (std::size_t i = 0; i < state().indicatorRunCount(); ++i) // a second has gone
                state().indicatorRunAtIndex(i).restoreLastCall(
                    state().indicatorRunAtIndex(i).updateInterval() + 1);
            loop.pass();
            eachSecond(second);
            if (second % 60 == 0 && second >= m_day / 6)
                most[second / (m_day / 2)] = std::max(most[second / (m_day / 2)], bytesInUse());
        }
        return most;
    }
    void expectFlat(std::array<std::size_t, 2> const& most)
    {
        RecordProperty("mostBytesInTheMorning", std::to_string(most[0]));
        RecordProperty("mostBytesInTheAfternoon", std::to_string(most[1]));
        EXPECT_GT(s_readings, m_day);
        EXPECT_LT(most[1], most[0] + m_day / 2) << "not even a byte for each second of half a day";
    }

    static unsigned s_readings;
    unsigned m_day = kDay; // seconds
    std::array<SysInfoDevice*, kPumps> m_pumps{};

private:
    static DeviceProperty* property(char const* key)
    {
        return IndicatorModule::createDeviceProperty(key, PropertyCategory::Volatile(), DataType::UINT32(),
                                                     pumps());
    }
    static IndicatorReturnData read(DiagDevice const&)
    {
        return IndicatorReturnData().setProperty(*s_speed->setValue(Value(++s_readings)));
    }
    static void look() {}

    // Pumps come and go, each for itself; an alert is raised, raised again with another text, and taken back.
    void change(unsigned second)
    {
        SysInfoDevice* const one = m_pumps[second * 7 % kPumps];
        if (!state().device(one->imp().guid())) {
            IndicatorModule::requestDeviceAddition(one);
        } else if (second % 3 == 0) {
            IndicatorModule::requestDevicePropertyRemoval(one, s_note); // also where there is none
            IndicatorModule::requestDeviceRemoval(one);
        } else if (s_note && !one->property("Note")) {
            IndicatorModule::requestDevicePropertyAddition(one, s_note->setValue(Value(second)));
        }
        Alert* const alert = m_alerts[second * 3 % kPumps];
        if (second % 4 == 3)
            IndicatorModule::requestAlertRemoval(alert->guid());
        else
            IndicatorModule::requestAlertAddition(alert->setMessageVariable("times", Value(second)));
    }

    static DeviceProperty* s_speed;
    static DeviceProperty* s_note;
    std::array<Alert*, kPumps> m_alerts{};
};

unsigned ADay::s_readings = 0;
DeviceProperty* ADay::s_speed = nullptr;
DeviceProperty* ADay::s_note = nullptr;

TEST_F(ADay, AtTheConsoleTakesNoMoreAndMoreMemory)
{
    std::array<std::size_t, 2> most;
    {
        Silence const silence;
        ModuleCommon::setComm(std::make_unique<CommStandAlone>());
        IndicatorModule::requestDeviceAddition(
            m_pumps[1]); // with nothing to watch the console ends the process
        most = live([](unsigned) { ModuleCommon::comm()->receiveIndicatorMessages(); });
    }
    expectFlat(most);
}

/// A day of a hosted module, whose client does `eachMinute`.
struct AHostedDay : ADay
{
    AHostedDay() : m_client(link().attachClient()) {}
    ~AHostedDay() override { link().detachClient(m_client); }

    template <typename EachMinute>
    std::array<std::size_t, 2> liveHosted(EachMinute eachMinute)
    {
        ModuleCommon::setComm(std::make_unique<CommDirectLink>());
        EXPECT_TRUE(ModuleCommon::comm()->openConnection());
        link().sendMessageClientToEngine(std::make_unique<zel::WatchClientToEngine>("", ""));
        ModuleCommon::comm()->receiveIndicatorMessages();
        auto const most = live([&](unsigned second) {
            if (second % 60 == 59)
                eachMinute();
            if (second % 1800 == 0) // it waits for the client's next word each time
                ModuleCommon::comm()->receiveIndicatorMessages();
        });
        ModuleCommon::comm()->closeConnection();
        return most;
    }
    static std::shared_ptr<zel::Message> next() { return link().receiveMessageClientFromEngine(0); }

    std::uint64_t m_client;
};

TEST_F(AHostedDay, WithAClientThatListensTakesNoMoreAndMoreMemory)
{
    std::size_t readings = 0, changes = 0;
    expectFlat(liveHosted([&] {
        while (auto const message = next()) {
            readings += dynamic_cast<zel::DeviceUpdateEngineToClient const*>(message.get()) ? 1 : 0;
            changes += dynamic_cast<zel::ChangesEngineToClient const*>(message.get()) ? 1 : 0;
        }
        link().sendMessageClientToEngine(std::make_unique<zel::EnumerationRequestClientToEngine>());
    }));
    EXPECT_EQ(readings, s_readings) << "who listens gets every one";
    EXPECT_GE(changes, kDay / 60);
}

TEST_F(AHostedDay, WithAClientThatDoesNotListenTakesNoMoreAndMoreMemory)
{
    expectFlat(liveHosted([] {}));
    auto const first = next();
    auto const* const lost = dynamic_cast<zel::ReadingsLostEngineToClient const*>(first.get());
    ASSERT_TRUE(lost);
    EXPECT_EQ(lost->count() + zel::ProcessLinkConfigurator::kMostReadings, s_readings);
    std::size_t changes = 0;
    while (auto const message = next())
        changes += dynamic_cast<zel::ChangesEngineToClient const*>(message.get()) ? 1 : 0;
    EXPECT_EQ(changes, 1u);
    std::size_t const net = zel::StateManager::instance().takeChanges().size();
    EXPECT_GT(net, 0u) << "of the rest of the day the net is kept";
    EXPECT_LT(net, 10 * kPumps);
}

/// Takes what it is told, and answers what it is asked.
class Engine
{
public:
    std::atomic<unsigned> readings{0}, changes{0};

private:
    void hear(zel::IPCServer::Peer peer, zel::Message const& message)
    {
        if (auto const* const update = dynamic_cast<zel::UpdatesProviderToEngineToUI const*>(&message)) {
            readings += update->body().what == zel::UpdatesBody::What::Readings ? 1 : 0;
            changes += update->body().what == zel::UpdatesBody::What::Changes ? 1 : 0;
        } else if (message.typeCode() == zel::HttpGetRequestProviderToEngine::kTypeCode) {
            zel::HttpGetResponseEngineToProvider answer({.succeeded = true, .response = "all is heard"});
            answer.setNumber(message.number());
            m_server.queue(peer, answer);
        }
    }
    zel::IPCServer m_server{
        {.accepts = [](std::int64_t) { return true; },
         .connected = [](zel::IPCServer::Peer, std::int64_t) {},
         .received = [this](zel::IPCServer::Peer peer, auto const& message) { hear(peer, *message); },
         .disconnected = [](zel::IPCServer::Peer, zel::String const&) {}}};
};

// Shorter, since each message goes to the engine's thread and is read there; a byte a second shows all the same.
TEST_F(ADay, UnderAnEngineTakesNoMoreAndMoreMemory)
{
    m_day = 3 * kHour / 2;
    std::string const own = std::to_string(zel::System::processId());
    char const* const words[] = {"flat", "-ePid", own.c_str()};
    CommandLine::addFacadeOptions(Facade::Kind::Diag);
    CommandLine::parse(3, words);
    Engine engine;
    ModuleCommon::setComm(std::make_unique<CommEngine>());
    CommInterface& comm = *ModuleCommon::comm();
    ASSERT_TRUE(comm.openConnection());
    for (std::size_t i = 0; i < state().indicatorCount(); ++i) // what it has asked for
        WantedIndicators::add(*state().indicatorAtIndex(i), 5);
    state().addIndicatorRun(zel::IndicatorRunImp(*state().indicatorAtIndex(1), nullptr, 5));
    auto const everythingIsHeard = [&comm] {
        zel::String answer;
        return comm.httpGetRequest("", answer, "");
    };
    auto const most = live([&](unsigned second) {
        bool const isLookedAt = second % 60 == 0;
        EXPECT_TRUE(!isLookedAt || everythingIsHeard());
    });
    constexpr std::size_t kOfALetter =
        16 * 1024; // what is just being written or read may be freed a little later
    expectFlat({most[0] + kOfALetter, most[1]});
    EXPECT_TRUE(everythingIsHeard());
    EXPECT_TRUE(comm.closeConnection());
    EXPECT_EQ(engine.readings, s_readings);
    EXPECT_GE(engine.changes, m_day / 2);
}

} // namespace
