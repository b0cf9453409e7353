// The backend of the engine, in one process with an engine: what is asked, what is told, and how long it waits.
#include <endtoend/TestEngine.h>
#include <foundation/TemporaryFolder.h>

#include <libKrel5/basics/LibraryMutex.h>
#include <libKrel5/internal/backends/engine/CommEngine.h>
#include <libKrel5/internal/module/CommandLine.h>
#include <libKrel5/internal/module/ModuleCommon.h>

#include <krel5/DiagModule.h>

#include <zel/foundation/Logger.h>
#include <zel/foundation/Stopwatch.h>
#include <zel/foundation/System.h>
#include <zel/model/runs/MessageBoxImp.h>
#include <zel/model/runs/TestRunManager.h>

#include <future>

using namespace krel5;
using test::TestEngine;

namespace {

struct Disk
{
    Disk()
    {
        auto const spec = std::make_shared<zel::PropertySpecImp>("Temperature", zel::PropertyCategoryImp(),
                                                                 zel::DataTypeImp::UINT32(),
                                                                 zel::CapabilityImp::HardDrive());
        zel::PropertyImp const property(spec, zel::ValueImp(std::uint32_t{40}));
        device->addProperty(&property);
    }
    std::unique_ptr<zel::DeviceImp> device =
        zel::DeviceImp::createGeneric(zel::CapabilityImp::HardDrive(), zel::CapabilityImp(), "disk", "/dev/x",
                                      "a disk", "SATA:1", zel::CapabilityImp());
};

/// What the module has registered, and what an engine knows of the machine.
struct Module
{
    Module()
    {
        record.setGuid("mod");
        auto& own = zel::StateManager::instance();
        own.addModule(record, false);
        own.addTest(test);
        own.addIndicator(indicator);
    }
    std::shared_ptr<zel::StateManager const> state(bool hasModule = true, bool hasDisk = true)
    {
        auto state = std::make_shared<zel::StateManager>();
        if (hasModule)
            state->addModule(record, false);
        state->addPropertySpec(disk.device->property("Temperature")->spec(), false);
        if (hasDisk)
            state->addDevice(std::make_unique<zel::DeviceImp>(*disk.device), nullptr);
        return state;
    }
    zel::RunIndicatorEngineToProvider runIndicator(zel::String const& key = "heat")
    {
        return zel::RunIndicatorEngineToProvider(
            {state(), zel::IndicatorRunImp::restored(key, disk.device->guid(), 5)});
    }
    zel::RunTestEngineToProvider runTest()
    {
        return zel::RunTestEngineToProvider(
            {state(), zel::TestRunImp::restored("run-1", "whole", disk.device->guid())});
    }

    Disk disk;
    zel::ModuleImp record{"mod"};
    zel::TestImp test{"whole", zel::CapabilityImp::HardDrive()};
    zel::IndicatorImp indicator{"heat", zel::CapabilityImp::HardDrive(), false};
};

class LinkTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        std::string const own = std::to_string(zel::System::processId());
        char const* const words[] = {"mod", "-ePid", own.c_str()};
        CommandLine::addFacadeOptions(Facade::Kind::Diag);
        CommandLine::parse(3, words);
    }
    void SetUp() override
    {
        zel::LogFactory::setOverride("debug", "krel5");
        zel::LogFactory::configure("modules.xml", 4);
        zel::LogFactory::createDefaultFileAppender(m_folder.path("test.log"));
        ASSERT_TRUE(m_comm.openConnection());
    }
    void TearDown() override
    {
        m_comm.closeConnection();
        zel::LogFactory::clearOverrides();
        zel::LogFactory::configure("modules.xml", 4);
        zel::TestRunManager::instance().clear();
        zel::StateManager::instance().clear();
    }
    void startRun()
    {
        auto& runs = zel::TestRunManager::instance();
        runs.setCurrent(
            &runs.addTestRun(zel::TestRunImp::restored("run-1", "whole", m_module.disk.device->guid())));
    }
    /// What the link hears after this has been heard.
    void hear(zel::Message const& message)
    {
        m_engine.sendTo(m_engine.peer(), message);
        for (zel::Stopwatch const watch; !m_comm.hasReceivedMessage(message.typeCode());)
            ASSERT_LT(watch.getElapsed(), 20);
    }
    /// What was logged since the last call.
    std::string newLines()
    {
        std::string const all = m_folder.read("test.log"), lines = all.substr(m_linesSeen);
        m_linesSeen = all.size();
        return lines;
    }
    bool wasLogged(std::string const& text)
    {
        return m_folder.read("test.log").find(text) != std::string::npos;
    }

    test::TemporaryFolder m_folder;
    std::size_t m_linesSeen = 0;
    Module m_module;
    TestEngine m_engine;
    CommEngine m_comm;
};

} // namespace

