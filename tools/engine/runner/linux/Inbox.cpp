#include <engine/runner/linux/Inbox.h>

#include <zel/foundation/Exception.h>

#include <cerrno>
#include <cstdint>
#include <sys/eventfd.h>
#include <unistd.h>

namespace engine {
namespace {

constexpr std::size_t kMost = 1000;
constexpr std::size_t kMostBytes = std::size_t{16}
                                   << 20; // as received; then no more but what is there already

std::size_t bytesOf(News const& news) { return news.message ? news.message->receivedBytes() : 0; }

} // namespace

Inbox::Inbox() : m_bell(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (!m_bell.isOpen())
        throw zel::SystemException("eventfd", errno);
}

zel::IPCServer::Handlers Inbox::handlers()
{
    return {[this](std::int64_t process) {
                std::lock_guard<std::mutex> const guard(m_doorMutex);
                return m_known.count(process) > 0;
            },
            [this](zel::IPCServer::Peer peer, std::int64_t process) {
                put({News::Kind::Connected, peer, process, nullptr, {}});
            },
            [this](zel::IPCServer::Peer peer, std::shared_ptr<zel::Message const> message) {
                put({News::Kind::Said, peer, 0, std::move(message), {}});
            },
            [this](zel::IPCServer::Peer peer, zel::String const& reason) {
                put({News::Kind::Gone, peer, 0, nullptr, reason});
            }};
}

void Inbox::forget(std::int64_t process)
{
    std::lock_guard<std::mutex> const guard(m_doorMutex);
    m_known.erase(process);
}

void Inbox::ring() const
{
    std::uint64_t const one = 1;
    [[maybe_unused]] auto const written = ::write(m_bell.number(), &one, sizeof one);
}

void Inbox::put(News news)
{
    std::unique_lock<std::mutex> guard(m_mutex);
    m_roomMade.wait(guard, [this] { return (m_news.size() < kMost && m_bytes < kMostBytes) || m_isClosed; });
    if (m_isClosed)
        return;
    m_bytes += bytesOf(news);
    m_news.push_back(std::move(news));
    if (m_news.size() == 1)
        ring();
}

std::optional<News> Inbox::take()
{
    std::lock_guard<std::mutex> const guard(m_mutex);
    if (m_news.empty())
        return std::nullopt;
    News news = std::move(m_news.front());
    m_news.pop_front();
    m_bytes -= bytesOf(news);
    m_roomMade.notify_one();
    std::uint64_t ignored = 0;
    if (m_news.empty()) [[maybe_unused]]
        auto const taken = ::read(m_bell.number(), &ignored, sizeof ignored);
    return news;
}

void Inbox::close()
{
    std::lock_guard<std::mutex> const guard(m_mutex);
    m_isClosed = true;
    m_news.clear();
    m_bytes = 0;
    m_roomMade.notify_all();
}

} // namespace engine
