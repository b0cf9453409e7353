#pragma once

#include <zel/foundation/OStream.h>

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace engine {

/// Hands on to another stream what is written, by a thread of its own: who writes never waits, also while a terminal is
/// stopped (Ctrl-S) or nobody reads a pipe. What does not fit meanwhile is left out, which is said afterwards. Thread rule:
/// any thread.
class QueuedStream final : public zel::OStream
{
public:
    static constexpr std::size_t kMostBytes = 256u << 10; ///< that wait

    explicit QueuedStream(zel::OStream& to);
    /// Waits until everything is written.
    ~QueuedStream() override;

    void write(std::string_view utf8) override;
    void flush() override {}
    bool failed() const override { return m_to.failed(); }
    /// Whether something waits: what only shows how things stand can be left out then.
    bool isBehind();

private:
    void begin();
    void handOn();

    zel::OStream& m_to;
    std::mutex m_mutex; // guards what follows
    std::condition_variable m_changed;
    std::string m_waiting;
    bool m_isWriting = false, m_isCut = false, m_isClosed = false;
    std::thread m_thread;
};

} // namespace engine
