// The backend of the engine, in one process with an engine: what is asked, what is told, and how long it waits.
#include <endtoend/TestEngine.h>
#include <foundation/TemporaryFolder.h>

#include <libKrel5/internal/backends/CommEngine.h>
#include <libKrel5/internal/module/CommandLine.h>

#include <krel5/DiagModule.h>

#include <zel/foundation/Logger.h>
#include <zel/foundation/Stopwatch.h>
#include <zel/foundation/System.h>
#include <zel/model/runs/MessageBoxImp.h>

#include <future>

using namespace krel5;
using test::TestEngine;

namespace {

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
        zel::StateManager::instance().clear();
    }
    bool wasLogged(std::string const& text)
    {
        return m_folder.read("test.log").find(text) != std::string::npos;
    }

    test::TemporaryFolder m_folder;
    TestEngine m_engine;
    CommEngine m_comm;
};

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

} // namespace

TEST_F(LinkTest, aResponseIsTheOneToItsOwnRequest)
{
    zel::String response;
    auto got = std::async(std::launch::async,
                          [&] { return m_comm.httpGetRequest("http://there/", response, "quietly"); });
    auto const request = m_engine.next<zel::HttpGetRequestProviderToEngine>();
    EXPECT_EQ(request->body().url, zel::String("http://there/"));
    EXPECT_EQ(request->body().options, zel::String("quietly"));
    std::uint64_t const id = request->body().id;
    m_engine.send(zel::HttpGetResponseEngineToProvider({id + 1, true, "late, of another"}));
    m_engine.send(zel::HttpGetResponseEngineToProvider({id, true, "the page"}));
    EXPECT_TRUE(got.get());
    EXPECT_EQ(response, zel::String("the page"));
    EXPECT_TRUE(wasLogged("Invalid Message"));
    EXPECT_TRUE(wasLogged("httpGetRequest(): received: HttpGetResponseEngineToProvider (56)"));

    got =
        std::async(std::launch::async, [&] { return m_comm.httpGetRequest("http://there/", response, ""); });
    m_engine.send(zel::HttpGetResponseEngineToProvider(
        {m_engine.next<zel::HttpGetRequestProviderToEngine>()->body().id, false, "404"}));
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
    Disk const disk;
    zel::PropertyImp& property = *disk.device->property("Temperature");
    auto const next = [&] { return m_engine.next<zel::UpdatesProviderToEngineToUI>()->body(); };
    using What = zel::UpdatesBody::What;

    m_comm.sendRequestDeviceAddition(*disk.device);
    zel::UpdatesBody update = next();
    EXPECT_EQ(update.what, What::AddDevice);
    ASSERT_TRUE(update.state && update.state->device(disk.device->guid()));
    EXPECT_EQ(update.state->device(disk.device->guid())->property("Temperature")->value().toString(),
              zel::String("40"));

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

    m_comm.sendRequestAlertRemoval("hot");
    update = next();
    EXPECT_EQ(update.what, What::RemoveAlert);
    EXPECT_EQ(update.key, zel::String("hot"));

    m_comm.propagateChanges(); // there are none
    zel::StateManager received;
    received.addDevice(*disk.device, nullptr);
    zel::StateManager::instance().mergeWithTracking(received);
    m_comm.propagateChanges();
    m_comm.propagateChanges();
    update = next();
    EXPECT_EQ(update.what, What::Changes);
    EXPECT_TRUE(update.state && update.state->device(disk.device->guid()));
    m_comm.sendVersion();
    EXPECT_EQ(m_engine.next()->typeCode(), zel::VersionProviderToEngine::kTypeCode) << "changes go out once";
}
