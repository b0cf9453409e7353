#pragma once
// The one thread that each end of a link owns.

#include <zel/foundation/linux/FileDescriptor.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <thread>

namespace zel {

/// Thread rule: start() and join() are the owner's; the others anybody's. A process that was forked off has the
/// object and not the thread: isHere() is false there, and wake() and join() do nothing.
class LinkThread
{
public:
    LinkThread() = default;
    ~LinkThread() { join(); }
    LinkThread(LinkThread const&) = delete;
    LinkThread& operator=(LinkThread const&) = delete;

    /// 0 or an errno value. The thread leaves all signals to the others but those of its own faults.
    int start(std::function<void()> body);
    void join() noexcept;
    bool isHere() const noexcept;
    bool isCurrent() const noexcept { return m_thread && m_thread->get_id() == std::this_thread::get_id(); }

    /// Readable from a wake() on, until takeWakes().
    int wakeDescriptor() const noexcept { return m_wake.number(); }
    void wake() const noexcept;
    void takeWakes() const noexcept;

private:
    std::unique_ptr<std::thread> m_thread;
    FileDescriptor m_wake;
    std::int64_t m_process = -1;
};

} // namespace zel
