#include <zel/enumerator/root/ReadOnceRoot.h>

namespace zel {

namespace {

// Beyond either, files are read again when they are asked for again.
constexpr std::size_t kMaxAnswers = 1u << 18;
constexpr std::size_t kMaxBytes = 64u << 20;

} // namespace

std::optional<std::string> ReadOnceRoot::read(std::string const& path, std::size_t limit) const
{
    auto const found = m_answers.find(path);
    if (found != m_answers.end()) {
        auto const& [content, asked] = found->second;
        if (!content || content->size() < asked || limit <= asked) // all of it is known, or as much as wanted
            return content ? std::optional(content->substr(0, limit)) : std::nullopt;
    }
    auto content = m_root.read(path, limit);
    std::size_t const size = content ? content->size() : 0;
    if (m_answers.size() < kMaxAnswers && size <= kMaxBytes - m_bytes) {
        m_bytes += size;
        m_answers.insert_or_assign(path, Answer{content, limit});
    }
    return content;
}

} // namespace zel
