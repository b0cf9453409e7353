#pragma once
// Locks of the platform, taken through scoped guards.
//
//     zel::Mutex m_mutex; // guards m_queue
//     zel::AutoMutex guard(m_mutex);
//
// Thread rule: everything here may be used from any thread; a guard belongs to the thread that made it.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <limits>
#include <mutex>
#include <shared_mutex>

namespace zel {

/// Recursive: a guarded operation may call another one that takes the same mutex (the timed progress report
/// calls the plain one), and a callback of module code that runs under a lock may come back into the library.
class Mutex
{
public:
    Mutex() = default;
    Mutex(Mutex const&) = delete;
    Mutex& operator=(Mutex const&) = delete;

    void lock() { m_mutex.lock(); }
    bool try_lock() { return m_mutex.try_lock(); }
    void unlock() { m_mutex.unlock(); }

private:
    std::recursive_mutex m_mutex;
};

/// Holds a mutex for the life of the guard.
class [[nodiscard]] AutoMutex
{
public:
    explicit AutoMutex(Mutex& mutex) : m_guard(mutex) {}

private:
    std::lock_guard<Mutex> m_guard;
};

/// Many readers or one writer. Not recursive: a thread that holds it takes it no second time.
class ReadWriteLock
{
public:
    ReadWriteLock() = default;
    ReadWriteLock(ReadWriteLock const&) = delete;
    ReadWriteLock& operator=(ReadWriteLock const&) = delete;

private:
    friend class ReadGuard;
    friend class WriteGuard;
    std::shared_mutex m_mutex;
};

class [[nodiscard]] ReadGuard
{
public:
    explicit ReadGuard(ReadWriteLock& lock) : m_guard(lock.m_mutex) {}

private:
    std::shared_lock<std::shared_mutex> m_guard;
};

class [[nodiscard]] WriteGuard
{
public:
    explicit WriteGuard(ReadWriteLock& lock) : m_guard(lock.m_mutex) {}

private:
    std::unique_lock<std::shared_mutex> m_guard;
};

/// Counting semaphore. Each `post` lets one `wait` through, also one that comes later.
class ManagedSemaphore
{
public:
    static constexpr std::uint32_t kForever = std::numeric_limits<std::uint32_t>::max();

    explicit ManagedSemaphore(std::uint64_t count = 0) : m_count(count) {}
    ManagedSemaphore(ManagedSemaphore const&) = delete;
    ManagedSemaphore& operator=(ManagedSemaphore const&) = delete;

    void post()
    {
        // Notified under the lock, so that a woken waiter may destroy the semaphore at once.
        std::lock_guard<std::mutex> guard(m_mutex);
        ++m_count;
        m_posted.notify_one();
    }

    /// Takes one count. False when none came within `milliseconds`; 0 only looks, kForever waits without end.
    /// Measured on the steady clock.
    bool wait(std::uint32_t milliseconds = kForever)
    {
        std::unique_lock<std::mutex> guard(m_mutex);
        auto const available = [this] { return m_count > 0; };
        if (milliseconds == kForever)
            m_posted.wait(guard, available);
        else if (milliseconds ==
                 0) { // a wait of no time at all would still sleep for the kernel's timer slack
            if (!available())
                return false;
        } else if (!m_posted.wait_for(guard, std::chrono::milliseconds(milliseconds), available))
            return false;
        --m_count;
        return true;
    }

private:
    std::mutex m_mutex; // guards m_count
    std::condition_variable m_posted;
    std::uint64_t m_count;
};

} // namespace zel
