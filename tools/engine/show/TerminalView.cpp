#include <engine/show/TerminalView.h>

#include <listing/forms/Columns.h>

#include <algorithm>

namespace engine {

using namespace std::chrono_literals;

namespace {

constexpr char kClear[] = "\r\x1b[J"; // from the cursor to the end of the screen
constexpr std::size_t kUsualColumns = 80, kUsualRows = 24;
// What a stop signal says, after an empty line: StopSignal.
constexpr char kStopping[] = "Stopping. Press Ctrl-C again to end at once.";
constexpr auto kTimeToSayIt = 20ms; // the signal is known a moment before

std::string up(std::size_t rows) { return rows == 0 ? "" : "\x1b[" + std::to_string(rows) + "A"; }

} // namespace

TerminalView::TerminalView(zel::OStream& out, World world) : m_out(out), m_world(std::move(world))
{
    if (m_world.hasTicker)
        m_ticker = std::thread([this] { tickUntilClosed(); });
}

TerminalView::~TerminalView()
{
    {
        std::lock_guard<std::mutex> const guard(m_mutex);
        m_isClosed = true;
        m_runs.clear();
        put((m_isDrawn ? tidied() + kClear : "") + broken(m_waiting));
    }
    m_closed.notify_all();
    if (m_ticker.joinable())
        m_ticker.join();
}

void TerminalView::tickUntilClosed()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_closed.wait_for(lock, kShortest, [this] { return m_isClosed; })) {
        Moment const now = m_world.clock();
        if (m_isNews || now - m_drawnAt >= 1s)
            draw(now);
    }
}

void TerminalView::tick()
{
    std::lock_guard<std::mutex> const guard(m_mutex);
    Moment const now = m_world.clock();
    if (now - m_drawnAt >= (m_isNews ? kShortest : 1s))
        draw(now);
}

void TerminalView::say(std::string const& lines)
{
    std::lock_guard<std::mutex> const guard(m_mutex);
    if (m_isPaused) {
        m_waiting += lines;
        return;
    }
    std::string const tidy = tidied();
    put((m_isDrawn ? tidy + kClear : "") + broken(lines) + block(m_world.clock()));
}

void TerminalView::show(std::vector<LiveRun> const& runs)
{
    std::lock_guard<std::mutex> const guard(m_mutex);
    bool const isOther = runs.size() != m_runs.size();
    m_runs = runs;
    m_isNews = true;
    Moment const now = m_world.clock();
    if (isOther || now - m_drawnAt >= kShortest)
        draw(now);
}

void TerminalView::pause()
{
    std::lock_guard<std::mutex> const guard(m_mutex);
    if (m_isDrawn)
        put(kClear);
    m_isDrawn = false;
    m_isPaused = true;
}

void TerminalView::resume()
{
    std::lock_guard<std::mutex> const guard(m_mutex);
    m_isPaused = false;
    m_isTidied = m_isTidied || m_world.isStopping(); // it was said below the question
    put(broken(m_waiting) + block(m_world.clock()));
    m_waiting.clear();
}

void TerminalView::draw(Moment now)
{
    if (m_isPaused || (m_runs.empty() && !m_isDrawn) || m_world.isBehind())
        return;
    std::string const tidy = tidied();
    put(tidy + kClear + block(now));
}

// The lines, and the cursor back at the beginning of the first. No line is as long as the terminal is wide, so that none
// takes two rows, and all fit into its height, so that none scrolls away.
std::string TerminalView::block(Moment now) const
{
    TerminalSize const size = m_world.size();
    std::size_t const columns = (size.columns > 0 ? size.columns : kUsualColumns) - 1;
    std::size_t const rows = std::max<std::size_t>(size.rows > 0 ? size.rows : kUsualRows, 2) - 1;
    std::size_t const shown = m_runs.size() <= rows ? m_runs.size() : rows - 1;
    std::string text;
    for (std::size_t i = 0; i < shown; ++i)
        text += (i == 0 ? "" : "\n") + liveLine(m_runs[i], now, columns);
    if (shown < m_runs.size())
        text += (shown == 0 ? "" : "\n") +
                listing::cutTo("... and " + std::to_string(m_runs.size() - shown) + " more", columns);
    return m_runs.empty() ? "" : text + "\r" + up(shown < m_runs.size() ? shown : shown - 1);
}

// At words, as the terminal is wide now; a terminal breaks anywhere.
std::string TerminalView::broken(std::string const& lines) const
{
    constexpr std::size_t kIndent = 4, kFewest = 20;
    std::size_t const columns = m_world.size().columns > 0 ? m_world.size().columns : kUsualColumns;
    if (columns < kFewest)
        return lines;
    std::string out;
    for (std::size_t begin = 0; begin < lines.size();) {
        std::size_t const end = std::min(lines.find('\n', begin), lines.size());
        out += listing::wrapped(lines.substr(begin, end - begin), kIndent, columns - 1);
        begin = end + 1;
    }
    return out;
}

// Somebody typed Ctrl-C, and was answered: over the first lines, after an empty one. Written again as a line that stays.
std::string TerminalView::tidied()
{
    if (m_isTidied || !m_world.isStopping())
        return {};
    m_isTidied = true;
    if (!m_isDrawn)
        return {};
    std::this_thread::sleep_for(kTimeToSayIt);
    std::size_t const columns = m_world.size().columns;
    std::size_t const rows = columns == 0 ? 1 : (sizeof kStopping - 2) / columns + 1;
    return up(rows + 1) + kClear + kStopping + "\n";
}

void TerminalView::put(std::string const& text)
{
    m_isDrawn = !m_runs.empty();
    m_isNews = false;
    m_drawnAt = m_world.clock();
    m_out.write(text);
    m_out.flush();
}

} // namespace engine
