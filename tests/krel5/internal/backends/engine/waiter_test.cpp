// Waiting for a message while another thread receives all of them.
#include <foundation/TemporaryFolder.h>

#include <libKrel5/basics/LibraryMutex.h>
#include <libKrel5/internal/backends/engine/ProviderMessageHandler.h>

#include <zel/foundation/Logger.h>
#include <zel/foundation/Stopwatch.h>
#include <zel/ipc/Message.h>
#include <zel/model/state/StateManager.h>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

using namespace krel5;
using Registration = ProviderMessageHandler::Registration;

namespace {

constexpr std::uint32_t kLongEnough = 30000; // milliseconds; only a test that fails waits for it

std::shared_ptr<zel::Message const> answer(std::uint64_t id)
{
    return std::make_shared<zel::MessageBoxEngineToProvider>(zel::AnswerBody{id, 0, false});
}

std::uint64_t idOf(std::shared_ptr<zel::Message const> const& message)
{
    auto const* const answer = dynamic_cast<zel::MessageBoxEngineToProvider const*>(message.get());
    return answer ? answer->body().id : 0;
}

struct Waiter : CommMessageWaiter
{
    void postForNothing() { m_taken.post(); }
};

/// A message that is not what its code says.
class Impostor : public zel::Message
{
public:
    Impostor() : Message(Priority::Normal) {}
    int typeCode() const noexcept override { return zel::RequestUpdateClientToEngineToIndicator::kTypeCode; }
    std::string_view name() const noexcept override { return "Impostor"; }

private:
    void write(std::string&) const override {}
};

class WaiterTest : public ::testing::Test
{
protected:
    WaiterTest()
    {
        zel::LogFactory::setOverride("debug", "");
        zel::LogFactory::configure("modules.xml", 4);
        zel::LogFactory::createDefaultFileAppender(m_folder.path("test.log"));
    }
    ~WaiterTest() override
    {
        zel::LogFactory::clearOverrides();
        zel::LogFactory::configure("modules.xml", 4);
        zel::StateManager::instance().clear();
    }
    bool wasLogged(std::string const& text)
    {
        return m_folder.read("test.log").find(text) != std::string::npos;
    }

    test::TemporaryFolder m_folder;
    Waiter m_waiter;
};

} // namespace

TEST_F(WaiterTest, takesWhatItWantsAndHandsOverTheOldestFirst)
{
    EXPECT_FALSE(m_waiter.wantThisMessage(answer(1))) << "nothing is wanted yet";
    m_waiter.setWantedMessageType(zel::MessageBoxEngineToProvider::kTypeCode);
    m_waiter.setWantedMessageType(zel::AcknowledgeEngineToProvider::kTypeCode);
    EXPECT_FALSE(m_waiter.wantThisMessage(std::make_shared<zel::StopTestEngineToProvider>()));
    EXPECT_TRUE(m_waiter.wantThisMessage(answer(2)));
    EXPECT_TRUE(m_waiter.wantThisMessage(std::make_shared<zel::AcknowledgeEngineToProvider>()));
    EXPECT_TRUE(m_waiter.wantThisMessage(answer(3)));
    EXPECT_EQ(idOf(m_waiter.waitForMessage(0)), 2u);
    EXPECT_EQ(m_waiter.waitForMessage(0)->typeCode(), zel::AcknowledgeEngineToProvider::kTypeCode);
    EXPECT_EQ(idOf(m_waiter.waitForMessage(0)), 3u);
    EXPECT_EQ(m_waiter.waitForMessage(0), nullptr);
    for (char const* line :
         {"wantThisMessage() received: MessageBoxEngineToProvider (57)", "returning true", "returning false",
          "waitForMessage() timeout: 0 before wait", " wait succeded", " wait failed"})
        EXPECT_TRUE(wasLogged(line)) << line;
}

TEST_F(WaiterTest, aPostWithoutAMessageIsLoggedAndYieldsNothing)
{
    m_waiter.postForNothing();
    EXPECT_EQ(m_waiter.waitForMessage(0), nullptr);
    EXPECT_TRUE(wasLogged("Queue out of sync"));
    m_waiter.setWantedMessageType(zel::MessageBoxEngineToProvider::kTypeCode);
    m_waiter.wantThisMessage(answer(1));
    EXPECT_EQ(idOf(m_waiter.waitForMessage(0)), 1u) << "and the waiter works on";
}

TEST_F(WaiterTest, theWaitLastsUntilTheMessageTheTimeOrTheEnd)
{
    zel::Stopwatch const watch;
    EXPECT_EQ(m_waiter.waitForMessage(250), nullptr);
    EXPECT_EQ(m_waiter.waitForMessage(250, [] { return false; }), nullptr);
    EXPECT_GE(watch.getElapsed(), 0.499);

    m_waiter.setWantedMessageType(zel::MessageBoxEngineToProvider::kTypeCode);
    std::thread receiving([&] { m_waiter.wantThisMessage(answer(4)); });
    EXPECT_EQ(idOf(m_waiter.waitForMessage(CommMessageWaiter::kForever)), 4u);
    receiving.join();

    int looks = 0;
    EXPECT_EQ(m_waiter.waitForMessage(CommMessageWaiter::kForever, [&] { return ++looks == 3; }), nullptr);
    EXPECT_EQ(looks, 3);
    m_waiter.wantThisMessage(answer(5));
    EXPECT_EQ(idOf(m_waiter.waitForMessage(kLongEnough, [] { return true; })), 5u)
        << "what came before the end counts";
    EXPECT_FALSE(wasLogged("Queue out of sync")) << "nobody posts for a message that is none";
}

