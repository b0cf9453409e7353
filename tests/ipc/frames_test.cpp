// Bytes that are no frames, at both ends: the connection is closed, and everybody else goes on.
#include <ipc/Link.h>
#include <ipc/RandomMessage.h>

#include <zel/ipc/Frame.h>
#include <zel/ipc/SendQueue.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <sys/socket.h>
#include <unistd.h>

using namespace zel;
using namespace zel::test;

namespace {

struct Bad
{
    char const* what;
    std::string bytes;
    bool isRefused = true; ///< false: it is passed over, or the rest is waited for
};

std::string withByte(std::string frame, std::size_t at, char byte)
{
    frame.at(at) = byte;
    return frame;
}

std::string random(std::size_t size)
{
    std::mt19937 numbers(1);
    std::string bytes(size, 'r');
    for (char& one : bytes)
        one = static_cast<char>(numbers());
    return bytes;
}

std::vector<Bad> badStreams()
{
    std::string const stop = frameOf(StopTestEngineToProvider());
    return {
        {"random bytes", random(4096)},
        {"another magic", withByte(stop, 0, 'z')},
        {"another version", withByte(stop, 4, 2)},
        {"longer than allowed", withByte(withByte(stop, 11, 0x10), 8, 1)},
        {"longest of all", withByte(withByte(stop, 11, '\xff'), 10, '\xff')},
        {"a good one, then one of another version", stop + withByte(stop, 4, 2)},
        {"a good one, then random bytes", stop + random(100)},
        {"an empty payload", frameOf(36, "")},
        {"another message's payload", frameOf(36, EnumerationMessage().serialize())},
        {"half a payload", frameOf(36, StopTestEngineToProvider().serialize().substr(0, 20))},
        {"bytes in a payload", frameOf(33, random(1000))},
        {"a type that nobody knows", frameOf(60000, random(1000)), false},
    };
}

} // namespace

