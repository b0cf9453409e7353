#pragma once
// Waits for one kind of message from the engine while another thread receives all of them.
//
//     waiter->setWantedMessageType(zel::RunTestEngineToProvider::kTypeCode);
//     client.queue(request);
//     if (auto const reply = waiter->waitForMessage(120000)) ...

#include <zel/foundation/Locks.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <vector>

namespace zel {
class Message;
}

namespace krel5 {

/// Thread rule: the thread that receives offers messages; another one waits, or the same one; the rest is anybody's.
class CommMessageWaiter
{
public:
    using MessagePointer = std::shared_ptr<zel::Message const>;
    static constexpr std::uint32_t kForever = zel::ManagedSemaphore::kForever;
    /// Receives on the thread that waits, at most so many milliseconds, until `isTaken` says that a message was taken. False
    /// when none was.
    using Receive = std::function<bool(std::uint32_t milliseconds, std::function<bool()> const& isTaken)>;

    CommMessageWaiter() = default;
    CommMessageWaiter(CommMessageWaiter const&) = delete;
    CommMessageWaiter& operator=(CommMessageWaiter const&) = delete;

    /// One type more; before the first none is wanted.
    void setWantedMessageType(int typeCode);
    /// Takes the message when its type is wanted. True when taken.
    bool wantThisMessage(MessagePointer const& message);
    /// The oldest message taken; waits for one, at most so many milliseconds. Null when none came. `isOver`, where there is
    /// one, is asked before the wait and every tenth of a second of it: from true on only what is there already counts.
    /// Where there is `receive`, the wait is spent there.
    MessagePointer waitForMessage(std::uint32_t milliseconds, std::function<bool()> const& isOver = {},
                                  Receive const& receive = {});

protected:
    zel::ManagedSemaphore m_taken; ///< posted once for each message of the queue

private:
    bool waitUntilTaken(std::uint32_t milliseconds, std::function<bool()> const& isOver,
                        Receive const& receive);

    zel::Mutex m_typesMutex; // guards m_wantedTypes
    std::vector<int> m_wantedTypes;
    zel::Mutex m_queueMutex; // guards m_queue
    std::deque<MessagePointer> m_queue;
};

} // namespace krel5
