#pragma once
// What lives beside the runs of a session and shares its link and its thread: modules that are watched meanwhile.

#include <engine/runner/linux/Inbox.h>
#include <engine/runner/linux/Keeper.h>

#include <zel/ipc/IPCServer.h>

#include <chrono>
#include <poll.h>
#include <vector>

namespace engine {

class Fetcher;

/// A module finds its engine by the process, which has one link. Thread rule: the main thread's.
class Companion
{
public:
    using Clock = std::chrono::steady_clock;
    /// All of them outlive the companion's work: until isOver().
    struct Engine
    {
        zel::IPCServer& server;
        Inbox& inbox;
        Keeper& keeper;
        Fetcher* fetcher; ///< null: nothing is fetched
    };

    virtual ~Companion() = default;
    virtual void begin(Engine const& engine) = 0;
    /// What is to be waited for beside the inbox, and until when at the latest.
    virtual void waitsFor(std::vector<pollfd>& waiting) const = 0;
    virtual Clock::time_point nextLook() const = 0;
    /// Takes what its processes have said.
    virtual void listen() = 0;
    /// False: it was for somebody else.
    virtual bool hear(News const& news) = 0;
    virtual void look(Clock::time_point now) = 0;
    /// Asks its modules to end.
    virtual void stop() = 0;
    /// No process of it is left.
    virtual bool isOver() const = 0;
};

} // namespace engine
