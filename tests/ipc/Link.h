#pragma once
// An engine's end and a module's end that write down what they hear, and a raw peer that says what it likes.

#include <zel/ipc/IPCClient.h>
#include <zel/ipc/IPCServer.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace zel {
class LoginArea;
}

namespace zel::test {

inline constexpr std::chrono::seconds kPatience{30};

/// What was heard, by any thread.
class Heard
{
public:
    void note(std::function<void(Heard&)> const& change)
    {
        std::lock_guard<std::mutex> const guard(m_mutex);
        change(*this);
        m_changed.notify_all();
    }
    /// False when it does not become true.
    bool wait(std::function<bool(Heard&)> const& isSo)
    {
        std::unique_lock<std::mutex> guard(m_mutex);
        return m_changed.wait_for(guard, kPatience, [&] { return isSo(*this); });
    }
    bool waitForMessages(std::size_t count)
    {
        return wait([=](Heard& heard) { return heard.messages.size() >= count; });
    }

    // Within note() and wait().
    std::vector<std::shared_ptr<Message const>> messages;
    std::vector<IPCServer::Peer> peers;
    std::vector<String> goodbyes; ///< why, of each peer that is gone
    int losses = 0;

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
};

class Engine
{
public:
    Engine()
        : server({nullptr,
                  [this](IPCServer::Peer peer, std::int64_t) {
                      heard.note([=](Heard& all) { all.peers.push_back(peer); });
                  },
                  [this](IPCServer::Peer, std::shared_ptr<Message const> message) {
                      heard.note([&](Heard& all) { all.messages.push_back(std::move(message)); });
                  },
                  [this](IPCServer::Peer, String const& reason) {
                      heard.note([&](Heard& all) { all.goodbyes.push_back(reason); });
                  }})
    {}
    IPCServer::Peer peer(std::size_t index = 0)
    {
        heard.wait([=](Heard& all) { return all.peers.size() > index; });
        return heard.peers.at(index);
    }
    bool hasParted(std::size_t count = 1)
    {
        return heard.wait([=](Heard& all) { return all.goodbyes.size() >= count; });
    }

    Heard heard;
    IPCServer server;
};

/// Of an engine in this process, or in the one given.
class Module
{
public:
    explicit Module(std::int64_t engine)
        : client({[this](std::shared_ptr<Message const> message) {
                      heard.note([&](Heard& all) { all.messages.push_back(std::move(message)); });
                  },
                  [this] { heard.note([](Heard& all) { ++all.losses; }); }}),
          isIn(client.doLogin(IPCClient::getLoginSHMName(engine)))
    {}
    bool isLost()
    {
        return heard.wait([](Heard& all) { return all.losses > 0; });
    }

    Heard heard;
    IPCClient client;
    bool isIn;
};

/// How a frame would stand on the stream.
std::string frameOf(int typeCode, std::string const& payload);
std::string frameOf(Message const& message);

/// An engine that is none: an area of this process, and a socket that waits for one module.
class FakeEngine
{
public:
    FakeEngine();
    ~FakeEngine();
    /// The module that connected; bytes go out and come in as they are.
    int accept();

private:
    std::string m_folder;
    int m_socket;
    std::unique_ptr<LoginArea>
        m_area; // held: else other engines that start meanwhile take it for a dead one's
};

/// A module that is none: connected to the engine of this process. Closed by the caller; -1: not let in.
int connectRaw();
bool sendRaw(int socket, std::string const& bytes);
/// Whether the other side closes the connection, whatever it says before.
bool isClosedByPeer(int socket);

} // namespace zel::test
