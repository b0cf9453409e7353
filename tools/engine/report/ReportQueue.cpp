#include <engine/report/ReportQueue.h>

#include <engine/report/linux/Priority.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <utility>

namespace engine {

namespace {

// What ends a run mostly stands right before what begins the next one, or ends the session.
constexpr std::chrono::microseconds kMoment{300};

} // namespace

struct ReportQueue::Job
{
    std::string line;
    Sync sync = Sync::Never;
    std::function<void()> work{}; // instead
    bool isBehindSync = false;
};

struct ReportQueue::Shared
{
    explicit Shared(ReportFile one) : path(one.path()), file(std::move(one)) {}

    std::string const path;
    ReportFile file;                               // the thread's
    std::vector<std::function<void()>> behindSync; // the thread's: waits for the next one
    std::mutex mutex;                              // guards what follows
    std::condition_variable changed;
    std::vector<Job> jobs;  // for the thread to take, all at once
    bool isWriting = false; // those that it took
    bool isWorking = false; // behind them
    std::size_t bytes = 0;  // of all that are not written
    int error = 0;          // the first
    bool isLate = false;    // somebody waited in vain for what is not written yet
    bool isClosed = false;
    bool isAwaited = false; // somebody waits until all is written

    bool isWritten() const { return jobs.empty() && !isWriting; }
    bool isIdle() const { return isWritten() && !isWorking; }
    bool canWait() const
    {
        return !isClosed && !isAwaited && bytes < kMostBytes &&
               std::all_of(jobs.begin(), jobs.end(), [](Job const& one) { return one.sync == Sync::Soon; });
    }
    void add(Job job)
    {
        bytes += job.line.size();
        jobs.push_back(std::move(job));
        changed.notify_all();
    }
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
    finish();
    bool isIdle = false;
    {
        std::lock_guard<std::mutex> const guard(m_shared->mutex);
        m_shared->isClosed = true;
        isIdle = m_shared->isIdle();
    }
    m_shared->changed.notify_all();
    if (isIdle)
        m_thread.join();
    else
        m_thread.detach();
}

std::string const& ReportQueue::path() const noexcept { return m_shared->path; }

int ReportQueue::waitFor(std::unique_lock<std::mutex>& lock, bool (*isMet)(Shared const&))
{
    Shared& shared = *m_shared;
    if (!shared.isLate && !shared.changed.wait_for(lock, m_patience, [&] { return isMet(shared); }))
        shared.isLate = true;
    return shared.isLate ? ETIMEDOUT : shared.error;
}

int ReportQueue::put(std::string line, Sync sync)
{
    Shared& shared = *m_shared;
    std::unique_lock<std::mutex> lock(shared.mutex);
    int const error = waitFor(lock, [](Shared const& one) { return one.bytes < kMostBytes; });
    if (shared.bytes < kMostBytes)
        shared.add({std::move(line), sync});
    return error;
}

void ReportQueue::put(std::function<void()> work)
{
    std::lock_guard<std::mutex> const guard(m_shared->mutex);
    m_shared->add({{}, Sync::Never, std::move(work)});
}

void ReportQueue::putBehindSync(std::function<void()> work)
{
    std::lock_guard<std::mutex> const guard(m_shared->mutex);
    m_shared->add({{}, Sync::Never, std::move(work), true});
}

int ReportQueue::waitForAll(bool (*isMet)(Shared const&))
{
    std::unique_lock<std::mutex> lock(m_shared->mutex);
    m_shared->isAwaited = true;
    m_shared->changed.notify_all();
    int const error = waitFor(lock, isMet);
    m_shared->isAwaited = false;
    return error;
}

int ReportQueue::flush()
{
    return waitForAll([](Shared const& one) { return one.isWritten(); });
}

int ReportQueue::finish()
{
    return waitForAll([](Shared const& one) { return one.isIdle(); });
}

// One wait for the disk serves all that came while it was waited for the last time.
int ReportQueue::write(Shared& shared, std::vector<Job> jobs, std::vector<std::function<void()>>& behindSync)
{
    int first = 0;
    bool sync = false;
    for (Job& job : jobs) {
        if (job.isBehindSync) {
            shared.behindSync.push_back(std::move(job.work));
        } else if (job.work) {
            job.work();
        } else {
            int const error = shared.file.append(job.line);
            first = first != 0 ? first : error;
            sync = sync || (job.sync != Sync::Never && error == 0);
        }
    }
    if (!sync)
        return first;
    int const error = shared.file.sync();
    behindSync.swap(shared.behindSync);
    return first != 0 ? first : error;
}

void ReportQueue::work(Shared& shared)
{
    goBeforeModules(); // no test begins before its record is on disk
    std::unique_lock<std::mutex> lock(shared.mutex);
    for (;;) {
        shared.changed.wait(lock, [&] { return !shared.jobs.empty() || shared.isClosed; });
        if (shared.jobs.empty())
            return;
        shared.changed.wait_for(lock, kMoment, [&] { return !shared.canWait(); });
        std::vector<Job> jobs = std::exchange(shared.jobs, {});
        shared.isWriting = true;
        std::size_t bytes = 0;
        for (Job const& job : jobs)
            bytes += job.line.size();
        lock.unlock();
        std::vector<std::function<void()>> behindSync;
        int const error = write(shared, std::move(jobs), behindSync);
        lock.lock();
        shared.bytes -= bytes;
        shared.isWriting = false;
        shared.error = shared.error != 0 ? shared.error : error;
        if (shared.isWritten())
            shared.isLate = false;
        shared.isWorking = !behindSync.empty();
        shared.changed.notify_all();
        if (behindSync.empty())
            continue;
        lock.unlock();
        for (auto const& one : behindSync)
            one();
        behindSync.clear();
        lock.lock();
        shared.isWorking = false;
        if (shared.isIdle())
            shared.isLate = false;
        shared.changed.notify_all();
    }
}

} // namespace engine
