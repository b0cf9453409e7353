#include <common/Workers.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace krel5::modules {
namespace {

constexpr std::chrono::milliseconds kPollInterval(10);

/// Joins its threads on every way out.
struct Crew
{
    WorkerControl m_control;
    std::mutex m_mutex;
    std::condition_variable m_ended;
    unsigned m_running = 0;         // guarded by m_mutex
    std::exception_ptr m_exception; // guarded by m_mutex; the first one
    std::vector<std::thread> m_threads;

    ~Crew()
    {
        m_control.stop();
        for (auto& thread : m_threads)
            thread.join();
    }

    void runOne(Work const& work, unsigned worker) noexcept
    {
        try {
            work(worker, m_control);
        } catch (...) {
            m_control.stop();
            std::lock_guard lock(m_mutex);
            if (!m_exception)
                m_exception = std::current_exception();
        }
        std::lock_guard lock(m_mutex);
        --m_running;
        m_ended.notify_one();
    }

    void start(Work const& work, unsigned count)
    {
        m_threads.reserve(count);
        for (unsigned worker = 0; worker < count; ++worker) {
            {
                std::lock_guard lock(m_mutex);
                ++m_running;
            }
            m_threads.emplace_back([this, &work, worker] { runOne(work, worker); });
        }
    }

    /// True when all have ended.
    bool waitABit()
    {
        std::unique_lock lock(m_mutex);
        return m_ended.wait_for(lock, kPollInterval, [this] { return m_running == 0; });
    }
};

int percentOf(std::uint64_t done, std::uint64_t total, ProgressSpan span)
{
    double const share = std::min(1.0, double(done) / double(total));
    return span.m_from + static_cast<int>(share * (span.m_to - span.m_from));
}

} // namespace

bool runWorkers(TestHost& host, unsigned count, std::uint64_t totalUnits, Work const& work, ProgressSpan span)
{
    if (host.stopRequested())
        return false;
    bool stopped = false;
    Crew crew;
    crew.start(work, std::max(1u, count));
    while (!crew.waitABit()) {
        if (host.stopRequested()) {
            stopped = true;
            crew.m_control.stop();
        }
        host.progress(percentOf(crew.m_control.done(), totalUnits, span));
    }
    if (crew.m_exception)
        std::rethrow_exception(crew.m_exception);
    if (!stopped)
        host.progress(span.m_to);
    return !stopped;
}

} // namespace krel5::modules
