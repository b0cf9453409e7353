// The two queues between a module and a client in its process: what is kept, what is dropped and told, and who wakes whom.
#include <zel/foundation/Exception.h>
#include <zel/ipc/direct/IndicatorContext.h>
#include <zel/ipc/direct/ProcessLinkConfigurator.h>

#include <gtest/gtest.h>

#include <future>
#include <thread>

namespace {

using Link = zel::ProcessLinkConfigurator;

std::unique_ptr<zel::DeviceImp> device(char const* name)
{
    return zel::DeviceImp::createGeneric(zel::CapabilityImp::HardDrive(), zel::CapabilityImp(), name, "", "",
                                         name, zel::CapabilityImp());
}

std::unique_ptr<zel::DeviceUpdateEngineToClient> reading(zel::String const& value)
{
    static auto const s_spec = std::make_shared<zel::PropertySpecImp>(
        "Reading", zel::PropertyCategoryImp(), zel::DataTypeImp::STRING(), zel::CapabilityImp::HardDrive());
    static auto const s_device = device("disk");
    zel::Array<zel::PropertyImp> readings;
    readings.append(zel::PropertyImp(s_spec, zel::ValueImp(value)));
    return std::make_unique<zel::DeviceUpdateEngineToClient>(*s_device, std::move(readings));
}

std::unique_ptr<zel::Message> listing(char const* name)
{
    auto state = std::make_shared<zel::StateManager>();
    state->addDevice(device(name), nullptr);
    return std::make_unique<zel::EnumerationReturnedEngineToClient>(zel::StateBody{state});
}

std::unique_ptr<zel::Message> changes()
{
    return std::make_unique<zel::ChangesEngineToClient>(std::vector<zel::Change>(),
                                                        std::make_shared<zel::StateManager>());
}

/// Writes down what is done to it.
struct Record : zel::IndicatorContext
{
    void watch(zel::String const& device, zel::String const& indicator) override
    {
        note("watch", device, indicator);
    }
    void forceUpdate(zel::String const& device, zel::String const& indicator) override
    {
        note("update", device, indicator);
    }
    void setUpdateInterval(zel::String const& device, zel::String const& indicator, double seconds) override
    {
        note(std::to_string(seconds), device, indicator);
    }
    void sendListing() override { text += "list;"; }
    void stop() override { text += "stop;"; }
    void note(std::string const& what, zel::String const& device, zel::String const& indicator)
    {
        text += what + " " + device.toUtf8() + "," + indicator.toUtf8() + ";";
    }
    std::string text;
};

class DirectLink : public ::testing::Test
{
protected:
    DirectLink() : client(link.attachClient())
    {
        EXPECT_NE(client, 0u);
        EXPECT_TRUE(link.openEngine());
    }
    ~DirectLink() override
    {
        link.detachClient(client);
        link.closeEngine();
    }

    bool ask(char const* device)
    {
        return link.sendMessageClientToEngine(
            std::make_unique<zel::ForceUpdateClientToEngine>(device, "heat"));
    }
    std::string asked()
    {
        Record record;
        while (auto const message = link.receiveMessageEngineFromClient(0))
            message->process(record);
        return record.text;
    }
    std::string next()
    {
        auto const message = link.receiveMessageClientFromEngine(0);
        if (auto* const update = dynamic_cast<zel::DeviceUpdateEngineToClient*>(message.get()))
            return update->readings()[0].value().toString().toUtf8();
        if (auto const* const lost = dynamic_cast<zel::ReadingsLostEngineToClient*>(message.get()))
            return "lost " + std::to_string(lost->count());
        if (auto const* const end = dynamic_cast<zel::ModuleEndedEngineToClient*>(message.get()))
            return "ended " + std::to_string(end->status());
        return message ? std::string(message->name()) : "nothing";
    }

