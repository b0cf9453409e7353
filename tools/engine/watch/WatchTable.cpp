#include <engine/watch/WatchTable.h>

#include <engine/report/UtcTime.h>

#include <listing/forms/Columns.h>
#include <listing/forms/Listing.h>

#include <algorithm>
#include <cmath>
#include <set>

namespace engine {
namespace {

using listing::columnsOf;
using listing::cutTo;
using listing::filledTo;
using listing::harmless;

constexpr std::size_t kGap = 2;
constexpr std::size_t kWidestName = 32, kWidestValue = 16, kWidestGraph = 30, kNarrowestGraph = 8;
constexpr std::size_t kFewestRows = 5; // of readings, before alerts get any
constexpr char kBold[] = "\x1b[1m", kRed[] = "\x1b[31m", kDim[] = "\x1b[2m", kPlain[] = "\x1b[0m";

struct Row
{
    std::string name, value, least, most;
    History const* history = nullptr; // null: a heading
    bool isOld = false;
};

std::string rightTo(std::string const& text, std::size_t columns)
{
    std::string const cut = cutTo(text, columns);
    return std::string(columns - std::min(columns, columnsOf(cut)), ' ') + cut;
}

std::vector<Row> rowsOf(Readings::Snapshot const& all, Time now)
{
    std::vector<Row> rows;
    std::set<std::string> modules;
    for (DeviceReadings const& one : all.devices)
        modules.insert(one.module);
    for (DeviceReadings const& one : all.devices) {
        if (one.readings.empty())
            continue;
        std::string const module = modules.size() > 1 ? one.module + ": " : "";
        std::string const place = one.device.place.empty() || one.device.place == one.device.name
                                      ? ""
                                      : " (" + one.device.place + ")";
        rows.push_back({harmless(module + one.device.name + place), "", "", "", nullptr});
        for (WatchedReading const& reading : one.readings) {
            bool const isRange = reading.quantity.has_value() && reading.history.size() > 0;
            bool const isOld = !isCurrent(all, one, reading, now);
            std::string const value = harmless(reading.text);
            rows.push_back({"  " + harmless(reading.name), isOld ? "(" + value + ")" : value,
                            isRange ? harmless(reading.leastText) : "",
                            isRange ? harmless(reading.mostText) : "", &reading.history, isOld});
        }
    }
    return rows;
}

struct Widths
{
    std::size_t name = 0, value = 0, range = 0, graph = 0; // 0: the column is left out
};

std::size_t widest(std::vector<Row> const& rows, std::string Row::*text, std::size_t least, std::size_t most)
{
    for (Row const& row : rows)
        if (row.history)
            least = std::max(least, columnsOf(row.*text));
    return std::min(least, most);
}

// The graph goes first when it is narrow, then least and most; name and value stay.
Widths widthsFor(std::vector<Row> const& rows, std::size_t columns)
{
    Widths widths;
    widths.value = widest(rows, &Row::value, 5, std::min(kWidestValue, columns / 3));
    widths.range =
        std::max(widest(rows, &Row::least, 3, kWidestValue), widest(rows, &Row::most, 3, kWidestValue));
    widths.name = widest(rows, &Row::name, 7, std::max(kWidestName, columns * 2 / 5));
    auto const used = [&widths] {
        return widths.name + kGap + widths.value + (widths.range > 0 ? 2 * (kGap + widths.range) : 0);
    };
    if (used() > columns)
        widths.range = 0;
    if (used() > columns)
        widths.name = columns > kGap + widths.value ? columns - kGap - widths.value : 0;
    if (used() + kGap + kNarrowestGraph <= columns)
        widths.graph = std::min(columns - used() - kGap, kWidestGraph);
    return widths;
}

std::string lineOf(Row const& row, Widths const& widths, TableForm const& form)
{
    std::string const gap(kGap, ' ');
    if (!row.history)
        return (form.isColored ? kBold : "") + cutTo(row.name, form.columns) + (form.isColored ? kPlain : "");
    std::string line =
        filledTo(cutTo(row.name, widths.name), widths.name) + gap + rightTo(row.value, widths.value);
    if (widths.range > 0)
        line += gap + rightTo(row.least, widths.range) + gap + rightTo(row.most, widths.range);
    if (widths.graph > 0)
        line += gap + sparkline(*row.history, widths.graph, form.isUnicode);
    line.erase(line.find_last_not_of(' ') + 1);
    line = cutTo(line, form.columns);
    return row.isOld && form.isColored ? kDim + line + kPlain : line;
}

std::string headingOf(Widths const& widths, std::size_t columns)
{
    std::string const gap(kGap, ' ');
    std::string line = filledTo("READING", widths.name) + gap + rightTo("NOW", widths.value);
    if (widths.range > 0)
        line += gap + rightTo("MIN", widths.range) + gap + rightTo("MAX", widths.range);
    if (widths.graph > 0)
        line += gap + "HISTORY";
    return cutTo(line, columns);
}

std::vector<std::string> troublesOf(Readings::Snapshot const& all, TableForm const& form)
{
    std::vector<std::string> lines;
    auto const add = [&](std::string const& text, bool isHead) {
        std::string const line = cutTo(text, form.columns);
        lines.push_back(isHead && form.isColored ? kRed + line + kPlain : line);
    };
    for (auto const& [module, state] : all.modules)
        if (!state.trouble.empty())
            add(harmless(module + ": " + state.trouble), true);
    for (auto one = all.alerts.rbegin(); one != all.alerts.rend(); ++one) { // the newest first
        WatchedAlert const& alert = one->second;
        std::string const device = alert.deviceName.empty() ? "" : " (" + alert.deviceName + ")";
        std::string const since = readableTime(alert.raised);
        std::string const message = alert.message.empty() ? "" : ": " + alert.message;
        add("! " + since.substr(11, 8) + " " + harmless(alert.title + device + message), true);
        for (std::string const& tip : alert.tips)
            add("    " + harmless(tip), false);
    }
    return lines;
}

void cutRows(std::vector<std::string>& lines, std::size_t most, std::size_t columns)
{
    if (lines.size() <= most)
        return;
    std::size_t const left = lines.size() - (most > 0 ? most - 1 : 0);
    lines.resize(most > 0 ? most - 1 : 0);
    if (most > 0)
        lines.push_back(cutTo("... and " + std::to_string(left) + " more lines", columns));
}

} // namespace

std::string sparkline(History const& history, std::size_t width, bool isUnicode)
{
    static char const* const kBars[] = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
    static char const* const kAscii[] = {"_", ".", ":", "-", "=", "+", "*", "#"};
    std::size_t const count = std::min(width, history.size());
    std::size_t const from = history.size() - count;
    double least = 0, most = 0;
    for (std::size_t i = 0; i < count; ++i) {
        double const value = history.at(from + i);
        least = i == 0 ? value : std::min(least, value);
        most = i == 0 ? value : std::max(most, value);
    }
    // What moves by less than a hundredth of what it is stands still: it would look wild otherwise.
    double const still = 0.01 * std::max(std::abs(most), std::abs(least));
    double const span = std::max(std::max(most - least, still), 1e-12);
    double const low = (least + most - span) / 2;
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        double const level = (history.at(from + i) / span - low / span) * 8;
        std::size_t const bar = level >= 7 ? 7 : level > 0 ? static_cast<std::size_t>(level) : 0;
        text += isUnicode ? kBars[bar] : kAscii[bar];
    }
    return text;
}

