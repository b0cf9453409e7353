#pragma once
// One end of a connection: the same for the engine and for its modules.

#include <zel/ipc/Frame.h>
#include <zel/ipc/Message.h>
#include <zel/ipc/SendQueue.h>

#include <zel/foundation/linux/FileDescriptor.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <span>

namespace zel {

/// Thread rule: flush() is the link's thread's; receive() is one thread's at a time; the others are anybody's.
class Connection
{
public:
    using Clock = std::chrono::steady_clock;
    using Received = std::function<void(std::shared_ptr<Message const>)>;
    enum class Queued {
        Sent,
        Waits,   ///< and flush() is to be called once the socket takes more
        Behind,  ///< likewise, and whoever calls that knows already
        TooMany, ///< it was not taken
        Closed   ///< likewise
    };

    /// A connected socket that does not block.
    explicit Connection(FileDescriptor socket) : m_socket(std::move(socket)) {}

    int descriptor() const noexcept { return m_socket.number(); }

    /// Sends as much as goes at once. Takes the frame, or leaves it as it is.
    Queued queue(OutgoingFrame& frame);
    bool hasWaiting() const;
    void flush();
    /// False when there was none in time. True also when the connection ended.
    bool waitForRoom(Clock::time_point until);
    /// False when it did not come to that in time, or the connection ended before.
    bool waitUntilSent(Clock::time_point until);

    /// Reads once and hands over each message that is complete; `buffer` is for what is read. False when the
    /// connection has ended, and why() says why.
    bool receive(std::span<char> buffer, Received const& received);
    /// No more is sent, and receive() comes to the end. Of several reasons the first counts.
    void end(String const& reason);
    /// Empty: the other side ended it, or somebody here without a reason.
    String why() const;

private:
    bool sendFront();
    void stopSending();
    void readFrames(std::string_view bytes, Received const& received);

    FileDescriptor m_socket;
    FrameReader m_reader;

    mutable std::mutex m_mutex; // guards what follows, and who sends
    std::condition_variable m_changed;
    SendQueue m_queue;
    std::size_t m_sentOfFront = 0;
    bool m_canSend = true;
    bool m_hasEnded = false;
    String m_why;
};

} // namespace zel
