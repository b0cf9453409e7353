#pragma once
// What happens to a message from the engine, on the thread that receives it.

#include <libKrel5/internal/backends/engine/CommMessageWaiter.h>

#include <unordered_set>

namespace krel5 {

/// Keeps which types have come, and the waiters that are offered each message, in the order of their registration. A message
/// that nobody waits for is dropped. Thread rule: any thread.
class ProviderMessageHandler
{
public:
    using MessagePointer = CommMessageWaiter::MessagePointer;

    /// Called for each message by the thread of the link. Takes the library mutex for an update request; waits for nothing
    /// else. What goes wrong is logged.
    void handle(MessagePointer const& message) noexcept;
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
    void note(int typeCode);
    void offer(MessagePointer const& message);

    mutable zel::ReadWriteLock m_typesLock; // guards m_receivedTypes
    std::unordered_set<int> m_receivedTypes;
    zel::Mutex m_waitersMutex; // guards m_waiters; a waiter's own locks are taken after it
    std::vector<std::shared_ptr<CommMessageWaiter>> m_waiters;
};

} // namespace krel5
