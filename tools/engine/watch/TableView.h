#pragma once
// The table on a terminal, drawn over and over in its place.

#include <engine/watch/Readings.h>
#include <engine/watch/WatchTable.h>
#include <engine/watch/linux/LineOutput.h>

#include <chrono>
#include <functional>

namespace engine {

/// The cursor waits at the beginning of the first line, below what was said before: whatever the terminal makes of the lines when its
/// size changes lies behind it, and whoever is ended at once leaves a terminal that works. The last table stays. Thread
/// rule: the main thread's.
class TableView
{
public:
    static constexpr std::chrono::milliseconds kShortest{100}; ///< between two drawings

    /// `form`: as the terminal is now.
    TableView(Readings const& readings, LineOutput& out, std::function<TableForm()> form);
    ~TableView();

    /// Draws when there is something new, when the terminal's size is another, and each second.
    void tick(bool isNews);

private:
    Readings const& m_readings;
    LineOutput& m_out;
    std::function<TableForm()> m_form;
    std::chrono::steady_clock::time_point m_drawn{};
    std::size_t m_columns = 0, m_rows = 0;
};

} // namespace engine
