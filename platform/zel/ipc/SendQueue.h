#pragma once
// What waits to be sent, the most urgent first.

#include <zel/ipc/Frame.h>
#include <zel/ipc/Message.h>

#include <array>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace zel {

/// A message as it goes out.
struct OutgoingFrame
{
    FrameHeader::Bytes header{};
    std::string payload;
    Message::Priority priority = Message::Priority::Normal;
    /// What a newer message may take the place of: the run and what it tells of it. Empty: it is never replaced.
    std::string replaceable;

    /// Throws InvalidArgumentException for a message that is larger than a frame may be.
    static OutgoingFrame of(Message const& message);
    std::size_t size() const noexcept { return header.size() + payload.size(); }
};

/// Thread rule: one thread at a time.
class SendQueue
{
public:
    /// More than this waiting, and progress is replaced by newer progress: its reader is behind by thousands of
    /// messages, and wants to know how things are.
    static constexpr std::size_t kCalm = std::size_t{1} << 20;
    /// More than this waiting, and nothing is taken any more: the reader does not read.
    static constexpr std::size_t kMost = std::size_t{32} << 20;

    bool isEmpty() const noexcept { return m_bytes == 0; }
    bool isFull() const noexcept { return m_bytes > kMost; }
    std::size_t bytes() const noexcept { return m_bytes; }

    void push(OutgoingFrame frame);
    /// The frame is the next one, whatever its priority: a part of it is sent. REQUIRES: isEmpty().
    void resume(OutgoingFrame frame);
    /// Puts the frame in the place of the one that it replaces, if the queue is long and there is one; then the
    /// frame is taken.
    bool replace(OutgoingFrame& frame);
    /// The one to be sent next, which stays so until pop(): frames are never mixed. REQUIRES: not isEmpty().
    OutgoingFrame const& front();
    void pop();
    void clear();

private:
    static constexpr std::size_t kLevels = 4;
    struct Level
    {
        std::deque<OutgoingFrame> frames;
        std::uint64_t first = 0; // number of the one in front
    };
    struct Place
    {
        std::size_t level;
        std::uint64_t number;
    };

    std::array<Level, kLevels> m_levels;
    std::optional<OutgoingFrame> m_front; // taken out of its level: a more urgent one does not get before it
    std::unordered_map<std::string, Place> m_replaceable;
    std::size_t m_bytes = 0; // of all, m_front too
};

} // namespace zel
