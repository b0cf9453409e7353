#pragma once
// Asks modules that choose their tests themselves, over the engine link.

#include <engine/catalog/Assignment.h>

#include <chrono>
#include <memory>

namespace zel {
class IPCServer;
}

namespace engine {

class Inbox;

/// Starts each module with "enum", hands it the machine's devices, and ties its tests to those that it answers with; one
/// that takes longer is ended. Modules find this process by its id, so it is gone before a Runner begins. Main thread.
class ModuleChoice final : public OwnChoice
{
public:
    explicit ModuleChoice(std::chrono::milliseconds patience = std::chrono::seconds(10));
    ~ModuleChoice() override;

    std::string choose(Module& module, zel::StateManager& machine) override;

private:
    struct Conversation;
    void open(zel::StateManager const& machine);

    std::chrono::milliseconds m_patience;
    std::shared_ptr<zel::StateManager const> m_devices; // what every module is told
    std::unique_ptr<Inbox> m_inbox;
    std::unique_ptr<zel::IPCServer> m_server;
};

} // namespace engine
