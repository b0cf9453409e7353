#pragma once
// A small engine: hears what modules say, message by message, and answers what a test tells it to.

#include <zel/ipc/IPCServer.h>

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>

namespace test {

/// Modules that this process starts find it by themselves. Thread rule: any thread.
class TestEngine
{
public:
    using MessagePointer = std::shared_ptr<zel::Message const>;
    static constexpr auto kLongEnough = std::chrono::seconds(20); ///< only a test that fails waits for it

    using Accepts = std::function<bool(std::int64_t processId)>;
    explicit TestEngine(Accepts accepts = [](std::int64_t) { return true; }) : m_accepts(std::move(accepts))
    {}

    /// The next message that a module sent, whichever it is; null when none comes.
    MessagePointer next()
    {
        std::unique_lock guard(m_mutex);
        m_changed.wait_for(guard, kLongEnough, [this] { return !m_messages.empty(); });
        if (m_messages.empty())
            return nullptr;
        MessagePointer message = std::move(m_messages.front().second);
        m_peer = m_messages.front().first;
        m_messages.pop_front();
        if (message->number() != 0)
            m_request = message->number();
        return message;
    }
    /// The next one of that class, after passing over others.
    template <typename M>
    std::shared_ptr<M const> next()
    {
        while (auto const message = next())
            if (auto const wanted = std::dynamic_pointer_cast<M const>(message))
                return wanted;
        ADD_FAILURE() << "no message " << M().name();
        static auto const s_none = std::make_shared<M const>();
        return s_none;
    }
    /// The next report of that kind, after passing over others.
    zel::ProgressBody next(zel::ProgressBody::What what)
    {
        for (;;) {
            auto const report = next<zel::TestProgressProviderToEngine>();
            if (report->body().what == what || ::testing::Test::HasFailure())
                return report->body();
        }
    }

    /// To the module whose message was the last one taken. A copy goes out, as the reply to the last request that was taken.
    template <typename M>
    void send(M message)
    {
        message.setNumber(m_request);
        sendTo(m_peer, message);
    }
    /// The number of that request.
    std::uint64_t request() const { return m_request; }
    /// As it is.
    void sendTo(zel::IPCServer::Peer peer, zel::Message const& message)
    {
        EXPECT_TRUE(m_server.queue(peer, message));
    }
    zel::IPCServer::Peer peer() const { return m_peer; }
    void disconnect() { m_server.disconnect(m_peer); }

    /// Whether the connections that ended are as many; waits for it.
    bool hasLost(unsigned count)
    {
        std::unique_lock guard(m_mutex);
        return m_changed.wait_for(guard, kLongEnough, [&] { return m_lost >= count; });
    }
    /// Why the last connection ended.
    zel::String lostBecause()
    {
        std::lock_guard const guard(m_mutex);
        return m_reason;
    }

private:
    zel::IPCServer::Handlers handlers()
    {
        return {.accepts = m_accepts,
                .connected = [](zel::IPCServer::Peer, std::int64_t) {},
                .received =
                    [this](zel::IPCServer::Peer peer, MessagePointer message) {
                        std::lock_guard const guard(m_mutex);
                        m_messages.emplace_back(peer, std::move(message));
                        m_changed.notify_all();
                    },
                .disconnected =
                    [this](zel::IPCServer::Peer, zel::String const& reason) {
                        std::lock_guard const guard(m_mutex);
                        ++m_lost;
                        m_reason = reason;
                        m_changed.notify_all();
                    }};
    }

    Accepts m_accepts;
    std::mutex m_mutex; // guards what follows, but for m_peer and m_request, which are the test's
    std::condition_variable m_changed;
    std::deque<std::pair<zel::IPCServer::Peer, MessagePointer>> m_messages;
    unsigned m_lost = 0;
    zel::String m_reason;
    zel::IPCServer::Peer m_peer = 0;
    std::uint64_t m_request = 0;
    zel::IPCServer m_server{handlers()}; // last: its thread uses all of the above
};

} // namespace test
