#include <engine/report/ReportQueue.h>

#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <cstdint>
#include <deque>
#include <mutex>

namespace engine {

struct ReportQueue::Shared
{
    explicit Shared(ReportFile one) : path(one.path()), file(std::move(one)) {}

    struct Job
    {
        std::string line;
        bool sync = false;
    };

    std::string const path;
    ReportFile file;  // the thread's
    std::mutex mutex; // guards what follows
    std::condition_variable changed;
    std::deque<Job> jobs; // the first is being written
    std::size_t bytes = 0;
    std::uint64_t given = 0, done = 0;
    int error = 0; // of the last that was done
    bool isClosed = false;
};

ReportQueue::ReportQueue(ReportFile file, std::chrono::milliseconds patience)
    : m_shared(std::make_shared<Shared>(std::move(file))), m_patience(patience)
{
    sigset_t all, before; // signals are the other threads'
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    m_thread = std::thread([shared = m_shared] { work(*shared); });
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

ReportQueue::~ReportQueue()
{
    bool isIdle = false;
    {
        std::lock_guard<std::mutex> const guard(m_shared->mutex);
        m_shared->isClosed = true;
        isIdle = m_shared->jobs.empty();
    }
    m_shared->changed.notify_all();
    if (isIdle)
        m_thread.join();
    else
        m_thread.detach();
}

std::string const& ReportQueue::path() const noexcept { return m_shared->path; }

int ReportQueue::put(std::string line, bool sync)
{
    Shared& shared = *m_shared;
    std::unique_lock<std::mutex> lock(shared.mutex);
    bool const isLate = !shared.jobs.empty();
    if (isLate && shared.bytes + line.size() > kMostBytes)
        return ETIMEDOUT;
    shared.bytes += line.size();
    shared.jobs.push_back({std::move(line), sync});
    std::uint64_t const number = ++shared.given;
    shared.changed.notify_all();
    if (isLate || !shared.changed.wait_for(lock, m_patience, [&] { return shared.done >= number; }))
        return ETIMEDOUT;
    return shared.error;
}

void ReportQueue::work(Shared& shared)
{
    std::unique_lock<std::mutex> lock(shared.mutex);
    for (;;) {
        shared.changed.wait(lock, [&] { return !shared.jobs.empty() || shared.isClosed; });
        if (shared.jobs.empty())
            return;
        Shared::Job const& job = shared.jobs.front(); // stays where it is when others come
        lock.unlock();
        int error = shared.file.append(job.line);
        if (error == 0 && job.sync)
            error = shared.file.sync();
        lock.lock();
        shared.bytes -= job.line.size();
        shared.jobs.pop_front();
        shared.error = error;
        ++shared.done;
        shared.changed.notify_all();
    }
}

} // namespace engine
