#pragma once

#include <engine/report/linux/ReportFile.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>

namespace engine {

/// Writes to a report by a thread of its own, so that a disk that does not answer holds nobody up for longer than the patience,
/// and that once. Thread rule: one thread at a time.
class ReportQueue
{
public:
    static constexpr std::size_t kMostBytes = 8u << 20; ///< that wait for such a disk; the rest is lost

    ReportQueue(ReportFile file, std::chrono::milliseconds patience);
    /// What still hangs then is left to itself; a process whose disk does not answer may not end before it does.
    ~ReportQueue();
    ReportQueue(ReportQueue const&) = delete;
    ReportQueue& operator=(ReportQueue const&) = delete;

    /// Writes the line, and waits until it is on disk where `sync` says so. 0 or an errno value; ETIMEDOUT when the
    /// patience is over, and then at once, until all that waits is written.
    int put(std::string line, bool sync);
    std::string const& path() const noexcept;

private:
    struct Shared;
    static void work(Shared& shared);

    std::shared_ptr<Shared> m_shared;
    std::chrono::milliseconds m_patience;
    std::thread m_thread;
};

} // namespace engine
