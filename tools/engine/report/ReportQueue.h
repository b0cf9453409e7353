#pragma once

#include <engine/report/linux/ReportFile.h>

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace engine {

/// Writes to a report by a thread of its own, so that a disk that does not answer holds nobody up for longer than the patience,
/// and that once. Thread rule: one thread at a time.
class ReportQueue
{
public:
    static constexpr std::size_t kMostBytes = 8u << 20; ///< that wait for such a disk; the rest is lost

    /// When a line is to be on disk.
    enum class Sync {
        Never, ///< whenever the system likes
        Soon,  ///< at once, but for a moment in which the next one may come, to be written with it
        Now
    };

    ReportQueue(ReportFile file, std::chrono::milliseconds patience);
    /// What still hangs then is left to itself; a process whose disk does not answer may not end before it does.
    ~ReportQueue();
    ReportQueue(ReportQueue const&) = delete;
    ReportQueue& operator=(ReportQueue const&) = delete;

    /// To be written, and then on disk as `sync` says; returns before that, but where more than kMostBytes wait. 0, or the
    /// first errno value of all that was written so far; ETIMEDOUT when the patience is over, and then at once, until all that
    /// waits is written.
    int put(std::string line, Sync sync);
    /// To be done by the thread that writes, behind what was put before, for it may wait for a disk. It must not throw.
    void put(std::function<void()> work);
    /// The same, but right after the next line that goes to the disk has got there: what stands on the same disk needs no
    /// wait of its own then.
    void putBehindSync(std::function<void()> work);
    /// Waits until all lines that were put are written, on disk where they were to be. Gives what put() gives.
    int flush();
    /// The same, and until all work is done.
    int finish();
    std::string const& path() const noexcept;

private:
    struct Shared;
    struct Job;
    static void work(Shared& shared);
    static int write(Shared& shared, std::vector<Job> jobs, std::vector<std::function<void()>>& behindSync);
    int waitFor(std::unique_lock<std::mutex>& lock, bool (*isMet)(Shared const&));
    int waitForAll(bool (*isMet)(Shared const&));

    std::shared_ptr<Shared> m_shared;
    std::chrono::milliseconds m_patience;
    std::thread m_thread;
};

} // namespace engine