// In each, a message of another type is none of its business, the library mutex is free while it waits, and an engine that has
// gone leaves it empty-handed with a line.
TEST_F(LinkTest, eachExchangeAsksForOneTypeOfReplyAndTakesIt)
{
    using zel::StateBody;
    auto const state = m_module.state();
    auto const acknowledge = std::make_shared<zel::AcknowledgeEngineToProvider>();
    struct Case
    {
        char const* name;
        std::function<bool()> run; ///< whether it got what it waits for
        int request;
        std::shared_ptr<zel::Message> reply;
        char const* milliseconds;
        bool hasName = true; ///< in the line that says that there was no reply
    } const cases[] = {
        {"receiveTestRun", [&] { return m_comm.receiveTestRun(); }, zel::ModuleStarted::kTypeCode,
         std::make_shared<zel::RunTestEngineToProvider>(m_module.runTest()), "120000", false},
        {"receiveDevices", [&] { return m_comm.receiveDevices(), m_comm.hasAllDevices(); },
         zel::ModuleStarted::kTypeCode,
         std::make_shared<zel::EnumerationReturnedEngineToClient>(StateBody{state}), "120000", false},
        {"receiveIndicatorRun", [&] { return m_comm.receiveIndicatorRun(); }, zel::ModuleStarted::kTypeCode,
         std::make_shared<zel::RunIndicatorEngineToProvider>(m_module.runIndicator()), "120000", false},
        {"sendEnumTests", [&] { return m_comm.sendEnumTests(), m_comm.isConfirmed(); },
         zel::EnumerationReturnedProviderToEngine::kTypeCode, acknowledge, "120000"},
        {"sendFinalResult", [&] { return m_comm.sendFinalResult(), m_comm.isConfirmed(); },
         zel::TestProgressProviderToEngine::kTypeCode, acknowledge, "120000"},
        {"getCurrentStateManagerFromEngine",
         [&] { return m_comm.getCurrentStateManagerFromEngine() != nullptr; },
         zel::EnumerationMessage::kTypeCode,
         std::make_shared<zel::InventoryTestEngineToProvider>(StateBody{state}), "100"},
    };
    startRun();
    for (Case const& one : cases) {
        SCOPED_TRACE(one.name);
        auto got = std::async(std::launch::async, one.run);
        auto const request = m_engine.next();
        ASSERT_TRUE(request);
        EXPECT_EQ(request->typeCode(), one.request);
        hear(zel::HttpGetResponseEngineToProvider({true, "nobody asked"}));
        while (!libraryMutex().try_lock()) // not for long: who asks whether to stop takes it as well
            ASSERT_NE(got.wait_for(std::chrono::milliseconds(1)), std::future_status::ready);
        libraryMutex().unlock();
        one.reply->setNumber(request->number());
        m_engine.sendTo(m_engine.peer(), *one.reply);
        EXPECT_TRUE(got.get());
        std::string const lines = newLines(), name = one.name;
        EXPECT_NE(lines.find(name + "(): received: " + one.reply->toString().toUtf8() + "\n"),
                  std::string::npos);
        EXPECT_EQ(lines.find("(): received: Http"), std::string::npos);
        EXPECT_NE(lines.find(std::string("timeout: ") + one.milliseconds + " before wait"),
                  std::string::npos);
    }
    EXPECT_EQ(zel::TestRunManager::instance().testRunCount(), 2u);
    EXPECT_EQ(zel::StateManager::instance().indicatorRunCount(), 1u);

    m_engine.disconnect();
    for (zel::Stopwatch const watch; !m_comm.receiveStopMessage();)
        ASSERT_LT(watch.getElapsed(), 20);
    for (Case const& one : cases) {
        newLines();
        EXPECT_FALSE(one.run()) << one.name;
        std::string const line =
            (one.hasName ? std::string(one.name) + "(): " : std::string()) +
            "Did not receive any message of type: " + std::to_string(one.reply->typeCode()) + "\n";
        std::string const lines = newLines();
        EXPECT_NE(lines.find(" " + line), std::string::npos) << one.name << "\n" << lines;
        EXPECT_EQ(lines.find("): " + line), std::string::npos) << one.name;
    }
}

