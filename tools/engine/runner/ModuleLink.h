#pragma once
// What modules are started with and heard by.

#include <engine/runner/linux/Inbox.h>
#include <engine/runner/linux/Keeper.h>

#include <zel/ipc/IPCServer.h>

#include <memory>

namespace engine {

/// A module finds its engine by the process, so a process has one at a time. Thread rule: the main thread's.
struct ModuleLink
{
    /// Throws IPCException when modules could not reach this process.
    ModuleLink() = default;
    ~ModuleLink() { close(); }
    ModuleLink(ModuleLink const&) = delete;
    ModuleLink& operator=(ModuleLink const&) = delete;

    /// Whoever is connected is left, and nobody is heard any more.
    void close()
    {
        inbox.close(); // the server waits for its thread, which may wait for room in there
        server.reset();
    }

    Keeper keeper; // before the server has a thread
    Inbox inbox;
    std::unique_ptr<zel::IPCServer> server = std::make_unique<zel::IPCServer>(inbox.handlers());
};

} // namespace engine
