#pragma once
// Threads of a shipped test. Workers never call the host: they do their share, count their progress and poll
// a flag; the calling thread meanwhile passes progress and stop requests between them and the host.
//
//     bool finished = runWorkers(host, 4, totalUnits, [&](unsigned worker, WorkerControl& control) {
//         for (each piece of work) {
//             if (control.stopping())
//                 return;
//             control.advance(unitsDone);
//         }
//     });

#include <common/TestHost.h>

#include <atomic>
#include <cstdint>
#include <functional>

namespace krel5::modules {

/// Shared by the workers and the calling thread; every operation may be called from any thread.
class WorkerControl
{
public:
    /// A worker asks this at least every 20 ms of work and returns when it is true.
    bool stopping() const noexcept { return m_stopping.load(std::memory_order_relaxed); }
    void stop() noexcept { m_stopping.store(true, std::memory_order_relaxed); }
    void advance(std::uint64_t units) noexcept { m_done.fetch_add(units, std::memory_order_relaxed); }
    std::uint64_t done() const noexcept { return m_done.load(std::memory_order_relaxed); }

private:
    std::atomic<bool> m_stopping{false};
    // A line of its own: counting progress must not slow the polling of the flag.
    alignas(64) std::atomic<std::uint64_t> m_done{0};
};

/// The share of the whole run that one call of runWorkers stands for, in percent.
struct ProgressSpan
{
    int m_from = 0;
    int m_to = 100;
};

using Work = std::function<void(unsigned worker, WorkerControl& control)>;

/// Runs `work` on `count` threads (at least 1) and returns when all have ended. Progress goes from
/// `span.m_from` to `span.m_to` as the workers advance to `totalUnits`, which is at least 1. The host is asked for a stop every 10
/// ms. False when the run was stopped. An exception of a worker stops the others and is thrown again here,
/// after all have ended; a thread that cannot be made is such an exception (std::system_error).
bool runWorkers(TestHost& host, unsigned count, std::uint64_t totalUnits, Work const& work,
                ProgressSpan span = {});

} // namespace krel5::modules