// Whether it comes before the next one is asked for or while that one is waited for.
TEST_F(LinkTest, aReplyThatComesLateIsNotTakenForTheNextOnes)
{
    zel::InventoryTestEngineToProvider empty({m_module.state(true, false)});
    zel::InventoryTestEngineToProvider const whole({m_module.state()});
    auto const ask = [&](zel::InventoryTestEngineToProvider const& reply, bool isLateOneSent) {
        auto asked =
            std::async(std::launch::async, [&] { return m_comm.getCurrentStateManagerFromEngine(); });
        m_engine.next<zel::EnumerationMessage>();
        if (isLateOneSent)
            m_engine.sendTo(m_engine.peer(), empty);
        m_engine.send(reply);
        return asked.get();
    };
    EXPECT_EQ(ask(empty, false)->deviceCount(), 0u);
    empty.setNumber(m_engine.request());
    m_engine.sendTo(m_engine.peer(), empty);
    hear(zel::StopTestEngineToProvider());
    hear(zel::AcknowledgeEngineToProvider()); // behind it, since it is no more urgent
    EXPECT_EQ(ask(whole, false)->deviceCount(), 1u);
    EXPECT_FALSE(wasLogged("dropped")) << "nobody waited";
    EXPECT_EQ(ask(whole, true)->deviceCount(), 1u);
    std::string const late = std::to_string(empty.number()), own = std::to_string(m_engine.request());
    EXPECT_TRUE(wasLogged("getCurrentStateManagerFromEngine(): dropped: the reply to request " + late +
                          ", this is " + own));

    empty.setNumber(0); // to nobody
    EXPECT_EQ(ask(whole, true)->deviceCount(), 1u);

    startRun(); // an exchange with a single try has it left after such a reply
    auto const told = std::async(std::launch::async, [&] { m_comm.sendFinalResult(); });
    m_engine.next<zel::TestProgressProviderToEngine>();
    zel::AcknowledgeEngineToProvider stale;
    stale.setNumber(empty.number());
    m_engine.sendTo(m_engine.peer(), stale);
    m_engine.send(zel::AcknowledgeEngineToProvider());
    told.wait();
    EXPECT_TRUE(m_comm.isConfirmed());
}

TEST_F(LinkTest, anIndicatorRunComesWithItsDevice)
{
    auto const receive = [&](zel::RunIndicatorEngineToProvider const& reply) {
        auto got = std::async(std::launch::async, [&]() -> std::string {
            try {
                return m_comm.receiveIndicatorRun() ? "" : "none";
            } catch (zel::Exception const& e) {
                return e.getMessage().toUtf8();
            }
        });
        EXPECT_EQ(m_engine.next<zel::ModuleStarted>()->body().guid, ModuleCommon::module().guid());
        m_engine.send(reply);
        return got.get();
    };
    auto& own = zel::StateManager::instance();
    zel::String const disk = m_module.disk.device->guid();
    auto const run = zel::IndicatorRunImp::restored("heat", disk, 5);
    struct
    {
        zel::IndicatorRunBody body;
        char const* why;
    } const refused[] = {{{m_module.state(false), run}, "No module in StateManager"},
                         {{m_module.state(true, false), run}, "CommEngine: engine returned null DeviceImp"},
                         {m_module.runIndicator("cold").body(), "indicator \"cold\", which is not known"}};
    for (auto const& one : refused)
        EXPECT_NE(receive(zel::RunIndicatorEngineToProvider(one.body)).find(one.why), std::string::npos)
            << one.why;
    EXPECT_EQ(own.indicatorRunCount(), 0u);

    EXPECT_EQ(receive(m_module.runIndicator()), "");
    ASSERT_EQ(own.indicatorRunCount(), 1u);
    zel::IndicatorRunImp const& received = own.indicatorRunAtIndex(0);
    EXPECT_EQ(&received.indicator(), &m_module.indicator);
    ASSERT_TRUE(received.device());
    EXPECT_EQ(received.device(), own.device(disk));
    EXPECT_EQ(received.updateInterval(), 5);
    EXPECT_FALSE(received.hasBeenCalled());
    auto const spec = m_module.disk.device->property("Temperature")->spec();
    EXPECT_TRUE(own.propertySpec(spec->guid()));

    auto const free = zel::IndicatorRunImp::restored("heat", "", 1);
    EXPECT_EQ(receive(zel::RunIndicatorEngineToProvider({m_module.state(true, false), free})), "");
    ASSERT_EQ(own.indicatorRunCount(), 2u);
    EXPECT_EQ(own.indicatorRunAtIndex(1).device(), nullptr);

    hear(zel::RequestUpdateClientToEngineToIndicator({disk, "Temperature"}));
    auto const isForced = [&] {
        zel::AutoMutex const guard(
            libraryMutex());         // for which a request that comes meanwhile does not wait, ...
        m_comm.receiveStopMessage(); // ... but for the next pass
        return received.hasUpdateBeenForced();
    };
    for (zel::Stopwatch const watch; !isForced();) // in the middle of being handled
        ASSERT_LT(watch.getElapsed(), 20);
}

