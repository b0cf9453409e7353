#pragma once
// What happens to a message from the engine, on the thread that receives it.

#include <libKrel5/internal/backends/engine/CommMessageWaiter.h>

#include <zel/ipc/MessageBodies.h>

#include <unordered_set>
#include <vector>

namespace krel5 {

/// Keeps which types have come, and the waiters that are offered each message, in the order of their registration. A message
/// that nobody waits for is dropped. Thread rule: any thread.
class ProviderMessageHandler
{
public:
    using MessagePointer = CommMessageWaiter::MessagePointer;

    /// Called for each message by the thread of the link; waits for nothing. An update request for which the library mutex is
    /// not free at once is kept. What goes wrong is logged.
    void handle(MessagePointer const& message) noexcept;
    /// Meets the update requests that were kept. REQUIRES: the library mutex.
    void applyUpdates();
    bool hasReceived(int typeCode) const;

    /// A waiter is offered messages from the making of its registration to the end of it.
    class Registration
    {
    public:
        Registration(ProviderMessageHandler& handler, std::shared_ptr<CommMessageWaiter> waiter);
        ~Registration();
        Registration(Registration const&) = delete;
        Registration& operator=(Registration const&) = delete;

    private:
        ProviderMessageHandler& m_handler;
        std::shared_ptr<CommMessageWaiter> m_waiter;
    };

private:
    static constexpr std::size_t kMostUpdates = 10'000; // that are kept

    void note(int typeCode);
    void update(zel::Message const& message);
    void offer(MessagePointer const& message);

    mutable zel::ReadWriteLock m_typesLock; // guards m_receivedTypes
    std::unordered_set<int> m_receivedTypes;
    zel::Mutex m_waitersMutex; // guards m_waiters; a waiter's own locks are taken after it
    std::vector<std::shared_ptr<CommMessageWaiter>> m_waiters;
    zel::Mutex m_updatesMutex; // guards m_updates; taken after the library mutex, or without it
    std::vector<zel::UpdateRequestBody> m_updates;
};

} // namespace krel5
