#include <engine/watch/linux/LineOutput.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <poll.h>
#include <unistd.h>

namespace engine {
namespace {

// A pipe that is ready takes as much at once without waiting.
constexpr std::size_t kAtOnce = 4096;
constexpr int kLookEvery = 100; // milliseconds

} // namespace

LineOutput::LineOutput(int descriptor, Gap gap) : m_descriptor(descriptor), m_gap(std::move(gap))
{
    // Signals are the other threads': one that comes would break off what is being written.
    sigset_t all, before;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before); // a thread begins with the mask of who makes it
    m_thread = std::thread([this] { work(); });
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

LineOutput::~LineOutput()
{
    {
        std::lock_guard<std::mutex> const guard(m_mutex);
        m_isEnding = true;
    }
    m_changed.notify_all();
    m_thread.join();
}

void LineOutput::put(std::string piece)
{
    {
        std::lock_guard<std::mutex> const guard(m_mutex);
        if (m_isReaderGone || !m_error.empty())
            return;
        if (m_waiting.size() + piece.size() > kMostBytes) {
            ++m_leftOut;
            return;
        }
        if (m_leftOut > 0)
            m_waiting += m_gap(m_leftOut);
        m_leftOut = 0;
        m_waiting += piece;
    }
    m_changed.notify_all();
}

bool LineOutput::isBehind()
{
    std::lock_guard<std::mutex> const guard(m_mutex);
    return m_isWriting || !m_waiting.empty();
}

bool LineOutput::isClosed()
{
    std::lock_guard<std::mutex> const guard(m_mutex);
    return m_isReaderGone;
}

std::string LineOutput::error()
{
    std::lock_guard<std::mutex> const guard(m_mutex);
    return m_error;
}

bool LineOutput::finish(std::chrono::milliseconds longest)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    if (m_leftOut > 0)
        m_waiting += m_gap(m_leftOut);
    m_leftOut = 0;
    m_changed.notify_all();
    return m_changed.wait_for(lock, longest, [this] { return !m_isWriting && m_waiting.empty(); });
}

void LineOutput::work()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [this] { return !m_waiting.empty() || m_isEnding; });
        if (m_isEnding)
            return;
        std::string text;
        text.swap(m_waiting);
        m_isWriting = true;
        lock.unlock();
        bool const isWritten = write(text);
        int const error = errno;
        lock.lock();
        m_isWriting = false;
        if (!isWritten) {
            m_isReaderGone = error == EPIPE;
            if (error != EPIPE && error != 0)
                m_error = std::strerror(error); // nobody else asks for it
            m_waiting.clear();
        }
        m_changed.notify_all();
    }
}

bool LineOutput::write(std::string const& text)
{
    for (std::size_t done = 0; done < text.size();) {
        pollfd ready{m_descriptor, POLLOUT, 0};
        int const count = ::poll(&ready, 1, kLookEvery);
        if (count <= 0) {
            std::lock_guard<std::mutex> const guard(m_mutex);
            errno = 0;
            if (m_isEnding)
                return false;
            continue;
        }
        ssize_t const written =
            ::write(m_descriptor, text.data() + done, std::min(kAtOnce, text.size() - done));
        if (written >= 0)
            done += static_cast<std::size_t>(written);
        else if (errno != EINTR && errno != EAGAIN)
            return false;
    }
    return true;
}

} // namespace engine