TEST_F(LinkTest, aResponseIsTheOneToItsOwnRequest)
{
    zel::String response;
    auto got = std::async(std::launch::async,
                          [&] { return m_comm.httpGetRequest("http://there/", response, "quietly"); });
    auto const request = m_engine.next<zel::HttpGetRequestProviderToEngine>();
    EXPECT_EQ(request->body().url, zel::String("http://there/"));
    EXPECT_EQ(request->body().options, zel::String("quietly"));
    zel::HttpGetResponseEngineToProvider late({true, "late, of another"});
    late.setNumber(request->number() - 1);
    m_engine.sendTo(m_engine.peer(), late);
    m_engine.send(zel::HttpGetResponseEngineToProvider({true, "the page"}));
    EXPECT_TRUE(got.get());
    EXPECT_EQ(response, zel::String("the page"));
    EXPECT_TRUE(wasLogged("httpGetRequest(): dropped"));
    EXPECT_TRUE(wasLogged("httpGetRequest(): received: HttpGetResponseEngineToProvider (56)"));

    got =
        std::async(std::launch::async, [&] { return m_comm.httpGetRequest("http://there/", response, ""); });
    m_engine.next<zel::HttpGetRequestProviderToEngine>();
    m_engine.send(zel::HttpGetResponseEngineToProvider({false, "404"}));
    EXPECT_FALSE(got.get());
    EXPECT_EQ(response, zel::String("404"));
}

TEST_F(LinkTest, anEngineThatSaysNothingIsWaitedForNoLongerThanItsTime)
{
    zel::String response = "as it was";
    zel::Stopwatch const watch;
    EXPECT_FALSE(m_comm.httpGetRequest("http://there/", response, ""));
    EXPECT_GE(watch.getElapsed(), 11.9);
    EXPECT_EQ(response, zel::String("as it was"));
    EXPECT_TRUE(
        wasLogged("httpGetRequest(): Did not receive message of type: 56 in the alloted retries: 120"));
    m_engine.next<zel::HttpGetRequestProviderToEngine>();
    m_comm.sendVersion();
    EXPECT_EQ(m_engine.next()->typeCode(), zel::VersionProviderToEngine::kTypeCode) << "it was asked once";
}

TEST_F(LinkTest, anEngineThatLivesAndSaysNothingIsWaitedForAndConfirmsNothing)
{
    m_comm.closeConnection();
    constexpr std::uint32_t kPatience = 300; // milliseconds
    CommEngine comm(kPatience);
    ASSERT_TRUE(comm.openConnection());
    std::function<void()> const waits[] = {
        [&] { EXPECT_FALSE(comm.receiveTestRun()); },
        [&] { EXPECT_FALSE(comm.receiveIndicatorRun()); },
        [&] { comm.receiveDevices(); },
        [&] { comm.sendEnumTests(); },
    };
    for (auto const& wait : waits) {
        zel::Stopwatch const watch;
        wait();
        EXPECT_GE(watch.getElapsed() * 1000, kPatience);
        EXPECT_LT(watch.getElapsed() * 1000, 10 * kPatience);
        EXPECT_FALSE(m_engine.next() == nullptr) << "it was asked";
    }
    EXPECT_FALSE(comm.hasAllDevices());
    EXPECT_FALSE(comm.isConfirmed());
    for (char const* const type : {" 31\n", " 48\n", " 20\n", " 16\n"})
        EXPECT_TRUE(wasLogged(std::string("Did not receive any message of type:") + type)) << type;
    EXPECT_FALSE(comm.receiveStopMessage()) << "it is there";
    m_engine.send(zel::StopTestEngineToProvider());
    zel::Stopwatch const watch;
    EXPECT_FALSE(comm.receiveTestRun());
    EXPECT_LT(watch.getElapsed(), 10);
    EXPECT_TRUE(comm.receiveStopMessage()) << "who waits for something else hears of a stop";
    EXPECT_TRUE(comm.closeConnection());
}

