#include <zel/ipc/linux/Connection.h>

#include <zel/foundation/Exception.h>
#include <zel/foundation/Logger.h>
#include <zel/ipc/linux/Socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <new>
#include <sys/socket.h>
#include <sys/uio.h>

namespace zel {
namespace {

constexpr int kHow = MSG_DONTWAIT | MSG_NOSIGNAL;
constexpr std::size_t kSmall = 2048;

// Bytes of the frame that went out; -1 with errno.
ssize_t sendFrom(int socket, OutgoingFrame const& frame, std::size_t already)
{
    if (already == 0 && frame.size() <= kSmall) { // nearly always; the kernel takes one piece faster than two
        std::array<char, kSmall> bytes;
        std::copy(frame.header.begin(), frame.header.end(), bytes.begin());
        frame.payload.copy(bytes.data() + frame.header.size(), frame.payload.size());
        return retryOnInterrupt([&] { return ::send(socket, bytes.data(), frame.size(), kHow); });
    }
    std::size_t const ofHeader = std::min(already, frame.header.size());
    std::size_t const ofPayload = already - ofHeader;
    iovec parts[] = {{const_cast<char*>(frame.header.data()) + ofHeader, frame.header.size() - ofHeader},
                     {const_cast<char*>(frame.payload.data()) + ofPayload, frame.payload.size() - ofPayload}};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    return retryOnInterrupt([&] { return ::sendmsg(socket, &message, kHow); });
}

} // namespace

Connection::Queued Connection::queue(OutgoingFrame& frame)
{
    std::lock_guard<std::mutex> const guard(m_mutex);
    if (!m_canSend)
        return Queued::Closed;
    if (m_queue.replace(frame))
        return Queued::Behind;
    if (m_queue.isFull())
        return Queued::TooMany;
    if (!m_queue.isEmpty()) {
        m_queue.push(std::move(frame));
        return Queued::Behind;
    }
    m_queue.resume(std::move(frame));
    if (sendFront())
        return Queued::Sent;
    return m_canSend ? Queued::Waits : Queued::Closed;
}

// True when the frame in front went out whole.
bool Connection::sendFront()
{
    OutgoingFrame const& frame = m_queue.front();
    while (m_sentOfFront < frame.size()) {
        ssize_t const count = sendFrom(m_socket.number(), frame, m_sentOfFront);
        if (count < 0) {
            if (errno != EAGAIN)
                stopSending(); // the reading side finds the end, and before it what the other side had said
            return false;
        }
        m_sentOfFront += static_cast<std::size_t>(count);
    }
    m_sentOfFront = 0;
    m_queue.pop();
    return true;
}

void Connection::stopSending()
{
    m_canSend = false;
    m_queue.clear();
    m_changed.notify_all();
}

bool Connection::hasWaiting() const
{
    std::lock_guard<std::mutex> const guard(m_mutex);
    return !m_queue.isEmpty();
}

void Connection::flush()
{
    std::lock_guard<std::mutex> const guard(m_mutex);
    while (!m_queue.isEmpty() && sendFront()) {
    }
    m_changed.notify_all();
}

bool Connection::waitForRoom(Clock::time_point until)
{
    std::unique_lock<std::mutex> guard(m_mutex);
    return m_changed.wait_until(guard, until, [this] { return !m_queue.isFull() || !m_canSend; });
}

bool Connection::waitUntilSent(Clock::time_point until)
{
    std::unique_lock<std::mutex> guard(m_mutex);
    return m_changed.wait_until(guard, until, [this] { return m_queue.isEmpty() || !m_canSend; }) &&
           m_canSend;
}

void Connection::end(String const& reason)
{
    std::lock_guard<std::mutex> const guard(m_mutex);
    if (!m_hasEnded)
        m_why = reason;
    m_hasEnded = true;
    stopSending();
    ::shutdown(m_socket.number(), SHUT_RDWR);
}

String Connection::why() const
{
    std::lock_guard<std::mutex> const guard(m_mutex);
    return m_why;
}

bool Connection::receive(std::span<char> buffer, Received const& received)
{
    try {
        ssize_t const count = retryOnInterrupt(
            [&] { return ::recv(m_socket.number(), buffer.data(), buffer.size(), MSG_DONTWAIT); });
        if (count > 0)
            readFrames(std::string_view(buffer.data(), static_cast<std::size_t>(count)), received);
        else if (count == 0 || errno != EAGAIN)
            end(m_reader.isInside() ? String("it ended in the middle of a message") : String());
    } catch (std::bad_alloc const&) {
        end("no memory for what it says");
    } catch (std::exception const& e) { // of whoever hears it
        end(String("what it said could not be taken: ") + e.what());
    }
    std::lock_guard<std::mutex> const guard(m_mutex);
    return !m_hasEnded;
}

void Connection::readFrames(std::string_view bytes, Received const& received)
{
    for (;;) {
        switch (m_reader.take(bytes)) {
        case FrameReader::Status::Incomplete:
            return;
        case FrameReader::Status::Malformed:
            end("it broke the rules: " + m_reader.complaint());
            return;
        case FrameReader::Status::Complete:
            break;
        }
        std::shared_ptr<Message const> message;
        try {
            message = Message::deserialize(m_reader.typeCode(), m_reader.payload());
        } catch (Exception const& e) {
            end("it broke the rules: message " + String::number(m_reader.typeCode()) + ": " + e.getMessage());
            return;
        }
        if (message)
            received(std::move(message));
        else
            ZEL_LOG(linkLogger(), LogLevel::Warning)
                << "a message of type " << m_reader.typeCode() << ", which is not known here, is passed over";
    }
}

} // namespace zel