TEST_F(WaiterTest, aLateReplyIsNotedAndDropped)
{
    ProviderMessageHandler handler;
    auto const early = std::make_shared<Waiter>(), second = std::make_shared<Waiter>();
    for (auto const& one : {early, second})
        one->setWantedMessageType(zel::MessageBoxEngineToProvider::kTypeCode);
    int const code = zel::MessageBoxEngineToProvider::kTypeCode;
    {
        Registration const registration(handler, early), other(handler, second);
        EXPECT_FALSE(handler.hasReceived(code));
        handler.handle(answer(1));
    }
    EXPECT_TRUE(handler.hasReceived(code));
    handler.handle(std::make_shared<zel::AcknowledgeEngineToProvider>());
    handler.handle(answer(2));
    EXPECT_TRUE(handler.hasReceived(zel::AcknowledgeEngineToProvider::kTypeCode));
    for (auto const& one : {early, second}) {
        EXPECT_EQ(idOf(one->waitForMessage(0)), 1u) << "each waiter is offered each message";
        EXPECT_EQ(one->waitForMessage(0), nullptr);
    }
    handler.handle(nullptr);
    EXPECT_TRUE(wasLogged("Invalid Argument"));
    EXPECT_TRUE(wasLogged("incoming_message_handler() received: AcknowledgeEngineToProvider (16)"));
}

// One thread receives, others make and end their exchanges.
TEST_F(WaiterTest, waitersComeAndGoWhileMessagesArrive)
{
    zel::LogFactory::clearOverrides();
    zel::LogFactory::configure("modules.xml", 4);
    ProviderMessageHandler handler;
    std::atomic<bool> isOver{false};
    std::thread receiving([&] {
        for (std::uint64_t id = 1; !isOver; ++id)
            handler.handle(answer(id));
    });
    std::vector<std::thread> exchanging;
    for (int i = 0; i < 4; ++i)
        exchanging.emplace_back([&] {
            for (int n = 0; n < 200; ++n) {
                auto const waiter = std::make_shared<CommMessageWaiter>();
                Registration const registration(handler, waiter);
                waiter->setWantedMessageType(zel::MessageBoxEngineToProvider::kTypeCode);
                EXPECT_NE(idOf(waiter->waitForMessage(kLongEnough)), 0u);
                EXPECT_TRUE(handler.hasReceived(zel::MessageBoxEngineToProvider::kTypeCode));
            }
        });
    for (std::thread& one : exchanging)
        one.join();
    isOver = true;
    receiving.join();
}

TEST_F(WaiterTest, anUpdateRequestIsForADeviceAndAPropertyThatAreKnown)
{
    auto const device =
        zel::DeviceImp::createGeneric(zel::CapabilityImp::HardDrive(), zel::CapabilityImp(), "disk", "/dev/x",
                                      "a disk", "SATA:1", zel::CapabilityImp());
    auto const spec =
        std::make_shared<zel::PropertySpecImp>("Temperature", zel::PropertyCategoryImp(),
                                               zel::DataTypeImp::UINT32(), zel::CapabilityImp::HardDrive());
    zel::PropertyImp const property(spec);
    device->addProperty(&property);
    zel::IndicatorImp indicator("heat", zel::CapabilityImp::HardDrive(), false);
    auto& manager = zel::StateManager::instance();
    auto const others =
        zel::DeviceImp::createGeneric(zel::CapabilityImp::HardDrive(), zel::CapabilityImp(), "tape", "/dev/y",
                                      "of another module", "SATA:2", zel::CapabilityImp());
    others->addProperty(&property);
    manager.addDevice(*device, nullptr);
    manager.addDevice(*others, nullptr);
    manager.addIndicator(indicator);
    auto const& run = manager.addIndicatorRun(zel::IndicatorRunImp(indicator, device.get(), 5));

    ProviderMessageHandler handler;
    auto const request = [&](zel::String const& guid, zel::String const& key) {
        handler.handle(
            std::make_shared<zel::RequestUpdateClientToEngineToIndicator>(zel::UpdateRequestBody{guid, key}));
    };
    request("", "Temperature");
    EXPECT_TRUE(wasLogged("Cannot process RequestUpdateClientToEngineToIndicator when device guid is empty"));
    request("nowhere", "Temperature");
    EXPECT_TRUE(wasLogged("Cannot find device guid: nowhere in state manager"));
    request(device->guid(), "Weight");
    EXPECT_TRUE(wasLogged("Cannot find device prop: Weight on device: " + device->guid().toUtf8()));
    request(others->guid(), "Temperature");
    EXPECT_TRUE(wasLogged("No indicator watches device guid: " + others->guid().toUtf8()));
    EXPECT_FALSE(run.hasUpdateBeenForced());
    handler.handle(std::make_shared<Impostor>());
    EXPECT_TRUE(wasLogged("Invalid Message: Impostor (54)"));
    {
        // Its holder may wait for room on the link, which only the thread that calls the handler makes.
        zel::AutoMutex const guard(libraryMutex());
        std::thread([&] { request(device->guid(), "Temperature"); }).join();
        EXPECT_FALSE(run.hasUpdateBeenForced());
        handler.applyUpdates();
        EXPECT_TRUE(run.hasUpdateBeenForced());
        manager.indicatorRunAtIndex(0).updateComplete();
    }
    request(device->guid(), "Temperature");
    EXPECT_TRUE(run.hasUpdateBeenForced());
}
