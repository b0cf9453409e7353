#pragma once
// Whole pieces of text onto a descriptor, by a thread of its own: who watches never waits for who reads.

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace engine {

/// A terminal may be stopped (Ctrl-S), a pipe not be read. What does not fit meanwhile is left out, piece by piece, and told
/// afterwards. Thread rule: any thread.
class LineOutput
{
public:
    static constexpr std::size_t kMostBytes = std::size_t{4} << 20; ///< that wait
    /// Makes the piece that says that so many were left out.
    using Gap = std::function<std::string(std::size_t pieces)>;

    LineOutput(int descriptor, Gap gap);
    ~LineOutput();

    void put(std::string piece);
    /// Something waits: what only shows how things stand can be left out then.
    bool isBehind();
    /// The reader has gone (a closed pipe).
    bool isClosed();
    /// Why something could not be written otherwise; empty: nothing.
    std::string error();
    /// Waits until all is written, but not longer than so. False: something is left.
    bool finish(std::chrono::milliseconds longest);

private:
    void work();
    bool write(std::string const& text);

    int const m_descriptor;
    Gap const m_gap;
    std::mutex m_mutex; // guards what follows
    std::condition_variable m_changed;
    std::string m_waiting, m_error;
    std::size_t m_leftOut = 0;
    bool m_isWriting = false, m_isReaderGone = false, m_isEnding = false;
    std::thread m_thread;
};

} // namespace engine
