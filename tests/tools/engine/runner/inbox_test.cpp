// What waits for the engine's main thread is bounded, also where it is few messages that are large.
#include <engine/runner/linux/Inbox.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

using namespace engine;

TEST(Inbox, holdsUpTheLinkWhenItsMessagesAreLarge)
{
    constexpr std::size_t kMessages = 64, kBytes = std::size_t{1} << 20, kMostHeld = (16u << 20) / kBytes;
    zel::ErrorBody body;
    body.text = zel::String(std::string(kBytes, 'x'));
    std::string const payload = zel::InternalErrorProviderToEngine(body).serialize();

    Inbox inbox;
    auto const handlers = inbox.handlers();
    std::atomic<std::size_t> handedOver{0};
    std::thread link([&] {
        for (std::size_t i = 0; i < kMessages; ++i, ++handedOver)
            handlers.received(
                1, zel::Message::deserialize(zel::InternalErrorProviderToEngine::kTypeCode, payload));
    });
    for (std::size_t before = kMessages; before != handedOver || handedOver == 0;) { // until it stands still
        before = handedOver;
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
    }
    EXPECT_GT(handedOver, 1u);
    EXPECT_LE(handedOver, kMostHeld);
    std::size_t taken = 0;
    for (auto const end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
         taken < kMessages && std::chrono::steady_clock::now() < end;)
        if (inbox.take())
            ++taken;
    EXPECT_EQ(kMessages, taken) << "nothing is lost, and who waited goes on";
    inbox.close();
    link.join();
}