    Link& link = Link::instance();
    std::uint64_t client;
};

TEST_F(DirectLink, HandsRequestsOverInOrderAndAStopBeforeThem)
{
    EXPECT_TRUE(ask("a"));
    EXPECT_TRUE(link.sendMessageClientToEngine(std::make_unique<zel::WatchClientToEngine>("b", "")));
    EXPECT_TRUE(link.sendMessageClientToEngine(
        std::make_unique<zel::SetUpdateIntervalClientToEngine>("", "heat", 2.5)));
    EXPECT_TRUE(link.sendMessageClientToEngine(std::make_unique<zel::EnumerationRequestClientToEngine>()));
    EXPECT_FALSE(link.isStopWanted());
    EXPECT_TRUE(link.sendMessageClientToEngine(std::make_unique<zel::StopClientToEngine>()));
    EXPECT_TRUE(link.sendMessageClientToEngine(std::make_unique<zel::StopClientToEngine>()));
    EXPECT_TRUE(link.isStopWanted()) << "before anybody has read it";
    EXPECT_EQ(asked(), "stop;update a,heat;watch b,;2.500000 ,heat;list;");
    EXPECT_EQ(asked(), "");
}

TEST_F(DirectLink, TakesSoManyRequestsAndAStopAllTheSame)
{
    std::size_t taken = 0;
    while (ask("a"))
        ASSERT_LE(++taken, Link::kMostRequests);
    EXPECT_EQ(taken, Link::kMostRequests);
    EXPECT_TRUE(link.sendMessageClientToEngine(std::make_unique<zel::StopClientToEngine>()));
    EXPECT_FALSE(asked().empty());
    EXPECT_TRUE(ask("a")) << "there is room again";
    asked();
    std::string const large(Link::kMostRequestBytes / 2, 'x');
    EXPECT_FALSE(ask(large.c_str())) << "its text alone, in 16-bit units, is as large as all may be";
    EXPECT_TRUE(ask("a"));
}

TEST_F(DirectLink, KeepsTheNewestReadingsAndSaysHowManyWent)
{
    for (std::size_t i = 0; i < Link::kMostReadings + 3; ++i) {
        link.sendMessageEngineToClient(reading(zel::String::number(static_cast<std::uint64_t>(i))));
        if (i == 0)
            link.sendMessageEngineToClient(changes());
    }
    EXPECT_EQ(next(), "lost 3");
    EXPECT_EQ(next(), "ChangesEngineToClient") << "what is no reading is not dropped";
    EXPECT_EQ(next(), "3");
    EXPECT_EQ(next(), "4");
    link.detachClient(client);
    client = link.attachClient();
    EXPECT_EQ(client, 0u) << "the module of the former client has not ended";
    link.closeEngine();
    client = link.attachClient();
    EXPECT_EQ(next(), "nothing") << "what was for the former client";
}

TEST_F(DirectLink, CountsTheSizeOfReadingsToo)
{
    zel::String const large(std::string(Link::kMostReadingBytes / 8, 'x')); // twice that in memory
    for (int i = 0; i < 9; ++i)
        link.sendMessageEngineToClient(reading(large));
    EXPECT_EQ(next(), "lost 6");
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(next(), large.toUtf8());
    EXPECT_EQ(next(), "nothing");
    zel::String const huge(std::string(Link::kMostReadingBytes, 'x'));
    link.sendMessageEngineToClient(reading(large));
    link.sendMessageEngineToClient(reading(huge));
    EXPECT_EQ(next(), "lost 1");
    EXPECT_EQ(next(), huge.toUtf8()) << "the newest stays, whatever its size";
}

TEST_F(DirectLink, KeepsOneListingAndKnowsOfUnreadChanges)
{
    link.sendMessageEngineToClient(listing("old"));
    link.sendMessageEngineToClient(reading("1"));
    EXPECT_FALSE(link.hasUnreadChanges());
    link.sendMessageEngineToClient(changes());
    EXPECT_TRUE(link.hasUnreadChanges());
    link.sendMessageEngineToClient(listing("new"));
    EXPECT_EQ(next(), "1");
    EXPECT_EQ(next(), "ChangesEngineToClient");
    EXPECT_FALSE(link.hasUnreadChanges());
    auto const message = link.receiveMessageClientFromEngine(0);
    auto const* const list = dynamic_cast<zel::EnumerationReturnedEngineToClient*>(message.get());
    ASSERT_TRUE(list);
    EXPECT_EQ(list->body().state->deviceAtIndex(0)->name(), zel::String("new"));
    EXPECT_EQ(next(), "nothing");
}

TEST_F(DirectLink, SaysToTheEndThatTheModuleHasEnded)
{
    link.sendMessageEngineToClient(reading("last"));
    link.closeEngine();
    EXPECT_FALSE(ask("a"));
    EXPECT_FALSE(link.waitUntilEngineIsReady(Link::kForever)) << "nobody waits for one that has ended";
    EXPECT_EQ(next(), "last");
    EXPECT_EQ(next(), "nothing") << "its exit callback may still be at work";
    link.setEngineHasEnded(7);
    EXPECT_EQ(next(), "ended 7");
    EXPECT_EQ(next(), "ended 7");
    link.expectEngine();
    EXPECT_EQ(next(), "nothing");
    EXPECT_TRUE(ask("a")) << "it waits for the module";
}

TEST_F(DirectLink, HasOneClientAndSeesItGo)
{
    EXPECT_EQ(link.attachClient(), 0u);
    link.detachClient(client + 1);
    EXPECT_FALSE(link.isStopWanted());
    link.detachClient(client);
    EXPECT_TRUE(link.isStopWanted());
    link.sendMessageEngineToClient(reading("for nobody"));
    EXPECT_FALSE(link.receiveMessageEngineFromClient(Link::kForever)) << "nobody can say anything";
    EXPECT_FALSE(link.receiveMessageClientFromEngine(Link::kForever));
    EXPECT_FALSE(link.waitUntilEngineIsReady(Link::kForever));
    EXPECT_FALSE(ask("a"));
    link.closeEngine();
    EXPECT_FALSE(link.openEngine()) << "there is no client";
}

// The end of the thread is the end of the client that it made, also when the thread has no destructor to run.
TEST_F(DirectLink, LosesTheClientWithItsThread)
{
    link.detachClient(client);
    link.closeEngine();
    std::thread([this] { client = link.attachClient(); }).join();
    EXPECT_NE(client, 0u);
    EXPECT_TRUE(link.isStopWanted());
}

TEST_F(DirectLink, WakesWhoeverWaits)
{
    auto const module = std::async(std::launch::async, [this] {
        auto const message = link.receiveMessageEngineFromClient(Link::kForever);
        link.setEngineIsReady();
        link.sendMessageEngineToClient(reading("x"));
        return message != nullptr;
    });
    auto const other =
        std::async(std::launch::async, [this] { return link.waitUntilEngineIsReady(Link::kForever); });
    EXPECT_TRUE(ask("a"));
    EXPECT_TRUE(link.receiveMessageClientFromEngine(Link::kForever));
    module.wait();
    other.wait();
    auto const reader = std::async(std::launch::async,
                                   [this] { return link.receiveMessageClientFromEngine(Link::kForever); });
    link.setEngineHasEnded(0);
    reader.wait();
}

TEST(DirectMessages, DoNotLeaveTheProcess)
{
    EXPECT_THROW(zel::StopClientToEngine().serialize(), zel::AssertionException);
}

} // namespace
