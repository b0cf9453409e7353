#include <engine/show/QueuedStream.h>

#include <csignal>

namespace engine {

QueuedStream::QueuedStream(zel::OStream& to) : m_to(to) {}

// With the first words: a run that is about to begin has better to do.
void QueuedStream::begin()
{
    // Signals are the other threads': one that comes would break off what is being written.
    sigset_t all, before;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before); // a thread begins with the mask of who makes it
    m_thread = std::thread([this] { handOn(); });
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

QueuedStream::~QueuedStream()
{
    {
        std::lock_guard<std::mutex> const guard(m_mutex);
        m_isClosed = true;
    }
    m_changed.notify_one();
    if (m_thread.joinable())
        m_thread.join();
}

void QueuedStream::write(std::string_view utf8)
{
    {
        std::lock_guard<std::mutex> const guard(m_mutex);
        if (!m_thread.joinable())
            begin();
        m_isCut = m_isCut || m_waiting.size() + utf8.size() > kMostBytes;
        if (!m_isCut)
            m_waiting += utf8;
    }
    m_changed.notify_one();
}

bool QueuedStream::isBehind()
{
    std::lock_guard<std::mutex> const guard(m_mutex);
    return m_isWriting || !m_waiting.empty();
}

void QueuedStream::handOn()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [this] { return !m_waiting.empty() || m_isClosed; });
        if (m_waiting.empty())
            return;
        std::string text;
        text.swap(m_waiting);
        if (m_isCut)
            text += "\n... more was said while nobody read on; the report has it.\n";
        m_isCut = false;
        m_isWriting = true;
        lock.unlock();
        m_to.write(text);
        m_to.flush();
        lock.lock();
        m_isWriting = false;
    }
}

} // namespace engine