TEST_F(LinkTest, anEngineThatGoesAwayIsNotWaitedForAndCountsAsAStop)
{
    Disk const disk;
    zel::StateManager state;
    state.addDevice(*disk.device, nullptr);
    auto const sent = std::shared_ptr<zel::StateManager const>(&state, [](auto const*) {});
    auto asked = std::async(std::launch::async, [&] { return m_comm.getCurrentStateManagerFromEngine(); });
    m_engine.next<zel::EnumerationMessage>();
    EXPECT_FALSE(m_comm.receiveStopMessage());
    m_engine.send(zel::InventoryTestEngineToProvider({sent}));
    zel::StateManager const* const received = asked.get();
    ASSERT_NE(received, nullptr);
    EXPECT_NE(received->device(disk.device->guid()), nullptr);

    zel::Stopwatch const watch;
    asked = std::async(std::launch::async, [&] { return m_comm.getCurrentStateManagerFromEngine(); });
    m_engine.next<zel::EnumerationMessage>();
    m_engine.disconnect();
    EXPECT_EQ(asked.get(), nullptr);
    EXPECT_TRUE(wasLogged("getCurrentStateManagerFromEngine(): Did not receive any message of type: 21"));
    m_comm.receiveDevices();
    EXPECT_FALSE(m_comm.receiveTestRun());
    m_comm.sendEnumTests();
    EXPECT_FALSE(m_comm.isConfirmed() || m_comm.hasAllDevices());
    EXPECT_LT(watch.getElapsed(), 5);
    EXPECT_TRUE(wasLogged("krel5.Comm.Engine"));
    EXPECT_TRUE(wasLogged(" Did not receive any message of type: 20\n"));
    EXPECT_TRUE(m_comm.receiveStopMessage());
    EXPECT_FALSE(m_comm.hasReceivedMessage(zel::StopTestEngineToProvider::kTypeCode));
    EXPECT_FALSE(m_comm.closeConnection());
}

TEST_F(LinkTest, reportsWithoutARunAreDropped)
{
    m_comm.sendPercentDoneMessage();
    m_comm.sendEvent();
    m_comm.sendFinalResult();
    zel::MessageBoxImp box("title", "text", {{1, "OK"}}, 0, 0, {});
    m_comm.sendMessageBox(box);
    EXPECT_FALSE(box.hasAnswer());
    EXPECT_TRUE(wasLogged("Invalid TestRun"));
    m_comm.sendVersion();
    EXPECT_EQ(m_engine.next()->typeCode(), zel::VersionProviderToEngine::kTypeCode) << "nothing came before";
}

TEST_F(LinkTest, aTimeOutIsWhatWasSet)
{
    EXPECT_EQ(m_comm.receiveGetTimeOutMessage(), 0u);
    m_comm.sendSetTimeOutMessage(17);
    EXPECT_EQ(m_comm.receiveGetTimeOutMessage(), 17u);
    EXPECT_EQ(m_engine.next<zel::TimeOutProviderToEngine>()->body().seconds, 17u);
    m_comm.sendSetTimeOutMessage(DiagModule::INFINITE_TIMEOUT);
    EXPECT_EQ(m_comm.receiveGetTimeOutMessage(), DiagModule::INFINITE_TIMEOUT);
    EXPECT_FALSE(m_engine.next<zel::TimeOutProviderToEngine>()->body().seconds);
    m_comm.sendClearTimeOutMessage();
    EXPECT_EQ(m_comm.receiveGetTimeOutMessage(), 0u);
    EXPECT_FALSE(m_engine.next<zel::TimeOutProviderToEngine>()->body().seconds);
}

