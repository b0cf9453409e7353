#include <engine/watch/TableView.h>

namespace engine {
namespace {

using namespace std::chrono_literals;

constexpr char kClearLine[] = "\x1b[K", kClearBelow[] = "\x1b[J";

} // namespace

TableView::TableView(Readings const& readings, LineOutput& out, std::function<TableForm()> form)
    : m_readings(readings), m_out(out), m_form(std::move(form))
{}

TableView::~TableView()
{
    std::string text = std::string("\r") + kClearBelow;
    TableForm form = m_form();
    form.rows = 10'000; // it may scroll now
    for (std::string const& line : watchTable(m_readings.snapshot(), form, std::chrono::system_clock::now()))
        text += line + "\n";
    m_out.put(text);
}

void TableView::tick(bool isNews)
{
    auto const now = std::chrono::steady_clock::now();
    TableForm const form = m_form();
    bool const isResized = form.columns != m_columns || form.rows != m_rows;
    if (!isResized && now - m_drawn < (isNews ? std::chrono::milliseconds(kShortest) : 1000ms))
        return;
    if (m_out.isBehind()) // a terminal that does not take it
        return;
    m_drawn = now;
    m_columns = form.columns;
    m_rows = form.rows;
    std::string text = "\r";
    auto const lines = watchTable(m_readings.snapshot(), form, std::chrono::system_clock::now());
    for (std::size_t i = 0; i < lines.size(); ++i)
        text += (i == 0 ? "" : "\r\n") + lines[i] + kClearLine;
    text += std::string(kClearBelow) + "\r";
    if (lines.size() > 1)
        text += "\x1b[" + std::to_string(lines.size() - 1) + "A";
    m_out.put(text);
}

} // namespace engine
