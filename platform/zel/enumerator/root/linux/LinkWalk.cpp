#include <zel/enumerator/root/linux/LinkWalk.h>

#include <zel/enumerator/root/Text.h>

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>

namespace zel {

namespace {

constexpr unsigned kMaxLinks = 40;        // as the kernel's own limit
constexpr std::size_t kMaxDepth = 256;    // directories held open at once
constexpr std::size_t kMaxPending = 4096; // components that links may pile up

/// Components still to be walked, the next one last.
void pushComponents(std::vector<std::string>& pending, std::string_view path)
{
    auto const parts = text::split(path, '/');
    for (auto part = parts.rbegin(); part != parts.rend(); ++part)
        if (!part->empty() && *part != ".")
            pending.emplace_back(*part);
}

std::string linkText(int directory, std::string const& name)
{
    std::array<char, PATH_MAX> buffer;
    ssize_t const length = ::readlinkat(directory, name.c_str(), buffer.data(), buffer.size());
    return length <= 0 ? std::string() : std::string(buffer.data(), static_cast<std::size_t>(length));
}

} // namespace

bool LinkWalk::enter(std::string name)
{
    // O_NOFOLLOW: should the component have become a link since it was looked at, what is opened is the link
    // itself, and nothing stands below it.
    FileDescriptor next(::openat(top(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    m_error = next.isOpen() ? 0 : errno;
    if (!next.isOpen() || m_steps.size() >= kMaxDepth)
        return false;
    m_steps.push_back({std::move(next), std::move(name)});
    return true;
}

bool LinkWalk::follow(std::string const& path, bool followLast)
{
    std::vector<std::string> pending;
    pushComponents(pending, path);
    unsigned links = 0;
    while (!pending.empty()) {
        std::string name = std::move(pending.back());
        pending.pop_back();
        if (name == "..") {
            if (!m_steps.empty())
                m_steps.pop_back();
            continue;
        }
        std::string const link = pending.empty() && !followLast ? "" : linkText(top(), name);
        if (link.empty()) {
            if (!enter(std::move(name)))
                return false;
            continue;
        }
        if (++links > kMaxLinks || pending.size() > kMaxPending)
            return false;
        if (link.front() == '/')
            m_steps.clear();
        pushComponents(pending, link);
    }
    return true;
}

std::string LinkWalk::path() const
{
    std::string joined;
    for (Step const& step : m_steps)
        joined += (joined.empty() ? "" : "/") + step.name;
    return joined;
}

FileDescriptor LinkWalk::open(int flags) const
{
    int const parent = m_steps.size() < 2 ? m_root : m_steps[m_steps.size() - 2].descriptor.number();
    char const* const name = m_steps.empty() ? "." : m_steps.back().name.c_str();
    return FileDescriptor(::openat(parent, name, flags | O_NOFOLLOW | O_CLOEXEC));
}

} // namespace zel