TEST(FrameReader, putsTogetherWhatComesInAnyPieces)
{
    std::string stream;
    std::vector<std::string> payloads;
    for (std::size_t size : {0u, 1u, 11u, 12u, 13u, 500u, 70'000u, 0u, 3u}) {
        payloads.push_back(random(size));
        stream += frameOf(static_cast<int>(size % 100), payloads.back());
    }
    for (std::size_t piece : {1u, 2u, 5u, 12u, 13u, 64u, 4096u, 1'000'000u}) {
        FrameReader reader;
        std::size_t frames = 0;
        for (std::size_t at = 0; at < stream.size(); at += piece) {
            std::string const copy = stream.substr(at, piece); // what was read is gone afterwards
            for (std::string_view bytes = copy;;) {
                auto const status = reader.take(bytes);
                ASSERT_NE(FrameReader::Status::Malformed, status) << reader.complaint().toUtf8();
                if (status == FrameReader::Status::Incomplete) {
                    EXPECT_TRUE(bytes.empty());
                    break;
                }
                ASSERT_LT(frames, payloads.size());
                EXPECT_EQ(payloads[frames], reader.payload());
                EXPECT_EQ(payloads[frames].size() % 100, static_cast<std::size_t>(reader.typeCode()));
                ++frames;
            }
        }
        EXPECT_EQ(payloads.size(), frames) << "in pieces of " << piece;
        EXPECT_FALSE(reader.isInside());
    }
}

TEST(FrameReader, keepsNoMemoryForWhatIsOnlyPromised)
{
    std::string frame = frameOf(36, "");
    frame[11] = 0x10; // 256 MiB, the most there may be
    FrameReader reader;
    std::string_view bytes(frame);
    EXPECT_EQ(FrameReader::Status::Incomplete, reader.take(bytes));
    EXPECT_TRUE(reader.isInside());
}

// What goes out is looked for in vain by what would stand in its place.
TEST(SendQueue, replacesOnlyWhatStillWaits)
{
    auto const progress = [](ProgressBody::What what, std::string const& text) {
        ProgressBody body;
        body.what = what;
        body.information = text;
        return OutgoingFrame::of(TestProgressProviderToEngine(body));
    };
    auto const information = [&](char const* text) {
        return progress(ProgressBody::What::Information, text);
    };
    auto const large = [&] {
        return progress(ProgressBody::What::Events, std::string(SendQueue::kCalm, 'x'));
    };
    SendQueue queue;
    auto replaces = [&queue](OutgoingFrame frame) { return queue.replace(frame); };
    queue.push(information("few bytes wait"));
    EXPECT_FALSE(replaces(information("stands behind it")));
    queue.push(information("stands behind it"));
    queue.push(large());
    queue.push(large());
    for (char const* text : {"few bytes wait", "\"2\""}) {
        EXPECT_TRUE(replaces(information("2")));
        EXPECT_NE(std::string::npos, queue.front().payload.find(text));
        queue.pop();
    }
    EXPECT_FALSE(replaces(information("3")));
    queue.push(information("3"));
    EXPECT_TRUE(replaces(information("4")));
    for (std::size_t const size : {large().size(), large().size(), information("4").size()}) {
        EXPECT_EQ(size, queue.front().size());
        queue.pop();
    }
    EXPECT_TRUE(queue.isEmpty());
}

TEST(BadFrames, endTheirConnectionWithTheEngineAndNoOther)
{
    Engine engine;
    Module witness(::getpid());
    std::size_t parted = 0;
    for (Bad const& bad : badStreams()) {
        int const socket = connectRaw();
        ASSERT_GE(socket, 0);
        sendRaw(socket, bad.bytes);
        if (bad.isRefused) {
            EXPECT_TRUE(isClosedByPeer(socket)) << bad.what;
            ASSERT_TRUE(engine.hasParted(++parted)) << bad.what;
            EXPECT_NE(std::string::npos, engine.heard.goodbyes.back().toUtf8().find("broke the rules"))
                << bad.what;
        } else {
            sendRaw(socket, frameOf(EnumerationMessage()));
            ::shutdown(socket, SHUT_WR);
            ASSERT_TRUE(engine.hasParted(++parted)) << bad.what;
            EXPECT_TRUE(engine.heard.goodbyes.back().empty()) << bad.what;
        }
        ::close(socket);
        ASSERT_TRUE(witness.client.queue(InternalErrorProviderToEngine()));
        ASSERT_TRUE(engine.heard.wait([](Heard& all) {
            return std::any_of(all.messages.begin(), all.messages.end(),
                               [](auto const& one) { return one->typeCode() == 3; });
        })) << bad.what;
        engine.heard.note([](Heard& all) { all.messages.clear(); });
    }
}

TEST(BadFrames, loseTheEngineThatSendsThem)
{
    for (Bad const& bad : badStreams()) {
        FakeEngine fake;
        Module module(::getpid());
        ASSERT_TRUE(module.isIn) << module.client.failure().toUtf8();
        int const engine = fake.accept();
        sendRaw(engine, bad.bytes);
        if (!bad.isRefused) {
            sendRaw(engine, frameOf(StopTestEngineToProvider()));
            EXPECT_TRUE(module.heard.waitForMessages(1)) << bad.what;
            EXPECT_TRUE(module.client.commMgr().isRemoteRunning()) << bad.what;
        } else {
            EXPECT_TRUE(module.isLost()) << bad.what;
            EXPECT_FALSE(module.client.commMgr().isRemoteRunning()) << bad.what;
            EXPECT_TRUE(isClosedByPeer(engine)) << bad.what;
        }
        ::close(engine);
    }
}

TEST(BadFrames, cutOffAtEveryByteTheyAreAnEndAndNoMessage)
{
    Engine engine;
    std::string const frame = frameOf(*randomMessage(57, 4));
    for (std::size_t size = 0; size < frame.size(); ++size) {
        int const socket = connectRaw();
        ASSERT_GE(socket, 0);
        ASSERT_TRUE(sendRaw(socket, frame.substr(0, size)));
        ::close(socket);
        ASSERT_TRUE(engine.hasParted(size + 1)) << size;
        EXPECT_EQ(size == 0 ? "" : "it ended in the middle of a message",
                  engine.heard.goodbyes.back().toUtf8())
            << size;
    }
    EXPECT_TRUE(engine.heard.messages.empty());
}

TEST(BadFrames, aMessageInSingleBytesIsOne)
{
    Engine engine;
    int const socket = connectRaw();
    auto const message = randomMessage(32, 9);
    for (char const byte : frameOf(*message))
        ASSERT_TRUE(sendRaw(socket, std::string(1, byte)));
    ASSERT_TRUE(engine.heard.waitForMessages(1));
    EXPECT_EQ(dump(*message), dump(*engine.heard.messages[0]));
    ::close(socket);
}

TEST(BadFrames, whoConnectsAndSaysNothingHoldsNobodyUp)
{
    Engine engine;
    std::vector<int> silent;
    for (int i = 0; i < 200; ++i)
        silent.push_back(connectRaw());
    Module module(::getpid());
    ASSERT_TRUE(module.client.queue(EnumerationMessage()));
    EXPECT_TRUE(engine.heard.waitForMessages(1));
    for (int const one : silent)
        ::close(one);
    EXPECT_TRUE(engine.hasParted(silent.size()));
}