TEST_F(LinkTest, changesOfTheInventoryGoOut)
{
    Disk const& disk = m_module.disk;
    zel::PropertyImp& property = *disk.device->property("Temperature");
    zel::AlertImp hot("mod", "hot", zel::AlertTypeImp::CRITICAL());
    hot.setDeviceGuid(disk.device->guid());
    std::function<void()> const requests[] = {
        [&] { m_comm.sendRequestDeviceAddition(*disk.device); },
        [&] { m_comm.sendRequestDevicePropertyAddition(*disk.device, property); },
        [&] { m_comm.sendRequestDevicePropertyRemoval(*disk.device, property); },
        [&] { m_comm.sendRequestDeviceRemoval(*disk.device); }, [&] { m_comm.sendRequestAlertRemoval(hot); }};
    for (auto const& request : requests) {
        newLines();
        request();
        EXPECT_NE(newLines().find(" Invalid TestRun\n"), std::string::npos);
    }
    auto& own = zel::StateManager::instance();
    EXPECT_EQ(own.deviceCount(), 0u);
    m_comm.sendVersion();
    EXPECT_EQ(m_engine.next()->typeCode(), zel::VersionProviderToEngine::kTypeCode) << "nothing came before";

    startRun();
    auto const next = [&] { return m_engine.next<zel::UpdatesProviderToEngineToUI>()->body(); };
    using What = zel::UpdatesBody::What;

    m_comm.sendRequestDeviceAddition(*disk.device);
    zel::UpdatesBody update = next();
    EXPECT_EQ(update.what, What::AddDevice);
    ASSERT_TRUE(update.state && update.state->device(disk.device->guid()));
    EXPECT_EQ(update.state->device(disk.device->guid())->property("Temperature")->value().toString(),
              zel::String("40"));
    EXPECT_EQ(update.state->propertySpecCount(), 1u);
    EXPECT_EQ(own.device(disk.device->guid()), disk.device.get());
    EXPECT_EQ(own.propertySpec(property.spec()->guid()), property.spec());
    m_comm.sendRequestDeviceAddition(*disk.device); // whoever asks may have added it
    EXPECT_EQ(next().what, What::AddDevice);
    zel::TestRunManager::instance().setCurrent(nullptr);
    own.addIndicatorRun(zel::IndicatorRunImp(m_module.indicator, nullptr, 1)); // a run as good as the other

    m_comm.sendRequestDevicePropertyAddition(*disk.device, property);
    update = next();
    EXPECT_EQ(update.what, What::AddProperty);
    EXPECT_EQ(update.key, zel::String("Temperature"));
    EXPECT_TRUE(update.state && update.state->device(disk.device->guid()));

    m_comm.sendRequestDevicePropertyRemoval(*disk.device, property);
    update = next();
    EXPECT_EQ(update.what, What::RemoveProperty);
    EXPECT_EQ(update.key, zel::String("Temperature"));
    EXPECT_EQ(update.device, disk.device->guid());

    m_comm.sendRequestDeviceRemoval(*disk.device);
    update = next();
    EXPECT_EQ(update.what, What::RemoveDevice);
    EXPECT_EQ(update.device, disk.device->guid());

    m_comm.sendRequestAlertRemoval(hot);
    update = next();
    EXPECT_EQ(update.what, What::RemoveAlert);
    EXPECT_EQ(update.key, zel::String("hot"));
    EXPECT_EQ(update.alert, hot.guid());
    EXPECT_EQ(update.device, disk.device->guid());

    own.removeDevice(disk.device->guid());
    own.takeChanges();
    m_comm.propagateChanges(); // there are none
    zel::StateManager received;
    received.addDevice(*disk.device, nullptr);
    own.mergeWithTracking(received);
    m_comm.propagateChanges();
    m_comm.propagateChanges();
    update = next();
    EXPECT_EQ(update.what, What::Changes);
    EXPECT_TRUE(update.state && update.state->device(disk.device->guid()));
    m_comm.sendVersion();
    EXPECT_EQ(m_engine.next()->typeCode(), zel::VersionProviderToEngine::kTypeCode) << "changes go out once";
}
