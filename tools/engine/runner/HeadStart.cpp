#include <engine/runner/HeadStart.h>

#include <utility>

namespace engine {

HeadStart::HeadStart(std::string program, std::vector<std::string> words)
    : m_program(std::move(program)), m_words(std::move(words))
{
    auto const door = m_link.inbox.hold();
    if (m_child.start(m_program, m_words) != 0)
        return;
    m_link.keeper.watch(static_cast<pid_t>(m_child.id()));
    m_link.inbox.know(m_child.id());
}

HeadStart::~HeadStart()
{
    if (!m_child.isRunning())
        return;
    long const process = m_child.id();
    m_child = Child(); // which ends it
    m_link.inbox.forget(process);
    m_link.keeper.forget(static_cast<pid_t>(process));
}

bool HeadStart::give(std::string const& program, std::vector<std::string> const& words, Child& to)
{
    if (!m_child.isRunning() || program != m_program || words != m_words)
        return false;
    std::swap(to, m_child);
    return true;
}

} // namespace engine