std::vector<std::string> watchTable(Readings::Snapshot const& all, TableForm const& form, Time now)
{
    std::vector<Row> const rows = rowsOf(all, now);
    Widths const widths = widthsFor(rows, form.columns);
    std::vector<std::string> lines{cutTo(form.head, form.columns), headingOf(widths, form.columns)};
    std::vector<std::string> troubles = troublesOf(all, form);
    std::size_t const room = form.rows > lines.size() ? form.rows - lines.size() : 0;
    // Alerts get what they need, but the readings keep a few rows.
    std::size_t const few = std::min(kFewestRows, room);
    std::size_t const rest = room > troubles.size() + 1 ? room - troubles.size() - 1 : 0;
    std::size_t const forReadings = std::max(few, rest);
    std::vector<std::string> readings;
    for (Row const& row : rows)
        readings.push_back(lineOf(row, widths, form));
    if (rows.empty())
        readings.emplace_back("Nothing was read yet.");
    cutRows(readings, troubles.empty() ? room : std::max<std::size_t>(forReadings, 1), form.columns);
    lines.insert(lines.end(), readings.begin(), readings.end());
    if (!troubles.empty()) {
        if (lines.size() < form.rows)
            lines.emplace_back();
        cutRows(troubles, form.rows > lines.size() ? form.rows - lines.size() : 0, form.columns);
        lines.insert(lines.end(), troubles.begin(), troubles.end());
    }
    if (lines.size() > form.rows)
        lines.resize(form.rows);
    return lines;
}

} // namespace engine
