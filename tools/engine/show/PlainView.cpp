#include <engine/show/PlainView.h>

namespace engine {

void PlainView::say(std::string const& lines)
{
    std::lock_guard<std::mutex> const guard(m_mutex);
    m_out.write(lines);
    m_out.flush();
}

void PlainView::began(LiveRun const& run, std::size_t planned)
{
    std::string line = "Run " + std::to_string(run.run);
    if (planned > 0)
        line += " of " + std::to_string(planned);
    say(line + ": " + run.title + "\n");
}

void PlainView::show(std::vector<LiveRun> const& runs)
{
    std::lock_guard<std::mutex> const guard(m_mutex);
    std::map<RunId, int> told;
    for (LiveRun const& run : runs) {
        auto const before = m_told.find(run.run);
        int& tens = told[run.run];
        tens = before == m_told.end() ? 0 : before->second; // that it began was said
        if (run.percent / 10 > tens && run.percent <= 100) {
            tens = run.percent / 10;
            m_out.write(plainLine(run, m_clock()) + "\n");
        }
    }
    m_told = std::move(told);
    m_out.flush();
}

} // namespace engine
